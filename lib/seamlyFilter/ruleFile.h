#pragma once

#include "lib/misc/platformHandles.h"
#include "lib/seamlyFilter/filter.h"
#include "lib/seamlyFilter/rules.h"

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

// Rule files and the folder that they lie in.

struct RuleLine {
  std::string text;  ///< without the line end, less than kMaxRuleText bytes
  bool cut = false;  ///< the file's line was longer; the rest of it is dropped
};

/// Reads a rule file line by line, in text mode and behind a UTF-8 byte-order mark. A line is taken as far as its first
/// NUL.
class RuleFileReader {
 public:
  /// Any path that the file system has, whatever letters it holds, of a regular file. Others may be writing to it.
  explicit RuleFileReader(const std::wstring& path);

  HANDLE Handle() const;
  bool IsOpen() const { return static_cast<bool>(file_); }
  /// The next line, or nothing at the end.
  std::optional<RuleLine> Next();

 private:
  bool Fill();
  void SkipByteOrderMark();

  UniqueStdFile file_;
  std::array<char, 4096> buffer_{};
  std::size_t position_ = 0;
  std::size_t filled_ = 0;
};

/// Handles one line of a rule file, without its line end. Returns the key of the item that the line held, None when it
/// held none.
RuleKey SeamlyFilterParseLine(std::string_view line, RuleReading& reading);

/// Adds the rule sets of the file at `path`. False, with a message, when it cannot be opened. One of more than 1 MiB is
/// left out, and in a privileged process one that others than administrators own or can write to.
bool SeamlyFilterProcessFile(const std::wstring& path, const char* context, RulesLeftOut& leftOut);

/// Adds the rule sets of the first 256 files of `folder`. False when the folder cannot be searched.
bool SeamlyFilterProcessFolder(const std::wstring& folder, const char* context, RulesLeftOut& leftOut);

/// Adds those of the machine's rules folder or, where that cannot be searched, of the one beside the host program. In a
/// privileged process a folder that others than administrators have a hand in counts as one that cannot be searched.
RulesLeftOut SeamlyFilterProcessRulesFolder(const char* context);
