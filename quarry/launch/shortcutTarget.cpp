#include "quarry/launch/shortcutTarget.h"

#include "quarry/apps/comInterface.h"

#include <shlwapi.h>

#include <cwchar>

namespace quarry {

bool IsShortcut(const std::wstring& path) { return _wcsicmp(PathFindExtensionW(path.c_str()), L".lnk") == 0; }

std::optional<std::wstring> ShortcutTarget(const std::wstring& path) {
  const ComReference com;
  if (com.Get() == nullptr || !com.Get()->Load(path)) return std::nullopt;
  wchar_t target[MAX_PATH] = {};
  const HRESULT result = com.Get()->ShellLink().GetPath(target, MAX_PATH, nullptr, 0);
  // Microsoft Learn, IShellLinkW::GetPath: S_FALSE when the link has no path.
  if (result != S_OK || target[0] == L'\0') return std::nullopt;
  return target;
}

}  // namespace quarry
