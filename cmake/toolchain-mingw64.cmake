# Cross-builds for 64-bit Windows with the POSIX-threads flavour of mingw-w64: it is the one whose <thread> and <mutex> work.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# -g1 keeps function names and lines for crash reports at a fifth of the size of full debug information.
foreach(language C CXX)
  set(CMAKE_${language}_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "")
  set(CMAKE_${language}_FLAGS_RELWITHDEBINFO "-O2 -g1 -DNDEBUG" CACHE STRING "")
endforeach()

# A host loads the DLL from its own folder: nothing of the compiler's run time may have to lie beside it.
set(quarryLinkerFlags "-static -Wl,--dynamicbase,--nxcompat,--high-entropy-va")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${quarryLinkerFlags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${quarryLinkerFlags}")
