#pragma once

#include "lib/misc/platformHandles.h"

#include "tools/linkMaker/shortcut.h"

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace quarry::test {

/// A folder of its own below the user's temporary folder, removed with all that is in it. Paths given to it are
/// relative to it; folders on the way are made. Throws std::filesystem::filesystem_error when the file system refuses.
class TemporaryFolder {
 public:
  explicit TemporaryFolder(std::wstring_view name = L"quarryTest");
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::wstring& Path() const { return path_; }
  /// Full path of what lies, or will lie, at `relative`.
  std::wstring operator/(std::wstring_view relative) const { return path_ + L'\\' + std::wstring(relative); }

  /// These answer the full path of what they made.
  std::wstring MakeFolder(std::wstring_view relative) const;
  /// With a DACL that lets Everyone add files.
  std::wstring MakeOpenFolder(std::wstring_view relative) const;
  std::wstring WriteBytes(std::wstring_view relative, std::span<const std::uint8_t> bytes) const;
  /// UTF-16 with its byte-order mark.
  std::wstring WriteText(std::wstring_view relative, std::wstring_view text) const;
  std::wstring CopyFrom(std::wstring_view relative, const std::filesystem::path& source) const;
  /// A symbolic link to a folder, made by way of the Unix system below where the Windows functions cannot. False when
  /// this system lets nobody make one. Must be gone when the target goes: Wine shows no link that leads nowhere.
  bool LinkFolder(std::wstring_view relative, const std::wstring& target) const;
  /// A shortcut to `target`, with what else `shortcut` names.
  std::wstring WriteLink(std::wstring_view relative, const std::wstring& target,
                         linkmaker::Shortcut shortcut = {}) const;

 private:
  std::wstring path_;
};

/// From its text. Null when the platform does not understand that.
UniqueLocal<void> SecurityDescriptor(const std::wstring& sddl);

/// Gives the file or folder at `path` a DACL that lets Everyone write. Throws std::filesystem::filesystem_error.
void OpenToEveryone(const std::wstring& path);

/// `path` in the form that the file functions take beyond 260 characters.
std::wstring LongPath(const std::wstring& path);

}  // namespace quarry::test
