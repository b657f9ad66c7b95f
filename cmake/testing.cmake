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
  # The tests share one registry, one Start menu and one desktop.
  set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} RUN_SERIAL ON)
endfunction()
