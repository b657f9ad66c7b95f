// The windows of another process: all of them visible, or one in five.

#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/windowMaker.h"

#include <windows.h>

#include <unordered_map>

#include "bench/path.h"

namespace quarry::bench {

namespace {

constexpr int kLongestText = 512;

std::vector<test::WindowSpec> Windows(int count, int visibleEvery) {
  std::vector<test::WindowSpec> windows;
  for (int index = 0; index < count; ++index) {
    test::WindowSpec window{L"Window " + std::to_wstring(index)};
    if (index % visibleEvery != 0) window.style = WS_OVERLAPPEDWINDOW;
    windows.push_back(window);
  }
  return windows;
}

std::wstring ImagePathOf(HANDLE process) {
  wchar_t path[MAX_PATH] = {};
  DWORD length = MAX_PATH;
  QueryFullProcessImageNameW(process, 0, path, &length);
  return path;
}

struct Listed {
  std::wstring title;
  std::wstring className;
  std::wstring imagePath;
};

BOOL CALLBACK VisitNaively(HWND window, LPARAM parameter) {
  DWORD id = 0;
  GetWindowThreadProcessId(window, &id);
  const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
  Listed listed;
  listed.imagePath = ImagePathOf(process.get());
  WINDOWINFO info{};
  info.cbSize = sizeof(info);
  GetWindowInfo(window, &info);
  wchar_t text[kLongestText] = {};
  GetClassNameW(window, text, kLongestText);
  listed.className = text;
  GetWindowTextW(window, text, kLongestText);
  listed.title = text;
  RECT rectangle{};
  GetWindowRect(window, &rectangle);
  if ((info.dwStyle & WS_VISIBLE) != 0) reinterpret_cast<std::vector<Listed>*>(parameter)->push_back(listed);
  return TRUE;
}

struct BestListing {
  std::vector<Listed> windows;
  std::unordered_map<DWORD, std::wstring> processes;
};

BOOL CALLBACK VisitBest(HWND window, LPARAM parameter) {
  auto& listing = *reinterpret_cast<BestListing*>(parameter);
  WINDOWINFO info{};
  info.cbSize = sizeof(info);
  GetWindowInfo(window, &info);
  if ((info.dwStyle & WS_VISIBLE) == 0) return TRUE;
  DWORD id = 0;
  GetWindowThreadProcessId(window, &id);
  const auto [process, isNew] = listing.processes.try_emplace(id);
  if (isNew) {
    const UniqueKernelHandle handle(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, id));
    process->second = ImagePathOf(handle.get());
  }
  wchar_t className[kLongestText] = {};
  GetClassNameW(window, className, kLongestText);
  wchar_t title[kLongestText] = {};
  GetWindowTextW(window, title, kLongestText);
  listing.windows.push_back({title, className, process->second});
  return TRUE;
}

class WindowsSubject : public Subject {
 public:
  WindowsSubject(int count, int visibleEvery) : maker_(Windows(count, visibleEvery)) {}

  std::shared_ptr<void> Library() override { return std::make_shared<test::WindowArray>(host_.GetOpenWindows()); }
  void Naive() override {
    std::vector<Listed> windows;
    EnumWindows(VisitNaively, reinterpret_cast<LPARAM>(&windows));
  }
  void Best() override {
    BestListing listing;
    EnumWindows(VisitBest, reinterpret_cast<LPARAM>(&listing));
  }

 private:
  test::WindowMaker maker_;
  test::QuarryHost host_;
};

}  // namespace

std::vector<Path> WindowsPaths() {
  return {
      {"window of a process already seen", 20, 220,
       [](int count) { return std::make_unique<WindowsSubject>(count, 1); }},
      {"window, one in five visible", 20, 220, [](int count) { return std::make_unique<WindowsSubject>(count, 5); }}};
}

}  // namespace quarry::bench
