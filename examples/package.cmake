# The examples with an unpacked package, for which this file is examples/CMakeLists.txt:
#
#   cmake -S examples -B build -DCMAKE_PREFIX_PATH=<the package's folder>

cmake_minimum_required(VERSION 3.20)
project(quarryExamples LANGUAGES C CXX)

find_package(quarry 1.1 CONFIG REQUIRED)

if(NOT DEFINED CMAKE_CXX_STANDARD)
  set(CMAKE_CXX_STANDARD 17)
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_STANDARD 11)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
add_compile_definitions(UNICODE _UNICODE)
if(MINGW)
  add_link_options(-static)
endif()

# These find the DLL when they run.
add_executable(host host.c)
add_executable(hostCpp host.cpp)
add_executable(agent agent.cpp)
add_executable(everyCall everyCall.c)
foreach(target host hostCpp agent everyCall)
  target_link_libraries(${target} PRIVATE quarry::headers)
endforeach()
if(MINGW)
  target_link_options(agent PRIVATE -municode)
  target_link_options(everyCall PRIVATE -municode)
endif()

# This one has the system find it.
add_executable(linkedHost linkedHost.c)
target_link_libraries(linkedHost PRIVATE quarry::quarry)

add_custom_target(
  beside ALL
  COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:quarry::quarry> ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}
  COMMENT "quarry.dll lies beside the programs"
  VERBATIM)
