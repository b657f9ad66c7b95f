// quarryctl's windows and rules, in processes of their own.

#include "tests/support/hostTest.h"
#include "tests/support/windowMaker.h"

#include <nlohmann/json.hpp>

#include <cstdio>

namespace quarry::test {
namespace {

using Json = nlohmann::ordered_json;

ProcessOutput QuarryCtl(const Names& arguments) { return RunProgram(L"quarryctl", arguments); }

TEST(QuarryCtlWindows, ListsAndExplains) {
  const WindowMaker maker({{L"Füße 漢字"},
                           {L"Small", L"QuarryTestWindow", WS_POPUP | WS_VISIBLE, 0, 1, 1},
                           {L"Min", L"QuarryTestWindow", WS_OVERLAPPEDWINDOW | WS_VISIBLE | WS_MINIMIZE}});
  const std::string title = "Füße 漢字";
  const ProcessOutput table = QuarryCtl({L"windows"});
  EXPECT_EQ(table.exitCode, 0u);
  EXPECT_THAT(table.out, AllOf(HasSubstr("open       " + title + "  "), HasSubstr("minimized  Min "),
                               Not(HasSubstr("Small")), EndsWith(" windows\n")));
  EXPECT_EQ(table.err, "");

  // Of each of the maker's windows what `key` holds.
  const auto ofEach = [](const Names& arguments, const char* key) {
    std::map<std::string, std::string> found;
    for (const Json& window : Json::parse(QuarryCtl(arguments).out)) {
      const bool isMakers = window["imagePath"].get<std::string>().ends_with("\\fixtures\\windowMaker.exe");
      if (isMakers) found[window["title"]] = window[key].dump();
    }
    return found;
  };
  EXPECT_THAT(ofEach({L"windows", L"--json"}, "isMinimized"),
              UnorderedElementsAre(Pair(title, "false"), Pair("Min", "true")));
  // The machine's setting is off, and stays so.
  auto decisions = ofEach({L"windows", L"--explain", L"--json"}, "decision");
  EXPECT_EQ(decisions["Min"], "\"Kept (attribute match)\"");
  EXPECT_EQ(decisions["Small"], "\"Skipped (window is too small)\"");
  UniqueRegistryKey key;
  EXPECT_EQ(RegOpenKeyExW(HKEY_LOCAL_MACHINE, kSettingsKey, 0, KEY_READ, key.put()), ERROR_FILE_NOT_FOUND);
  EXPECT_EQ(QuarryCtl({L"windows", L"--explain", L"--watch"}).exitCode, 2u);
}

TEST(QuarryCtlWindows, ExplainsWithoutTheKeysOfOthers) {
  std::wstring commandLine = BinFolder() / L"quarryctl.exe windows --explain";
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION created{};
  ASSERT_TRUE(CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_SUSPENDED, nullptr, nullptr,
                             &startup, &created));
  const UniqueKernelHandle process(created.hProcess);
  const UniqueKernelHandle thread(created.hThread);
  const std::wstring path = L"Software\\quarryctl." + std::to_wstring(created.dwProcessId);
  const RegistryFixture planted(path, HKEY_CURRENT_USER);
  ResumeThread(thread.get());
  EXPECT_EQ(WaitForSingleObject(process.get(), 30'000), WAIT_OBJECT_0);
  UniqueRegistryKey key;
  EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, KEY_READ, key.put()), ERROR_SUCCESS);
}

TEST(QuarryCtlWindows, WritesTheListAgainWhenItChanges) {
  const WindowMaker first({{L"First"}});
  std::FILE* const watch = _wpopen((BinFolder() / L"quarryctl.exe windows --watch").c_str(), L"rt");
  ASSERT_NE(watch, nullptr);
  const auto nextList = [watch] {
    std::string list;
    char line[1'024];
    while (list.find(" window") == std::string::npos && std::fgets(line, sizeof(line), watch) != nullptr) list += line;
    return list;
  };
  EXPECT_THAT(nextList(), AllOf(HasSubstr("First"), Not(HasSubstr("Second"))));
  {
    const WindowMaker second({{L"Second"}});
    EXPECT_THAT(nextList(), AllOf(HasSubstr("First"), HasSubstr("Second")));
    std::fclose(watch);
  }
  // The next list finds nobody to read it, which ends the program.
}

TEST(QuarryCtlRules, ChecksFilesWithTheLibrarysReader) {
  const TemporaryFolder folder;
  const auto write = [&](const wchar_t* name, const std::string& text) {
    return folder.WriteBytes(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  };
  const std::wstring good = write(L"gut 漢.txt", "\uFEFFBeginRule\r\nclassname=A\r\ntype=menu\r\nEndRule\r\n");
  const ProcessOutput clean = QuarryCtl({L"rules", L"check", good});
  EXPECT_EQ(clean.exitCode, 0u);
  EXPECT_THAT(clean.out, EndsWith(": 1 rule set, nothing to report\n"));

  std::string many = "a=b\nBeginRule\ntype=Menu\naction=hide\ncompany =A\n" + std::string(300, '#') + "\n";
  for (int index = 0; index < 1'023; ++index) many += "BeginRule\n";
  for (int index = 0; index < 1'025; ++index) many += "type=menu\n";
  const ProcessOutput checked = QuarryCtl({L"rules", L"check", good, write(L"bad.txt", many)});
  EXPECT_EQ(checked.exitCode, 1u);
  for (const char* finding :
       {"bad.txt:1: ignored, no BeginRule stands above it\n", "bad.txt:3: 'Menu' names no window type\n",
        "bad.txt:4: 'hide' names no action\n", "bad.txt:5: bad token or whitespace 'company =A'\n",
        "bad.txt:6: longer than 259 bytes, the rest is dropped\n", "bad.txt:1029: Too many rule sets.\n",
        "bad.txt:2054: Too many rule items, the rule set is not used.\n"}) {
    EXPECT_THAT(checked.out, HasSubstr(finding));
  }
  EXPECT_THAT(checked.out, Not(HasSubstr("bad.txt:1028")));
  EXPECT_EQ(QuarryCtl({L"rules", L"check", folder / L"missing"}).exitCode, 1u);
  EXPECT_EQ(QuarryCtl({L"rules", L"check"}).exitCode, 2u);
}

}  // namespace
}  // namespace quarry::test
