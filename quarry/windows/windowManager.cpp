#include "quarry/windows/windowManager.h"

#include "quarry/diagnostics/log.h"
#include "quarry/paths/expandPath.h"
#include "quarry/windows/verboseWindowLog.h"
#include "quarry/windows/windowImpl.h"
#include "quarry/windows/windowProbe.h"
#include "quarry/windows/windowProcesses.h"

#include "lib/seamlyFilter/filter.h"

#include <algorithm>
#include <exception>
#include <string_view>

namespace quarry {

namespace {

constexpr wchar_t kHiddenWindowsEvent[] = L"Local\\VelkorSeamlyWindowsHiddenByHost";
constexpr wchar_t kTrayIconsEvent[] = L"Local\\SeamlyTrayIconsActiveEvent";

/// What is decided of a window before all other tests. No window is kept so today: the answer is for one that has to be
/// listed whatever the rules of administrators and its own styles say.
enum class SpecialCase { None, Skip, Keep };

/// Not set at first. Asks for no more than waiting takes: who made the event may grant no more.
UniqueKernelHandle MakeOrOpenEvent(const wchar_t* name) {
  return UniqueKernelHandle(CreateEventExW(nullptr, name, CREATE_EVENT_MANUAL_RESET, SYNCHRONIZE));
}

bool IsSignalled(const UniqueKernelHandle& event) {
  return event && WaitForSingleObject(event.get(), 0) == WAIT_OBJECT_0;
}

wchar_t LowerAscii(wchar_t character) {
  return character >= L'A' && character <= L'Z' ? static_cast<wchar_t>(character - L'A' + L'a') : character;
}

bool SameImagePath(std::wstring_view left, std::wstring_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t one, wchar_t other) { return LowerAscii(one) == LowerAscii(other); });
}

SpecialCase FindSpecialCase(WindowProbe& window, const std::wstring& imagePath) {
  static const std::wstring shell = ExpandPath(L"%windir%\\explorer.exe");
  static const std::wstring taskHost = ExpandPath(L"%windir%\\system32\\taskhost");
  if (imagePath == shell && window.HasAny(WS_CAPTION) && window.Title().empty()) return SpecialCase::Skip;
  if (!imagePath.starts_with(taskHost)) return SpecialCase::None;
  // The input method's floating bar.
  const bool languageBar =
      window.Title() == L"TF_FloatingLangBar_WndTitle" || window.ClassName() == L"CiceroUIWndFrame";
  return languageBar ? SpecialCase::Skip : SpecialCase::None;
}

bool IsTooSmall(const RECT& rectangle) {
  const std::int64_t width = std::int64_t{rectangle.right} - rectangle.left;
  const std::int64_t height = std::int64_t{rectangle.bottom} - rectangle.top;
  return width < 2 && height < 2;
}

bool IsTaskbar(const std::wstring& className) {
  return className == L"Shell_TrayWnd" || className == L"Shell_SecondaryTrayWnd";
}

/// Runs the tests by which a window is kept or skipped. The first that decides ends them.
bool IsWanted(WindowProbe& window, const WindowProcess& process, const WindowCriteria& criteria,
              SeamlyFilterPrograms& programs) {
  const SpecialCase special = FindSpecialCase(window, process.imagePath);
  if (special == SpecialCase::Skip) {
    VerboseLog(L"    Skipped (special case)\n");
    return false;
  }
  if (special == SpecialCase::Keep) {
    VerboseLog(L"    Kept (special case)\n");
    return true;
  }
  if (window.HasAny(WS_CHILD)) {
    VerboseLog(L"    Skipped (child)\n");
    return false;
  }
  if ((criteria.flags & WindowCriteria::kMatchImagePath) != 0 &&
      !SameImagePath(process.imagePath, criteria.imagePath)) {
    VerboseLog(L"    Skipped (image path mismatch)\n");
    return false;
  }
  if ((criteria.flags & WindowCriteria::kMatchVisibility) != 0 && window.IsVisible() != criteria.visible) {
    VerboseLog(L"    Skipped (visibility mismatch)\n");
    return false;
  }
  if (IsTooSmall(window.Info().rcWindow)) {
    VerboseLog(L"    Skipped (window is too small)\n");
    return false;
  }
  const SeamlyFilterMatch rule =
      SeamlyFilter_FindMatchingRule({window.Handle(), window.ClassName(), process.imagePath}, programs);
  if (rule.matched && rule.action == RuleAction::Block) {
    VerboseLog(L"    Skipped (blocked by filter)\n");
    return false;
  }
  constexpr DWORD kBalloon = WS_EX_TRANSPARENT | WS_EX_LAYERED;
  if (rule.windowType != WindowType::Tooltip && (window.Info().dwExStyle & kBalloon) == kBalloon) {
    VerboseLog(L"    Skipped (transparent balloon window)\n");
    return false;
  }
  // Child windows are gone by now; this holds for a chain whose order is changed.
  if (window.HasAny(WS_CHILD) && rule.windowType != WindowType::Combobox) {
    VerboseLog(L"    Skipped (child window)\n");
    return false;
  }
  if (IsTaskbar(window.ClassName())) {
    VerboseLog(L"    Skipped (taskbar window)\n");
    return false;
  }
  VerboseLog(L"    Kept (attribute match)\n");
  return true;
}

