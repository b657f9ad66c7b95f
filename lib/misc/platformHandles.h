#pragma once

#include "lib/misc/uniqueHandle.h"

#include <windows.h>

#include <objbase.h>
#include <wincrypt.h>

#include <cstdlib>
#include <memory>

// Owners of the platform's handles and memory blocks, one for each way in which the platform wants them back.

struct FileHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) noexcept { CloseHandle(handle); }
};
/// A handle of CreateFileW, for which INVALID_HANDLE_VALUE means "none".
using UniqueFile = UniqueHandle<FileHandleTraits>;

struct KernelHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { CloseHandle(handle); }
};
/// A handle of a process, thread, event or other kernel object, for which null means "none".
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

struct FindHandleTraits {
  using Handle = HANDLE;
  static Handle Invalid() noexcept { return INVALID_HANDLE_VALUE; }
  static void Close(Handle handle) noexcept { FindClose(handle); }
};
/// An enumeration of FindFirstFileExW.
using UniqueFind = UniqueHandle<FindHandleTraits>;

struct ModuleTraits {
  using Handle = HMODULE;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { FreeLibrary(handle); }
};
/// A module of LoadLibraryW or LoadLibraryExW.
using UniqueModule = UniqueHandle<ModuleTraits>;

struct RegistryKeyTraits {
  using Handle = HKEY;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { RegCloseKey(handle); }
};
/// A key of RegOpenKeyExW or RegCreateKeyExW.
using UniqueRegistryKey = UniqueHandle<RegistryKeyTraits>;

struct WindowTraits {
  using Handle = HWND;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept {
    // A window can be destroyed from outside, its owning thread ending included; its handle is then no longer ours.
    if (IsWindow(handle)) DestroyWindow(handle);
  }
};
/// A window of CreateWindowExW, destroyed on the thread that made it.
using UniqueWindow = UniqueHandle<WindowTraits>;

struct SidTraits {
  using Handle = PSID;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { FreeSid(handle); }
};
/// A SID of AllocateAndInitializeSid.
using UniqueSid = UniqueHandle<SidTraits>;

struct CryptProviderTraits {
  using Handle = HCRYPTPROV;
  static Handle Invalid() noexcept { return 0; }
  static void Close(Handle handle) noexcept { CryptReleaseContext(handle, 0); }
};
/// A provider of CryptAcquireContextW.
using UniqueCryptProvider = UniqueHandle<CryptProviderTraits>;

struct CryptHashTraits {
  using Handle = HCRYPTHASH;
  static Handle Invalid() noexcept { return 0; }
  static void Close(Handle handle) noexcept { CryptDestroyHash(handle); }
};
/// A hash object of CryptCreateHash; its provider must outlive it.
using UniqueCryptHash = UniqueHandle<CryptHashTraits>;

struct LocalFreeDeleter {
  void operator()(void* block) const noexcept { LocalFree(block); }
};
/// A block that the platform wants back through LocalFree (security descriptors, access entries, argument vectors).
template <typename T>
using UniqueLocal = std::unique_ptr<T, LocalFreeDeleter>;

struct CoTaskMemDeleter {
  void operator()(void* block) const noexcept { CoTaskMemFree(block); }
};
/// A block that the platform wants back through CoTaskMemFree (known-folder paths, item ID lists).
template <typename T>
using UniqueCoTaskMem = std::unique_ptr<T, CoTaskMemDeleter>;

struct VirtualFreeDeleter {
  void operator()(void* block) const noexcept { VirtualFree(block, 0, MEM_RELEASE); }
};
/// Pages of VirtualAlloc.
template <typename T>
using UniqueVirtual = std::unique_ptr<T, VirtualFreeDeleter>;

struct FreeDeleter {
  void operator()(void* block) const noexcept { std::free(block); }
};
/// A block of the runtime heap.
template <typename T>
using UniqueMalloc = std::unique_ptr<T, FreeDeleter>;
