// A busy session, with the verbose window log off.

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/windowMaker.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <memory>

namespace quarry::test {
namespace {

constexpr int kProcesses = 20;
constexpr int kWindowsOfEach = 15;

/// The platform's part of the work on one window.
BOOL CALLBACK AskPlatform(HWND window, LPARAM) {
  DWORD processId = 0;
  GetWindowThreadProcessId(window, &processId);
  const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, processId));
  wchar_t text[513] = {};
  DWORD length = MAX_PATH;
  QueryFullProcessImageNameW(process.get(), 0, text, &length);
  WINDOWINFO info{};
  info.cbSize = sizeof(info);
  GetWindowInfo(window, &info);
  GetClassNameW(window, text, 257);
  GetWindowTextW(window, text, 513);
  RECT rectangle{};
  GetWindowRect(window, &rectangle);
  return TRUE;
}

/// The fastest of so many times: others use the machine too.
double MillisecondsOf(int times, const auto& operation) {
  double fastest = 1e9;
  for (int round = 0; round < times; ++round) {
    const auto start = std::chrono::steady_clock::now();
    operation();
    fastest =
        std::min(fastest, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
  }
  return fastest;
}

TEST(WindowManager, ListsManyWindowsOnceEachAndKeepsNothing) {
  std::vector<std::unique_ptr<WindowMaker>> makers;
  std::map<std::wstring, int> expected;
  for (int process = 0; process < kProcesses; ++process) {
    std::vector<WindowSpec> specs;
    for (int window = 0; window < kWindowsOfEach; ++window) {
      specs.push_back({L"Window " + std::to_wstring(process) + L"." + std::to_wstring(window)});
      expected[specs.back().title] = 1;
    }
    makers.push_back(std::make_unique<WindowMaker>(specs));
  }
  for (const bool withRule : {false, true}) {
    const RegistryFixture rules(kFilterKey);
    if (withRule) rules.SetString({}, L"one", L"company=Nobody;classname=QuarryTestWindow;action=block");
    const QuarryHost host;
    std::map<std::wstring, int> listed;
    const double first = MillisecondsOf(1, [&] {
      for (const QuarryWindowInfo& window : host.GetOpenWindows()) {
        if (std::wstring_view(window.title).starts_with(L"Window ")) ++listed[window.title];
      }
    });
    EXPECT_EQ(listed, expected);
    EXPECT_TRUE(HostLog::Holding(L"Found a window").empty());
    const double whole = MillisecondsOf(5, [&] { host.GetOpenWindows(); });
    const double platform = MillisecondsOf(5, [] { EnumWindows(AskPlatform, 0); });
    std::printf("%zu windows, %d rule: %.1f ms at first, then %.1f ms, of which the platform's queries take %.1f ms\n",
                expected.size(), withRule ? 1 : 0, first, whole, platform);
    EXPECT_LT(whole, 3 * platform + 50);
  }

  // The count of calls is what matters here: fewer windows make them quick.
  makers.resize(1);
  const RegistryFixture rules(kFilterKey);
  rules.SetString({}, L"one", L"company=Nobody;action=block");
  const QuarryHost host;
  const ResourceGrowth growth = GrowthOf(
      [&] {
        HostLog::Clear();
        host.GetOpenWindows();
      },
      1'000);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
  EXPECT_LT(growth.heapBytes, 4'096);
}

}  // namespace
}  // namespace quarry::test
