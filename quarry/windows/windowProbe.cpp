#include "quarry/windows/windowProbe.h"

#include "quarry/windows/verboseWindowLog.h"

#include <iterator>

namespace quarry {

namespace {

// Microsoft Learn, WNDCLASSEXW: a class name has at most 256 characters.
constexpr std::size_t kLongestClassName = 256;
constexpr std::size_t kLongestTitle = 512;

const wchar_t* BoolText(bool value) { return value ? L"true" : L"false"; }

}  // namespace

WindowProbe::WindowProbe(HWND window) : window_(window) {
  info_.cbSize = sizeof(info_);
  GetWindowInfo(window_, &info_);
}

const std::wstring& WindowProbe::ClassName() {
  if (!className_) {
    wchar_t name[kLongestClassName + 1] = {};
    className_ = GetClassNameW(window_, name, static_cast<int>(std::size(name))) > 0 ? name : L"";
  }
  return *className_;
}

const std::wstring& WindowProbe::Title() {
  if (!title_) {
    // Microsoft Learn, GetWindowText: the title of another process's window is read without a message to it.
    wchar_t title[kLongestTitle + 1] = {};
    title_ = GetWindowTextW(window_, title, static_cast<int>(std::size(title))) > 0 ? title : L"";
  }
  return *title_;
}

void DumpAttributes(WindowProbe& window, const WindowProcess& process) {
  const WINDOWINFO& info = window.Info();
  const RECT& rectangle = info.rcWindow;
  VerboseLog(L"    title       = %s\n", window.Title().c_str());
  VerboseLog(L"    class       = %s\n", window.ClassName().c_str());
  VerboseLog(L"    isVisible   = %s\n", BoolText(window.IsVisible()));
  VerboseLog(L"    isMinimized = %s\n", BoolText(window.IsMinimized()));
  VerboseLog(L"    isChild     = %s\n", BoolText(window.HasAny(WS_CHILD)));
  VerboseLog(L"    isCaptioned = %s\n", BoolText(window.HasAny(WS_CAPTION)));
  VerboseLog(L"    isPopup     = %s\n", BoolText(window.HasAny(WS_POPUP)));
  VerboseLog(L"    isPopup2    = %s\n", BoolText(window.HasAny(WS_POPUPWINDOW)));
  VerboseLog(L"    isOverlap   = %s\n", BoolText(window.HasAny(WS_OVERLAPPEDWINDOW)));
  VerboseLog(L"    imagePath   = %s\n", process.imagePath.c_str());
  VerboseLog(L"    processId   = %d\n", process.id);
  VerboseLog(L"    windowRect  = {%d,%d,%d,%d}\n", rectangle.left, rectangle.top, rectangle.right, rectangle.bottom);
  VerboseLog(L"    dwStyle     = %ld\n", info.dwStyle);
  VerboseLog(L"    dwExStyle   = %ld\n", info.dwExStyle);
  VerboseLog(L"    dwWinStatus = %ld\n", info.dwWindowStatus);
  VerboseLog(L"    WS_DISABLED     = %s\n", BoolText(window.HasAny(WS_DISABLED)));
  VerboseLog(L"    WS_EX_APPWINDOW = %s\n", BoolText((info.dwExStyle & WS_EX_APPWINDOW) != 0));
  VerboseLog(L"    WS_EX_NOACTIVATE= %s\n", BoolText((info.dwExStyle & WS_EX_NOACTIVATE) != 0));
}

}  // namespace quarry
