#pragma once

#include <quarry/quarry.h>

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarry::test {

/// The build's bin folder, found by this test's own place in bin/tests.
std::filesystem::path BinFolder();
/// Full path of the program `name`.exe of bin/fixtures.
std::wstring FixtureProgram(std::wstring_view name);

/// One message as the host's callback received it.
struct LogLine {
  std::uint32_t level = 0;
  std::wstring text;
  bool operator==(const LogLine&) const = default;
};
void PrintTo(const LogLine& line, std::ostream* out);

/// Every message since the process started or since Clear, in order. One for the process, as the callback is.
class HostLog {
 public:
  static const std::vector<LogLine>& Lines();
  static void Clear();
  /// How many lines are exactly this one.
  static std::size_t Count(std::uint32_t level, std::wstring_view text);
  /// The lines that hold `part`, and how many they are.
  static std::vector<LogLine> Holding(std::wstring_view part);
  static std::size_t CountHolding(std::wstring_view part) { return Holding(part).size(); }
  /// The callback, for tests that call Quarry_Init themselves.
  static void Record(std::uint32_t level, const wchar_t* message);
};

/// The names of the exports; behind Quarry_Init in the order of the function table.
const std::vector<std::string>& ExportNames();

/// quarry.dll, loaded once for the process as a host does and never unloaded. At the end of the test run it is exited
/// and the run fails when its object counters tell of leaks.
class Library {
 public:
  static const Library& Instance();

  HMODULE Module() const { return module_; }
  FARPROC Address(const std::string& name) const { return GetProcAddress(module_, name.c_str()); }
  void Init(QuarryLogFn log, bool buildFileTypeDatabase, QuarryFunctions* table) const;
  /// Filled by name, so that it is there before Quarry_Init and after Quarry_Exit.
  const QuarryFunctions& Functions() const { return functions_; }
  /// What Quarry_ReportDebugInfo writes to the process's standard output.
  std::string DebugReport() const;

 private:
  Library();

  HMODULE module_;
  QuarryFunctions functions_{};
};

struct FreeRecord {
  void operator()(QuarryApplicationInfo* app) const { Library::Instance().Functions().FreeApplication(app); }
  void operator()(QuarryIconInfo* icon) const { Library::Instance().Functions().FreeIcon(icon); }
  void operator()(QuarryExtensionList* list) const { Library::Instance().Functions().FreeRegisteredExtensions(list); }
};
using ApplicationRecord = std::unique_ptr<QuarryApplicationInfo, FreeRecord>;
using IconRecord = std::unique_ptr<QuarryIconInfo, FreeRecord>;
using ExtensionRecord = std::unique_ptr<QuarryExtensionList, FreeRecord>;

/// An array of records together with the count under which it is given back.
template <typename Record, auto Free>
class RecordArray {
 public:
  RecordArray() = default;
  RecordArray(RecordArray&& other) noexcept { *this = std::move(other); }
  RecordArray& operator=(RecordArray&& other) noexcept {
    std::swap(records_, other.records_);
    std::swap(count_, other.count_);
    return *this;
  }
  ~RecordArray() { (Library::Instance().Functions().*Free)(records_, count_); }

  Record** put() { return &records_; }
  std::uint64_t* putCount() { return &count_; }
  std::span<const Record> get() const { return {records_, records_ == nullptr ? 0 : count_}; }
  std::size_t size() const { return get().size(); }
  const Record& operator[](std::size_t index) const { return get()[index]; }
  auto begin() const { return get().begin(); }
  auto end() const { return get().end(); }

 private:
  Record* records_ = nullptr;
  std::uint64_t count_ = 0;
};
using ApplicationArray = RecordArray<QuarryApplicationInfo, &QuarryFunctions::FreeApplications>;
using WindowArray = RecordArray<QuarryWindowInfo, &QuarryFunctions::FreeWindows>;

/// The library in use: initialised with the recording callback, or another, and a cleared log; exited at the end.
class QuarryHost {
 public:
  explicit QuarryHost(bool buildFileTypeDatabase = false, QuarryLogFn log = HostLog::Record) {
    HostLog::Clear();
    Library::Instance().Init(log, buildFileTypeDatabase, &functions_);
  }
  ~QuarryHost() { functions_.Exit(); }
  QuarryHost(const QuarryHost&) = delete;
  QuarryHost& operator=(const QuarryHost&) = delete;

  /// The table that Quarry_Init filled.
  const QuarryFunctions* operator->() const { return &functions_; }

  ApplicationRecord GetApplication(const std::wstring& path) const {
    return ApplicationRecord(functions_.GetApplication(path.c_str()));
  }
  IconRecord GetApplicationIcon(const QuarryApplicationInfo& app, std::uint64_t index) const {
    return IconRecord(functions_.GetApplicationIcon(&app, index));
  }
  /// The bytes of an icon's file; none when the library gives none.
  std::vector<std::uint8_t> GetIconData(const std::wstring& name) const {
    void* data = nullptr;
    std::uint64_t size = 0;
    if (functions_.GetIconData(name.c_str(), &data, &size) != 1) return {};
    const auto* const first = static_cast<const std::uint8_t*>(data);
    std::vector<std::uint8_t> bytes(first, first + size);
    functions_.FreeIconData(data);
    return bytes;
  }
  ExtensionRecord GetRegisteredExtensions(const std::wstring& path) const {
    return ExtensionRecord(functions_.GetApplicationRegisteredExtensions(path.c_str()));
  }
  /// Scans with the INI file, or with the configured filters.
  ApplicationArray Scan(const std::wstring& iniPath = {}) const {
    ApplicationArray apps;
    functions_.ScanApplicationsUsingIniFile(iniPath.c_str(), apps.put(), apps.putCount());
    return apps;
  }
  WindowArray GetOpenWindows() const {
    WindowArray windows;
    functions_.GetOpenWindows(windows.put(), windows.putCount());
    return windows;
  }

 private:
  QuarryFunctions functions_{};
};

}  // namespace quarry::test
