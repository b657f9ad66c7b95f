#pragma once

#include <windows.h>

#include <memory>
#include <type_traits>

namespace quarryctl {

// A host has nothing of the library but its public header, so its owners are its own.

struct ModuleFreer {
  void operator()(HMODULE module) const { FreeLibrary(module); }
};
/// A module of LoadLibraryW.
using UniqueModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFreer>;

struct FileCloser {
  using pointer = HANDLE;
  void operator()(HANDLE file) const { CloseHandle(file); }
};
/// A file of CreateFileW; INVALID_HANDLE_VALUE must not be given to it.
using UniqueFile = std::unique_ptr<void, FileCloser>;

struct RegistryKeyCloser {
  void operator()(HKEY key) const { RegCloseKey(key); }
};
/// A key of RegCreateKeyExW.
using UniqueRegistryKey = std::unique_ptr<std::remove_pointer_t<HKEY>, RegistryKeyCloser>;

struct LocalFreer {
  void operator()(void* block) const { LocalFree(block); }
};
/// A block that the platform wants back through LocalFree.
template <typename T>
using UniqueLocal = std::unique_ptr<T, LocalFreer>;

}  // namespace quarryctl
