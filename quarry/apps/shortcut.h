#pragma once

#include "quarry/apps/abstractApp.h"

#include <windows.h>

#include <shobjidl.h>

namespace quarry {

/// A shell link whose target is an application. Product version, company and target path are its target's.
class Shortcut : public AbstractApp {
 public:
  /// Makes the shortcut of the link file at `path`; null, with a message, when the link leads to no application.
  static std::shared_ptr<Shortcut> NewInstance(IconBoss* iconBoss, const std::wstring& path);

  explicit Shortcut(const std::wstring& path) : AbstractApp(path) {}

  ApplicationPtr GetTarget() const { return target_; }
  std::wstring GetProductName() const override { return displayName_; }
  std::wstring GetProductVersion() const override { return target_ ? target_->GetProductVersion() : L""; }
  std::wstring GetFileDescription() const override { return description_; }
  std::wstring GetCompanyName() const override { return target_ ? target_->GetCompanyName() : L""; }
  std::wstring GetTargetPath() const override { return target_ ? target_->GetTargetPath() : L""; }

 private:
  /// Where the link says that its icon is, as the shell answered.
  struct IconLocation {
    HRESULT result = E_FAIL;
    std::wstring path;
    int index = 0;
  };

  bool ResolveLinkAttributes(bool wantsIcons);
  std::vector<IconPtr> GetIcons(IconBoss& iconBoss) const;
  static IconLocation IconLocationOf(IShellLinkW& link);

  IconLocation iconLocation_;
  ApplicationPtr target_;
  std::wstring displayName_;
  std::wstring description_;
  ObjectCount count_{"Shortcut"};
};

}  // namespace quarry
