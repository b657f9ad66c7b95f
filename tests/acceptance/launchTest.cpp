#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/startedPrograms.h"

#include <gmock/gmock.h>

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace quarry::test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Parameters = std::vector<std::pair<const wchar_t*, std::wstring>>;

constexpr DWORD kTimeout = 600;    // milliseconds, set for redirected files
constexpr ULONGLONG kSlack = 200;  // milliseconds that an answer may come later
constexpr wchar_t kTerminalServices[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\Terminal Services";

/// The remote user's drive C: a network path is a folder of the Wine prefix.
class ClientDrive {
 public:
  ClientDrive() : folder_(Root()) { std::filesystem::create_directories(folder_); }
  ~ClientDrive() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_.parent_path(), ignored);
    // With the folder of all servers there, Wine would make any server that is asked for.
    std::filesystem::remove(folder_.parent_path().parent_path(), ignored);
  }
  ClientDrive(const ClientDrive&) = delete;
  ClientDrive& operator=(const ClientDrive&) = delete;

  /// Makes the file that the host sees as \\tsclient\C\`name`.
  void Write(const std::wstring& name) const {
    CopyFileW(FixtureProgram(L"emptyApp").c_str(), At(name).c_str(), FALSE);
  }

 private:
  std::wstring At(const std::wstring& name) const { return (folder_ / name).wstring(); }
  static std::filesystem::path Root() {
    wchar_t prefix[MAX_PATH];
    const DWORD length = GetEnvironmentVariableW(L"QUARRY_WINEPREFIX", prefix, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) throw std::runtime_error("these tests need scripts/wine.sh");
    std::wstring path = L"Z:" + std::wstring(prefix) + L"/dosdevices/unc/tsclient/C";
    std::replace(path.begin(), path.end(), L'/', L'\\');
    return path;
  }

  std::filesystem::path folder_;
};

class Launch : public testing::Test {
 protected:
  void SetUp() override { settings_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", kTimeout); }

  std::uint32_t Run(const std::wstring& path, std::uint32_t flags = 0, const std::wstring& arguments = L"",
                    const std::wstring& folder = L"", const Parameters& parameters = {}) {
    HostLog::Clear();
    std::vector<QuarryLaunchParameter> records;
    for (const auto& [type, value] : parameters) records.push_back({type, value.c_str()});
    return host_->LaunchApplication(path.c_str(), flags, arguments.c_str(), folder.c_str(),
                                    static_cast<std::int32_t>(records.size()), records.data());
  }
  std::uint32_t Run(const Parameters& parameters, std::uint32_t flags = 0) {
    return Run(program_, flags, L"", L"", parameters);
  }
  std::vector<std::wstring> ArgumentsOf(std::size_t count) const {
    std::vector<std::wstring> arguments;
    for (const Start& start : programs_.Wait(count)) arguments.push_back(start.arguments);
    std::sort(arguments.begin(), arguments.end());
    return arguments;
  }

  RegistryFixture settings_{kSettingsKey};
  StartedPrograms programs_;
  std::wstring program_ = programs_.Program();
  QuarryHost host_;
};

TEST_F(Launch, StartsWithArgumentsFolderAndShowCommand) {
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_MAXIMIZE, L"one \"two three\"", programs_.Folder().Path()), QUARRY_LAUNCH_OK);
  const std::vector<Start> starts = programs_.Wait(1);
  ASSERT_THAT(starts, SizeIs(1));
  EXPECT_EQ(starts[0].arguments, L"one \"two three\"");
  EXPECT_EQ(_wcsicmp(starts[0].folder.c_str(), programs_.Folder().Path().c_str()), 0);
  EXPECT_EQ(starts[0].showCommand, SW_SHOWMAXIMIZED);

  std::vector<LogLine> lines = HostLog::Lines();
  std::erase_if(lines, [](const LogLine& line) { return line.level != QUARRY_LOG_DETAIL; });
  std::erase_if(lines, [](const LogLine& line) { return line.text.find(L"con") != std::wstring::npos; });
  EXPECT_THAT(lines, ElementsAre(LogLine{3, L"Launching " + program_ + L"\n"},
                                 LogLine{3, L"Launch parameters: one \"two three\"\n"},
                                 LogLine{3, L"Launch directory: " + programs_.Folder().Path() + L"\n"},
                                 LogLine{3, L"Launch maximized: true\n"}, LogLine{3, L"Activating our hidden window\n"},
                                 LogLine{3, L"Finished activating hidden window\n"},
                                 LogLine{3, L"Launching application '" + program_ + L"'\n"}));
}

