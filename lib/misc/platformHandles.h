#pragma once

#include "lib/misc/uniqueHandle.h"

#include <windows.h>

#include <objbase.h>
#include <wincrypt.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Owners of the platform's handles and memory blocks, one for each way in which the platform wants them back.

namespace handle_detail {

/// INVALID_HANDLE_VALUE, which is a cast and so no constant expression.
inline constexpr std::intptr_t kInvalidHandle = -1;

/// A window can be destroyed from outside, its owning thread ending included; its handle is then no longer ours.
inline void DestroyOwnWindow(HWND window) {
  if (IsWindow(window)) DestroyWindow(window);
}
inline void ReleaseCryptProvider(HCRYPTPROV provider) { CryptReleaseContext(provider, 0); }
inline void ReleasePages(void* pages) { VirtualFree(pages, 0, MEM_RELEASE); }

}  // namespace handle_detail

/// A handle of CreateFileW, for which INVALID_HANDLE_VALUE means "none".
using UniqueFile = UniqueHandle<HANDLE, CloseHandle, handle_detail::kInvalidHandle>;
/// A handle of a process, thread, event or other kernel object, for which null means "none".
using UniqueKernelHandle = UniqueHandle<HANDLE, CloseHandle>;
/// An enumeration of FindFirstFileExW.
using UniqueFind = UniqueHandle<HANDLE, FindClose, handle_detail::kInvalidHandle>;
/// A module of LoadLibraryW or LoadLibraryExW.
using UniqueModule = UniqueHandle<HMODULE, FreeLibrary>;
/// A key of RegOpenKeyExW or RegCreateKeyExW.
using UniqueRegistryKey = UniqueHandle<HKEY, RegCloseKey>;
/// A window of CreateWindowExW, destroyed on the thread that made it.
using UniqueWindow = UniqueHandle<HWND, handle_detail::DestroyOwnWindow>;
/// A hook of SetWindowsHookExW.
using UniqueHook = UniqueHandle<HHOOK, UnhookWindowsHookEx>;
/// A SID of AllocateAndInitializeSid.
using UniqueSid = UniqueHandle<PSID, FreeSid>;
/// A provider of CryptAcquireContextW.
using UniqueCryptProvider = UniqueHandle<HCRYPTPROV, handle_detail::ReleaseCryptProvider>;
/// A hash object of CryptCreateHash; its provider must outlive it.
using UniqueCryptHash = UniqueHandle<HCRYPTHASH, CryptDestroyHash>;
/// A stream of the runtime library.
using UniqueStdFile = UniqueHandle<std::FILE*, std::fclose>;

/// A block that the platform wants back through LocalFree (security descriptors, access entries, argument vectors).
template <typename T>
using UniqueLocal = UniqueBlock<T, LocalFree>;
/// A block that the platform wants back through CoTaskMemFree (known-folder paths, item ID lists).
template <typename T>
using UniqueCoTaskMem = UniqueBlock<T, CoTaskMemFree>;
/// Pages of VirtualAlloc.
template <typename T>
using UniqueVirtual = UniqueBlock<T, handle_detail::ReleasePages>;
/// A block of the runtime heap.
template <typename T>
using UniqueMalloc = UniqueBlock<T, std::free>;
