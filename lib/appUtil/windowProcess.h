#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

// Windows and the processes that they belong to. Messages go to the procedural libraries' log entry. No function here
// waits for a window's message loop.

/// Full path of the executable of the process that owns `window`, on the runtime heap; null when it cannot be told.
UniqueMalloc<wchar_t> System_GetImageFilePathForWindow(HWND window);

/// Opens the process that owns `window`, not inheritable; null when that is refused or the window is gone.
UniqueKernelHandle System_OpenProcessForHWND(HWND window, DWORD access);

/// Brings `window` to the foreground or, unless `focusAsGiven`, the nearest of its parents that is visible, enabled and
/// top-level.
void System_SetFocusedWindow(HWND window, bool focusAsGiven);

// What differs between system versions, apart so that each way can be run on any system.

/// Microsoft Learn, QueryFullProcessImageNameW.
using QueryFullProcessImageNameFn = BOOL(WINAPI*)(HANDLE process, DWORD flags, LPWSTR path, PDWORD length);

/// `query` is null on systems that have no such function; `window` stands in the messages.
UniqueMalloc<wchar_t> AppUtilGetImagePath(HANDLE process, QueryFullProcessImageNameFn query, HWND window);

/// A copy of `path` without the prefix "\??\" of the kernel's own names.
UniqueMalloc<wchar_t> AppUtilCopyWithoutNativePrefix(const wchar_t* path);

/// Takes the foreground for `window` in the way of the system generation (Os_GetGeneration).
void AppUtilTakeForeground(HWND window, int generation);
