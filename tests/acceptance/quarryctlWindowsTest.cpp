// quarryctl's windows and rules, in processes of their own.

#include "tests/support/processOutput.h"
#include "tests/support/quarryHost.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/windowMaker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <windows.h>

#include <map>

namespace quarry::test {
namespace {

using Json = nlohmann::ordered_json;
using testing::HasSubstr;

ProcessOutput QuarryCtl(const std::vector<std::wstring>& arguments) {
  const auto output = RunProgram((BinFolder() / L"quarryctl.exe").wstring(), arguments);
  EXPECT_TRUE(output);
  return output.value_or(ProcessOutput{});
}

TEST(QuarryCtlWindows, ListsAndExplains) {
  const WindowMaker maker({{L"Füße 漢字"},
                           {L"Small", L"QuarryTestWindow", WS_POPUP | WS_VISIBLE, 0, 1, 1},
                           {L"Min", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW | WS_VISIBLE | WS_MINIMIZE}});
  const ProcessOutput table = QuarryCtl({L"windows"});
  EXPECT_EQ(table.exitCode, 0u);
  EXPECT_THAT(table.out, HasSubstr("open       F\xC3\xBC\xC3\x9F"
                                   "e \xE6\xBC\xA2\xE5\xAD\x97  "));
  EXPECT_THAT(table.out, HasSubstr("minimized  Min "));
  EXPECT_THAT(table.out, HasSubstr("\n2 windows\n"));
  EXPECT_EQ(table.err, "");

  const Json list = Json::parse(QuarryCtl({L"windows", L"--json"}).out);
  ASSERT_EQ(list.size(), 2u);
  for (const Json& window : list) {
    EXPECT_EQ(window["isMinimized"], window["title"] == "Min");
    EXPECT_THAT(window["imagePath"].get<std::string>(), HasSubstr("\\fixtures\\windowMaker.exe"));
  }

  // The machine's setting is off, and stays so.
  const Json explained = Json::parse(QuarryCtl({L"windows", L"--explain", L"--json"}).out);
  std::map<std::string, std::string> decisions;
  for (const Json& window : explained) decisions[window["title"]] = window["decision"];
  EXPECT_EQ(decisions["Min"], "Kept (attribute match)");
  EXPECT_EQ(decisions["Small"], "Skipped (window is too small)");
  HKEY key = nullptr;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Velkor, Inc.\\Velkor Quarry", 0, KEY_READ, &key),
            ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(QuarryCtl({L"windows", L"--explain", L"--watch"}).exitCode, 2u);
}

TEST(QuarryCtlRules, ChecksFilesWithTheLibrarysReader) {
  const TemporaryFolder folder;
  const auto write = [&](const wchar_t* name, const std::string& text) {
    return folder.WriteBytes(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  };
  const std::wstring good = write(L"gut 漢.txt",
                                  "\xEF\xBB\xBF"
                                  "BeginRule\r\nclassname=A\r\ntype=menu\r\nEndRule\r\n");
  const ProcessOutput clean = QuarryCtl({L"rules", L"check", good});
  EXPECT_EQ(clean.exitCode, 0u);
  EXPECT_THAT(clean.out, testing::EndsWith(": 1 rule set, nothing to report\n"));

  std::string many = "a=b\nBeginRule\ntype=Menu\naction=hide\ncompany =A\n" + std::string(300, '#') + "\n";
  for (int index = 0; index < 1'023; ++index) many += "BeginRule\n";
  const std::wstring bad = write(L"bad.txt", many);
  const ProcessOutput checked = QuarryCtl({L"rules", L"check", good, bad});
  EXPECT_EQ(checked.exitCode, 1u);
  for (const char* finding :
       {"bad.txt:1: ignored, no BeginRule stands above it\n", "bad.txt:3: 'Menu' names no window type\n",
        "bad.txt:4: 'hide' names no action\n", "bad.txt:5: bad token or whitespace 'company =A'\n",
        "bad.txt:6: longer than 259 bytes, the rest is dropped\n", "bad.txt:1029: Too many rule sets.\n"}) {
    EXPECT_THAT(checked.out, HasSubstr(finding));
  }
  EXPECT_THAT(checked.out, testing::Not(HasSubstr("bad.txt:1028")));
  EXPECT_EQ(QuarryCtl({L"rules", L"check", folder / L"missing"}).exitCode, 1u);
  EXPECT_EQ(QuarryCtl({L"rules", L"check"}).exitCode, 2u);
}

}  // namespace
}  // namespace quarry::test
