#include "tools/quarryctl/logSummary.h"

#include "quarry/quarry.h"

#include "lib/unicode/unicode.h"

#include <algorithm>
#include <iterator>

namespace quarryctl {
namespace {

using Kind = ScanMessageKind;

constexpr unsigned kMostLines = 6;

/// How a group of messages is told. Kinds with the same text are one group.
struct Line {
  const char* one;
  const char* several;  ///< behind their number
  const char* remedy;
  bool showsFirst;
};

constexpr Line kMissing = {"1 filter folder does not exist or cannot be listed",
                           "filter folders do not exist or cannot be listed", "quarryctl explain", true};

constexpr std::pair<Kind, Line> kLines[] = {
    {Kind::ScanFailed, {"The scan was broken off", "scans were broken off", "scan again", true}},
    {Kind::NoFilters, {"The INI file has no filters", "INI files have no filters", "docs/filterDefinitions.md", false}},
    {Kind::FilterUntrusted,
     {"1 filter was left out, because others than administrators may change it",
      "filters were left out, because others than administrators may change them", "docs/filterDefinitions.md", true}},
    {Kind::FilterWithoutRoot, {"1 filter has no folder", "filters have no folder", "docs/filterDefinitions.md", false}},
    {Kind::SettingWrong, {"1 setting is wrong", "settings are wrong", "quarryctl settings", true}},
    {Kind::FolderMissing, kMissing},
    {Kind::FolderTooDeep, {"1 folder was left out", "folders were left out", "quarryctl explain", true}},
    {Kind::LinkDead,
     {"1 shortcut leads to nothing that can be published", "shortcuts lead to nothing that can be published",
      "quarryctl explain", true}},
    {Kind::FolderUnchecked,
     {"1 folder could not be checked for who may write to it", "folders could not be checked for who may write to them",
      "docs/whyNotPublished.md", false}},
    {Kind::FolderOpenToAll,
     {"1 folder can be written to by everyone", "folders can be written to by everyone", "docs/settings.md", true}},
    {Kind::NoIcon, {"1 program has no icon", "programs have no icon", "docs/iconCache.md", false}},
    {Kind::NoVersion,
     {"1 program has no version information", "programs have no version information", "docs/whyNotPublished.md",
      false}},
    {Kind::Unknown, {"1 other message", "other messages", "-v shows the log", true}},
};

/// The kind under which messages of `kind` are counted.
Kind GroupOf(Kind kind) {
  switch (kind) {
    case Kind::FolderIsLink:
    case Kind::FolderWritable:
    case Kind::FolderStopped:
    case Kind::FolderDenied:
    case Kind::FolderBroken:
      return Kind::FolderTooDeep;
    case Kind::LinkLeadsElsewhere:
    case Kind::LinkIsNoFile:
    case Kind::LinkDamaged:
    case Kind::LinksUnreadable:
      return Kind::LinkDead;
    default:
      return std::any_of(std::begin(kLines), std::end(kLines), [kind](const auto& line) { return line.first == kind; })
                 ? kind
                 : Kind::Unknown;
  }
}

}  // namespace

void LogSummary::Observe(std::uint32_t level, std::wstring_view text) {
  if (level > QUARRY_LOG_WARNING) return;
  const ScanMessage message = ReadScanMessage(text);
  if (message.kind == Kind::Consequence) return;
  // A folder that does not exist cannot be checked either.
  if (message.kind == Kind::FolderMissing && uncheckedLast_) {
    const auto unchecked = groups_.find(Kind::FolderUnchecked);
    if (--unchecked->second.count == 0) groups_.erase(unchecked);
  }
  uncheckedLast_ = message.kind == Kind::FolderUnchecked;
  Group& group = groups_[GroupOf(message.kind)];
  if (group.count++ == 0) group.first = Unicode_Utf8FromWide(message.subject.empty() ? text : message.subject);
}

std::string LogSummary::Format() const {
  std::string text;
  unsigned lines = 0;
  unsigned untold = 0;
  for (const auto& [kind, line] : kLines) {
    const auto found = groups_.find(kind);
    if (found == groups_.end()) continue;
    const auto& [count, first] = found->second;
    if (lines++ >= kMostLines) {
      untold += count;
      continue;
    }
    text += count == 1 ? line.one : std::to_string(count) + ' ' + line.several;
    if (line.showsFirst) text += (count == 1 ? ": " : ", the first: ") + first;
    text += std::string(" (") + line.remedy + ")\n";
  }
  return untold == 0 ? text : text + std::to_string(untold) + " more messages (-v shows the log)\n";
}

}  // namespace quarryctl
