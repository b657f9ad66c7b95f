# The libraries of others, under the target names that their own packages give them.

if(NOT MINGW)
  find_package(ICU REQUIRED COMPONENTS uc data)
  # The module's targets know neither that these are static nor that the one needs the other.
  target_link_libraries(ICU::uc INTERFACE ICU::data)
  target_compile_definitions(ICU::uc INTERFACE U_STATIC_IMPLEMENTATION)
  find_package(uriparser CONFIG REQUIRED)
  find_package(Boost REQUIRED)
  find_package(nlohmann_json CONFIG REQUIRED)
  find_package(CLI11 CONFIG REQUIRED)
  if(BUILD_TESTING OR NOT DEFINED BUILD_TESTING)
    find_package(GTest CONFIG REQUIRED)
  endif()
  return()
endif()

set(deps ${PROJECT_BINARY_DIR}/deps)
# Below the build tree, so that no path of the machine gets into what is built.
if(NOT EXISTS ${deps} AND EXISTS ${PROJECT_SOURCE_DIR}/build/deps)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR}/build/deps ${deps} SYMBOLIC)
endif()
foreach(file icu/lib/libicuuc.a uriparser/lib/liburiparser.a headers/boost headers/nlohmann headers/CLI)
  if(NOT EXISTS ${deps}/${file})
    message(FATAL_ERROR "${deps}/${file} is missing: run scripts/setup.sh once.")
  endif()
endforeach()

# quarry_imported(TARGET ARCHIVE INCLUDE_DIR DEFINITION): a static library that setup has built.
function(quarry_imported target archive includeDir definition)
  add_library(${target} STATIC IMPORTED GLOBAL)
  set_target_properties(
    ${target} PROPERTIES IMPORTED_LOCATION ${archive} INTERFACE_INCLUDE_DIRECTORIES ${includeDir}
                         INTERFACE_COMPILE_DEFINITIONS ${definition})
endfunction()

quarry_imported(ICU::uc ${deps}/icu/lib/libicuuc.a ${deps}/icu/include U_STATIC_IMPLEMENTATION)
quarry_imported(uriparser::uriparser ${deps}/uriparser/lib/liburiparser.a ${deps}/uriparser/include URI_STATIC_BUILD)

foreach(target Boost::headers nlohmann_json::nlohmann_json CLI11::CLI11)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${deps}/headers)
endforeach()

set(googletestSource /usr/src/googletest)
if(BUILD_TESTING OR NOT DEFINED BUILD_TESTING)
  set(INSTALL_GTEST OFF)
  add_subdirectory(${googletestSource} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  foreach(target gtest gmock gmock_main)
    target_compile_options(${target} PRIVATE -w)
    if(NOT TARGET GTest::${target})
      add_library(GTest::${target} ALIAS ${target})
    endif()
  endforeach()
endif()
