# The tree's layers, one target for each folder, named after it: quarry/apps is quarry_apps.
#
# A folder's CMakeLists.txt names in DEPENDS the layers whose headers the folder's files include, no more and no fewer, and
# in LINKS the libraries of others. It can only name a layer that was added before it, so there are no circles.

# quarry_layer(SOURCES file... [DEPENDS layer...] [LINKS library...]): the current folder as a static library.
function(quarry_layer)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "SOURCES;DEPENDS;LINKS")
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  string(REPLACE "/" "_" target ${folder})
  add_library(${target} STATIC ${arg_SOURCES})
  quarry_link(${target} PUBLIC "${arg_DEPENDS}" "${arg_LINKS}")
endfunction()

# quarry_shared_layer(NAME SOURCES file... [DEPENDS layer...] [LINKS library...]): the current folder as NAME.dll.
# SOURCES hold the module definition and the resources too.
function(quarry_shared_layer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;DEPENDS;LINKS")
  add_library(${name} SHARED ${arg_SOURCES})
  # The file is NAME.dll with every compiler.
  set_target_properties(${name} PROPERTIES PREFIX "")
  quarry_link(${name} PRIVATE "${arg_DEPENDS}" "${arg_LINKS}")
endfunction()

# quarry_program(NAME SOURCES file... [DEPENDS layer...] [LINKS library...] [RC file] [SUBSYSTEM windows|console]
# [WIDE_MAIN]): a program of the current folder. WIDE_MAIN for those whose entry point is wmain or wWinMain.
function(quarry_program name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "WIDE_MAIN" "RC;SUBSYSTEM" "SOURCES;DEPENDS;LINKS")
  add_executable(${name} ${arg_SOURCES} ${arg_RC})
  quarry_link(${name} PRIVATE "${arg_DEPENDS}" "${arg_LINKS}")
  if(arg_SUBSYSTEM STREQUAL "windows")
    set_target_properties(${name} PROPERTIES WIN32_EXECUTABLE ON)
  endif()
  # mingw-w64's start-up code looks for wmain only when it is told so.
  if(arg_WIDE_MAIN AND MINGW)
    target_link_options(${name} PRIVATE -municode)
  endif()
endfunction()

# quarry_link(TARGET SCOPE DEPENDS LINKS): links, and enters DEPENDS into the current folder's row of the table of layers.
function(quarry_link target scope depends links)
  cmake_path(RELATIVE_PATH CMAKE_CURRENT_SOURCE_DIR BASE_DIRECTORY ${PROJECT_SOURCE_DIR} OUTPUT_VARIABLE folder)
  set_property(GLOBAL APPEND PROPERTY QUARRY_FOLDERS ${folder})
  foreach(layer IN LISTS depends)
    if(NOT TARGET ${layer})
      message(FATAL_ERROR "${folder} names ${layer} in DEPENDS, which is no layer that was added before it.")
    endif()
    get_target_property(layerFolder ${layer} SOURCE_DIR)
    cmake_path(RELATIVE_PATH layerFolder BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    if(folder MATCHES "^lib/" AND NOT layerFolder MATCHES "^lib/")
      message(FATAL_ERROR "${folder} names ${layer} in DEPENDS: lib/ depends on nothing but lib/.")
    endif()
    set_property(GLOBAL APPEND PROPERTY QUARRY_LAYERS_OF_${folder} ${layerFolder})
  endforeach()
  target_link_libraries(${target} ${scope} quarry_options ${depends} ${links})
  add_dependencies(${target} includes)
endfunction()

# quarry_check_includes(): writes the table, a row for each folder, and has the build compare it with what the files
# include. Called once, after the last folder.
function(quarry_check_includes)
  get_property(folders GLOBAL PROPERTY QUARRY_FOLDERS)
  list(REMOVE_DUPLICATES folders)
  foreach(folder IN LISTS folders)
    get_property(layers GLOBAL PROPERTY QUARRY_LAYERS_OF_${folder})
    list(REMOVE_DUPLICATES layers)
    list(JOIN layers " " layers)
    string(APPEND rows "check_folder(${folder} ${layers})\n")
    list(APPEND patterns ${folder}/*.c ${folder}/*.cpp ${folder}/*.h)
  endforeach()
  set(table ${PROJECT_BINARY_DIR}/layerTable.cmake)
  file(CONFIGURE OUTPUT ${table} CONTENT "${rows}" @ONLY)

  file(GLOB files CONFIGURE_DEPENDS ${patterns})
  set(stamp ${PROJECT_BINARY_DIR}/includes.stamp)
  set(check ${PROJECT_SOURCE_DIR}/cmake/checkIncludes.cmake)
  add_custom_command(
    OUTPUT ${stamp}
    COMMAND ${CMAKE_COMMAND} -DROOT=${PROJECT_SOURCE_DIR} -DTABLE=${table} -P ${check}
    COMMAND ${CMAKE_COMMAND} -E touch ${stamp}
    DEPENDS ${files} ${table} ${check}
    COMMENT "Comparing includes with the table of layers"
    VERBATIM)
  add_custom_target(includes ALL DEPENDS ${stamp})
endfunction()
