#include "quarry/paths/expandPath.h"

#include "quarry/paths/knownFolder.h"

#include <windows.h>

#include <knownfolders.h>

#include <string_view>

namespace quarry {

namespace {

// The token value that stands for the default user in SHGetKnownFolderPath (Microsoft Learn, hToken).
const HANDLE kDefaultUser = reinterpret_cast<HANDLE>(static_cast<LONG_PTR>(-1));  // NOLINT

void ReplaceFirst(std::wstring& path, std::wstring_view token, const KNOWNFOLDERID& folder, HANDLE user) {
  const std::size_t position = path.find(token);
  if (position != std::wstring::npos) path.replace(position, token.size(), KnownFolder(folder, user));
}

}  // namespace

std::wstring ExpandPath(const std::wstring& path) {
  wchar_t expanded[MAX_PATH];
  const DWORD length = ExpandEnvironmentStringsW(path.c_str(), expanded, MAX_PATH);
  if (length == 0 || length > MAX_PATH) return path;

  std::wstring result = expanded;
  ReplaceFirst(result, L"%CommonStartMenu%", FOLDERID_CommonStartMenu, nullptr);
  ReplaceFirst(result, L"%DefaultStartMenu%", FOLDERID_StartMenu, kDefaultUser);
  return result;
}

}  // namespace quarry
