// The tool as an administrator uses it: a process of its own, on real folders with real shortcuts.

#include "lib/unicode/unicode.h"

#include "tests/support/processOutput.h"
#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
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

bool HasLineWith(const std::string& text, const std::string& begin, const std::string& part) {
  const std::vector<std::string> lines = Lines(text);
  return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
    return line.starts_with(begin) && line.find(part) != std::string::npos;
  });
}

// A folder with three applications, and three files of which none can be made.
class QuarryCtl : public testing::Test {
 protected:
  void SetUp() override {
    folder_.MakeFolder(L"sub");
    Link(kLinkName, kNotepad);
    Link(L"sub\\Second", kNotepad);
    const std::filesystem::path program = BinFolder() / L"hostExample.exe";  // has no version information
    folder_.CopyFrom(L"copy.exe", program);
    folder_.CopyFrom(L"upper.EXE.off.EXE", program);
    Link(L"ToText", folder_.WriteText(L"readme.txt", L"text"));
    folder_.WriteText(L"filters.ini", L"[All]\r\nRoot=" + folder_.Path() + L"\r\nExcludes=*.ini\r\n");
  }

  void Link(const std::wstring& name, const std::wstring& target) {
    Shortcut shortcut;
    shortcut.linkPath = folder_ / (name + L".lnk");
    shortcut.target = target;
    shortcut.description = L"Ein Buch für 漢字";
    ASSERT_TRUE(WriteShortcut(shortcut));
  }

  ProcessOutput Run(const std::vector<std::wstring>& arguments) {
    const auto output = RunProgram((BinFolder() / L"quarryctl.exe").wstring(), arguments, folder_.Path());
    EXPECT_TRUE(output.has_value());
    return output.value_or(ProcessOutput{});
  }

  const TemporaryFolder folder_{L"quarryctl Bücher 漢字"};
};

TEST_F(QuarryCtl, ExitStatusTellsDoneFromRefusedFromUsage) {
  const struct {
    std::vector<std::wstring> arguments;
    std::uint32_t status;
    std::string out;
    std::string err;
  } kCases[] = {
      {{}, 2, "", "subcommand is required"},
      {{L"publish"}, 2, "", "Run with --help"},
      {{L"app"}, 2, "", "PATH is required"},
      {{L"scan", L"--ini", L""}, 2, "", "the file name is empty"},
      {{L"--help"}, 0, "Exit status", ""},
      {{L"scan", L"--help"}, 0, "--json", ""},
      {{L"scan", L"--ini", L"filters.ini"}, 0, "3 applications\n", ""},
      {{L"scan", L"--ini", L"mißing.ini"}, 1, "", "mißing.ini"},
      {{L"scan", L"--ini", L"readme.txt"}, 1, "0 applications\n", "error: No filters in INI file!"},
      {{L"scan", L"--json", L"--ini", L"readme.txt"}, 1, "[]\n", "error: No filters in INI file!"},
      {{L"verify", L"copy.exe"}, 0, "copy.exe: an application can be made", ""},
      {{L"verify", L"%SystemRoot%\\system32\\notepad.exe"}, 0, "%\\system32\\notepad.exe: an application can", ""},
      {{L"verify", L"sub"}, 1, "there is no such file, or it is a folder", ""},
      {{L"verify", L"upper.EXE.off.EXE"}, 1, "  note: Unsupported extension EXE in ", ""},
      {{L"verify", L"ToText.lnk"}, 1, "readme.txt\" not recognized", ""},
      {{L"app", L"missing.exe"}, 1, "", "no application can be made from "},
      {{L"app", L"copy.exe"}, 0, "baseName         copy\n", ""},
  };
  for (const auto& [arguments, status, out, err] : kCases) {
    std::string name = "quarryctl";
    for (const std::wstring& argument : arguments) name += ' ' + Unicode_Utf8FromWide(argument);
    SCOPED_TRACE(name);
    const ProcessOutput output = Run(arguments);
    EXPECT_EQ(output.exitCode, status);
    EXPECT_NE(output.out.find(out), std::string::npos) << output.out;
    EXPECT_NE(output.err.find(err), std::string::npos) << output.err;
    EXPECT_EQ(output.out.empty(), out.empty()) << output.out;
  }
}