TEST_F(Launch, StartsShortcutsAndExpandsVariables) {
  const std::wstring link = programs_.Folder() / L"Echo.lnk";
  ASSERT_TRUE(WriteShortcut({link, program_, L"from-link", L"", L"", L""}));
  SetEnvironmentVariableW(L"QuarryLaunchTest", programs_.Folder().Path().c_str());
  EXPECT_EQ(Run(L"%QuarryLaunchTest%\\Echo.lnk", 0, L"", L"%QuarryLaunchTest%"), QUARRY_LAUNCH_OK);
  SetEnvironmentVariableW(L"QuarryLaunchTest", nullptr);
  EXPECT_THAT(ArgumentsOf(1), ElementsAre(L"from-link"));
  EXPECT_EQ(HostLog::Count(3, L"Launching application '" + program_ + L"'\n"), 1U);
}

TEST_F(Launch, RefusesNullArgumentsAndFoldersThatAreNone) {
  EXPECT_EQ(host_->LaunchApplication(nullptr, 0, L"", L"", 0, nullptr), QUARRY_LAUNCH_REFUSED);
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, nullptr, L"", 0, nullptr), QUARRY_LAUNCH_REFUSED);
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, L"", nullptr, 0, nullptr), QUARRY_LAUNCH_REFUSED);
  for (const std::wstring& folder : {program_, programs_.Folder() / L"gone", std::wstring(L"\\\\dead\\share"),
                                     std::wstring(30'000, L'f'), std::wstring(L"\xD800")}) {
    EXPECT_EQ(Run(program_, 0, L"", folder), QUARRY_LAUNCH_REFUSED);
    EXPECT_EQ(HostLog::Count(0, L"Launch directory " + folder + L" is not valid\n"), 1U);
  }
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, L"", L"", 1, nullptr), QUARRY_LAUNCH_REFUSED);
  EXPECT_EQ(HostLog::Count(0, L"Expecting customized parameters but none found\n"), 1U);
  const QuarryLaunchParameter nulls[] = {{nullptr, L"x"}, {L"url", nullptr}};
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, L"", L"", 1, nulls), QUARRY_LAUNCH_REFUSED);
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, L"", L"", 1, nulls + 1), QUARRY_LAUNCH_REFUSED);
  EXPECT_THAT(programs_.All(), IsEmpty());
  EXPECT_EQ(host_->LaunchApplication(program_.c_str(), 0, L"", L"", -7, nulls), QUARRY_LAUNCH_OK);
  EXPECT_THAT(programs_.All(), SizeIs(1));
}

