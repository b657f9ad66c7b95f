#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// Whether a folder or file is the work of administrators, so that a process with their rights may rely on it. Trusted
// are the group Administrators, the system, the installer of Windows and the user that this process runs as.

/// Whether this process is elevated or the system, so that what an ordinary user plants could gain rights by it.
bool IsPrivilegedProcess();

/// What a folder or file is judged by.
enum class TrustedUse {
  Way,      ///< nobody else may put another thing in its place
  Content,  ///< nor add to it or change it
};

/// Why a folder or file is not trusted.
struct Distrust {
  std::wstring path;
  std::wstring owner;   ///< its SID as text; empty when it could not be read
  std::wstring reason;  ///< "is a reparse point"
};

/// Judges by the owner and the DACL of `descriptor`; `own` is the SID of this process's user as text. Nothing when all
/// is well, else the reason. Entries that deny are passed over; those that are only inherited count for the content,
/// because what is put into the folder gets them.
std::optional<std::wstring> ReasonForDistrust(PSECURITY_DESCRIPTOR descriptor, TrustedUse use, const std::wstring& own);

/// Judges what `handle` has open, which needs READ_CONTROL and FILE_READ_ATTRIBUTES. `path` stands in the answer.
std::optional<Distrust> FindDistrust(HANDLE handle, const std::wstring& path, TrustedUse use);

/// `path` itself and, where it lies below `root`, the folders between them, the uppermost first.
std::vector<std::wstring> FoldersBelow(const std::wstring& root, const std::wstring& path);

/// Judges these folders from the top down: what is trusted cannot be exchanged while the next one is looked at.
std::optional<Distrust> FindDistrustOnPath(const std::wstring& root, const std::wstring& path);
