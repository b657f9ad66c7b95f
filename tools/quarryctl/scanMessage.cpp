#include "tools/quarryctl/scanMessage.h"

namespace quarryctl {
namespace {

using Kind = ScanMessageKind;

/// A message with two variable texts, of which the one or the other is its subject.
struct Pattern {
  std::wstring_view begin;
  std::wstring_view middle;  ///< empty where there is one text only
  std::wstring_view end;
  Kind kind;
  bool isSecond = false;  ///< the subject
};

constexpr Pattern kPatterns[] = {
    {L"Scanning \"", L"\", depth = ", L"", Kind::FolderBegun},
    {L"Scan of \"", L"\" complete: ", L" apps total", Kind::FolderDone},
    {L"Application ", L"", L" not accepted by white list", Kind::FileNotIncluded},
    {L"Application ", L"", L" rejected by black list", Kind::FileExcluded},
    {L"\"", L"", L"\": rejected by filter", Kind::FileRejected},
    {L"\"", L"", L"\": invalid Application", Kind::FileInvalid},
    {L"\"", L"", L"\": valid Application", Kind::FilePublished},
    {L"Maximum directory scan depth (", L") exceeded for \"", L"\" -- skipped", Kind::FolderTooDeep, true},
    {L"Scanning encountered a reparse point: \"", L"", L"\" -- skipped", Kind::FolderIsLink},
    {L"Skipping world-writable directory \"", L"", L"\"", Kind::FolderWritable},
    {L"Aborting due to world-writable directory \"", L"", L"\"", Kind::FolderStopped},
    {L"Access denied for \"", L"", L"\\*\")", Kind::FolderDenied},
    {L"FindFirstFileEx failed for \"", L"\\*\", error ", L"", Kind::FolderMissing},
    {L"FindNextFile failed for \"", L"\\*\", error ", L"", Kind::FolderBroken},
    {L"Unsupported extension ", L" in \"", L"\"", Kind::ExtensionUnknown, true},
    {L"\"", L"", L"\": target unresolvable", Kind::LinkDead},
    {L"\"", L"\": target \"", L"\" not recognized", Kind::LinkLeadsElsewhere, true},
    {L"\"", L"", L"\": failed to get ID list - unresolvable", Kind::LinkIsNoFile},
    {L"\"", L"", L"\": failed to get path from IDs - unresolvable", Kind::LinkIsNoFile},
    {L"\"", L"", L"\": failed to load IPeristFile", Kind::LinkDamaged},
    {L"Failed to create ComInterface!", L"", L"", Kind::LinksUnreadable},
    {L"Failed to parse path \"", L"\", error ", L"", Kind::PathTooLong},
    {L"Scanning world-writable directory \"", L"", L"\"", Kind::FolderOpenToAll},
    {L"Failed to get directory security, error ", L"", L"", Kind::FolderUnchecked},
    {L"Failed to create SID for WinWorldSid, error ", L"", L"", Kind::FolderUnchecked},
    {L"Error getting DACL", L"", L"", Kind::FolderUnchecked},
    {L"Error getting ACE", L"", L"", Kind::FolderUnchecked},
    {L"Security descriptor has no DACL present", L"", L"", Kind::FolderUnchecked},
    {L"No IconMiner, therefore no icons for ", L"", L"", Kind::NoIcon},
    {L"Failed to find RT_GROUP_ICON resource in ", L"", L"", Kind::Consequence},
    {L"Failed to initialize IconMiner", L"", L"", Kind::Consequence},
    {L"Failed to load file, error ", L"", L"", Kind::Consequence},
    {L"No VersionInfo in ", L"", L"", Kind::NoVersion},
    {L"Failed to load VersionInfo from ", L", error ", L"", Kind::NoVersion},
    {L"Failed to get VarFileInfo\\Translation from ", L", error ", L"", Kind::NoVersion},
    {L"No filters in INI file!", L"", L"", Kind::NoFilters},
    {L"Filter defined with no root!", L"", L"", Kind::FilterWithoutRoot},
    {L"Filter ", L"", L" has no paths", Kind::Consequence},
    {L"Empty path found in filter ", L"", L"; skipping!", Kind::FilterWithoutRoot},
    {L"Key ", L": ", L"", Kind::FilterUntrusted},
    {L"Bad value \"", L"", L"\" for CONFIG_WRITABLE_FOLDER_ACTION", Kind::SettingWrong},
    {L"Wrong registry type ", L") for ", L"", Kind::SettingWrong, true},
    {L"Failed to open registry key ", L"", L"", Kind::SettingWrong},
    {L"Failed to query registry value ", L"", L"", Kind::SettingWrong},
    {L"Failed to get registry value ", L"", L"", Kind::SettingWrong},
    {L"Quarry_Scan", L" failed: ", L"", Kind::ScanFailed},
};

/// Whether `message` has the pattern's form; `subject` is its subject then.
bool Matches(const Pattern& pattern, std::wstring_view message, std::wstring_view& subject) {
  if (message.size() < pattern.begin.size() + pattern.end.size()) return false;
  if (!message.starts_with(pattern.begin) || !message.ends_with(pattern.end)) return false;
  subject = message.substr(pattern.begin.size(), message.size() - pattern.begin.size() - pattern.end.size());
  if (pattern.middle.empty()) return true;
  // From behind, because what the library adds to a path stands behind it.
  const std::size_t middle = pattern.isSecond ? subject.find(pattern.middle) : subject.rfind(pattern.middle);
  if (middle == std::wstring_view::npos) return false;
  subject = pattern.isSecond ? subject.substr(middle + pattern.middle.size()) : subject.substr(0, middle);
  return true;
}

}  // namespace

ScanMessage ReadScanMessage(std::wstring_view message) {
  for (const Pattern& pattern : kPatterns) {
    std::wstring_view subject;
    if (Matches(pattern, message, subject)) return {pattern.kind, subject};
  }
  return {};
}

}  // namespace quarryctl
