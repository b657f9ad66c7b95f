#pragma once

#include "lib/misc/descriptorTrust.h"
#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

/// What a look at a file or folder has shown.
struct PathJudgement {
  Distrust distrust = Distrust::None;
  std::wstring owner;      ///< its account, in words, when the place is not trusted
  bool takenOver = false;  ///< others could add to the folder and now cannot

  bool IsTrusted() const { return distrust == Distrust::None; }
};

/// Where a folder stands among those that are judged.
enum class FolderPlace {
  OnTheWay,   ///< others may add folders to it where that is inherited: each of those is judged itself
  Last,       ///< as on the way, but that right is taken away from it, once: it gets the rights of new folders
  Elsewhere,  ///< an administrator chose it: others may write there by no means, and nothing is changed
};

struct JudgedFolder {
  std::wstring path;
  FolderPlace place;
};

/// Keeps a process that has more rights than ordinary users from what those can have planted. In a process with
/// ordinary rights everything is trusted: what its user puts into his folders is his matter.
class PathTrust {
 public:
  /// Asks the process's token. What it does not tell counts against others: the process is taken for one with more
  /// rights, and its user is not trusted.
  PathTrust();

  /// Whether this process looks at all: it is elevated, or the system.
  bool IsNeeded() const { return needed_; }

  /// The folders that are to be judged before files in `folder` are used, from the outermost to `folder` itself: all
  /// those below `root`, into which everybody may put folders, or `folder` alone where it lies elsewhere.
  std::vector<JudgedFolder> FoldersToJudge(const std::wstring& folder, const std::wstring& root) const;

  /// Judges a folder without following it, by its place.
  PathJudgement JudgeFolder(const JudgedFolder& folder) const;

  /// Judges an open file, which must have READ_CONTROL (GENERIC_READ does).
  PathJudgement JudgeFile(HANDLE file) const;

 private:
  PathJudgement Judge(HANDLE object, bool leadsElsewhere = false) const;

  std::vector<std::uint8_t> ownUser_;  // a TOKEN_USER
  bool needed_ = true;
};

/// The rights of folders that a process with more rights makes: administrators and the system everything, users
/// reading, nothing from the folder above. Null when there is no memory for it.
UniqueLocal<void> NewFolderDescriptor();
