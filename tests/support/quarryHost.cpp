#include "tests/support/quarryHost.h"

#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace quarry::test {
namespace {

std::vector<LogLine>& RecordedLines() {
  static std::vector<LogLine> lines;
  return lines;
}

/// Sends what is written to this process's standard output into a file while it lives.
class OutputIntoFile {
 public:
  explicit OutputIntoFile(const std::filesystem::path& path) : saved_((Flush(), _dup(kOutput))) {
    const int file = _wopen(path.c_str(), _O_WRONLY | _O_APPEND | _O_CREAT | _O_TEXT, _S_IREAD | _S_IWRITE);
    _dup2(file, kOutput);
    _close(file);
  }
  ~OutputIntoFile() {
    Flush();
    _dup2(saved_, kOutput);
    _close(saved_);
  }
  OutputIntoFile(const OutputIntoFile&) = delete;
  OutputIntoFile& operator=(const OutputIntoFile&) = delete;

 private:
  static constexpr int kOutput = 1;
  static void Flush() { std::fflush(stdout); }
  int saved_;
};

/// Ends the run as a host ends: after Quarry_Exit no object of the library may be left.
class LeakCheck : public testing::Environment {
 public:
  void TearDown() override {
    Library::Instance().Functions().Exit();
    const std::string report = Library::Instance().DebugReport();
    EXPECT_NE(report.find("memleak: no leaks."), std::string::npos) << report;
  }
};

const auto* const kLeakCheck = testing::AddGlobalTestEnvironment(new LeakCheck);  // GoogleTest deletes it

}  // namespace

std::filesystem::path BinFolder() {
  wchar_t path[MAX_PATH] = {};
  GetModuleFileNameW(nullptr, path, MAX_PATH);
  return std::filesystem::path(path).parent_path().parent_path();
}

std::filesystem::path FixtureProgram(std::wstring_view name) {
  return BinFolder() / L"fixtures" / (std::wstring(name) + L".exe");
}

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.level << ' ' << testing::PrintToString(Unicode_Utf8FromWide(line.text));
}

const std::vector<LogLine>& HostLog::Lines() { return RecordedLines(); }
void HostLog::Clear() { RecordedLines().clear(); }
void HostLog::Record(std::uint32_t level, const wchar_t* message) { RecordedLines().push_back({level, message}); }

std::size_t HostLog::Count(std::uint32_t level, std::wstring_view text) {
  return static_cast<std::size_t>(std::count_if(
      Lines().begin(), Lines().end(), [=](const LogLine& line) { return line.level == level && line.text == text; }));
}

std::vector<LogLine> HostLog::Holding(std::wstring_view part) {
  std::vector<LogLine> found;
  std::copy_if(Lines().begin(), Lines().end(), std::back_inserter(found),
               [=](const LogLine& line) { return line.text.find(part) != std::wstring::npos; });
  return found;
}

Library& Library::Instance() {
  static Library library;
  return library;
}

Library::Library()
    : reportPath_(std::filesystem::temp_directory_path() /
                  (L"quarryReport" + std::to_wstring(GetCurrentProcessId()) + L".txt")) {
  const std::filesystem::path path = BinFolder() / L"quarry.dll";
  module_ = LoadLibraryW(path.c_str());
  if (module_ == nullptr) throw std::runtime_error("cannot load " + Unicode_Utf8FromWide(path.wstring()));
  functions_ = {
      Export<void()>("Quarry_Exit"),
      Export<decltype(Quarry_ReportDebugInfo)>("Quarry_ReportDebugInfo"),
      Export<decltype(Quarry_GetOpenWindows)>("Quarry_GetOpenWindows"),
      Export<decltype(Quarry_ScanApplicationsUsingIniFile)>("Quarry_ScanApplicationsUsingIniFile"),
      Export<decltype(Quarry_ScanApplications)>("Quarry_ScanApplications"),
      Export<decltype(Quarry_GetApplication)>("Quarry_GetApplication"),
      Export<decltype(Quarry_GetApplicationIcon)>("Quarry_GetApplicationIcon"),
      Export<decltype(Quarry_GetIcon)>("Quarry_GetIcon"),
      Export<decltype(Quarry_GetIconData)>("Quarry_GetIconData"),
      Export<decltype(Quarry_GetApplicationRegisteredExtensions)>("Quarry_GetApplicationRegisteredExtensions"),
      Export<decltype(Quarry_VerifyApplication)>("Quarry_VerifyApplication"),
      Export<decltype(Quarry_LaunchApplication)>("Quarry_LaunchApplication"),
      Export<decltype(Quarry_FreeIcon)>("Quarry_FreeIcon"),
      Export<decltype(Quarry_FreeRegisteredExtensions)>("Quarry_FreeRegisteredExtensions"),
      Export<decltype(Quarry_FreeApplication)>("Quarry_FreeApplication"),
      Export<decltype(Quarry_FreeApplications)>("Quarry_FreeApplications"),
      Export<decltype(Quarry_FreeIconData)>("Quarry_FreeIconData"),
      Export<decltype(Quarry_FreeWindows)>("Quarry_FreeWindows")};
}

void (*Library::Address(const char* name) const)() {
  return reinterpret_cast<void (*)()>(reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module_), name)));
}

void Library::Init(QuarryLogFn log, std::uint32_t buildFileTypeDatabase, QuarryFunctions* table) const {
  Export<decltype(Quarry_Init)>("Quarry_Init")(log, buildFileTypeDatabase, table);
}

std::string Library::DebugReport() const {
  {
    const OutputIntoFile redirected(reportPath_);
    functions_.ReportDebugInfo();
  }
  std::ostringstream text;
  text << std::ifstream(reportPath_).rdbuf();
  std::filesystem::remove(reportPath_);
  return text.str();
}

QuarryHost::QuarryHost(bool buildFileTypeDatabase) {
  HostLog::Clear();
  Library::Instance().Init(HostLog::Record, buildFileTypeDatabase ? 1 : 0, &functions_);
}

QuarryHost::~QuarryHost() { functions_.Exit(); }

ApplicationRecord QuarryHost::GetApplication(const std::wstring& path) const {
  return ApplicationRecord(functions_.GetApplication(path.c_str()));
}

IconRecord QuarryHost::GetApplicationIcon(const QuarryApplicationInfo& app, std::uint64_t index) const {
  return IconRecord(functions_.GetApplicationIcon(&app, index));
}

ExtensionRecord QuarryHost::GetRegisteredExtensions(const std::wstring& path) const {
  return ExtensionRecord(functions_.GetApplicationRegisteredExtensions(path.c_str()));
}

ApplicationArray QuarryHost::Scan() const {
  ApplicationArray apps;
  functions_.ScanApplications(nullptr, 0, apps.put(), apps.putCount());
  return apps;
}

ApplicationArray QuarryHost::ScanIni(const std::wstring& iniPath) const {
  ApplicationArray apps;
  functions_.ScanApplicationsUsingIniFile(iniPath.c_str(), apps.put(), apps.putCount());
  return apps;
}

WindowArray QuarryHost::GetOpenWindows() const {
  WindowArray windows;
  functions_.GetOpenWindows(windows.put(), windows.putCount());
  return windows;
}

}  // namespace quarry::test
