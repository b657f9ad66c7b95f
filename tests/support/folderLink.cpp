#include "tests/support/folderLink.h"

#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <functional>
#include <utility>

namespace quarry::test {
namespace {

constexpr DWORD kTimeLimitMs = 10'000;

bool IsLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// Empty on Windows.
std::wstring UnixName(const std::wstring& path) {
  using Convert = char* (*)(const wchar_t*);
  const auto convert = reinterpret_cast<Convert>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "wine_get_unix_file_name")));
  char* const name = convert == nullptr ? nullptr : convert(path.c_str());
  if (name == nullptr) return {};
  std::wstring result = Unicode_WideFromUtf8(name);
  HeapFree(GetProcessHeap(), 0, name);
  return result;
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
  for (const DWORD start = GetTickCount(); !done(); Sleep(10)) {
    if (GetTickCount() - start > kTimeLimitMs) return false;
  }
  return true;
}

bool MakeUnixLink(const std::wstring& linkPath, const std::wstring& target) {
  const std::wstring unixTarget = UnixName(target);
  if (unixTarget.empty()) return false;
  return RunUnixProgram(L"Z:\\bin\\ln", L"ln -s \"" + unixTarget + L"\" \"" + UnixName(linkPath) + L"\"",
                        [&] { return IsLink(linkPath); });
}

bool MakeLink(const std::wstring& linkPath, const std::wstring& target) {
  constexpr DWORD kFlags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE | SYMBOLIC_LINK_FLAG_DIRECTORY;
  const BOOLEAN made = CreateSymbolicLinkW(linkPath.c_str(), target.c_str(), kFlags);
  return (made != FALSE && IsLink(linkPath)) || MakeUnixLink(linkPath, target);
}

}  // namespace

FolderLink::FolderLink(std::wstring linkPath, const std::wstring& target)
    : path_(std::move(linkPath)), made_(MakeLink(path_, target)) {}

FolderLink::~FolderLink() {
  if (!made_ || (RemoveDirectoryW(path_.c_str()) && !IsLink(path_))) return;
  RunUnixProgram(L"Z:\\bin\\rm", L"rm \"" + UnixName(path_) + L"\"", [this] { return !IsLink(path_); });
}

}  // namespace quarry::test
