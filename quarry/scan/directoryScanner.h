#pragma once

#include "quarry/apps/application.h"
#include "quarry/scan/scanFilter.h"

#include <windows.h>

#include <string>
#include <vector>

namespace quarry {

class Config;
class IconBoss;

using ApplicationList = std::vector<ApplicationPtr>;

/// Walks the folders of scan filters depth-first and collects the applications that their files make, in the order in
/// which the file system lists them. Errors in one folder are logged and the walk goes on; only a world-writable folder
/// with a setting that forbids it aborts.
class DirectoryScanner {
 public:
  /// `iconBoss` may be null: the applications then have no icons. Both must outlive the scanner.
  DirectoryScanner(const Config& config, IconBoss* iconBoss) : config_(config), iconBoss_(iconBoss) {}

  /// Scans with the configured filters. False when a filter has no paths or the last path of one aborts; the results
  /// are then empty. An abort in an earlier path of a filter is overridden by its later ones.
  bool ScanDefault(ApplicationList& results) const;

  /// Scans with one filter. False when it has no paths or a path aborts; the results keep what was found until then.
  bool ScanWithFilter(const ScanFilter& filter, ApplicationList& results) const;

  /// Scans with the filter that is made of a single path, which holds no path: logs that and finds nothing.
  void ScanPath(const std::wstring& path, ApplicationList& results) const;

  /// Scans one folder and what lies below it. False aborts the whole scan.
  bool ScanDirectory(int depth, const std::wstring& path, const ScanFilter& filter, ApplicationList& results) const;

 private:
  struct Folder;
  bool ScanEntry(const Folder& folder, const WIN32_FIND_DATAW& entry, ApplicationList& results, int& found) const;
  bool ScanFile(const std::wstring& fullPath, const wchar_t* name, const ScanFilter& filter,
                ApplicationList& results) const;

  const Config& config_;
  IconBoss* iconBoss_;
};

}  // namespace quarry
