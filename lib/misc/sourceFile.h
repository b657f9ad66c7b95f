#pragma once

#include "lib/misc/platformHandles.h"

#include <string>

/// A program, library or icon file that resources are taken from. While it is open nobody can write to it: it stays
/// what it was when it was judged.
struct SourceFile {
  UniqueFile file;    ///< null, with the platform's error in GetLastError, when there is no such file on a disk
  std::wstring path;  ///< what the platform is to be asked for, so that it finds this very file
};

/// Opens the program at `path` where the platform looks for it: a name without a folder along the search path, one
/// without an extension also with ".dll". Source: Microsoft Learn, LoadLibraryExW and SearchPathW.
SourceFile OpenSourceFile(const std::wstring& path);
