// What is started, opened, brought forward and refused, with a fixture program that tells how it was started.

#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"
#include "tests/support/startedPrograms.h"

#include <thread>
#include <tuple>

namespace quarry::test {
namespace {

using Parameters = std::vector<std::pair<const wchar_t*, std::wstring>>;

constexpr DWORD kTimeout = 2'000;           // milliseconds, set for redirected files
constexpr ULONGLONG kLongestWait = 10'000;  // milliseconds that a window, or an answer, may take on a busy machine
constexpr wchar_t kTerminalServices[] = L"SOFTWARE\\Policies\\Microsoft\\Windows NT\\Terminal Services";

std::map<std::wstring, ULONGLONG> g_times;                     // when the library last said what
std::function<void(const std::wstring& message)> g_onMessage;  // on the library's thread, while it does its work

void Receive(std::uint32_t level, const wchar_t* message) {
  HostLog::Record(level, message);
  g_times[message] = GetTickCount64();
  if (g_onMessage) g_onMessage(message);
}

bool Said(std::uint32_t level, const std::wstring& message) { return HostLog::Count(level, message) == 1; }

/// How long after the work on files began the message that begins so was said, in milliseconds.
ULONGLONG TimeOf(const std::wstring& begin) {
  const auto start = g_times.lower_bound(L"Check Policies");
  const auto entry = g_times.lower_bound(begin);
  return entry != g_times.end() && entry->first.starts_with(begin) ? entry->second - start->second : 0;
}

bool Eventually(const std::function<bool()>& holds) {
  const ULONGLONG begin = GetTickCount64();
  while (!holds() && GetTickCount64() - begin < kLongestWait) Sleep(10);
  return holds();
}

/// The remote user's drive C: a network path is a folder of the Wine prefix.
class ClientDrive {
 public:
  ClientDrive() { std::filesystem::create_directories(servers_ / L"tsclient/C"); }
  // With the folder of all servers there, Wine would make any server that is asked for.
  ~ClientDrive() { std::filesystem::remove_all(servers_); }
  ClientDrive(const ClientDrive&) = delete;
  ClientDrive& operator=(const ClientDrive&) = delete;

  /// Makes the file that the host sees as \\tsclient\C\`name`.
  void Write(const std::wstring& name) const {
    std::filesystem::copy(FixtureProgram(L"emptyApp"), servers_ / L"tsclient/C" / name);
  }

