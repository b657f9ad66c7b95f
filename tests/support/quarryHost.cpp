#include "tests/support/quarryHost.h"

#include "lib/unicode/unicode.h"

#include "tests/support/guardedHeap.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace quarry::test {
namespace {

std::vector<LogLine>& RecordedLines() {
  static std::vector<LogLine> lines;
  return lines;
}

/// Ends the run as a host ends: after Quarry_Exit no object of the library may be left.
class LeakCheck : public testing::Environment {
 public:
  void SetUp() override { GuardHeapOf(GetModuleHandleW(nullptr)); }
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

std::wstring FixtureProgram(std::wstring_view name) { return (BinFolder() / L"fixtures" / name).wstring() + L".exe"; }

void PrintTo(const LogLine& line, std::ostream* out) {
  *out << line.level << ' ' << testing::PrintToString(Unicode_Utf8FromWide(line.text));
}

const std::vector<LogLine>& HostLog::Lines() { return RecordedLines(); }

void HostLog::Clear() { RecordedLines() = {}; }

void HostLog::Record(std::uint32_t level, const wchar_t* message) { RecordedLines().push_back({level, message}); }

std::size_t HostLog::Count(std::uint32_t level, std::wstring_view text) {
  return static_cast<std::size_t>(std::count(Lines().begin(), Lines().end(), LogLine{level, std::wstring(text)}));
}

std::vector<LogLine> HostLog::Holding(std::wstring_view part) {
  std::vector<LogLine> found;
  std::copy_if(Lines().begin(), Lines().end(), std::back_inserter(found),
               [=](const LogLine& line) { return line.text.find(part) != std::wstring::npos; });
  return found;
}

const Library& Library::Instance() {
  static const Library library;
  return library;
}

const std::vector<std::string>& ExportNames() {
  static std::istringstream text(
      "Quarry_Init Quarry_Exit Quarry_ReportDebugInfo Quarry_GetOpenWindows Quarry_ScanApplicationsUsingIniFile "
      "Quarry_ScanApplications Quarry_GetApplication Quarry_GetApplicationIcon Quarry_GetIcon Quarry_GetIconData "
      "Quarry_GetApplicationRegisteredExtensions Quarry_VerifyApplication Quarry_LaunchApplication Quarry_FreeIcon "
      "Quarry_FreeRegisteredExtensions Quarry_FreeApplication Quarry_FreeApplications Quarry_FreeIconData "
      "Quarry_FreeWindows");
  static const std::vector<std::string> names{std::istream_iterator<std::string>(text), {}};
  return names;
}

Library::Library() : module_(LoadLibraryW((BinFolder() / L"quarry.dll").c_str())) {
  if (module_ == nullptr) throw std::runtime_error("cannot load quarry.dll");
  GuardHeapOf(module_);
  std::vector<FARPROC> addresses(ExportNames().size());
  std::transform(ExportNames().begin(), ExportNames().end(), addresses.begin(),
                 [this](const std::string& name) { return Address(name); });
  std::memcpy(&functions_, addresses.data() + 1, sizeof(functions_));
}

void Library::Init(QuarryLogFn log, bool buildFileTypeDatabase, QuarryFunctions* table) const {
  const auto init = reinterpret_cast<decltype(&Quarry_Init)>(reinterpret_cast<void*>(Address("Quarry_Init")));
  init(log, buildFileTypeDatabase ? 1 : 0, table);
}

std::string Library::DebugReport() const {
  constexpr int kOutput = 1;
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / (L"quarryReport" + std::to_wstring(GetCurrentProcessId()) + L".txt");
  std::fflush(stdout);
  const int saved = _dup(kOutput);
  const int file = _wopen(path.c_str(), _O_WRONLY | _O_TRUNC | _O_CREAT | _O_TEXT, _S_IREAD | _S_IWRITE);
  _dup2(file, kOutput);
  functions_.ReportDebugInfo();
  std::fflush(stdout);
  _dup2(saved, kOutput);
  _close(file);
  _close(saved);
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  std::filesystem::remove(path);
  return text.str();
}

}  // namespace quarry::test