TEST_F(QuarryCtl, TableShowsTheApplicationsOfTheJsonOutput) {
  const ProcessOutput json = Run({L"scan", L"--json", L"--ini", L"filters.ini"});
  const ProcessOutput table = Run({L"scan", L"--ini", L".\\sub\\..\\filters.ini"});
  const Json applications = Json::parse(json.out, nullptr, false);
  ASSERT_TRUE(applications.is_array()) << json.out;
  const std::vector<std::string> lines = Lines(table.out);
  ASSERT_EQ(applications.size(), 3u);
  ASSERT_EQ(lines.size(), 5u) << table.out;
  // The longest name takes 21 columns: six of its characters take two, four none.
  EXPECT_TRUE(lines[0].starts_with("NAME" + std::string(19, ' ') + "VERSION  ")) << lines[0];

  std::vector<std::string> paths;
  for (std::size_t index = 0; index < applications.size(); ++index) {
    const Json& application = applications[index];
    const std::string& line = lines[index + 1];
    const std::string productName = application["productName"];
    const std::string name = productName.empty() ? application["fileName"].get<std::string>() : productName;
    EXPECT_TRUE(line.starts_with(name + "  ")) << line;
    EXPECT_TRUE(line.ends_with("  " + application["targetPath"].get<std::string>())) << line;
    EXPECT_NE(line.find(application["companyName"].get<std::string>()), std::string::npos) << line;
    paths.push_back(application["path"]);
  }
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ(paths, (std::vector{Unicode_Utf8FromWide(folder_ / (kLinkName + L".lnk")),
                                Unicode_Utf8FromWide(folder_ / L"copy.exe"),
                                Unicode_Utf8FromWide(folder_ / L"sub\\Second.lnk")}));
}

TEST_F(QuarryCtl, AppShowsEveryFieldOfTheRecord) {
  const std::wstring link = kLinkName + L".lnk";
  const Json application = Json::parse(Run({L"app", link, L"--json"}).out, nullptr, false);
  ASSERT_TRUE(application.is_object());
  std::vector<std::string> keys;
  for (const auto& item : application.items()) keys.push_back(item.key());
  EXPECT_EQ(keys, (std::vector<std::string>{"path", "fileName", "baseName", "extension", "productName",
                                            "productVersion", "fileDescription", "fileVersion", "comments",
                                            "companyName", "targetPath", "iconCount"}));
  EXPECT_EQ(application["baseName"], Unicode_Utf8FromWide(kLinkName));
  EXPECT_EQ(application["fileDescription"], "Ein Buch für 漢字");
  EXPECT_TRUE(application["iconCount"].is_number_unsigned());

  const std::vector<std::string> lines = Lines(Run({L"app", link}).out);
  ASSERT_EQ(lines.size(), keys.size());
  for (std::size_t index = 0; index < keys.size(); ++index) {
    const Json& value = application[keys[index]];
    const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
    EXPECT_TRUE(lines[index].starts_with(keys[index]) && lines[index].ends_with(text)) << lines[index];
  }
}

