#include "quarry/apps/shortcut.h"

#include "quarry/apps/comInterface.h"
#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/timers.h"
#include "quarry/icons/iconBoss.h"
#include "quarry/paths/expandPath.h"

#include "lib/misc/platformHandles.h"
#include "lib/misc/remoteServers.h"

#include <shellapi.h>
#include <shlobj.h>

#include <optional>

namespace quarry {

namespace {

// Microsoft Learn, IShellLinkW::GetDescription: INFOTIPSIZE.
constexpr int kDescriptionCapacity = 1024;

// Never repaired, never searched for, never written back.
const DWORD kResolveFlags = SLR_NO_UI | SLR_NOUPDATE | SLR_NOSEARCH | SLR_INVOKE_MSI;

// A link can lead to a link; a planted one leads to itself.
constexpr int kDeepestLinkChain = 16;
int g_linkDepth = 0;

/// Counts the links that are being resolved, one inside the other.
class LinkDepth {
 public:
  LinkDepth() { ++g_linkDepth; }
  ~LinkDepth() { --g_linkDepth; }
  LinkDepth(const LinkDepth&) = delete;
  LinkDepth& operator=(const LinkDepth&) = delete;

  static bool IsExhausted() { return g_linkDepth >= kDeepestLinkChain; }
};

std::optional<std::wstring> ShellDisplayName(const std::wstring& path) {
  SHFILEINFOW info{};
  if (SHGetFileInfoW(path.c_str(), 0, &info, sizeof(info), SHGFI_DISPLAYNAME) == 0) return std::nullopt;
  return info.szDisplayName;
}

/// Where the loaded link says that its target is, whatever is there.
std::wstring RawTargetOf(IShellLinkW& link) {
  wchar_t path[MAX_PATH] = {};
  return SUCCEEDED(link.GetPath(path, MAX_PATH, nullptr, SLGP_RAWPATH)) ? std::wstring(path) : std::wstring();
}

bool Resolve(IShellLinkW& link) {
  return RemoteServer_Access(RawTargetOf(link), [&] { return link.Resolve(nullptr, kResolveFlags) == S_OK; });
}

/// The file that the loaded link leads to; nothing, with a message, when it leads to no file.
std::optional<std::wstring> TargetPathOf(IShellLinkW& link, const std::wstring& linkPath) {
  PIDLIST_ABSOLUTE idList = nullptr;
  const HRESULT result = link.GetIDList(&idList);
  const UniqueCoTaskMem<ITEMIDLIST> owner(idList);
  if (result != S_OK || idList == nullptr) {
    Log(LogLevel::Warning, L"\"%s\": failed to get ID list - unresolvable\n", linkPath.c_str());
    return std::nullopt;
  }
  wchar_t targetPath[MAX_PATH];
  if (SHGetPathFromIDListW(idList, targetPath) == FALSE) {
    Log(LogLevel::Warning, L"\"%s\": failed to get path from IDs - unresolvable\n", linkPath.c_str());
    return std::nullopt;
  }
  return targetPath;
}

}  // namespace

std::shared_ptr<Shortcut> Shortcut::NewInstance(IconBoss* iconBoss, const std::wstring& path) {
  Log(LogLevel::Detail, L"Creating shortcut from %s\n", path.c_str());
  const TimingScope timing(L"Shortcut::NewInstance");
  auto shortcut = std::make_shared<Shortcut>(path);
  if (!shortcut->ResolveLinkAttributes(iconBoss != nullptr)) return nullptr;
  if (iconBoss != nullptr) shortcut->SetIcons(shortcut->GetIcons(*iconBoss));
  return shortcut;
}

bool Shortcut::ResolveLinkAttributes(bool wantsIcons) {
  const TimingScope timing(L"Shortcut::ResolveLinkAttributes");
  const std::wstring path = GetPath();
  Log(LogLevel::Notable, L"Resolving shortcut \"%s\"\n", path.c_str());
  const ComReference com;
  const LinkDepth depth;

  if (com.Get() == nullptr || !com.Get()->Load(path)) {
    Log(LogLevel::Error, L"\"%s\": failed to load IPeristFile\n", path.c_str());
    return false;
  }
  IShellLinkW& link = com.Get()->ShellLink();
  if (!Resolve(link)) {
    Log(LogLevel::Warning, L"\"%s\": target unresolvable\n", path.c_str());
    return false;
  }
  wchar_t description[kDescriptionCapacity];
  if (SUCCEEDED(link.GetDescription(description, kDescriptionCapacity))) description_ = description;
  displayName_ = ShellDisplayName(path).value_or(GetBaseName());
  const std::optional<std::wstring> targetPath = TargetPathOf(link, path);
  if (!targetPath) return false;

  // A target that is a link too is loaded into the same object: whatever this link has to tell is read before.
  if (wantsIcons) iconLocation_ = IconLocationOf(link);
  Log(LogLevel::Notable, L"Target is \"%s\"\n", targetPath->c_str());
  if (!LinkDepth::IsExhausted()) target_ = NewAppFromPath(nullptr, *targetPath);
  if (target_ == nullptr) {
    Log(LogLevel::Warning, L"\"%s\": target \"%s\" not recognized\n", path.c_str(), targetPath->c_str());
    return false;
  }
  Log(LogLevel::Notable, L"\"%s\": target OK\n", path.c_str());
  return true;
}

Shortcut::IconLocation Shortcut::IconLocationOf(IShellLinkW& link) {
  IconLocation location;
  wchar_t path[MAX_PATH] = {};
  location.result = link.GetIconLocation(path, MAX_PATH, &location.index);
  location.path = path;
  return location;
}

std::vector<IconPtr> Shortcut::GetIcons(IconBoss& iconBoss) const {
  const std::wstring name = GetFileName();
  Log(LogLevel::Notable, L"Shortcut \"%s\": attempting to get icons\n", name.c_str());
  if (FAILED(iconLocation_.result)) {
    Log(LogLevel::Error, L"Failed to extract icon location from \"%s\"\n", name.c_str());
    return {};
  }
  if (iconLocation_.path.empty()) {
    Log(LogLevel::Notable, L"Shortcut \"%s\": no icon file\n", name.c_str());
    const std::wstring targetPath = target_->GetPath();
    Log(LogLevel::Notable, L"Shortcut \"%s\": getting icons from target \"%s\"\n", name.c_str(), targetPath.c_str());
    std::vector<IconPtr> icons = iconBoss.GetIconsFromFile(targetPath, 0);
    Log(LogLevel::Notable, L"Shortcut \"%s\": extracted %d icons from target\n", name.c_str(),
        static_cast<int>(icons.size()));
    return icons;
  }
  const std::wstring iconPath = ExpandPath(iconLocation_.path);
  Log(LogLevel::Notable, L"Shortcut \"%s\": icons are in \"%s\", index %d\n", name.c_str(), iconPath.c_str(),
      iconLocation_.index);
  std::vector<IconPtr> icons = iconBoss.GetIconsFromFile(iconPath, iconLocation_.index);
  Log(LogLevel::Notable, L"Shortcut \"%s\": extracted %d icons from icon file\n", name.c_str(),
      static_cast<int>(icons.size()));
  return icons;
}

}  // namespace quarry