/// What travels through the platform's enumeration.
struct Enumeration {
  WindowCriteria criteria;
  WindowList windows;
  WindowProcesses processes;
  SeamlyFilterPrograms programs;
  bool delivered = false;
  std::exception_ptr failure;  // must not pass through the platform's frames
};

void Classify(HWND handle, Enumeration& enumeration) {
  VerboseLog(L"Found a window, handle %p...\n", handle);
  const WindowProcess process = enumeration.processes.Of(handle);
  if (process.id == static_cast<std::int32_t>(GetCurrentProcessId())) {
    VerboseLog(L"    Skipped (own process)\n");
    return;
  }
  WindowProbe window(handle);
  if (IsVerboseWindowLogOn()) DumpAttributes(window, process);
  if (!IsWanted(window, process, enumeration.criteria, enumeration.programs)) return;
  enumeration.windows.push_back(std::make_shared<WindowImpl>(handle, process.id, window.Title(), process.imagePath,
                                                             window.IsVisible(), window.IsMinimized()));
}

BOOL CALLBACK Visit(HWND window, LPARAM parameter) noexcept {
  auto& enumeration = *reinterpret_cast<Enumeration*>(parameter);
  enumeration.delivered = true;
  if (enumeration.failure != nullptr) return TRUE;
  try {
    Classify(window, enumeration);
  } catch (...) {
    enumeration.failure = std::current_exception();
  }
  return TRUE;
}

WindowList FindWindows(const WindowCriteria& criteria) {
  Enumeration enumeration{criteria, {}, {}, {}, false, nullptr};
  const auto parameter = reinterpret_cast<LPARAM>(&enumeration);
  EnumChildWindows(nullptr, Visit, parameter);
  // Microsoft Learn, EnumChildWindows: without a parent it is equivalent to EnumWindows. Not every system does it.
  if (!enumeration.delivered) EnumWindows(Visit, parameter);
  if (enumeration.failure != nullptr) std::rethrow_exception(enumeration.failure);
  return std::move(enumeration.windows);
}

void LogResults(const WindowList& windows) {
  Log(LogLevel::Detail, L"Window enumeration results: %d\n", static_cast<int>(windows.size()));
  int number = 0;
  for (const WindowPtr& window : windows) {
    Log(LogLevel::Detail, L"#%d title=\"%s\" image=\"%s\"\n", ++number, window->GetTitle().c_str(),
        window->GetImagePath().c_str());
  }
}

}  // namespace

WindowManager::WindowManager() {
  hiddenWindowsEvent_ = MakeOrOpenEvent(kHiddenWindowsEvent);
  if (!hiddenWindowsEvent_) {
    Log(LogLevel::Error, L"Failed to create hidden Seamly window event with error 0x%08x.\n", GetLastError());
  }
  trayIconsEvent_ = MakeOrOpenEvent(kTrayIconsEvent);
  if (!trayIconsEvent_) {
    Log(LogLevel::Error, L"Failed to create Seamly tray icons active event with error 0x%08x.\n", GetLastError());
  }
}

WindowList WindowManager::Enumerate(const WindowCriteria& criteria) const {
  Log(LogLevel::Detail, L"Enumerating all windows...\n");
  WindowList windows = FindWindows(criteria);
  if ((criteria.flags & WindowCriteria::kMatchImagePath) == 0) AddDummyWindow(windows);
  LogResults(windows);
  return windows;
}

void WindowManager::AddDummyWindow(WindowList& windows) const {
  const bool hidden = IsSignalled(hiddenWindowsEvent_);
  const bool trayIcons = IsSignalled(trayIconsEvent_);
  if (hidden) {
    Log(LogLevel::Detail, L"One or more Seamly windows were hidden by the client. Adding a dummy window.\n");
  }
  if (trayIcons) {
    Log(LogLevel::Detail,
        L"One or more system tray icons were added by applications that were launched by the user. Adding a dummy "
        L"window.\n");
  }
  if (!hidden && !trayIcons) return;
  windows.push_back(std::make_shared<WindowImpl>(nullptr, 0, L"Hidden Seamly window", L"", true, false));
}

}  // namespace quarry
