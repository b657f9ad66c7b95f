#pragma once

#include "lib/misc/platformHandles.h"
#include "lib/seamlyFilter/rules.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

class PathTrust;

// Rule files and the folder that they lie in.

constexpr std::size_t kLargestRuleFile = std::size_t{1} << 20;
constexpr int kMostRuleFiles = 256;

struct RuleLine {
  std::string text;  ///< without the line end, less than kMaxRuleText bytes
  bool cut = false;  ///< the file's line was longer; the rest of it is dropped
};

/// Opens a rule file: any path that the file system has, whatever letters it holds. Others may be writing to the file.
/// Nothing comes of what is no file on a disk, of links, and of files of more than kLargestRuleFile bytes
/// (ERROR_FILE_TOO_LARGE).
UniqueFile OpenRuleFile(const std::wstring& path);

/// Reads a rule file line by line, in text mode and behind a UTF-8 byte-order mark. A line is taken as far as its first
/// NUL.
class RuleFileReader {
 public:
  /// `file` as OpenRuleFile gives it. What is added to it while it is read counts as far as a rule file may go.
  explicit RuleFileReader(UniqueFile file);

  bool IsOpen() const { return static_cast<bool>(file_); }
  /// The next line, or nothing at the end.
  std::optional<RuleLine> Next();

 private:
  bool Fill();
  void SkipByteOrderMark();

  UniqueStdFile file_;
  std::size_t remaining_ = kLargestRuleFile;
  std::array<char, 4096> buffer_{};
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
};

/// Handles one line of a rule file, without its line end. Returns the key of the item that the line held, None when it
/// held none.
RuleKey SeamlyFilterParseLine(std::string_view line, RuleReading& reading);

/// Adds the rule sets of the file at `path`. False when it is left out, with a message and an entry in `skipped`.
bool SeamlyFilterProcessFile(const std::wstring& path, const char* context, const PathTrust& trust,
                             SkippedRules& skipped);

/// Adds the rule sets of every file of `folder`, kMostRuleFiles at most. False when the folder cannot be searched.
bool SeamlyFilterProcessFolder(const std::wstring& folder, const char* context, const PathTrust& trust,
                               SkippedRules& skipped);

/// Adds those of the machine's rules folder or, where that cannot be searched or trusted, of the one beside the host
/// program. Returns what was left out.
SkippedRules SeamlyFilterProcessRulesFolder(const char* context);
