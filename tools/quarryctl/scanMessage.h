#pragma once

#include <string_view>

namespace quarryctl {

/// What one message of the library tells about a scan.
enum class ScanMessageKind {
  Unknown,
  // The walk, in its order.
  FolderBegun,
  FolderDone,
  FileNotIncluded,
  FileExcluded,
  FileRejected,
  FileInvalid,
  FilePublished,
  // Folders that were left out, or not scanned to their end.
  FolderTooDeep,
  FolderIsLink,
  FolderWritable,
  FolderStopped,
  FolderDenied,
  FolderMissing,
  FolderBroken,
  // Why no application was made of a file.
  ExtensionUnknown,
  LinkDead,
  LinkLeadsElsewhere,
  LinkIsNoFile,
  LinkDamaged,
  LinksUnreadable,
  PathTooLong,
  // What leaves nothing out.
  FolderOpenToAll,
  FolderUnchecked,
  NoIcon,
  NoVersion,
  // Filters and settings.
  NoFilters,
  FilterWithoutRoot,
  FilterUntrusted,
  SettingWrong,
  ScanFailed,
  /// Says more about a message that was told apart from it.
  Consequence,
};

struct ScanMessage {
  ScanMessageKind kind = ScanMessageKind::Unknown;
  std::wstring_view subject;  ///< the folder, file or key concerned, where the message names one
};

/// Understands `message`, without its line end. The result points into it.
ScanMessage ReadScanMessage(std::wstring_view message);

}  // namespace quarryctl