TEST_F(QuarryCtl, ExtensionsShowsWhatAProgramOrItsShortcutOpens) {
  const RegistryFixture progId(L"QuarryProgId1", HKEY_CLASSES_ROOT);
  progId.SetString(L"", L"", L"Quarry Füße");
  progId.SetString(L"shell\\open\\command", L"", L"\"" + folder_ / L"copy.exe" + L"\" %1");
  const RegistryFixture type(L".quarrytest", HKEY_CLASSES_ROOT);
  type.SetString(L"", L"", L"QuarryProgId1");
  Link(L"Copy", folder_ / L"copy.exe");
  SetEnvironmentVariableW(L"QUARRYTEST", folder_.Path().c_str());

  const std::string table = "TYPE         DESCRIPTION\n.quarrytest  Quarry Füße\n1 type\n";
  for (const wchar_t* const path : {L"copy.exe", L"./COPY.exe", L"Copy.lnk", L"%QUARRYTEST%\\Copy.lnk"}) {
    const ProcessOutput output = Run({L"extensions", path});
    EXPECT_EQ(output.out, table);
    EXPECT_EQ(output.exitCode, 0u);
  }
  const Json extensions = Json::parse(Run({L"extensions", L"copy.exe", L"--json"}).out, nullptr, false);
  EXPECT_EQ(extensions, Json::parse(R"([{"name": ".quarrytest", "description": "Quarry Füße"}])"));
  EXPECT_TRUE(Run({L"app", L"Copy.lnk", L"--extensions"}).out.ends_with("\n\n" + table));
  const Json application = Json::parse(Run({L"app", L"Copy.lnk", L"--extensions", L"--json"}).out, nullptr, false);
  EXPECT_EQ(application["extensions"], extensions);
  EXPECT_EQ(application["baseName"], "Copy");
  for (const bool json : {false, true}) {
    const ProcessOutput output = Run(json ? std::vector<std::wstring>{L"extensions", L"no.exe", L"--json"}
                                          : std::vector<std::wstring>{L"extensions", L"no.exe"});
    EXPECT_EQ(output.out, json ? "[]\n" : "0 types\n");
    EXPECT_EQ(output.exitCode, 1u);
  }
}

TEST_F(QuarryCtl, EachVAddsALevelOfTheLog) {
  folder_.WriteText(L"levels.ini", L"[NoRoot]\r\nIncludes=*\r\n[Gone]\r\nRoot=C:\\not there\r\n[All]\r\nRoot=" +
                                       folder_.Path() + L"\r\nIncludes=*.lnk\r\n");
  const std::pair<std::string, std::string> kLevels[] = {{"error: ", R"(FindFirstFileEx failed for "C:\not there\*)"},
                                                         {"warning: ", "Filter defined with no root!"},
                                                         {"note: ", R"(Scanning "C:\not there", depth = 0)"},
                                                         {"detail: ", "\"readme.txt\": rejected by filter"}};
  const std::vector<std::wstring> kOptions[] = {{}, {L"-v"}, {L"-v", L"-v"}, {L"-vvv"}};
  for (std::size_t asked = 0; asked < std::size(kOptions); ++asked) {
    SCOPED_TRACE(asked);
    std::vector<std::wstring> arguments = {L"scan", L"--ini", L"levels.ini"};
    arguments.insert(arguments.end(), kOptions[asked].begin(), kOptions[asked].end());
    const ProcessOutput output = Run(arguments);
    for (std::size_t level = 0; level < std::size(kLevels); ++level) {
      EXPECT_EQ(HasLineWith(output.err, kLevels[level].first, kLevels[level].second), level <= asked) << output.err;
      EXPECT_EQ(HasLineWith(output.err, kLevels[level].first, ""), level <= asked) << output.err;
    }
    EXPECT_EQ(HasLineWith(output.err, "quarryctl: warnings not shown: ", "-v"), asked == 0) << output.err;
    EXPECT_TRUE(HasLineWith(output.out, "2 applications", ""));
  }
}

// The program in the guide for hosts.
TEST_F(QuarryCtl, ExampleHostListsWhatAScanFinds) {
  const Json applications = Json::parse(Run({L"scan", L"--json"}).out, nullptr, false);
  const auto host = RunProgram((BinFolder() / L"hostExample.exe").wstring(), {});
  ASSERT_TRUE(host.has_value() && applications.is_array() && !applications.empty());
  EXPECT_EQ(host->exitCode, 0u);
  std::vector<std::string> expected;
  for (const Json& application : applications) {
    expected.push_back(application["productName"].get<std::string>() + " -> " +
                       application["targetPath"].get<std::string>() + '\r');
  }
  EXPECT_EQ(Lines(host->out), expected);
}

}  // namespace
}  // namespace quarry::test
