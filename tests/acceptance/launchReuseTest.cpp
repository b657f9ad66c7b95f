#include "lib/misc/platformHandles.h"
#include "lib/string/str.h"

#include "tests/support/quarryHost.h"
#include "tests/support/startedPrograms.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <functional>
#include <string>

namespace {

using namespace quarry::test;
using testing::IsEmpty;
using testing::SizeIs;

constexpr wchar_t kTitle[] = L"Quarry launch test window";
constexpr wchar_t kEvent[] = L"Local\\QuarryLaunchTestEnd";
constexpr ULONGLONG kLongestWait = 5'000;  // milliseconds

bool Eventually(const std::function<bool()>& holds) {
  const ULONGLONG begin = GetTickCount64();
  while (!holds()) {
    if (GetTickCount64() - begin > kLongestWait) return false;
    Sleep(10);
  }
  return true;
}

/// Instances of the fixture program that show a window until the test ends.
class LaunchReuse : public testing::Test {
 protected:
  void TearDown() override {
    SetEvent(end_.get());
    EXPECT_TRUE(Eventually([] { return FindWindowW(nullptr, kTitle) == nullptr; }));
    programs_.All();
  }

  std::uint32_t Run(std::uint32_t flags, const std::wstring& arguments = L"") {
    HostLog::Clear();
    return host_->LaunchApplication(program_.c_str(), flags, arguments.c_str(), L"", 0, nullptr);
  }
  /// Starts an instance through the library and returns its window.
  HWND ShowInstance(std::uint32_t flags, DWORD style = WS_OVERLAPPEDWINDOW) {
    programs_.Forget();
    windowArguments_ = Str_FormatWide(L"--window %lx \"%s\" --wait %s", style, kTitle, kEvent);
    EXPECT_EQ(Run(flags, windowArguments_), QUARRY_LAUNCH_OK);
    EXPECT_THAT(programs_.Wait(1), SizeIs(1));
    EXPECT_TRUE(Eventually([] { return FindWindowW(nullptr, kTitle) != nullptr; }));
    programs_.Forget();
    return FindWindowW(nullptr, kTitle);
  }
  bool SaidAlreadyRunning() const {
    return HostLog::Count(2, L"Application " + program_ + L" already running; launch not attempted\n") == 1;
  }

  UniqueKernelHandle end_{CreateEventW(nullptr, TRUE, FALSE, kEvent)};
  StartedPrograms programs_;
  std::wstring program_ = programs_.Program();
  std::wstring windowArguments_;
  QuarryHost host_;
};

TEST_F(LaunchReuse, StartsWhatIsNotRunningAndBringsForwardWhatIs) {
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING, L"first"), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Application " + program_ + L" is not already running. Proceeding to launch\n"), 1U);
  EXPECT_THAT(programs_.Wait(1), SizeIs(1));

  HWND window = ShowInstance(0);
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(SaidAlreadyRunning());
  EXPECT_TRUE(Eventually([window] { return GetForegroundWindow() == window; }));
  EXPECT_EQ(HostLog::Count(3, L"Getting windows for app " + program_ + L" (image path " + program_ + L")\n"), 1U);

  const QuarryLaunchParameter parameter = {L"appCommandLine", L"/x"};
  EXPECT_THAT(programs_.All(), IsEmpty());
  HostLog::Clear();
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), QUARRY_LAUNCH_REUSE_RUNNING, L"", L"", 1, &parameter),
            QUARRY_LAUNCH_OK);
  EXPECT_THAT(HostLog::Holding(L"Enumerating windows for"), IsEmpty());
  EXPECT_THAT(programs_.Wait(1), SizeIs(1));
}

TEST_F(LaunchReuse, MaximisesOrRestoresTheWindowBroughtForward) {
  HWND window = ShowInstance(0);
  ShowWindow(window, SW_MINIMIZE);
  ASSERT_TRUE(Eventually([window] { return IsIconic(window) != FALSE; }));
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Restore app main window\n"), 1U);
  EXPECT_TRUE(Eventually([window] { return IsIconic(window) == FALSE; }));
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_MAXIMIZE), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Maximizing app main window\n"), 1U);
  EXPECT_TRUE(Eventually([window] { return IsZoomed(window) != FALSE; }));
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_NE(IsZoomed(window), FALSE);  // a window that is open stays as it is
}

TEST_F(LaunchReuse, RestoresAWindowThatCannotBeMaximised) {
  ShowInstance(0, WS_OVERLAPPED | WS_CAPTION);
  EXPECT_EQ(Run(QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_MAXIMIZE), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Restore app main window\n"), 1U);
}

TEST_F(LaunchReuse, ComparesTrackedProcessesByTargetAndArguments) {
  constexpr std::uint32_t kBoth = QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_TRACK_PROCESSES;
  ShowInstance(0);
  EXPECT_EQ(Run(kBoth, L"one"), QUARRY_LAUNCH_OK);  // a window, but no process that is tracked
  EXPECT_FALSE(SaidAlreadyRunning());
  EXPECT_THAT(programs_.All(), SizeIs(1));
  EXPECT_EQ(Run(kBoth, L"two"), QUARRY_LAUNCH_OK);  // the tracked one has ended
  EXPECT_FALSE(SaidAlreadyRunning());
  EXPECT_THAT(programs_.All(), SizeIs(2));

  ShowInstance(kBoth);
  EXPECT_EQ(Run(kBoth, windowArguments_), QUARRY_LAUNCH_OK);  // the same once more is a second instance
  EXPECT_FALSE(SaidAlreadyRunning());
  EXPECT_THAT(programs_.All(), SizeIs(1));
  EXPECT_EQ(Run(kBoth, L"other"), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(SaidAlreadyRunning());
  EXPECT_THAT(programs_.All(), SizeIs(1));
}

TEST_F(LaunchReuse, AlwaysStartsANewCommandPrompt) {
  HostLog::Clear();
  EXPECT_EQ(host_->LaunchApplication(L"%windir%\\system32\\cmd.exe", QUARRY_LAUNCH_REUSE_RUNNING, L"/c exit", L"", 0,
                                     nullptr),
            QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Command prompt always launches a new window.\n"), 1U);
  EXPECT_THAT(HostLog::Holding(L"Enumerating windows for"), IsEmpty());
  EXPECT_THAT(HostLog::Holding(L"Launching application '"), SizeIs(1));
}

}  // namespace
