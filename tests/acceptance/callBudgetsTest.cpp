// What one more item costs in calls that leave the process, which unlike times do not depend on the machine.

#include "tests/support/hostTest.h"
#include "tests/support/leavingCalls.h"
#include "tests/support/registeredTypes.h"
#include "tests/support/windowMaker.h"

namespace quarry::test {
namespace {

constexpr int kFew = 4;
constexpr int kMany = 24;

/// Calls for each item beyond the first few.
double MarginalCalls(const std::function<std::uint64_t(int)>& callsFor) {
  const auto few = static_cast<double>(callsFor(kFew));
  return (static_cast<double>(callsFor(kMany)) - few) / (kMany - kFew);
}

LeavingCalls& Calls() {
  static LeavingCalls calls(Library::Instance().Module());
  return calls;
}

TEST(CallBudget, OfAWindowWhoseProcessWasSeen) {
  const auto callsFor = [](int count) {
    const WindowMaker maker(std::vector<WindowSpec>(static_cast<std::size_t>(count), {L"Window"}));
    const QuarryHost host;
    return Calls().Of([&] { EXPECT_GE(host.GetOpenWindows().size(), static_cast<std::size_t>(count)); });
  };
  EXPECT_LE(MarginalCalls(callsFor), 4.5);
  const RegistryFixture rules(kFilterKey);
  rules.SetString({}, L"other", L"company=Nobody");
  EXPECT_LE(MarginalCalls(callsFor), 4.5) << "at first sight, with rules";
}

using CallBudgetOfTypes = RegisteredTypes;

TEST_F(CallBudgetOfTypes, OfAnExtensionWhoseHandlerIsKnown) {
  Class(L"QuarryProgId1", L"App.exe");
  const std::wstring command = Command(L"App.exe");
  int made = 0;
  const auto callsFor = [&](int count) {
    for (; made < count; ++made) {
      const RegistryFixture& type = Key(Str_FormatWide(L".quarry%d", made));
      type.SetString(L"", L"", L"QuarryProgId1");
      type.SetString(L"shell\\open\\command", L"", command);
    }
    return Calls().Of([] { const QuarryHost host(true); });
  };
  callsFor(1);
  EXPECT_LE(MarginalCalls(callsFor), 13);
}

TEST(CallBudget, OfAFolderWithASetting) {
  const RegistryFixture settings(kSettingsKey);
  settings.SetString({}, L"MaxScanDepth", L"20");
  const TemporaryFolder folder;
  const std::wstring ini = folder.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder / L"menu" + L"\r\n");
  EXPECT_LE(MarginalCalls([&](int count) {
              for (int made = 0; made < count; ++made) folder.MakeFolder(Str_FormatWide(L"menu\\%d", made));
              const QuarryHost host;
              return Calls().Of([&] { host.Scan(ini); });
            }),
            13);
}

}  // namespace
}  // namespace quarry::test
