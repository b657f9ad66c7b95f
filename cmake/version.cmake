# The version is that of project(). What cannot take it from there is compared with it, so that a release is one change.

file(READ ${PROJECT_SOURCE_DIR}/include/quarry/quarry.h header)
foreach(part MAJOR MINOR PATCH)
  string(REGEX MATCH "#define QUARRY_VERSION_${part} ([0-9]+)" found "${header}")
  if(NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION_${part})
    message(FATAL_ERROR "include/quarry/quarry.h: QUARRY_VERSION_${part} is not that of version ${PROJECT_VERSION}.")
  endif()
endforeach()

file(STRINGS ${PROJECT_SOURCE_DIR}/CHANGELOG.md headings REGEX "^## [0-9]")
list(GET headings 0 heading)
if(NOT heading STREQUAL "## ${PROJECT_VERSION}")
  message(FATAL_ERROR "CHANGELOG.md: the first heading with a number is \"${heading}\", not \"## ${PROJECT_VERSION}\".")
endif()

# Configuring looks again when one of them has changed.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS include/quarry/quarry.h CHANGELOG.md)

# quarry_version_resource(TARGET DESCRIPTION): gives a program or DLL the version resource that Explorer and crash reports
# show.
function(quarry_version_resource target description)
  get_target_property(type ${target} TYPE)
  set(fileName ${target}.exe)
  set(fileType VFT_APP)
  if(type STREQUAL "SHARED_LIBRARY")
    set(fileName ${target}.dll)
    set(fileType VFT_DLL)
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}Version.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}Version.rc)
endfunction()
