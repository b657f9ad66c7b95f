#include "lib/appUtil/windowProcess.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/osVersion.h"

#include <windows.h>

#include <psapi.h>

#include <cwchar>
#include <string_view>

namespace {

constexpr char kGetImageFilePath[] = "System_GetImageFilePathForWindow";
constexpr char kSetFocusedWindow[] = "System_SetFocusedWindow";

LRESULT CALLBACK PassOn(int code, WPARAM wParam, LPARAM lParam) {
  return CallNextHookEx(nullptr, code, wParam, lParam);
}

/// The module that holds this code: the library, not the program that loaded it.
HMODULE OwnModule() {
  HMODULE module = nullptr;
  GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                     reinterpret_cast<LPCWSTR>(&PassOn), &module);
  return module;
}

bool CanTakeFocus(HWND window) {
  WINDOWINFO info{};
  info.cbSize = sizeof(info);
  return GetWindowInfo(window, &info) != FALSE &&
         (info.dwStyle & (WS_CHILD | WS_VISIBLE | WS_DISABLED)) == WS_VISIBLE && window != GetDesktopWindow();
}

HWND NearestFocusable(HWND window) {
  while (window != nullptr && !CanTakeFocus(window)) {
    const HWND parent = GetParent(window);
    LogEntry(kSetFocusedWindow, "Window %p can't take focus, will focus parent %p...\n", window, parent);
    window = parent;
  }
  return window;
}

void TakeForegroundByHook(HWND window) {
  // The system lets a process with a journal hook take the foreground from another one.
  const UniqueHook hook(SetWindowsHookExW(WH_JOURNALRECORD, PassOn, OwnModule(), 0));
  if (!hook) LogEntry(kSetFocusedWindow, "Hook failed, error 0x%lx.\n", GetLastError());
  if (SetForegroundWindow(window) == FALSE) {
    LogEntry(kSetFocusedWindow, "Failed to set foreground window to %p, error 0x%lx.\n", window, GetLastError());
  }
}

void TakeForegroundByInput(HWND window) {
  // Microsoft Learn, SetForegroundWindow: the process that received the last input event may set the foreground window.
  INPUT input{};
  input.type = INPUT_MOUSE;
  input.mi.dwFlags = MOUSEEVENTF_MOVE;
  SendInput(1, &input, sizeof(input));
  SetForegroundWindow(window);
}

}  // namespace

UniqueMalloc<wchar_t> System_GetImageFilePathForWindow(HWND window) {
  // Loaded in every process; even so, holding it once more can fail when memory runs out.
  const UniqueModule kernel(LoadLibraryW(L"kernel32.dll"));
  if (!kernel) {
    const DWORD error = GetLastError();
    LogEntry(kGetImageFilePath, "Failed to load library \"kernel32.dll\".");
    LogEntry(kGetImageFilePath, "LoadLibraryW error %#x.", error);
    return nullptr;
  }
  const auto query = reinterpret_cast<QueryFullProcessImageNameFn>(
      reinterpret_cast<void (*)()>(GetProcAddress(kernel.get(), "QueryFullProcessImageNameW")));
  const DWORD access =
      query != nullptr ? PROCESS_QUERY_LIMITED_INFORMATION : PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
  const UniqueKernelHandle process = System_OpenProcessForHWND(window, access);
  if (!process) return nullptr;
  return AppUtilGetImagePath(process.get(), query, window);
}

UniqueKernelHandle System_OpenProcessForHWND(HWND window, DWORD access) {
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  UniqueKernelHandle process(OpenProcess(access, FALSE, processId));
  if (!process) {
    const DWORD error = GetLastError();
    LogEntry(__func__, "Failed to open pid %u.", processId);
    LogEntry(__func__, "OpenProcess error %#x.", error);
  }
  return process;
}

void System_SetFocusedWindow(HWND window, bool focusAsGiven) {
  LogEntry(__func__, "Focusing window %p\n", window);
  const HWND target = focusAsGiven ? window : NearestFocusable(window);
  if (target == nullptr) {
    LogEntry(__func__, "Can't steal focus without a window!\n");
    return;
  }
  AppUtilTakeForeground(target, Os_GetGeneration());
}

UniqueMalloc<wchar_t> AppUtilGetImagePath(HANDLE process, QueryFullProcessImageNameFn query, HWND window) {
  wchar_t path[MAX_PATH] = {};
  if (query != nullptr) {
    DWORD length = MAX_PATH;
    if (query(process, 0, path, &length) != FALSE) return UniqueMalloc<wchar_t>(_wcsdup(path));
    const DWORD error = GetLastError();
    LogEntry(kGetImageFilePath, "Failed to get image file path for window %p.", window);
    LogEntry(kGetImageFilePath, "QueryFullProcessImageNameW error %#x.", error);
    return nullptr;
  }
  if (GetModuleFileNameExW(process, nullptr, path, MAX_PATH) != 0) return AppUtilCopyWithoutNativePrefix(path);
  const DWORD error = GetLastError();
  LogEntry(kGetImageFilePath, "Failed to get image file path for window %p.", window);
  LogEntry(kGetImageFilePath, "GetModuleFileNameExW error %#x.", error);
  return nullptr;
}

UniqueMalloc<wchar_t> AppUtilCopyWithoutNativePrefix(const wchar_t* path) {
  constexpr std::wstring_view kPrefix = L"\\??\\";
  const bool prefixed = std::wstring_view(path).starts_with(kPrefix);
  return UniqueMalloc<wchar_t>(_wcsdup(prefixed ? path + kPrefix.size() : path));
}

void AppUtilTakeForeground(HWND window, int generation) {
  if (generation < kOsGenerationVista) {
    TakeForegroundByHook(window);
  } else {
    TakeForegroundByInput(window);
  }
}
