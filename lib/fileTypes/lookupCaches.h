#pragma once

#include "lib/fileTypes/fileTypeInfo.h"
#include "lib/unicode/unicode.h"

#include <map>
#include <set>
#include <string>

/// What was found out about the registry's names, shared by all records and kept over builds.
struct FileTypeCaches {
  template <typename Value>
  using ByName = std::map<std::string, Value, Unicode_LessIgnoreCase>;

  ByName<FileTypeHandler> progIdCache;                            ///< by prog ID or application name
  std::map<std::wstring, FileTypeHandler> commandLineCache;       ///< by command line, exactly as written
  ByName<std::string> friendlyTypeNameCache;                      ///< by prog ID; empty names too
  ByName<std::string> friendlyNameCache;                          ///< the shell's names, by type name
  ByName<std::string> indirectNameCache;                          ///< by name as registered
  std::set<std::string, Unicode_LessIgnoreCase> unresolvedNames;  ///< those that failed since the last build

  void Clear();
};

/// The one set of caches of the process.
FileTypeCaches& AppUtilFileTypeCaches();