 private:
  const std::filesystem::path servers_ =
      std::wstring(L"Z:").append(_wgetenv(L"QUARRY_WINEPREFIX")).append(L"/dosdevices/unc");
};

class Launch : public Test {
 protected:
  Launch() {
    SetTimeout(100'000);
    policy_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", kTimeout);
  }

  void SetTimeout(std::uint32_t time) const { settings_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", time); }
  std::uint32_t Run(const std::wstring& path, std::uint32_t flags = 0, const std::wstring& arguments = L"",
                    const std::wstring& folder = L"", const Parameters& parameters = {}) const {
    HostLog::Clear();
    g_times.clear();
    std::vector<QuarryLaunchParameter> records;
    for (const auto& [type, value] : parameters) records.push_back({type, value.c_str()});
    return host_->LaunchApplication(path.c_str(), flags, arguments.c_str(), folder.c_str(),
                                    static_cast<std::int32_t>(records.size()), records.data());
  }
  std::uint32_t Run(const Parameters& parameters, std::uint32_t flags = 0) const {
    return Run(program_, flags, L"", L"", parameters);
  }
  std::wstring WriteLink(const wchar_t* name, const std::wstring& target) const {
    return programs_.Folder().WriteLink(name, target, {.arguments = L"from-link"});
  }

  /// Writes a batch file that starts the fixture program with what it is started with itself.
  std::wstring WriteBatch(const wchar_t* name) const {
    constexpr char kText[] = "@\"%~dp0echo.exe\" %*\r\n";
    return programs_.Folder().WriteBytes(name, {reinterpret_cast<const std::uint8_t*>(kText), sizeof(kText) - 1});
  }

  const RegistryFixture settings_{kSettingsKey};
  const RegistryFixture policy_{kPolicyKey};
  const StartedPrograms programs_;
  const std::wstring program_ = programs_.Program();
  const QuarryHost host_{false, Receive};
};

TEST_F(Launch, StartsShortcutsAndProgramsAsAskedFor) {
  WriteLink(L"Echo.lnk", program_);
  SetEnvironmentVariableW(L"QuarryLaunchTest", programs_.Folder().Path().c_str());
  EXPECT_EQ(Run(L"%QuarryLaunchTest%\\Echo.lnk", 0, L"\"two three\"", L"%QuarryLaunchTest%"), QUARRY_LAUNCH_OK);
  SetEnvironmentVariableW(L"QuarryLaunchTest", nullptr);
  EXPECT_TRUE(Said(3, L"Launching application '" + program_ + L"'\n"));
  EXPECT_EQ(Run({{L"appCommandLine", L"/first"}, {L"APPCOMMANDLINE", L"/last one"}}), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Launching application with custom command line '/last one'\n"));
  EXPECT_THAT(programs_.Take(2), ElementsAre(L"/last one", L"from-link \"two three\""));

  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_MAXIMIZE, L"\"two three\"", programs_.Folder().Path()), QUARRY_LAUNCH_OK);
  const std::vector<Start> starts = programs_.Wait(1);
  ASSERT_THAT(starts, SizeIs(1));
  EXPECT_EQ(starts[0].arguments, L"\"two three\"");
  EXPECT_EQ(_wcsicmp(starts[0].folder.c_str(), programs_.Folder().Path().c_str()), 0);
  EXPECT_EQ(starts[0].showCommand, SW_SHOWMAXIMIZED);

  std::vector<LogLine> lines = HostLog::Lines();
  std::erase_if(lines, [](const LogLine& line) {  // about its icons
    return line.level != QUARRY_LOG_DETAIL || line.text.find(L"con") != std::wstring::npos;
  });
  EXPECT_THAT(lines, ElementsAre(LogLine{3, L"Launching " + program_ + L"\n"},
                                 LogLine{3, L"Launch parameters: \"two three\"\n"},
                                 LogLine{3, L"Launch directory: " + programs_.Folder().Path() + L"\n"},
                                 LogLine{3, L"Launch maximized: true\n"}, LogLine{3, L"Activating our hidden window\n"},
                                 LogLine{3, L"Finished activating hidden window\n"},
                                 LogLine{3, L"Launching application '" + program_ + L"'\n"}));
}

TEST_F(Launch, RefusesMissingParametersAndFoldersThatAreNone) {
  for (const std::wstring& folder : {program_, programs_.Folder() / L"gone", std::wstring(L"\\\\dead\\share"),
                                     std::wstring(30'000, L'f'), std::wstring(L"\xD800")}) {
    EXPECT_EQ(Run(program_, 0, L"", folder), QUARRY_LAUNCH_REFUSED);
    EXPECT_TRUE(Said(0, L"Launch directory " + folder + L" is not valid\n"));
  }
  const auto run = [this](std::int32_t count, const QuarryLaunchParameter* parameters) {
    HostLog::Clear();
    return host_->LaunchApplication(program_.c_str(), QUARRY_LAUNCH_REUSE_RUNNING, L"", L"", count, parameters);
  };
  const QuarryLaunchParameter nulls[] = {{nullptr, L"x"}, {L"url", nullptr}};
  EXPECT_EQ(run(1, nullptr), QUARRY_LAUNCH_REFUSED);
  EXPECT_TRUE(Said(0, L"Expecting customized parameters but none found\n"));
  EXPECT_EQ(run(1, nulls), QUARRY_LAUNCH_REFUSED);
  EXPECT_EQ(run(1, nulls + 1), QUARRY_LAUNCH_REFUSED);
  EXPECT_THAT(programs_.Take(0), IsEmpty());
  EXPECT_EQ(run(-7, nulls), QUARRY_LAUNCH_OK);
  EXPECT_EQ(HostLog::CountHolding(L"Enumerating windows for"), 0U);
  EXPECT_THAT(programs_.Take(1), SizeIs(1));
}

TEST_F(Launch, ReportsWhatTheShellCannotStart) {
  const std::pair<std::wstring, const wchar_t*> kCases[] = {{L"", L""},
                                                            {L"\xDC00.exe", L""},
                                                            {L"C:\\" + std::wstring(256, L'x'), L"2\n"},
                                                            {L"C:\\" + std::wstring(257, L'x'), L"206\n"},
                                                            {std::wstring(30'000, L'x'), L"206\n"}};
  for (const auto& [path, error] : kCases) {
    EXPECT_EQ(Run(path), QUARRY_LAUNCH_FAILED);
    EXPECT_EQ(HostLog::CountHolding(std::wstring(L"ShellExecuteEx failed, error = ") + error), 1U) << path.size();
  }
  g_onMessage = [this](const std::wstring& message) {
    if (message == L"Activating our hidden window\n") DeleteFileW(program_.c_str());
  };
  EXPECT_EQ(Run(program_), QUARRY_LAUNCH_FAILED);
  g_onMessage = nullptr;
  EXPECT_TRUE(Said(0, L"ShellExecuteEx failed, error = 2\n"));
  EXPECT_EQ(Run({{L"appCommandLine", L"/x"}}), QUARRY_LAUNCH_FAILED);
  EXPECT_TRUE(Said(0, L"ShellExecuteEx failed, error = 2\n"));
  policy_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", 0);
  EXPECT_EQ(Run({{L"url", L"qtest://a"}, {L"url", L"\\\\tsclient\\C\\never"}}), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_TRUE(Said(0, L"ShellExecuteEx failed, error = 2\n"));
}

TEST_F(Launch, RefusesWhatThePolicyDoesNotAllow) {
  const std::pair unknown(L"Invalid custom parameter file type: '", L"'\n");
  const std::pair local(L"Opening the local file path '", L"' is not allowed by administrator policy.\n");
  const std::pair network(L"The network path '",
                          L"' is not related to Client Drive Redirection and thus is not allowed to be opened.\n");
  const std::pair length(L"A custom parameter of 32768 characters is too long, ", L"32767 are allowed.\n");
  const std::wstring endless(32'768, L'x');
  const struct {
    std::wstring type;
    std::wstring value;
    std::uint32_t flags;
    std::pair<const wchar_t*, const wchar_t*> message;
  } kRefused[] = {
      {L"path", program_, 8, unknown},
      {L"", L"", 8, unknown},
      {L"FILE-Path", program_, 0, local},
      {L"file-path", L"", ~8u, local},
      {L"url", L"\"" + program_, 0, local},
      {L"url", L"file:file:///C:/windows/notepad.exe", 0, local},
      {L"url", L"FILE:http://host/", 0, local},
      {L"file-path", L"//server/share/a.txt", 8, network},
      {L"url", L"file:%66ile://server/share/x", 8, network},
      {L"url", L"file:///C:/" + std::wstring(3'000, L'x'), 8, network},
      {L"file-path", L"\\\\tsclient", 8, network},
      {L"file-path", L"\\\\tsclientevil\\C\\a.txt", 8, network},
      {L"url", L"-javaagent:\\\\tsclient\\C\\evil.jar", 0, local},
      {L"url", L"win.ini::$DATA", 0, local},
      {L"url", L"url:win.ini", 0, local},
      {L"url", L"url:file:///C:/windows/win.ini", 0, local},
      {L"url", L"view-source:file:///C:/windows/win.ini", 0, local},
      {L"url", L"View-Source: c:/windows/win.ini", 0, local},
      {L"url", L"file:url:http://host/", 0, local},
      {L"url", L"url://server/share/a.txt", 8, network},
      {L"url", L"view-source:\\\\server\\share\\a.txt", 8, network},
      {L"file-path", L" \\\\server\\share\\a.txt", 8, network},
      {L"file-path", L"\\??\\UNC\\server\\share\\a.txt", 8, network},
      {L"file-path", L"/?\?/C:\\windows\\win.ini", 8, network},
      {L"file-path", L"\\\\?\\GLOBALROOT\\Device\\Mup\\server\\share\\a.txt", 8, network},
      {L"file-path", L"//?/C:/windows/win.ini", 8, network},
      {L"url", L"file:\\\\.\\C:\\windows\\win.ini", 8, network},
      {L"appCommandLine", endless, 8, length},
      {L"url", endless, 8, length},
  };
  for (const auto& [type, value, flags, message] : kRefused) {
    SCOPED_TRACE(PrintToString(value));
    EXPECT_EQ(Run({{L"appCommandLine", L"before"}, {type.c_str(), value}}, flags), QUARRY_LAUNCH_REFUSED);
    const std::wstring& named = message == unknown ? type : value;
    EXPECT_TRUE(Said(0, message.first + (message == length ? L"" : named) + message.second));
    EXPECT_TRUE(Said(3, Str_FormatWide(L"Param: 2, Type: '%s', Value: '%s'\n", type.c_str(), value.c_str())));
  }
  EXPECT_THAT(programs_.Take(0), IsEmpty());
}

TEST_F(Launch, OpensLocalFilesAndUrlsAtOnceEachAsTheOnlyArgument) {
  const std::wstring file = programs_.Folder().WriteText(L"my file.qtest", L"text");
  const Parameters parameters = {{L"file-path", file},
                                 {L"appCommandLine", L"/dropped"},
                                 {L"url", L"view-source:qtest://a?b=c"},
                                 {L"url", L"qtest://a b\\\\"},
                                 {L"url", L"qtest://plain\\"}};
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_ALLOW_LOCAL_FILES, L"dropped", L"", parameters), QUARRY_LAUNCH_OK);
  EXPECT_THAT(programs_.Take(4), ElementsAre(L"\"" + file + L"\"", L"\"qtest://a b\\\\\\\\\"",
                                             L"\"view-source:qtest://a?b=c\"", L"qtest://plain\\"));
  EXPECT_EQ(HostLog::CountHolding(L"Opening 3 file(s) took "), 1U);
  EXPECT_TRUE(
      Said(3, L"Failed to open 3 of 3 file(s) using the built-in Windows methods. Opening them manually now.\n"));
}

TEST_F(Launch, GivesInterpretersOnlyWhatTheyTakeAsOneArgument) {
  const std::wstring upper = WriteBatch(L"one.CMD");
  const std::wstring everyProgram = L"\"\n\r\t\x7F";
  const std::wstring everyBatch = L"!%" + everyProgram;
  const std::wstring all = L"&|<>^();,=`$" + everyBatch;
  const struct {
    std::wstring path;
    std::wstring refused;  // of all that may have a meaning
    std::wstring before = {};
  } kCases[] = {
      {program_, everyProgram},
      {L"\"" + WriteBatch(L"two.bat") + L"\"", everyBatch},
      {upper + L" .", everyBatch},
      {WriteLink(L"Odd.lnk", upper), everyBatch, L"from-link "},
      {WriteLink(L"Plain.lnk", programs_.Program(L"Shouted.EXE")), everyProgram, L"from-link "},
      {programs_.Program(L"WScript.exe"), everyBatch},
      {programs_.Program(L"cmd.exe"), L"&|<>^" + everyBatch},
      {programs_.Folder() / L"echo", L"&|<>^" + everyBatch},  // whatever the shell finds
      {programs_.Folder().WriteLink(L"Prompt.lnk", L"C:\\windows\\system32\\cmd.exe",
                                    {.arguments = L"/c " + WriteBatch(L"start.bat")}),
       L"&|<>^" + everyBatch},
      {programs_.Program(L"PowerShell.EXE"), all},
      {WriteLink(L"Shell.lnk", programs_.Program(L"pwsh.exe")), all, L"from-link "},
      {programs_.Program(L"mshta.exe"), all},
      {programs_.Program(L"rundll32.exe"), all},
  };
  for (const auto& [path, refused, before] : kCases) {
    SCOPED_TRACE(PrintToString(path));
    std::wstring taken = L"qtest://";
    Parameters urls = {{L"url", L"qtest://plain"}};
    for (const wchar_t character : all) {
      if (refused.find(character) == std::wstring::npos) {
        taken += character;
      } else {
        urls.emplace_back(L"url", std::wstring(L"qtest://a") + character);
      }
    }
    urls.emplace_back(L"url", taken);
    const wchar_t* const plain = refused == everyProgram ? L"qtest://plain" : L"\"qtest://plain\"";
    EXPECT_EQ(Run(path, 0, L"", L"", urls), QUARRY_LAUNCH_FAILED);
    EXPECT_EQ(HostLog::Count(0, L"ShellExecuteEx failed, error = 160\n"), refused.size());
    EXPECT_THAT(programs_.Take(2),
                UnorderedElementsAre(before + plain, before + Str_FormatWide(L"\"%s\"", taken.c_str())));
  }
}

TEST_F(Launch, WaitsForRedirectedFilesAndReportsThoseThatDoNotAppear) {
  const RegistryFixture enabled(kTerminalServices);
  enabled.SetDword(L"", L"fDisableCdm", 0);
  const ClientDrive drive;
  drive.Write(L"there.qtest");
  std::thread client([&] {
    Sleep(kTimeout / 10);
    drive.Write(L"later one.qtest");
  });
  EXPECT_EQ(Run({{L"file-path", L"\"\\\\TSClient\\C\\there.qtest\""},
                 {L"file-path", L"\\\\tsclient\\C\\later one.qtest"},
                 {L"url", L"file://tsclient/C/never.qtest"},
                 {L"file-path", L"\\\\tsclient\\C\\" + std::wstring(300, L'n')}}),
            QUARRY_LAUNCH_FILES_MISSING);
  client.join();
  EXPECT_LT(TimeOf(L"Failed to open 1 of 1 file(s)"), kTimeout);  // the last of two such messages
  EXPECT_GE(TimeOf(L"Timeout was reached and 2 file(s) couldn't be opened.\n"), kTimeout);
  EXPECT_LT(TimeOf(L"Timeout was reached"), kLongestWait);
  EXPECT_THAT(programs_.Take(2), ElementsAre(L"\"\\\\tsclient\\C\\later one.qtest\"", L"\\\\TSClient\\C\\there.qtest"));
  EXPECT_TRUE(Said(0, L"File '\\\\tsclient\\C\\never.qtest' doesn't exist\n"));
}

ULONGLONG g_clock = 0;  // milliseconds, while it stands for the platform's
std::size_t g_looks = 0;

TEST_F(Launch, LooksNoLongerThanTheTimeoutForFilesOfASlowDrive) {
  const HMODULE library = Library::Instance().Module();
  const ReplacedImport clock(
      library, "KERNEL32.dll", "GetTickCount64", +[]() -> ULONGLONG { return ++g_clock; });
  const ReplacedImport slowLook(
      library, "SHLWAPI.dll", "PathFileExistsW", +[](LPCWSTR path) -> BOOL {
        g_clock += kTimeout * 2 / 3;
        ++g_looks;
        return path[wcslen(path) - 1] == L'b' ? TRUE : FALSE;
      });
  Parameters files(4, {L"file-path", L"\\\\tsclient\\C\\"});
  for (std::size_t index = 0; index < files.size(); ++index) files[index].second += L"abcd"[index];
  for (const auto& [timeout, looks, missing] :
       {std::tuple(0U, 1U, L'4'), std::tuple(static_cast<unsigned>(kTimeout), 2U, L'3')}) {
    policy_.SetDword(L"Config", L"RemoteFileOpenTimeoutMs", timeout);
    g_looks = 0;
    EXPECT_EQ(Run(files), QUARRY_LAUNCH_FILES_MISSING);
    EXPECT_EQ(g_looks, looks);
    EXPECT_TRUE(Said(0, Str_FormatWide(L"Timeout was reached and %c file(s) couldn't be opened.\n", missing)));
  }
  EXPECT_THAT(programs_.Take(1), ElementsAre(L"\\\\tsclient\\C\\b"));
}

TEST_F(Launch, AsksThePlatformOnceAboutSchemesThatAreRepeated) {
  std::vector<Import> imports = ImportsOf(Library::Instance().Module());
  std::erase_if(imports, [](const Import& import) { return import.library != "SHLWAPI.dll"; });
  for (const wchar_t* const scheme : {L"file:", L"URL:file:", L"view-source:"}) {
    std::wstring url = L"file:///C:/a";
    while (url.size() < 32'000) url.insert(0, scheme);
    const CountedImports counted(imports);
    EXPECT_EQ(Run({{L"url", url}}), QUARRY_LAUNCH_REFUSED);
    std::map<std::string, std::uint64_t> calls = counted.Counts();
    EXPECT_EQ(calls["PathCreateFromUrlW"], 1U);
  }
}

TEST_F(Launch, TakesManyOddAndLongItems) {
  policy_.Clear();
  SetTimeout(0);
  EXPECT_EQ(Run(Parameters(10'000, {L"file-path", L"\\\\tsclient\\C\\none.txt"})), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_TRUE(Said(0, L"Timeout was reached and 10000 file(s) couldn't be opened.\n"));
  EXPECT_LT(TimeOf(L"Timeout was reached"), kLongestWait);
  const std::wstring odd = L"\"\\\\tsclient\\C\\\x4e2d\\\xD800 x\\a\xFF3C..\\gone.txt\"";
  const std::wstring carried = GetACP() == CP_UTF8 ? L"\\\\tsclient\\C\\\x4e2d\\\xFFFD x\\a\xFF3C..\\gone.txt"
                                                   : L"\\\\tsclient\\C\\?\\? x\\a?..\\gone.txt";
  const std::wstring endless(30'000, L'"');
  const Parameters parameters = {
      {L"file-path", odd}, {L"url", L"\\\\TSCLIENT\\"}, {L"url", L"\\\\tsclient\\" + endless}};
  EXPECT_EQ(Run(parameters), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_TRUE(Said(3, L"Sanitized share path '" + odd + L"' -> '" + carried + L"'.\n"));
  for (const std::wstring& file : {carried, std::wstring(L"\\\\TSCLIENT\\"), L"\\\\tsclient\\" + endless}) {
    EXPECT_TRUE(Said(0, L"File '" + file + L"' doesn't exist\n"));
  }
  EXPECT_THAT(programs_.Take(0), IsEmpty());
  const std::wstring url = L"qtest://" + std::wstring(30'000, L'x');
  EXPECT_EQ(Run({{L"url", url}}), QUARRY_LAUNCH_OK);
  EXPECT_THAT(programs_.Take(1), ElementsAre(url));

  if (Rounds(0, 1) == 0) return;  // the rest takes the 15 seconds that hold without a setting
  settings_.Clear();
  EXPECT_EQ(Run({{L"url", L"\\\\tsclient\\C\\never"}}), QUARRY_LAUNCH_FILES_MISSING);
  EXPECT_EQ(TimeOf(L"Timeout was reached") / 1'000, 15U);
}

TEST_F(Launch, IsWhatTheToolDoesAndSays) {
  const std::wstring file = programs_.Folder().WriteText(L"a.qtest", L"text");
  const std::string done = ": started, or a running instance was brought forward\n";
  const std::string disabled = ": refused: client drive redirection is disabled by policy\n";
  const struct {
    Names options;
    std::uint32_t code;
    std::string out;
    std::string err;
    Names started = {};
    std::uint32_t drivesDisabled = 0;
  } kRuns[] = {
      {{program_, L"--args", L"one two", L"--cwd", programs_.Folder().Path(), L"--maximize", L"-vvv"},
       0,
       done,
       "Launch directory: " + Unicode_Utf8FromWide(programs_.Folder().Path()) + "\ndetail: Launch maximized: true\n",
       {L"one two"}},
      {{program_, L"--args=--quiet", L"--command-line=-x"}, 0, done, "", {L"--quiet -x"}, 1},
      {{program_, L"--command-line", L""}, 0, done, "", {L""}},
      {{program_, L"--url", L"qtest://a", L"--allow-local", L"--file", file}, 0, done, "", {file, L"qtest://a"}},
      {{program_, L"--reuse", L"-vvv"}, 0, done, "Proceeding to launch\n", {L""}},
      {{programs_.Folder() / L"gone.exe"}, 1, ": the shell could not start it\n", "error = 2\n"},
      {{program_, L"--file", L"\\\\tsclient\\x"}, 2, ": some redirected files did not appear in time\n", "'"},
      {{program_, L"--file", file}, 3, ": refused: bad request, or not allowed by policy\n", "administrator"},
      {{program_, L"--url=qtest://a", L"-v"}, 4, disabled, "warning: Client Drive Redirection is dis", {}, 1},
      {{program_, L"--command-line", L"a", L"--command-line", L"b"}, 2, "", "--command-line"},
  };
  for (auto [options, code, out, err, started, drivesDisabled] : kRuns) {
    const RegistryFixture policy(kTerminalServices);
    policy.SetDword(L"", L"fDisableCdm", drivesDisabled);
    options.insert(options.begin(), L"launch");
    const ProcessOutput output = RunProgram(L"quarryctl", options);
    EXPECT_EQ(output.exitCode, code);
    EXPECT_THAT(output.out, EndsWith(out));
    EXPECT_THAT(output.err, HasSubstr(err));
    EXPECT_EQ(programs_.Take(started.size()), started);
  }
}

constexpr wchar_t kTitle[] = L"Quarry launch test window";
const std::wstring kArguments = std::wstring(L"--window ") + kTitle;

/// Instances of the fixture program that show a window until the test ends.
class LaunchReuse : public Launch {
 protected:
  void TearDown() override {
    host_->Exit();
    EXPECT_TRUE(Eventually([] {
      HWND window = FindWindowW(nullptr, kTitle);
      return window == nullptr || PostMessageW(window, WM_CLOSE, 0, 0) == FALSE;
    }));
  }

  /// Starts an instance through the library and returns its window.
  HWND ShowInstance(const std::wstring& path, std::uint32_t flags) const {
    EXPECT_EQ(Run(path, flags, kArguments), QUARRY_LAUNCH_OK);
    EXPECT_THAT(programs_.Take(1), SizeIs(1));
    EXPECT_TRUE(Eventually([] { return FindWindowW(nullptr, kTitle) != nullptr; }));
    return FindWindowW(nullptr, kTitle);
  }
  bool SaidAlreadyRunning() const {
    return Said(2, L"Application " + program_ + L" already running; launch not attempted\n");
  }
};

TEST_F(LaunchReuse, StartsWhatIsNotRunningAndBringsForwardWhatIs) {
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING, L"first"), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Enumerating windows for " + program_ + L" before launching\n"));
  EXPECT_TRUE(Said(3, L"Finished pre-launch window enumeration for " + program_ + L"\n"));
  EXPECT_TRUE(Said(3, L"Application " + program_ + L" is not already running. Proceeding to launch\n"));
  EXPECT_THAT(programs_.Take(1), SizeIs(1));

  HWND window = ShowInstance(program_, 0);
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(SaidAlreadyRunning());
  EXPECT_TRUE(Eventually([window] { return GetForegroundWindow() == window; }));
  EXPECT_THAT(programs_.Take(0), IsEmpty());

  EXPECT_EQ(Run({{L"appCommandLine", L"/x"}}, QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_EQ(Run(L"%windir%\\System32\\CMD.exe", QUARRY_LAUNCH_REUSE_RUNNING, L"/c exit"), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Command prompt always launches a new window.\n"));
  EXPECT_EQ(HostLog::CountHolding(L"Enumerating windows for"), 0U);
  EXPECT_THAT(programs_.Take(1), SizeIs(1));
}

TEST_F(LaunchReuse, MaximisesOrRestoresTheWindowBroughtForward) {
  ShowInstance(program_, 0);
  HWND window = ShowInstance(program_, 0);
  HWND behind = nullptr;
  ASSERT_TRUE(Eventually([&] {
    window = FindWindowW(nullptr, kTitle);
    return (behind = FindWindowExW(nullptr, window, nullptr, kTitle)) != nullptr;
  }));
  ShowWindow(window, SW_MINIMIZE);
  ASSERT_TRUE(Eventually([window] { return IsIconic(window) != FALSE; }));
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Restore app main window\n"));
  EXPECT_TRUE(Eventually([window] { return IsIconic(window) == FALSE; }));
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_MAXIMIZE), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Maximizing app main window\n"));
  EXPECT_TRUE(Eventually([window] { return IsZoomed(window) != FALSE; }));
  EXPECT_EQ(IsZoomed(behind), FALSE);
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING), QUARRY_LAUNCH_OK);
  EXPECT_NE(IsZoomed(window), FALSE);  // a window that is open stays as it is

  SetWindowLongW(window, GWL_STYLE, GetWindowLongW(window, GWL_STYLE) & ~WS_MAXIMIZEBOX);
  EXPECT_EQ(Run(program_, QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_MAXIMIZE), QUARRY_LAUNCH_OK);
  EXPECT_TRUE(Said(3, L"Restore app main window\n"));
}

TEST_F(LaunchReuse, ComparesTrackedProcessesByTargetAndArguments) {
  constexpr std::uint32_t kBoth = QUARRY_LAUNCH_REUSE_RUNNING | QUARRY_LAUNCH_TRACK_PROCESSES;
  const std::wstring link = WriteLink(L"Echo.lnk", program_);
  const auto starts = [&](const std::wstring& arguments) {
    EXPECT_EQ(Run(program_, kBoth, arguments), QUARRY_LAUNCH_OK);
    const bool started = !SaidAlreadyRunning();
    EXPECT_THAT(programs_.Take(started ? 1 : 0), SizeIs(started ? 1 : 0));
    return started;
  };
  ShowInstance(program_, 0);
  EXPECT_TRUE(starts(L"one"));  // a window, but no process that is tracked
  EXPECT_TRUE(starts(L"two"));  // the tracked one has ended
  ShowInstance(link, kBoth);
  EXPECT_TRUE(starts(kArguments));  // the same once more is a second instance
  EXPECT_FALSE(starts(L"other"));
}

TEST_F(LaunchReuse, KeepsHandlesOnlyOfTrackedProcessesThatRun) {
  constexpr int kRunning = 3;
  for (int index = 0; index < kRunning; ++index) ShowInstance(program_, QUARRY_LAUNCH_TRACK_PROCESSES);
  const auto startBoth = [this] {
    EXPECT_EQ(Run(program_), QUARRY_LAUNCH_OK);
    EXPECT_EQ(Run(program_, QUARRY_LAUNCH_TRACK_PROCESSES), QUARRY_LAUNCH_OK);
    programs_.Take(2);  // most have ended by then
  };
  const int rounds = Rounds(5, 200);
  EXPECT_LT(GrowthOf(startBoth, rounds).handles, rounds - 1);
  const ResourceCounts before = ResourceCounts::Now();
  host_->Exit();
  EXPECT_LE((ResourceCounts::Now() - before).handles, -kRunning - 1);
}

}  // namespace
}  // namespace quarry::test
