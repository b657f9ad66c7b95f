# The package for host developers: what install rules put into it, and CPack into archives. scripts/package.sh makes it.
#
#   quarry-VERSION-win64.zip           component sdk
#   quarry-VERSION-win64-symbols.zip   component symbols

option(QUARRY_RELEASE "The package must be whole: fail when a tool that makes a part of it is missing" OFF)

# The import libraries come from the module definition alone, so that they are the same with every compiler that builds
# the DLL: quarry.lib for Visual C++'s linker, libquarry.dll.a for mingw-w64's.
set(importLibraries)
if(MINGW)
  find_program(QUARRY_DLLTOOL x86_64-w64-mingw32-dlltool REQUIRED)
  find_program(QUARRY_LLVM_DLLTOOL NAMES llvm-dlltool-16 llvm-dlltool)
  find_program(QUARRY_LLVM_AR NAMES llvm-ar-16 llvm-ar)
  if(QUARRY_RELEASE AND NOT QUARRY_LLVM_DLLTOOL)
    message(FATAL_ERROR "llvm-dlltool is missing: scripts/package.sh installs it.")
  endif()
  set(definition ${PROJECT_SOURCE_DIR}/quarry/boundary/quarry.def)
  set(folder ${PROJECT_BINARY_DIR}/package)
  file(MAKE_DIRECTORY ${folder})
  # Its members are named after the process unless it is told otherwise.
  add_custom_command(
    OUTPUT ${folder}/libquarry.dll.a
    COMMAND ${QUARRY_DLLTOOL} --deterministic-libraries --temp-prefix quarry -d ${definition} -l libquarry.dll.a
    DEPENDS ${definition}
    WORKING_DIRECTORY ${folder}
    VERBATIM)
  list(APPEND importLibraries ${folder}/libquarry.dll.a)
  if(QUARRY_LLVM_DLLTOOL)
    add_custom_command(
      OUTPUT ${folder}/quarry.lib
      COMMAND ${QUARRY_LLVM_DLLTOOL} -m i386:x86-64 -d ${definition} -l quarry.lib
      DEPENDS ${definition}
      WORKING_DIRECTORY ${folder}
      VERBATIM)
    list(APPEND importLibraries ${folder}/quarry.lib)
  endif()
  add_custom_target(importLibraries ALL DEPENDS ${importLibraries})
else()
  list(APPEND importLibraries $<TARGET_LINKER_FILE:quarry>)
endif()

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/quarryConfigVersion.cmake COMPATIBILITY SameMajorVersion)
# Of SOURCE_DATE_EPOCH when there is one.
string(TIMESTAMP packageTime "%Y-%m-%dT%H:%M:%SZ" UTC)
configure_file(${PROJECT_SOURCE_DIR}/cmake/parts.spdx.json.in ${PROJECT_BINARY_DIR}/package/quarry.spdx.json @ONLY)

# quarry_install(FOLDER FILE...): files of this tree or of the build.
function(quarry_install folder)
  install(FILES ${ARGN} DESTINATION ${folder} COMPONENT sdk)
endfunction()

install(PROGRAMS $<TARGET_FILE:quarry> $<TARGET_FILE:quarryctl> DESTINATION bin COMPONENT sdk)
quarry_install(include/quarry include/quarry/quarry.h include/quarry/quarry.hpp)
quarry_install(lib ${importLibraries})
quarry_install(lib/cmake/quarry cmake/quarryConfig.cmake ${PROJECT_BINARY_DIR}/package/quarryConfigVersion.cmake)
quarry_install(. README.md CHANGELOG.md THIRD_PARTY_NOTICES.md ${PROJECT_BINARY_DIR}/package/quarry.spdx.json)
quarry_install(examples examples/host.c examples/host.cpp examples/linkedHost.c examples/everyCall.c examples/agent.cpp)
install(FILES examples/package.cmake DESTINATION examples RENAME CMakeLists.txt COMPONENT sdk)
install(DIRECTORY docs/ DESTINATION docs COMPONENT sdk FILES_MATCHING PATTERN *.md PATTERN *.schema.json)
if(EXISTS ${PROJECT_SOURCE_DIR}/policy)
  install(DIRECTORY policy/ DESTINATION policy COMPONENT sdk)
endif()

# The reference, from the headers' own comments. What is not documented is an error.
find_program(QUARRY_DOXYGEN doxygen)
if(QUARRY_DOXYGEN)
  set(reference ${PROJECT_BINARY_DIR}/package/reference)
  file(READ docs/reference.doxyfile doxyfile)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/package/reference.doxyfile CONTENT
       "${doxyfile}PROJECT_NUMBER=${PROJECT_VERSION}\nOUTPUT_DIRECTORY=\"${PROJECT_BINARY_DIR}/package\"\n" @ONLY)
  file(GLOB headersAndExamples CONFIGURE_DEPENDS include/quarry/* examples/*)
  add_custom_command(
    OUTPUT ${reference}/index.html
    COMMAND ${QUARRY_DOXYGEN} ${PROJECT_BINARY_DIR}/package/reference.doxyfile
    DEPENDS ${headersAndExamples} ${PROJECT_BINARY_DIR}/package/reference.doxyfile
    WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    VERBATIM)
  add_custom_target(reference DEPENDS ${reference}/index.html)
  install(DIRECTORY ${reference} DESTINATION docs COMPONENT sdk OPTIONAL)
elseif(QUARRY_RELEASE)
  message(FATAL_ERROR "doxygen is missing: scripts/package.sh installs it.")
endif()

# What Visual C++ and Clang write beside a program. GCC's debug information is inside.
foreach(target quarry quarryctl)
  if(MSVC)
    install(FILES $<TARGET_PDB_FILE:${target}> DESTINATION symbols COMPONENT symbols)
  elseif(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${target}.pdb DESTINATION symbols COMPONENT symbols)
  endif()
endforeach()

# Packing builds nothing: what is packed is named where the package is made.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_VENDOR "Velkor, Inc.")
set(CPACK_PACKAGE_NAME quarry)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Publishes the applications of a Windows host to a remote-desktop agent")
set(CPACK_COMPONENTS_ALL sdk symbols)
set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_FILE_NAME quarry-${PROJECT_VERSION}-win64)
set(CPACK_ARCHIVE_SDK_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
set(CPACK_ARCHIVE_SYMBOLS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME}-symbols)
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/package)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/packageFinish.cmake)
include(CPack)
