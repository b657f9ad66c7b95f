#include "quarry/scan/directoryScanner.h"

#include "quarry/apps/abstractApp.h"
#include "quarry/config/config.h"
#include "quarry/config/settingTable.h"
#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/timers.h"
#include "quarry/paths/expandPath.h"
#include "quarry/paths/pathParts.h"
#include "quarry/scan/filterDefinitions.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>
#include <memory>
#include <optional>

namespace quarry {

namespace {

/// The entries of one folder, as the file system lists them.
class Enumeration {
 public:
  explicit Enumeration(const std::wstring& pattern)
      : find_(FindFirstFileExW(pattern.c_str(), FindExInfoBasic, entry_.get(), FindExSearchNameMatch, nullptr,
                               FIND_FIRST_EX_LARGE_FETCH)) {}

  bool Started() const { return static_cast<bool>(find_); }
  const WIN32_FIND_DATAW& Entry() const { return *entry_; }
  bool Next() { return FindNextFileW(find_.get(), entry_.get()) != FALSE; }

 private:
  // On the heap: the walk holds one enumeration open for each level.
  std::unique_ptr<WIN32_FIND_DATAW> entry_ = std::make_unique<WIN32_FIND_DATAW>();
  UniqueFind find_;
};

void LogEnumerationFailure(const std::wstring& pattern, DWORD error) {
  if (error == ERROR_ACCESS_DENIED) {
    Log(LogLevel::Warning, L"Access denied for \"%s\")\n", pattern.c_str());
  } else {
    Log(LogLevel::Error, L"FindFirstFileEx failed for \"%s\", error %d\n", pattern.c_str(), error);
  }
}

bool IsDotEntry(const wchar_t* name) { return wcscmp(name, L".") == 0 || wcscmp(name, L"..") == 0; }

bool HasPaths(const ScanFilter& filter) {
  if (!filter.GetPaths().empty()) return true;
  Log(LogLevel::Warning, L"Filter %s has no paths\n", filter.GetName().c_str());
  return false;
}

}  // namespace

/// What the entries of a folder are judged by. The settings are read afresh for each folder.
struct DirectoryScanner::Folder {
  std::wstring path;
  int depth;
  const ScanFilter& filter;
  bool scanHidden;
  bool scanReparsePoints;
};

bool DirectoryScanner::ScanDefault(ApplicationList& results) const {
  results.clear();
  ScanFilterList filters;
  GetConfiguredFilters(filters);
  for (const ScanFilterPtr& filter : filters) {
    bool proceed = HasPaths(*filter);
    for (const std::wstring& path : filter->GetPaths()) proceed = ScanDirectory(0, path, *filter, results);
    if (!proceed) {
      results.clear();
      return false;
    }
  }
  return true;
}

bool DirectoryScanner::ScanWithFilter(const ScanFilter& filter, ApplicationList& results) const {
  results.clear();
  return HasPaths(filter) && std::all_of(filter.GetPaths().begin(), filter.GetPaths().end(),
                                         [&](const auto& path) { return ScanDirectory(0, path, filter, results); });
}

void DirectoryScanner::ScanPath(const std::wstring& path, ApplicationList& results) const {
  ScanWithFilter(*MakeSinglePathFilter(L"Default", path), results);
}

bool DirectoryScanner::ScanDirectory(int depth, const std::wstring& path, const ScanFilter& filter,
                                     ApplicationList& results) const {
  std::optional<TimingScope> timing;
  if (depth == 0) timing.emplace(path);
  const std::wstring folder = ExpandPath(path);
  // Also a token of a folder that this system does not have; the pattern made of it would list the current directory.
  if (folder.empty()) {
    Log(LogLevel::Warning, L"Empty path found in filter %s; skipping!\n", filter.GetName().c_str());
    return true;
  }
  Log(LogLevel::Notable, L"Scanning \"%s\", depth = %d\n", folder.c_str(), depth);
  std::optional<SettingsReader> settings(config_);
  const int limit = std::min(settings->GetInt(Setting::MaxScanDepth), kDeepestLevel);
  if (depth >= limit) {
    Log(LogLevel::Warning, L"Maximum directory scan depth (%d) exceeded for \"%s\" -- skipped\n", limit,
        folder.c_str());
    return true;
  }
  bool abortScan = false;
  bool skipFolder = false;
  settings->CheckWritableFolder(folder, abortScan, skipFolder);
  if (abortScan) return false;
  if (skipFolder) return true;

  const std::wstring pattern = JoinPath(folder, L"*");
  Enumeration entries(pattern);
  if (!entries.Started()) {
    LogEnumerationFailure(pattern, GetLastError());
    return true;
  }
  const Folder scanned{folder, depth, filter, settings->GetBool(Setting::ScanHidden),
                       settings->GetBool(Setting::ScanReparsePoints)};
  settings.reset();  // not one key open for each level of the walk
  int found = 0;
  do {
    if (!ScanEntry(scanned, entries.Entry(), results, found)) return false;
  } while (entries.Next());
  if (GetLastError() != ERROR_NO_MORE_FILES) {
    Log(LogLevel::Error, L"FindNextFile failed for \"%s\", error %d\n", pattern.c_str(), GetLastError());
  }
  Log(LogLevel::Notable, L"Scan of \"%s\" complete: %d apps here, %d apps total\n", path.c_str(), found,
      static_cast<int>(results.size()));
  return true;
}

bool DirectoryScanner::ScanEntry(const Folder& folder, const WIN32_FIND_DATAW& entry, ApplicationList& results,
                                 int& found) const {
  const wchar_t* const name = entry.cFileName;
  if (IsDotEntry(name)) return true;
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0 && !folder.scanHidden) return true;
  const std::wstring fullPath = CollapseBackslashes(JoinPath(folder.path, name));
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
    Log(LogLevel::Warning, L"Scanning encountered a reparse point: \"%s\"%s\n", fullPath.c_str(),
        folder.scanReparsePoints ? L"" : L" -- skipped");
    if (!folder.scanReparsePoints) return true;
  }
  if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
    Log(LogLevel::Detail, L"\"%s\": subdirectory to be scanned\n", name);
    return ScanDirectory(folder.depth + 1, fullPath, folder.filter, results);
  }
  if (ScanFile(fullPath, name, folder.filter, results)) ++found;
  return true;
}

bool DirectoryScanner::ScanFile(const std::wstring& fullPath, const wchar_t* name, const ScanFilter& filter,
                                ApplicationList& results) const {
  if (!filter.Accepts(fullPath)) {
    Log(LogLevel::Detail, L"\"%s\": rejected by filter\n", name);
    return false;
  }
  ApplicationPtr application = AbstractApp::NewAppFromPath(iconBoss_, fullPath);
  if (application == nullptr) {
    Log(LogLevel::Notable, L"\"%s\": invalid Application\n", name);
    return false;
  }
  Log(LogLevel::Notable, L"\"%s\": valid Application\n", name);
  results.push_back(std::move(application));
  return true;
}

}  // namespace quarry
