# Tests and the programs that they use.
#
#   build/bin/quarry.dll
#   build/bin/tests/NAME.exe      finds the others by its own path
#   build/bin/fixtures/NAME.exe

if(CMAKE_CROSSCOMPILING)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/wine.sh --prefix tests)
endif()

# quarry_fixture(NAME ...): a program for tests, with the arguments of quarry_program.
function(quarry_fixture name)
  quarry_program(${name} ${ARGN})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin/fixtures)
endfunction()

# quarry_test(NAME SOURCES file... [DEPENDS layer...] [LIBS library...] [NEEDS target...] [TIMEOUT seconds]): a GoogleTest
# program as one test, with tests/support. NEEDS are the fixtures and DLLs that it starts or loads.
function(quarry_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;DEPENDS;LIBS;NEEDS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  quarry_program(
    ${name}
    SOURCES ${arg_SOURCES}
    DEPENDS ${arg_DEPENDS} tests_support
    LINKS ${arg_LIBS} GTest::gmock_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin/tests)
  if(arg_NEEDS)
    add_dependencies(${name} ${arg_NEEDS})
  endif()
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT})
  quarry_needs_lane(${name})
endfunction()

# quarry_needs_lane(TEST): nothing else may use the test's registry, Start menu and desktop while it runs. Under Wine there
# can be several of these, the lanes of lanes.json, which scripts/test.sh hands to CTest; without it, do not ask CTest
# for more than one job.
function(quarry_needs_lane test)
  if(CMAKE_CROSSCOMPILING)
    set_tests_properties(${test} PROPERTIES RESOURCE_GROUPS "lanes:1")
  else()
    set_tests_properties(${test} PROPERTIES RUN_SERIAL ON)
  endif()
endfunction()
