#pragma once

#include <string>

namespace quarry::test {

/// A symbolic link to a folder, made and removed by way of the Unix system below where the Windows functions cannot.
class FolderLink {
 public:
  FolderLink(std::wstring linkPath, const std::wstring& target);
  ~FolderLink();
  FolderLink(const FolderLink&) = delete;
  FolderLink& operator=(const FolderLink&) = delete;

  /// False when this system lets nobody make one.
  explicit operator bool() const { return made_; }

 private:
  std::wstring path_;
  bool made_;
};

}  // namespace quarry::test
