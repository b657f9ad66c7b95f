#pragma once

#include "tools/quarryctl/library.h"

#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {

enum class Fate {
  Published,
  Scanned,  ///< of a folder
  LeftOut,
};

/// What became of one entry that a scan looked at.
struct TrailEntry {
  std::wstring path;
  bool isFolder = false;
  Fate fate = Fate::LeftOut;
  std::string reason;   ///< the rule that decided
  std::wstring root;    ///< the folder of the filter that led there
  std::wstring name;    ///< of a published application
  std::wstring target;  ///< of a published application
};

/// Follows a scan by the library's messages.
class ScanTrail {
 public:
  /// Takes the text of every message of the scan, in its order, of whatever level.
  void Observe(std::wstring_view text);

  /// Once the scan is over: enters what its records say, and what it passed over without a word.
  void Finish(const ApplicationRecords& records);

  const std::vector<TrailEntry>& Entries() const { return entries_; }
  /// The folders at which the scan began, in the order of the filters.
  const std::vector<std::wstring>& Roots() const { return roots_; }

 private:
  void BeginFolder(std::wstring_view folder, std::wstring_view message);
  void EndFolder(Fate fate, const std::string& reason);
  void AddFile(std::wstring_view name, Fate fate, const std::string& reason);
  void AddSilent();

  std::vector<TrailEntry> entries_;
  std::vector<std::size_t> open_;  ///< the entries of the folders that are being scanned, the outermost first
  std::vector<std::wstring> roots_;
  std::string reason_;  ///< what was said of the file that is being looked at
};

}  // namespace quarryctl
