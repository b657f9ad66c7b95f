# Tests and the programs that they use.
#
#   build/bin/quarry.dll
#   build/bin/tests/NAME.exe      finds the others by its own path
#   build/bin/fixtures/NAME.exe

if(CMAKE_CROSSCOMPILING)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/wine.sh --prefix tests)
endif()

# quarry_test_support(SOURCES file... [LINKS library...]): the static library test_support, which every test links.
function(quarry_test_support)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "" "SOURCES;LINKS")
  add_library(test_support STATIC ${arg_SOURCES})
  target_link_libraries(test_support PUBLIC quarry_options ${arg_LINKS})
endfunction()

# quarry_fixture(NAME SOURCES file... [LINKS library...] [RC file] [SUBSYSTEM windows] [WIDE_MAIN]): a program for tests.
function(quarry_fixture name)
  quarry_executable(${name} ${ARGN})
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin/fixtures)
endfunction()

# quarry_test(NAME SOURCES file... [LIBS library...] [NEEDS target...] [TIMEOUT seconds]): a GoogleTest program as one
# test. NEEDS are the fixtures and DLLs that it starts or loads.
function(quarry_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LIBS;NEEDS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
  quarry_executable(${name} SOURCES ${arg_SOURCES} LINKS ${arg_LIBS} test_support GTest::gmock_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin/tests)
  if(arg_NEEDS)
    add_dependencies(${name} ${arg_NEEDS})
  endif()
  add_test(NAME ${name} COMMAND ${name})
  # The tests share one registry, one Start menu and one desktop.
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} RUN_SERIAL ON)
endfunction()
