# The tree's layers: one target per folder, with the folders that it may include from.
#
# A folder's CMakeLists.txt calls quarry_layer (or quarry_shared_layer, quarry_program) with its sources and with DEPENDS,
# the layers directly below it. The target is named after the folder: quarry/apps is quarry_apps. A layer may include
# headers of its own folder and of every layer that it reaches through DEPENDS; the build fails when it includes others.

# quarry_folder_target(VARIABLE): the target name for the current folder.
function(quarry_folder_target variable)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  string(REPLACE "/" "_" target ${folder})
  set(${variable} ${target} PARENT_SCOPE)
endfunction()

# quarry_declare_layer(TARGET DEPENDENCY...): records what the current folder may include and adds the check to the build.
function(quarry_declare_layer target)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  set(folders ${folder})
  foreach(dependency IN LISTS ARGN)
    if(NOT TARGET ${dependency})
      message(FATAL_ERROR "${target} depends on ${dependency}, which is no layer that was added before it.")
    endif()
    get_target_property(dependencyFolders ${dependency} QUARRY_FOLDERS)
    if(NOT dependencyFolders)
      message(FATAL_ERROR "${target} names ${dependency} in DEPENDS, which is no layer: put it into LINKS.")
    endif()
    list(APPEND folders ${dependencyFolders})
  endforeach()
  list(REMOVE_DUPLICATES folders)
  if(folder MATCHES "^lib/" AND folders MATCHES "(^|;)quarry/")
    message(FATAL_ERROR "${target} is in lib/, which must not depend on quarry/.")
  endif()
  set_target_properties(${target} PROPERTIES QUARRY_FOLDERS "${folders}")

  file(GLOB files CONFIGURE_DEPENDS *.cpp *.c *.h)
  set(stamp ${CMAKE_CURRENT_BINARY_DIR}/${target}.includes)
  set(check ${PROJECT_SOURCE_DIR}/cmake/checkIncludes.cmake)
  list(JOIN files "|" fileArgument)
  list(JOIN folders "|" folderArgument)
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DLAYER=${target} -DROOT=${PROJECT_SOURCE_DIR} "-DFILES=${fileArgument}"
            "-DFOLDERS=${folderArgument}" -P ${check}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${files} ${check}
    COMMENT "Checking the includes of ${folder}"
    VERBATIM)
  add_custom_target(${target}_includes ALL DEPENDS ${stamp})
  add_dependencies(${target} ${target}_includes)
endfunction()

# quarry_layer([SOURCES file...] [DEPENDS layer...] [LINKS library...]): the current folder as a static library, or as
# a header-only one without SOURCES.
function(quarry_layer)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "SOURCES;DEPENDS;LINKS")
  quarry_folder_target(target)
  set(scope PUBLIC)
  if(arg_SOURCES)
    add_library(${target} STATIC ${arg_SOURCES})
  else()
    add_library(${target} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_link_libraries(${target} ${scope} quarry_options ${arg_DEPENDS} ${arg_LINKS})
  quarry_declare_layer(${target} ${arg_DEPENDS})
endfunction()

# quarry_shared_layer(NAME SOURCES file... [DEPENDS layer...] [LINKS library...]): the current folder as NAME.dll.
# SOURCES hold the module definition and the resources too.
function(quarry_shared_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS;LINKS")
  add_library(${name} SHARED ${arg_SOURCES})
  # The file is NAME.dll with every compiler.
  set_target_properties(${name} PROPERTIES PREFIX "")
  target_link_libraries(${name} PRIVATE quarry_options ${arg_DEPENDS} ${arg_LINKS})
  quarry_declare_layer(${name} ${arg_DEPENDS})
endfunction()

# quarry_executable(NAME SOURCES file... [DEPENDS layer...] [LINKS library...] [RC file] [SUBSYSTEM windows|console]
# [WIDE_MAIN]): a program. WIDE_MAIN for those whose entry point is wmain or wWinMain.
function(quarry_executable name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WIDE_MAIN" "RC;SUBSYSTEM" "SOURCES;DEPENDS;LINKS")
  add_executable(${name} ${arg_SOURCES} ${arg_RC})
  target_link_libraries(${name} PRIVATE quarry_options ${arg_DEPENDS} ${arg_LINKS})
  if(arg_SUBSYSTEM STREQUAL "windows")
    set_target_properties(${name} PROPERTIES WIN32_EXECUTABLE ON)
  endif()
  # mingw-w64's start-up code looks for wmain only when it is told so.
  if(arg_WIDE_MAIN AND MINGW)
    target_link_options(${name} PRIVATE -municode)
  endif()
endfunction()

# quarry_program(NAME ...): the current folder as NAME.exe, with the arguments of quarry_executable.
function(quarry_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WIDE_MAIN" "RC;SUBSYSTEM" "SOURCES;DEPENDS;LINKS")
  quarry_executable(${name} ${ARGN})
  quarry_declare_layer(${name} ${arg_DEPENDS})
endfunction()
