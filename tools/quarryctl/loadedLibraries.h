#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace quarryctl {

/// The quarry.dll of other processes.
struct LoadedLibraries {
  struct Module {
    std::wstring program;  ///< the process's file name
    std::wstring path;     ///< of its quarry.dll
  };
  std::vector<Module> modules;
  std::size_t hidden = 0;  ///< processes that this one may not look into
};

LoadedLibraries FindLoadedLibraries();

}  // namespace quarryctl
