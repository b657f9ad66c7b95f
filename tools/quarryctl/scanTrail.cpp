#include "tools/quarryctl/scanTrail.h"

#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/scanMessage.h"

#include <windows.h>

#include <algorithm>
#include <map>
#include <set>

namespace quarryctl {
namespace {

using Kind = ScanMessageKind;

std::wstring Join(const std::wstring& folder, std::wstring_view name) {
  return folder + (folder.ends_with(L'\\') ? L"" : L"\\") + std::wstring(name);
}

/// Why a folder was left out or not scanned to its end, or an entry was no folder to go into; empty for other messages.
std::string FolderReason(Kind kind) {
  switch (kind) {
    case Kind::FolderTooDeep:
      return "too deep below the filter's folder (MaxScanDepth)";
    case Kind::FolderIsLink:
      return "a junction or symbolic link (ScanReparsePoints)";
    case Kind::FolderWritable:
      return "everyone may write to it (WritableFolders)";
    case Kind::FolderStopped:
      return "everyone may write to it, which ends the scan (WritableFolders)";
    case Kind::FolderDenied:
      return "access denied";
    case Kind::FolderMissing:
      return "does not exist, or cannot be listed";
    default:
      return {};
  }
}

/// Why a file was left out; empty for other messages.
std::string FileReason(const ScanMessage& message) {
  switch (message.kind) {
    case Kind::FileNotIncluded:
      return "no pattern of the filter's Includes matches it";
    case Kind::FileExcluded:
      return "a pattern of the filter's Excludes matches it";
    case Kind::ExtensionUnknown:
      return "its extension is none of those that are published";
    case Kind::LinkDead:
      return "the shortcut's target is gone";
    case Kind::LinkLeadsElsewhere:
      return "no application can be made from the shortcut's target, " + Unicode_Utf8FromWide(message.subject);
    case Kind::LinkIsNoFile:
      return "the shortcut leads to something that is no file";
    case Kind::LinkDamaged:
      return "no shortcut, damaged, or not to be read";
    case Kind::LinksUnreadable:
      return "the shell's reader of shortcuts does not start (quarryctl doctor)";
    case Kind::PathTooLong:
      return "a part of its path is too long";
    default:
      return {};
  }
}

}  // namespace

void ScanTrail::Observe(std::wstring_view text) {
  const ScanMessage message = ReadScanMessage(text);
  if (std::string reason = FileReason(message); !reason.empty()) {
    reason_ = std::move(reason);
    return;
  }
  switch (message.kind) {
    case Kind::FolderBegun:
      return BeginFolder(message.subject, text);
    case Kind::FolderDone:
      return EndFolder(Fate::Scanned, "");
    case Kind::FileRejected:
    case Kind::FileInvalid:
      return AddFile(message.subject, Fate::LeftOut, reason_);
    case Kind::FilePublished:
      return AddFile(message.subject, Fate::Published, "");
    case Kind::FolderIsLink: {
      const std::wstring path(message.subject);
      const bool isFolder = (GetFileAttributesW(path.c_str()) & FILE_ATTRIBUTE_DIRECTORY) != 0;
      entries_.push_back({path, isFolder, Fate::LeftOut, FolderReason(message.kind), roots_.back(), {}, {}});
      return;
    }
    case Kind::FolderBroken:
      if (!open_.empty()) entries_[open_.back()].reason = "the listing broke off, what came behind is missing";
      return;
    default:
      if (const std::string reason = FolderReason(message.kind); !reason.empty()) EndFolder(Fate::LeftOut, reason);
  }
}

void ScanTrail::BeginFolder(std::wstring_view folder, std::wstring_view message) {
  const std::wstring depth(message.substr(message.rfind(L' ') + 1));
  // A scan that was broken off leaves folders open.
  open_.resize(std::min<std::size_t>(open_.size(), wcstoul(depth.c_str(), nullptr, 10)));
  if (open_.empty()) roots_.emplace_back(folder);
  open_.push_back(entries_.size());
  entries_.push_back({std::wstring(folder), true, Fate::LeftOut, "the scan was broken off", roots_.back(), {}, {}});
}

void ScanTrail::EndFolder(Fate fate, const std::string& reason) {
  if (open_.empty()) return;
  TrailEntry& folder = entries_[open_.back()];
  open_.pop_back();
  folder.fate = fate;
  folder.reason = reason;
}

void ScanTrail::AddFile(std::wstring_view name, Fate fate, const std::string& reason) {
  if (open_.empty()) return;
  entries_.push_back({Join(entries_[open_.back()].path, name), false, fate, reason, roots_.back(), {}, {}});
  reason_.clear();
}

void ScanTrail::Finish(const ApplicationRecords& records) {
  std::map<std::wstring_view, const QuarryApplicationInfo*> published;
  for (const QuarryApplicationInfo& record : Items(records)) published.emplace(record.path, &record);
  std::set<std::wstring_view> met;
  for (TrailEntry& entry : entries_) {
    if (entry.fate != Fate::Published) continue;
    const auto record = published.find(entry.path);
    if (record == published.end()) {
      entry.fate = Fate::LeftOut;
      entry.reason = "the scan was broken off";
      continue;
    }
    entry.name = *record->second->productName == L'\0' ? record->second->fileName : record->second->productName;
    entry.target = record->second->targetPath;
    if (!met.insert(entry.path).second) entry.reason = "twice in the list: two filters lead to it";
  }
  AddSilent();
}

// The library passes over hidden entries without a word.
void ScanTrail::AddSilent() {
  std::set<std::wstring> told;
  for (const TrailEntry& entry : entries_) told.insert(Unicode_FoldCase(entry.path));
  const std::size_t count = entries_.size();
  for (std::size_t index = 0; index < count; ++index) {
    if (entries_[index].fate != Fate::Scanned) continue;
    WIN32_FIND_DATAW found{};
    const UniqueFind find(FindFirstFileW(Join(entries_[index].path, L"*").c_str(), &found));
    for (bool more = static_cast<bool>(find); more; more = FindNextFileW(find.get(), &found) != FALSE) {
      const std::wstring_view name = found.cFileName;
      if ((found.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) == 0 || name == L"." || name == L"..") continue;
      std::wstring path = Join(entries_[index].path, name);
      if (!told.insert(Unicode_FoldCase(path)).second) continue;
      const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
      entries_.push_back(
          {std::move(path), isFolder, Fate::LeftOut, "hidden (ScanHidden)", entries_[index].root, {}, {}});
    }
  }
}

}  // namespace quarryctl