TEST_F(Launch, ReportsWhatTheShellCannotStart) {
  EXPECT_EQ(Run(programs_.Folder() / L"gone.exe"), QUARRY_LAUNCH_FAILED);
  EXPECT_EQ(HostLog::Count(0, L"ShellExecuteEx failed, error = 2\n"), 1U);
  for (const std::wstring& path : {std::wstring(30'000, L'x'), std::wstring(L"\xDC00.exe")}) {
    EXPECT_EQ(Run(path), QUARRY_LAUNCH_FAILED);
    EXPECT_THAT(HostLog::Holding(L"ShellExecuteEx failed, error = "), SizeIs(1));
  }
}

TEST_F(Launch, RefusesWhatThePolicyDoesNotAllow) {
  const std::wstring network = L" is not related to Client Drive Redirection and thus is not allowed to be opened.\n";
  const std::wstring local = L" is not allowed by administrator policy.\n";
  const struct {
    const wchar_t* type;
    std::wstring value;
    std::uint32_t flags;
    std::wstring message;
  } refused[] = {
      {L"path", program_, 8, L"Invalid custom parameter file type: 'path'\n"},
      {L"", L"", 8, L"Invalid custom parameter file type: ''\n"},
      {L"file-path", program_, 0, L"Opening the local file path '" + program_ + L"'" + local},
      {L"FILE-Path", L"", 0, L"Opening the local file path ''" + local},
      {L"url", L"\"" + program_, 0, L"Opening the local file path '\"" + program_ + L"'" + local},
      {L"url", L"file:///C:/windows/notepad.exe", 0,
       L"Opening the local file path 'file:///C:/windows/notepad.exe'" + local},
      {L"file-path", L"\\\\server\\share\\a.txt", 8, L"The network path '\\\\server\\share\\a.txt'" + network},
      {L"file-path", L"//server/share/a.txt", 8, L"The network path '//server/share/a.txt'" + network},
      {L"url", L"file://server/share/a.txt", 8, L"The network path 'file://server/share/a.txt'" + network},
      {L"file-path", L"\\\\tsclient", 8, L"The network path '\\\\tsclient'" + network},
      {L"file-path", L"\\\\tsclientevil\\C\\a.txt", 8, L"The network path '\\\\tsclientevil\\C\\a.txt'" + network},
  };
  for (const auto& [type, value, flags, message] : refused) {
    EXPECT_EQ(Run({{L"appCommandLine", L"before"}, {type, value}}, flags), QUARRY_LAUNCH_REFUSED);
    EXPECT_EQ(HostLog::Count(0, message), 1U) << testing::PrintToString(message);
    EXPECT_EQ(HostLog::Count(3, L"Param: 2, Type: '" + std::wstring(type) + L"', Value: '" + value + L"'\n"), 1U);
  }
  EXPECT_THAT(programs_.All(), IsEmpty());
}

TEST_F(Launch, HandsOverTheCommandLine) {
  EXPECT_EQ(Run({{L"appCommandLine", L"/first"}, {L"APPCOMMANDLINE", L"/last one"}}), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::Count(3, L"Launching application with custom command line '/last one'\n"), 1U);
  EXPECT_EQ(Run(program_, 0, L"given", L"", {{L"appCommandLine", L"/more"}}), QUARRY_LAUNCH_OK);
  EXPECT_EQ(Run(programs_.Folder() / L"gone.exe", 0, L"", L"", {{L"appCommandLine", L"/x"}}), QUARRY_LAUNCH_FAILED);
  EXPECT_THAT(ArgumentsOf(2), ElementsAre(L"/last one", L"given /more"));
}

TEST_F(Launch, OpensLocalFilesAndUrlsAtOnceEachAsOneArgument) {
  const std::wstring file = programs_.Folder().WriteText(L"my file.qtest", L"text");
  EXPECT_EQ(Run({{L"file-path", file}, {L"url", L"qtest://host/a\" --evil \"b"}, {L"url", L"qtest://plain"}},
                QUARRY_LAUNCH_ALLOW_LOCAL_FILES),
            QUARRY_LAUNCH_OK);
  EXPECT_THAT(ArgumentsOf(3),
              ElementsAre(L"\"" + file + L"\"", L"\"qtest://host/a\\\" --evil \\\"b\"", L"qtest://plain"));
  EXPECT_THAT(HostLog::Holding(L"Opening 2 file(s) took "), SizeIs(1));
  EXPECT_THAT(HostLog::Holding(L"Opening 1 file(s) took "), SizeIs(1));
  EXPECT_EQ(HostLog::Count(3,
                           L"Failed to open 2 of 2 file(s) using the built-in Windows methods. Opening them manually "
                           L"now.\n"),
            1U);
}

TEST_F(Launch, FailedManualStartsDoNotStopTheOthers) {
  const std::wstring program = programs_.Program(L"vanishing.exe");
  DeleteFileW(program.c_str());
  EXPECT_EQ(Run(program, 0, L"", L"", {{L"url", L"qtest://a"}, {L"url", L"qtest://b"}}), QUARRY_LAUNCH_FAILED);
  EXPECT_EQ(HostLog::Count(0, L"ShellExecuteEx failed, error = 2\n"), 2U);
  EXPECT_EQ(Run(program, 0, L"", L"", {{L"url", L"qtest://a"}, {L"url", L"\\\\tsclient\\C\\never"}}),
            QUARRY_LAUNCH_FILES_MISSING);
}

TEST_F(Launch, WaitsForRedirectedFilesAndReportsThoseThatDoNotAppear) {
  const ClientDrive drive;
  drive.Write(L"there.qtest");
  const ULONGLONG begin = GetTickCount64();
  std::thread client([&] {
    Sleep(kTimeout / 2);
    drive.Write(L"later one.qtest");
  });
  const std::uint32_t result = Run({{L"file-path", L"\"\\\\TSClient\\C\\there.qtest\""},
                                    {L"file-path", L"\\\\tsclient\\C\\later one.qtest"},
                                    {L"url", L"\\\\tsclient\\C\\never.qtest"},
                                    {L"file-path", L"\\\\tsclient\\C\\" + std::wstring(300, L'n')}});
  const ULONGLONG took = GetTickCount64() - begin;
  client.join();
  EXPECT_EQ(result, QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_GE(took, kTimeout);
  EXPECT_LE(took, kTimeout + kSlack + 1000);  // the starts themselves are within the time
  EXPECT_THAT(ArgumentsOf(2), ElementsAre(L"\"\\\\tsclient\\C\\later one.qtest\"", L"\\\\TSClient\\C\\there.qtest"));
  EXPECT_EQ(HostLog::Count(3,
                           L"Sanitized share path '\"\\\\TSClient\\C\\there.qtest\"' -> "
                           L"'\\\\TSClient\\C\\there.qtest'.\n"),
            1U);
  EXPECT_EQ(HostLog::Count(0, L"Timeout was reached and 2 file(s) couldn't be opened.\n"), 1U);
  EXPECT_EQ(HostLog::Count(0, L"File '\\\\tsclient\\C\\never.qtest' doesn't exist\n"), 1U);
}

TEST_F(Launch, AnswersAtTheTimeoutAndSanitisesNames) {
  const ULONGLONG begin = GetTickCount64();
  EXPECT_EQ(Run({{L"file-path", L"\\\\tsclient\\C\\\x4e2d\\\xD800 x\\gone.txt"}, {L"url", L"\\\\TSCLIENT\\"}}),
            QUARRY_LAUNCH_FILES_MISSING);
  const ULONGLONG took = GetTickCount64() - begin;
  EXPECT_GE(took, kTimeout);
  EXPECT_LE(took, kTimeout + kSlack);
  EXPECT_THAT(HostLog::Holding(L"Sanitized share path '"), SizeIs(testing::Le(1U)));
  EXPECT_THAT(HostLog::Holding(L"gone.txt' doesn't exist\n"), SizeIs(1));
  EXPECT_EQ(HostLog::Count(0, L"File '\\\\TSCLIENT\\' doesn't exist\n"), 1U);
}

TEST_F(Launch, RefusesEveryItemWhenDrivesAreDisabled) {
  const RegistryFixture policy(kTerminalServices);
  policy.SetDword(L"", L"fDisableCdm", 1);
  for (const wchar_t* item : {L"\\\\tsclient\\C\\x.txt", L"qtest://host"}) {
    EXPECT_EQ(Run({{L"file-path", item}}), QUARRY_LAUNCH_DRIVES_DISABLED);
    EXPECT_EQ(HostLog::Count(1, L"Client Drive Redirection is disabled by policy\n"), 1U);
  }
  EXPECT_EQ(Run({{L"appCommandLine", L"/still"}}), QUARRY_LAUNCH_OK);
  EXPECT_THAT(programs_.All(), SizeIs(1));
}

TEST_F(Launch, TakesManyAndLongItems) {
  Parameters many(10'000, {L"file-path", L"\\\\tsclient\\C\\none.txt"});
  EXPECT_EQ(Run(many), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_EQ(HostLog::Count(0, L"Timeout was reached and 10000 file(s) couldn't be opened.\n"), 1U);
  const std::wstring endless = L"\\\\tsclient\\C\\" + std::wstring(30'000, L'"');
  EXPECT_EQ(Run({{L"file-path", endless}}), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_THAT(programs_.All(), IsEmpty());
  const std::wstring url = L"qtest://" + std::wstring(30'000, L'x');
  EXPECT_EQ(Run({{L"url", url}}), QUARRY_LAUNCH_OK);
  EXPECT_THAT(ArgumentsOf(1), ElementsAre(url));
}

TEST_F(Launch, KeepsHandlesOnlyOfTrackedProcesses) {
  const auto start = [this](std::uint32_t flags) { EXPECT_EQ(Run(program_, flags), QUARRY_LAUNCH_OK); };
  EXPECT_LE(GrowthOf([&] { start(0); }, 200).handles, 0);
  programs_.All();
  const std::ptrdiff_t tracked = GrowthOf([&] { start(QUARRY_LAUNCH_TRACK_PROCESSES); }, 20).handles;
  EXPECT_EQ(tracked, 20);
  const ResourceCounts before = ResourceCounts::Now();
  host_->Exit();
  EXPECT_LE((ResourceCounts::Now() - before).handles, -22);
  programs_.All();
}

}  // namespace
