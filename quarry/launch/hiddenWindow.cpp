#include "quarry/launch/hiddenWindow.h"

#include "quarry/diagnostics/log.h"

namespace quarry {

namespace {

constexpr wchar_t kClassName[] = L"VelkorQuarryHiddenWindow";

/// The class outlives the windows made of it, so a later facade of the process finds it there.
bool RegisterWindowClass(HINSTANCE instance) {
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = DefWindowProcW;
  windowClass.hInstance = instance;
  windowClass.lpszClassName = kClassName;
  if (RegisterClassW(&windowClass) != 0) return true;
  const DWORD error = GetLastError();
  Log(LogLevel::Error, L"RegisterClass failed, err=%u\n", error);
  return error == ERROR_CLASS_ALREADY_EXISTS;
}

}  // namespace

UniqueWindow CreateHiddenWindow() {
  Log(LogLevel::Detail, L"Creating hidden window to help with window activation\n");
  const HINSTANCE instance = GetModuleHandleW(nullptr);
  UniqueWindow window;
  if (RegisterWindowClass(instance)) {
    window.attach(CreateWindowExW(0, kClassName, L"VelkorQuarry", WS_POPUP, CW_USEDEFAULT, 0, 0, 0, HWND_MESSAGE,
                                  nullptr, instance, nullptr));
    if (!window) Log(LogLevel::Error, L"CreateWindow failed, err=%u\n", GetLastError());
  }
  if (IsWindow(window.get()) != FALSE) {
    Log(LogLevel::Detail, L"Successfully created hidden window\n");
  } else {
    Log(LogLevel::Error, L"Failed to create hidden window\n");
  }
  return window;
}

}  // namespace quarry
