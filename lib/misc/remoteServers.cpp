#include "lib/misc/remoteServers.h"

#include "lib/misc/tickCount.h"
#include "lib/misc/uniqueHandle.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <map>
#include <set>

namespace {

// Whatever the error: there are many for a server that is not there.
constexpr std::uint64_t kSlowFailureMilliseconds = 2000;

struct Memory {
  // Servers by their names, mapped drives by their root folders.
  std::set<std::wstring, Unicode_LessIgnoreCase> unreachable;
  std::map<std::wstring, UINT> driveTypes;
};

Memory& Known() {
  static Memory memory;
  return memory;
}

bool IsRemoteDrive(const std::wstring& root) {
  const auto [entry, isNew] = Known().driveTypes.try_emplace(root, DRIVE_UNKNOWN);
  if (isNew) entry->second = GetDriveTypeW(root.c_str());
  return entry->second == DRIVE_REMOTE;
}

/// The server that an access to the path asks; empty for a local path.
/// Source: Microsoft Learn, "Naming Files, Paths, and Namespaces".
std::wstring ServerOf(std::wstring path) {
  std::replace(path.begin(), path.end(), L'/', L'\\');
  if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) {
    path.erase(0, 4);
    if (_wcsnicmp(path.c_str(), L"UNC\\", 4) == 0) path.replace(0, 3, L"\\");
  }
  if (path.starts_with(L"\\\\")) return path.substr(2, path.find(L'\\', 2) - 2);
  const std::wstring drive = path.substr(0, path.find(L'\\') + 1);
  return drive.ends_with(L":\\") && IsRemoteDrive(drive) ? drive : std::wstring();
}

}  // namespace

bool RemoteServer_Access(const std::wstring& path, const std::function<bool()>& access) {
  const std::wstring server = ServerOf(path);
  if (server.empty()) return access();
  if (Known().unreachable.contains(server)) {
    SetLastError(ERROR_BAD_NETPATH);
    return false;
  }
  const std::uint64_t started = TickCount_Now();
  if (access()) return true;
  const LastErrorKeeper error;
  if (TickCount_Now() - started >= kSlowFailureMilliseconds) Known().unreachable.insert(server);
  return false;
}

void RemoteServer_Forget() { Known() = {}; }
