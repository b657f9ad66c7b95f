#include "quarry/windows/windowProbe.h"

#include "quarry/diagnostics/log.h"
#include "quarry/windows/verboseWindowLog.h"

#include "lib/misc/platformHandles.h"

#include <iterator>

namespace quarry {

namespace {

// Microsoft Learn, WNDCLASSEXW: a class name has at most 256 characters.
constexpr std::size_t kLongestClassName = 256;
constexpr std::size_t kLongestTitle = 512;

WindowProcess ProcessUnknown() {
  VerboseLog(L"Failed to get window process data\n");
  return {};
}

const wchar_t* BoolText(bool value) { return value ? L"true" : L"false"; }

}  // namespace

WindowProcess ProbeProcess(HWND window) {
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  if (processId == 0) {
    Log(LogLevel::Error, L"GetWindowThreadProcessId failed! error %ld\n", GetLastError());
    return ProcessUnknown();
  }
  const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  if (!process) {
    VerboseLog(L"OpenProcess failed, process=%ld, error=%ld\n", processId, GetLastError());
    return ProcessUnknown();
  }
  wchar_t path[MAX_PATH] = {};
  DWORD length = MAX_PATH;
  if (QueryFullProcessImageNameW(process.get(), 0, path, &length) == FALSE) {
    Log(LogLevel::Error, L"QueryFullProcessImageName failed! error %ld\n", GetLastError());
    return ProcessUnknown();
  }
  return {static_cast<std::int32_t>(processId), path};
}

WindowAttributes ProbeAttributes(HWND window) {
  WindowAttributes attributes;
  attributes.info.cbSize = sizeof(attributes.info);
  GetWindowInfo(window, &attributes.info);
  wchar_t className[kLongestClassName + 1] = {};
  if (GetClassNameW(window, className, static_cast<int>(std::size(className))) > 0) attributes.className = className;
  // Microsoft Learn, GetWindowText: the title of another process's window is read without a message to it.
  wchar_t title[kLongestTitle + 1] = {};
  if (GetWindowTextW(window, title, static_cast<int>(std::size(title))) > 0) attributes.title = title;
  GetWindowRect(window, &attributes.rectangle);
  return attributes;
}

void DumpAttributes(const WindowAttributes& attributes, const WindowProcess& process) {
  const WINDOWINFO& info = attributes.info;
  const RECT& rectangle = attributes.rectangle;
  VerboseLog(L"    title       = %s\n", attributes.title.c_str());
  VerboseLog(L"    class       = %s\n", attributes.className.c_str());
  VerboseLog(L"    isVisible   = %s\n", BoolText(attributes.IsVisible()));
  VerboseLog(L"    isMinimized = %s\n", BoolText(attributes.IsMinimized()));
  VerboseLog(L"    isChild     = %s\n", BoolText(attributes.HasAny(WS_CHILD)));
  VerboseLog(L"    isCaptioned = %s\n", BoolText(attributes.HasAny(WS_CAPTION)));
  VerboseLog(L"    isPopup     = %s\n", BoolText(attributes.HasAny(WS_POPUP)));
  VerboseLog(L"    isPopup2    = %s\n", BoolText(attributes.HasAny(WS_POPUPWINDOW)));
  VerboseLog(L"    isOverlap   = %s\n", BoolText(attributes.HasAny(WS_OVERLAPPEDWINDOW)));
  VerboseLog(L"    imagePath   = %s\n", process.imagePath.c_str());
  VerboseLog(L"    processId   = %d\n", process.id);
  VerboseLog(L"    windowRect  = {%d,%d,%d,%d}\n", rectangle.left, rectangle.top, rectangle.right, rectangle.bottom);
  VerboseLog(L"    dwStyle     = %ld\n", info.dwStyle);
  VerboseLog(L"    dwExStyle   = %ld\n", info.dwExStyle);
  VerboseLog(L"    dwWinStatus = %ld\n", info.dwWindowStatus);
  VerboseLog(L"    WS_DISABLED     = %s\n", BoolText(attributes.HasAny(WS_DISABLED)));
  VerboseLog(L"    WS_EX_APPWINDOW = %s\n", BoolText((info.dwExStyle & WS_EX_APPWINDOW) != 0));
  VerboseLog(L"    WS_EX_NOACTIVATE= %s\n", BoolText((info.dwExStyle & WS_EX_NOACTIVATE) != 0));
}

}  // namespace quarry
