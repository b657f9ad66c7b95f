# How this tree's own code is compiled. Everything that names one compiler is in this folder, nothing in the layers.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

add_library(quarry_options INTERFACE)
target_include_directories(quarry_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_definitions(
  quarry_options
  INTERFACE UNICODE
            _UNICODE
            WINVER=0x0A00
            _WIN32_WINNT=0x0A00
            NOMINMAX
            WIN32_LEAN_AND_MEAN)

if(MSVC)
  # The resource compiler does not know these.
  target_compile_options(quarry_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:/W4;/WX;/permissive-;/utf-8;/EHsc;/Zc:threadSafeInit->)
  target_compile_definitions(quarry_options INTERFACE _CRT_SECURE_NO_WARNINGS)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
else()
  target_compile_options(
    quarry_options
    INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow;-Werror>)
  # One thread calls the library at a time. A lock around each static's first use would need memory, and the run time
  # hangs or aborts where it gets none.
  target_compile_options(quarry_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-threadsafe-statics>)
endif()
