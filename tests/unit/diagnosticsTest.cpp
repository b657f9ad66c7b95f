#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/objectCounters.h"
#include "quarry/diagnostics/timers.h"

#include <gmock/gmock.h>

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using namespace quarry;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

std::vector<std::pair<std::uint32_t, std::wstring>> g_lines;

void Record(std::uint32_t level, const wchar_t* message) { g_lines.emplace_back(level, message); }

TEST(Log, DeliversMessagesWholeToTheLastCallback) {
  Log(LogLevel::Error, L"nobody listens\n");
  SetLogCallback(Record);
  Log(LogLevel::Warning, L"Filter %s has no paths\n", L"Standard");
  Log(LogLevel::Detail, L"%s", L"");
  const std::wstring path(50'000, L'p');
  Log(LogLevel::Notable, L"%s %u", path.c_str(), 7U);
  SetLogCallback(nullptr);
  Log(LogLevel::Error, L"%s", static_cast<const wchar_t*>(nullptr));  // not even formatted
  EXPECT_THAT(g_lines, ElementsAre(Pair(1, L"Filter Standard has no paths\n"), Pair(3, L""), Pair(2, path + L" 7")));
}

class Counted {
  ObjectCount count_{"Counted"};
};

TEST(ObjectCounters, ReportEveryClassInOrderAndTheVerdict) {
  CountCreated("Zebra");
  CountDeleted("Zebra");
  {
    const Counted first;
    const Counted second;
    EXPECT_EQ(FormatLeakReport(true),
              "Counted created=2 deleted=0 leaked=2\nZebra created=1 deleted=1 leaked=0\nmemleak: FAIL:\n");
  }
  EXPECT_EQ(FormatLeakReport(true),
            "Counted created=2 deleted=2 leaked=0\nZebra created=1 deleted=1 leaked=0\nmemleak: no leaks.\n");
  EXPECT_EQ(FormatLeakReport(false),
            "Counted created=2 deleted=2 leaked=0\nZebra created=1 deleted=1 leaked=0\nmemleak: no leaks.\n"
            "\tCounted created=2 deleted=2 leaked=0\n\tZebra created=1 deleted=1 leaked=0\n");
  CountDeleted("Zebra");  // deleted more often than created is a fault as well
  EXPECT_THAT(FormatLeakReport(true), HasSubstr("leaked=-1\nmemleak: FAIL:\n"));
}

TEST(Timers, ReportAveragesAndCallsWhateverTheNameHolds) {
  for (int call = 0; call < 3; ++call) {
    const TimingScope outer(L"outer");
    const TimingScope inner(L"C:\\\x4e2d");
  }
  const TimingScope running(L"running");
  std::wostringstream captured;
  std::wstreambuf* const standard = std::wcout.rdbuf(captured.rdbuf());
  const std::int32_t timers = ReportTimers();
  std::wcout.rdbuf(standard);
  EXPECT_EQ(timers, 3);
  const std::wstring report = captured.str();
  EXPECT_EQ(report.find(L"timer:"), 0U);
  EXPECT_NE(report.find(L"\touter : "), std::wstring::npos);
  EXPECT_NE(report.find(L" ms (3 calls)"), std::wstring::npos);
  EXPECT_NE(report.find(L"\trunning : 0 ms (0 calls)"), std::wstring::npos);
  EXPECT_GT(ReportTimers(), 0);  // to the real stream, whose locale cannot carry the second name
  EXPECT_TRUE(std::wcout.good());
}

}  // namespace
