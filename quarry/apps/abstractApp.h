#pragma once

#include "quarry/apps/file.h"

#include <vector>

namespace quarry {

class IconBoss;

/// What all kinds of application share: the icons, and the answers of a kind that knows nothing but its file.
class AbstractApp : public File {
 public:
  explicit AbstractApp(const std::wstring& path) : File(path) {}

  /// Makes the kind of application that the extension of `path` names (lower-case only); `path` is expanded first.
  /// Empty, with a message, when no application can be made. With `iconBoss` null no icons are looked up.
  static ApplicationPtr NewAppFromPath(IconBoss* iconBoss, const std::wstring& path);

  /// Tells whether `path` names a file, once expanded, from which an application can be made. Looks up no icons.
  static bool IsAppFile(const std::wstring& path);

  std::wstring GetProductName() const override { return GetBaseName(); }
  std::wstring GetProductVersion() const override { return {}; }
  std::wstring GetFileDescription() const override { return {}; }
  std::wstring GetFileVersion() const override { return {}; }
  std::wstring GetComments() const override { return {}; }
  std::wstring GetCompanyName() const override { return {}; }
  std::uint64_t GetIconCount() const override { return icons_.size(); }
  IconPtr GetIcon(std::uint64_t index) const override { return index < icons_.size() ? icons_[index] : nullptr; }
  std::wstring GetTargetPath() const override { return GetPath(); }
  bool CanReuseRunningInstance() const override;

 protected:
  /// For the constructors of the kinds.
  void SetIcons(std::vector<IconPtr> icons) { icons_ = std::move(icons); }

 private:
  std::vector<IconPtr> icons_;
  ObjectCount count_{"AbstractApp"};
};

}  // namespace quarry
