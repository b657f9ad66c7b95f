// The tool as an administrator uses it: a process of its own, on real folders with real shortcuts.

#include "tests/support/hostTest.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <sstream>

namespace quarry::test {
namespace {

using Json = nlohmann::ordered_json;

// Of characters with 0, 1 and 2 columns of a terminal, each kind for another reason.
const std::wstring kLinkName = L"Füße 漢字 😀⌚🌡Ａक\u0941\u00AD\u2060\u1100\u1161\u11A8";
const std::wstring kNotepad = L"C:\\windows\\system32\\notepad.exe";

std::vector<std::string> Lines(const std::string& text) {
  std::istringstream stream(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// A folder with three applications, and three files of which none can be made.
class QuarryCtl : public Test {
 protected:
  void SetUp() override {
    const std::filesystem::path program = BinFolder() / L"hostExample.exe";  // has no version information
    folder_.WriteLink(kLinkName + L".lnk", kNotepad, {.description = L"Ein Buch für 漢字"});
    folder_.WriteLink(L"sub\\Second.lnk", kNotepad);
    folder_.CopyFrom(L"copy.exe", program);
    folder_.CopyFrom(L"upper.EXE.off.EXE", program);
    folder_.WriteLink(L"ToText.lnk", folder_.WriteText(L"readme.txt", L"text"));
    folder_.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder_.Path() + L"\r\nExcludes=*.ini\r\n");
  }

  ProcessOutput Run(const Names& arguments) const { return RunProgram(L"quarryctl", arguments, folder_.Path()); }
  Json RunJson(Names arguments) const {
    arguments.emplace_back(L"--json");
    return Json::parse(Run(arguments).out, nullptr, false);
  }

  const TemporaryFolder folder_{L"quarryctl Bücher 漢字"};
};

TEST_F(QuarryCtl, ExitStatusTellsDoneFromRefusedFromUsage) {
  const struct {
    Names arguments;
    std::uint32_t status;
    std::string out;
    std::string err;
  } kCases[] = {
      {{}, 2, "", "subcommand is required"},
      {{L"publish"}, 2, "", "quarryctl: there is no command \"publish\" ("},
      {{L"-v", L"rules", L"chekc"}, 2, "", R"(there is no command "chekc", did you mean "check"?)"},
      {{L"help", L"scna"}, 2, "", "did you mean \"scan\"?"},
      {{L"help", L"rules", L"check"}, 0, "Usage: quarryctl rules check [OPTIONS] FILE...", ""},
      {{L"completion", L"powershell"}, 0, "\n    'rules check' = '--help'\n", ""},
      {{L"completion", L"sh"}, 2, "", "sh not in {powershell}"},
      {{L"app"}, 2, "", "PATH is required"},
      {{L"scan", L"--ini", L""}, 2, "", "the file name is empty"},
      {{L"--help"}, 0, "Exit status", ""},
      {{L"scan", L"--ini", L"mißing.ini"}, 1, "", "mißing.ini"},
      {{L"scan", L"--ini", L"readme.txt"}, 1, "0 applications\n", "The INI file has no filters (docs/"},
      {{L"scan", L"--json", L"--ini", L"readme.txt"}, 1, "[]\n", "The INI file has no filters (docs/"},
      {{L"verify", L"copy.exe"}, 0, "copy.exe: an application can be made", ""},
      {{L"verify", L"%SystemRoot%\\system32\\notepad.exe"}, 0, "%\\system32\\notepad.exe: an application can", ""},
      {{L"verify", L"sub"}, 1, "there is no such file, or it is a folder", ""},
      {{L"verify", L"upper.EXE.off.EXE"}, 1, "  note: Unsupported extension EXE in ", ""},
      {{L"verify", L"ToText.lnk"}, 1, "readme.txt\" not recognized", ""},
      {{L"app", L"missing.exe"}, 1, "", "no application can be made from "},
      {{L"icon", L"0123"}, 1, "", "no icon 0123"},
      {{L"icon", L"0123", L"-o", L""}, 2, "", "the file name is empty"},
      {{L"extensions", L"no.exe"}, 1, "0 types\n", ""},
      {{L"extensions", L"no.exe", L"--json"}, 1, "[]\n", ""},
  };
  for (const auto& [arguments, status, out, err] : kCases) {
    SCOPED_TRACE(PrintToString(arguments));
    const ProcessOutput output = Run(arguments);
    EXPECT_EQ(output.exitCode, status);
    EXPECT_THAT(output.out, out.empty() ? Matcher<std::string>(IsEmpty()) : HasSubstr(out));
    EXPECT_THAT(output.err, HasSubstr(err));
  }
}

TEST_F(QuarryCtl, TableShowsTheApplicationsOfTheJsonOutput) {
  const Json applications = RunJson({L"scan", L"--ini", L"filters.ini"});
  const ProcessOutput table = Run({L"scan", L"--ini", L".\\sub\\..\\filters.ini"});
  const std::vector<std::string> lines = Lines(table.out);
  ASSERT_EQ(applications.size(), 3u);
  ASSERT_EQ(lines.size(), 5u) << table.out;
  // The longest name takes 21 columns: six of its characters take two, four none.
  EXPECT_TRUE(lines[0].starts_with("NAME" + std::string(19, ' ') + "VERSION  ")) << lines[0];

  std::vector<std::string> paths;
  for (std::size_t index = 0; index < applications.size(); ++index) {
    const Json& application = applications[index];
    const std::string productName = application["productName"];
    const std::string name = productName.empty() ? application["fileName"].get<std::string>() : productName;
    EXPECT_THAT(lines[index + 1],
                AllOf(StartsWith(name + "  "), HasSubstr(application["companyName"].get<std::string>()),
                      EndsWith("  " + application["targetPath"].get<std::string>())));
    paths.push_back(application["path"]);
  }
  EXPECT_EQ(lines[4], "3 applications");
  EXPECT_THAT(paths, UnorderedElementsAre(Unicode_Utf8FromWide(folder_ / (kLinkName + L".lnk")),
                                          Unicode_Utf8FromWide(folder_ / L"copy.exe"),
                                          Unicode_Utf8FromWide(folder_ / L"sub\\Second.lnk")));
}

TEST_F(QuarryCtl, AppShowsEveryFieldOfTheRecord) {
  const Json application = RunJson({L"app", kLinkName + L".lnk"});
  ASSERT_TRUE(application.is_object());
  std::vector<std::string> keys;
  for (const auto& item : application.items()) keys.push_back(item.key());
  EXPECT_THAT(
      keys, ElementsAre("path", "fileName", "baseName", "extension", "productName", "productVersion", "fileDescription",
                        "fileVersion", "comments", "companyName", "targetPath", "iconCount"));
  EXPECT_EQ(application["baseName"], Unicode_Utf8FromWide(kLinkName));
  EXPECT_EQ(application["fileDescription"], "Ein Buch für 漢字");
  EXPECT_TRUE(application["iconCount"].is_number_unsigned());

  const std::vector<std::string> lines = Lines(Run({L"app", kLinkName + L".lnk"}).out);
  ASSERT_EQ(lines.size(), keys.size());
  for (std::size_t index = 0; index < keys.size(); ++index) {
    const Json& value = application[keys[index]];
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    EXPECT_THAT(lines[index], AllOf(StartsWith(keys[index]), EndsWith(text)));
  }
}

TEST_F(QuarryCtl, ShowsIconsAndTypesOfAProgramOrItsShortcut) {
  const RegistryFixture progId(L"QuarryProgId1", HKEY_CLASSES_ROOT);
  progId.SetString(L"", L"", L"Quarry Füße");
  progId.SetString(L"shell\\open\\command", L"", L"\"" + kNotepad + L"\" %1");
  const RegistryFixture type(L".quarrytest", HKEY_CLASSES_ROOT);
  type.SetString(L"", L"", L"QuarryProgId1");
  const std::wstring link = kLinkName + L".lnk";

  const ProcessOutput table = Run({L"extensions", link});
  EXPECT_THAT(table.out, AllOf(StartsWith("TYPE "), HasSubstr("\n.quarrytest "), HasSubstr("  Quarry Füße\n")));
  EXPECT_EQ(table.exitCode, 0u);
  const Json extensions = RunJson({L"extensions", kNotepad});
  EXPECT_THAT(extensions, Contains(Json::parse(R"({"name": ".quarrytest", "description": "Quarry Füße"})")));
  EXPECT_THAT(Run({L"app", link, L"--extensions"}).out, EndsWith("\n\n" + table.out));
  const Json application = RunJson({L"app", link, L"--extensions", L"--icons"});
  EXPECT_EQ(application["extensions"], extensions);
  const Json& icon = application["icons"].at(0);
  const std::wstring name = Unicode_WideFromUtf8(icon["name"].get<std::string>());
  EXPECT_EQ(RunJson({L"icon", name}), icon);
  EXPECT_EQ(Run({L"icon", name, L"-o", L"copy.png"}).exitCode, 0u);
  EXPECT_EQ(std::filesystem::file_size(folder_ / L"copy.png"),
            std::filesystem::file_size(icon["path"].get<std::string>()));
}

// Without -v a scan's log is a line for each kind of message; with it, it is the log itself.
TEST_F(QuarryCtl, EachVAddsALevelOfTheLog) {
  folder_.WriteText(L"levels.ini", L"[NoRoot]\r\nIncludes=*\r\n[Gone]\r\nRoot=C:\\not there\r\n[All]\r\nRoot=" +
                                       folder_.Path() + L"\r\nIncludes=*.lnk;hostExample.exe\r\n");
  EXPECT_EQ(Run({L"scan", L"--ini", L"levels.ini"}).err,
            "1 filter has no folder (docs/filterDefinitions.md)\n"
            "1 filter folder does not exist or cannot be listed: C:\\not there (quarryctl explain)\n"
            "1 shortcut leads to nothing that can be published: " +
                Unicode_Utf8FromWide(folder_ / L"readme.txt") +
                " (quarryctl explain)\n"
                "2 programs have no version information (docs/whyNotPublished.md)\n");
  const std::pair<std::string, std::string> kLevels[] = {{"\nerror: ", R"(FindFirstFileEx failed for "C:\not there\*)"},
                                                         {"\nwarning: ", "Filter defined with no root!"},
                                                         {"\nnote: ", R"(Scanning "C:\not there", depth = 0)"},
                                                         {"\ndetail: ", "\"readme.txt\": rejected by filter"}};
  const Names kOptions[] = {{L"-v"}, {L"-v", L"-v"}, {L"-vvv"}};
  for (std::size_t asked = 0; asked < std::size(kOptions); ++asked) {
    SCOPED_TRACE(asked);
    Names arguments = {L"scan", L"--ini", L"levels.ini"};
    arguments.insert(arguments.end(), kOptions[asked].begin(), kOptions[asked].end());
    const ProcessOutput output = Run(arguments);
    const std::string log = '\n' + output.err;
    for (std::size_t level = 0; level < std::size(kLevels); ++level) {
      const auto& [begin, message] = kLevels[level];
      EXPECT_EQ(log.find(begin + message) != std::string::npos, level <= asked + 1) << log;
      EXPECT_EQ(log.find(begin) != std::string::npos, level <= asked + 1) << log;
    }
    EXPECT_THAT(output.out, EndsWith("2 applications\n"));
  }
}

// Each cause that docs/whyNotPublished.md lists and that can be made here, under the path that it concerns.
TEST_F(QuarryCtl, ExplainNamesTheRuleThatDecided) {
  const RegistryFixture settings(kSettingsKey);
  settings.SetString(L"", L"MaxScanDepth", L"3");
  settings.SetString(L"", L"WritableFolders", L"skip");
  const std::wstring program = folder_ / L"copy.exe";
  const std::wstring hidden = folder_.CopyFrom(L"hidden.exe", program);
  SetFileAttributesW(hidden.c_str(), FILE_ATTRIBUTE_HIDDEN);
  SetFileAttributesW(folder_.MakeFolder(L"secret").c_str(), FILE_ATTRIBUTE_HIDDEN);
  folder_.CopyFrom(L"secret\\within.exe", program);
  folder_.CopyFrom(L"open\\within.exe", program);
  OpenToEveryone(folder_ / L"open");
  folder_.CopyFrom(L"a\\b\\c\\within.exe", program);
  folder_.CopyFrom(L"no.exe", program);
  folder_.WriteText(L"Damaged.lnk", L"no link");
  const TemporaryFolder elsewhere;
  elsewhere.CopyFrom(L"other.exe", program);
  ASSERT_TRUE(folder_.LinkFolder(L"link", elsewhere.Path()));
  folder_.WriteText(L"why.ini", L"[One]\r\nRoot=" + folder_.Path() +
                                    L"\r\nIncludes=*.exe;*.lnk\r\nExcludes=no.*\r\n[Two]\r\nRoot=" + folder_ / L"sub" +
                                    L"\r\n[Three]\r\nRoot=" + folder_ / L"missing" + L"\r\n");
  const struct {
    std::wstring question;
    std::string result;
    std::string reason;
  } kCases[] = {
      {folder_ / L"copy.exe", "published", ""},
      {folder_ / L"sub\\Second.lnk", "published", "twice in the list"},
      {folder_ / L"hidden.exe", "leftOut", "hidden"},
      {folder_ / L"secret", "leftOut", "hidden"},
      {folder_ / L"secret\\within.exe", "leftOut", "secret was left out: hidden"},
      {folder_ / L"open", "leftOut", "everyone may write to it"},
      {folder_ / L"OPEN\\within.exe", "leftOut", "open was left out: everyone may write to it"},
      {folder_ / L"a\\b\\c", "leftOut", "too deep"},
      {folder_ / L"link", "leftOut", "symbolic link"},
      {folder_ / L"no.exe", "leftOut", "Excludes"},
      {folder_ / L"readme.txt", "leftOut", "Includes"},
      {folder_ / L"upper.EXE.off.EXE", "leftOut", "extension"},
      {folder_ / L"ToText.lnk", "leftOut", "readme.txt"},
      {folder_ / L"Damaged.lnk", "leftOut", "damaged"},
      {folder_ / L"missing", "leftOut", "does not exist"},
      {elsewhere / L"other.exe", "leftOut", "no filter leads there"},
      {L"C:\\nowhere.exe", "leftOut", "there is no such file, error 2"},
      {L"TOTEXT", "leftOut", "readme.txt"},
      {kNotepad.substr(20), "published", ""},
  };
  for (const auto& [question, result, reason] : kCases) {
    SCOPED_TRACE(Unicode_Utf8FromWide(question));
    const ProcessOutput output = Run({L"explain", question, L"--ini", L"why.ini", L"--json"});
    const Json entries = Json::parse(output.out, nullptr, false);
    ASSERT_TRUE(entries.is_array() && !entries.empty()) << output.out << output.err;
    EXPECT_EQ(entries.back()["result"], result);
    EXPECT_THAT(entries.back()["reason"].get<std::string>(), HasSubstr(reason));
    EXPECT_EQ(output.exitCode, result == "published" ? 0u : 1u);
  }
  const ProcessOutput table = Run({L"explain", L"--ini", L"why.ini"});
  EXPECT_THAT(table.out, AllOf(StartsWith("RESULT "), HasSubstr("\nscanned "), EndsWith(", 4 published\n")));
  Run({L"scan", L"--ini", L"why.ini", L"--html", L"page.html"});
  std::ifstream page(std::filesystem::path(folder_ / L"page.html"));
  EXPECT_THAT(std::string(std::istreambuf_iterator<char>(page), {}),
              HasSubstr(R"(Damaged.lnk","reason":"no shortcut)"));
}

TEST_F(QuarryCtl, TellsOfAFilterThatOthersCanHavePlanted) {
  const RegistryFixture settings(kSettingsKey);
  settings.SetString(L"Filter1", L"Root", L"C:\\");
  settings.SetDacl(L"Filter1", L"D:P(A;;KA;;;BA)(A;;KA;;;SY)");
  const Json filter = RunJson({L"filters"}).at(0);
  EXPECT_EQ(filter["used"], false);
  EXPECT_THAT(filter["problems"].dump(), AllOf(HasSubstr("left out: others than administrators"),
                                               HasSubstr("Filter1: Non-admin ACL entry given write permissions")));
  EXPECT_THAT(Run({L"filters", L"export", L"out.ini"}).err, HasSubstr("Filter1 is not used by scans"));
  const ProcessOutput doctor = Run({L"doctor"});
  EXPECT_EQ(doctor.exitCode, 1u);
  EXPECT_THAT(doctor.out, HasSubstr("error    filter keys      others than administrators can write to"));
  settings.SetDacl(L"Filter1", L"D:P(A;;KA;;;BA)");
  EXPECT_EQ(RunJson({L"filters"}).at(0)["used"], true);
}

// The program in the guide for hosts.
TEST_F(QuarryCtl, ExampleHostListsWhatAScanFinds) {
  const Json applications = RunJson({L"scan"});
  const ProcessOutput host = RunProgram(L"hostExample");
  ASSERT_TRUE(applications.is_array() && !applications.empty());
  EXPECT_EQ(host.exitCode, 0u);
  std::string expected;
  for (const Json& application : applications) {
    expected +=
        application["productName"].get<std::string>() + " -> " + application["targetPath"].get<std::string>() + "\r\n";
  }
  EXPECT_EQ(host.out, expected);
}

}  // namespace
}  // namespace quarry::test
