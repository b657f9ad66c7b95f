# Cross-builds for 64-bit Windows with Clang and its linker, which write the symbols that Windows debuggers read. The
# platform's headers, the run times and the libraries are those of the GCC toolchain, so both can be mixed.

include(${CMAKE_CURRENT_LIST_DIR}/toolchain-mingw64.cmake)

execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name OUTPUT_VARIABLE quarryGcc
                OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
cmake_path(GET quarryGcc PARENT_PATH quarryGcc)

set(CMAKE_C_COMPILER clang-16)
set(CMAKE_CXX_COMPILER clang++-16)
# The same sources give the same bytes in any folder: neither its name nor the time gets in.
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH quarryRoot)
set(quarryPathFlags "\"-ffile-prefix-map=${quarryRoot}/=\" -fdebug-compilation-dir=.")

foreach(language C CXX)
  set(CMAKE_${language}_COMPILER_TARGET x86_64-w64-mingw32)
  set(CMAKE_${language}_FLAGS_INIT "${quarryPathFlags}")
  set(CMAKE_${language}_FLAGS_RELWITHDEBINFO "-O2 -g -gcodeview -gno-codeview-command-line -DNDEBUG" CACHE STRING "" FORCE)
endforeach()
string(APPEND CMAKE_CXX_FLAGS_INIT " -nostdinc++ -isystem ${quarryGcc}/include/c++"
       " -isystem ${quarryGcc}/include/c++/x86_64-w64-mingw32 -isystem ${quarryGcc}/include/c++/backward")

# Unlike GCC, it does not know by itself that libstdc++ of the POSIX flavour needs winpthreads, wherever that stands.
string(APPEND quarryLinkerFlags " -fuse-ld=lld-16 -L${quarryGcc} -lpthread -Wno-unused-command-line-argument")
# NAME.pdb beside NAME.dll and NAME.exe, which name it without a folder.
string(APPEND quarryLinkerFlags " -Wl,--pdb= -Wl,-Xlink=-Brepro -Wl,-Xlink=-pdbaltpath:%_PDB%"
       " -Wl,-Xlink=-pdbsourcepath:C:/quarry")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${quarryLinkerFlags}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${quarryLinkerFlags}")
