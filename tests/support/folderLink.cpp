#include "tests/support/folderLink.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <utility>

namespace quarry::test {
namespace {

bool IsLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// The name of a path of drive C in the system below the Wine prefix, in quotes.
std::wstring UnixName(std::wstring path) {
  const wchar_t* const prefix = _wgetenv(L"QUARRY_WINEPREFIX");
  std::replace(path.begin(), path.end(), L'\\', L'/');
  return prefix == nullptr ? std::wstring() : L'"' + (prefix + (L"/dosdevices/c:" + path.substr(2))) + L'"';
}

/// A Unix program has no process handle to wait for, so its effect is waited for.
bool RunUnixProgram(const wchar_t* program, std::wstring command, const std::function<bool()>& done) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process)) {
    return false;
  }
  const UniqueKernelHandle processOwner(process.hProcess);
  const UniqueKernelHandle threadOwner(process.hThread);
  for (int tries = 1'000; tries > 0 && !done(); --tries) Sleep(10);
  return done();
}

bool MakeLink(const std::wstring& linkPath, const std::wstring& target) {
  constexpr DWORD kFlags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE | SYMBOLIC_LINK_FLAG_DIRECTORY;
  if (CreateSymbolicLinkW(linkPath.c_str(), target.c_str(), kFlags) != FALSE && IsLink(linkPath)) return true;
  return RunUnixProgram(L"Z:\\bin\\ln", L"ln -s " + UnixName(target) + L' ' + UnixName(linkPath),
                        [&] { return IsLink(linkPath); });
}

}  // namespace

FolderLink::FolderLink(std::wstring linkPath, const std::wstring& target)
    : path_(std::move(linkPath)), made_(MakeLink(path_, target)) {}

FolderLink::~FolderLink() {
  if (!made_ || (RemoveDirectoryW(path_.c_str()) && !IsLink(path_))) return;
  RunUnixProgram(L"Z:\\bin\\rm", L"rm " + UnixName(path_), [this] { return !IsLink(path_); });
}

}  // namespace quarry::test
