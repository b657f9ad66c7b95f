#include "tests/support/temporaryFolder.h"

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <fileapi.h>
#include <sddl.h>

#include <algorithm>
#include <system_error>

namespace quarry::test {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void Fail(const char* what, const std::wstring& path) {
  throw fs::filesystem_error(what, path, std::error_code(static_cast<int>(GetLastError()), std::system_category()));
}

void MakeFolders(const std::wstring& longPath) {
  if (GetFileAttributesW(longPath.c_str()) != INVALID_FILE_ATTRIBUTES) return;
  MakeFolders(longPath.substr(0, longPath.rfind(L'\\')));
  if (!CreateDirectoryW(longPath.c_str(), nullptr)) Fail("CreateDirectoryW", longPath);
}

bool IsLink(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

/// The name of a path of drive C in the system below the Wine prefix, in quotes.
std::wstring UnixName(std::wstring path) {
  const wchar_t* const prefix = _wgetenv(L"QUARRY_WINEPREFIX");
  std::replace(path.begin(), path.end(), L'\\', L'/');
  return prefix == nullptr ? L"" : L'"' + (prefix + (L"/dosdevices/c:" + path.substr(path.find(L':') + 1))) + L'"';
}

/// Makes or removes a link. A Unix program has no process handle to wait for, so its effect is waited for.
bool RunUnixProgram(const wchar_t* program, std::wstring command, const std::wstring& link, bool makes) {
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  PROCESS_INFORMATION process{};
  const BOOL started =
      CreateProcessW(program, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process);
  const UniqueKernelHandle processOwner(process.hProcess);
  const UniqueKernelHandle threadOwner(process.hThread);
  for (int tries = started ? 1'000 : 0; tries > 0 && IsLink(link) != makes; --tries) Sleep(10);
  return IsLink(link) == makes;
}

/// By hand, because the runtime's own removal knows neither long paths nor reparse points that are not to be followed.
void RemoveTree(const std::wstring& longPath) {
  WIN32_FIND_DATAW entry{};
  UniqueFind find(FindFirstFileW((longPath + L"\\*").c_str(), &entry));
  if (!find) return;
  do {
    const std::wstring name = entry.cFileName;
    if (name == L"." || name == L"..") continue;
    const std::wstring path = longPath + L'\\' + name;
    SetFileAttributesW(path.c_str(), FILE_ATTRIBUTE_NORMAL);
    const bool isFolder = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
    if (!isFolder) {
      DeleteFileW(path.c_str());
    } else if (IsLink(path)) {
      RemoveDirectoryW(path.c_str());
      if (IsLink(path)) RunUnixProgram(L"Z:\\bin\\rm", L"rm " + UnixName(path), path, false);
    } else {
      RemoveTree(path);
    }
  } while (FindNextFileW(find.get(), &entry));
  find.reset();
  RemoveDirectoryW(longPath.c_str());
}

std::wstring FolderOf(const std::wstring& path) { return path.substr(0, path.rfind(L'\\')); }

}  // namespace

UniqueLocal<void> SecurityDescriptor(const std::wstring& sddl) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
  return UniqueLocal<void>(descriptor);
}

void OpenToEveryone(const std::wstring& path) {
  const UniqueLocal<void> rights = SecurityDescriptor(L"D:P(A;OICI;FA;;;BA)(A;OICI;FA;;;WD)");
  if (!SetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, rights.get())) Fail("SetFileSecurityW", path);
}

std::wstring LongPath(const std::wstring& path) { return L"\\\\?\\" + path; }

TemporaryFolder::TemporaryFolder(std::wstring_view name)
    : path_((fs::temp_directory_path() / (std::wstring(name) + L'.' + std::to_wstring(GetCurrentProcessId())))
                .wstring()) {
  RemoveTree(LongPath(path_));
  MakeFolders(LongPath(path_));
}

TemporaryFolder::~TemporaryFolder() { RemoveTree(LongPath(path_)); }

std::wstring TemporaryFolder::MakeFolder(std::wstring_view relative) const {
  std::wstring path = *this / relative;
  MakeFolders(LongPath(path));
  return path;
}

std::wstring TemporaryFolder::MakeOpenFolder(std::wstring_view relative) const {
  std::wstring path = MakeFolder(relative);
  OpenToEveryone(path);
  return path;
}

std::wstring TemporaryFolder::WriteBytes(std::wstring_view relative, std::span<const std::uint8_t> bytes) const {
  std::wstring path = *this / relative;
  MakeFolders(LongPath(FolderOf(path)));
  const UniqueFile file(
      CreateFileW(LongPath(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
  DWORD written = 0;
  if (!file || !WriteFile(file.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr)) {
    Fail("WriteFile", path);
  }
  return path;
}

std::wstring TemporaryFolder::WriteText(std::wstring_view relative, std::wstring_view text) const {
  const std::wstring marked = L'\xFEFF' + std::wstring(text);
  return WriteBytes(relative, {reinterpret_cast<const std::uint8_t*>(marked.data()), marked.size() * sizeof(wchar_t)});
}

std::wstring TemporaryFolder::CopyFrom(std::wstring_view relative, const fs::path& source) const {
  std::wstring path = *this / relative;
  MakeFolders(LongPath(FolderOf(path)));
  if (!CopyFileW(source.c_str(), LongPath(path).c_str(), FALSE)) Fail("CopyFileW", path);
  return path;
}

bool TemporaryFolder::LinkFolder(std::wstring_view relative, const std::wstring& target) const {
  constexpr DWORD kFlags = SYMBOLIC_LINK_FLAG_ALLOW_UNPRIVILEGED_CREATE | SYMBOLIC_LINK_FLAG_DIRECTORY;
  const std::wstring path = *this / relative;
  if (CreateSymbolicLinkW(path.c_str(), target.c_str(), kFlags) != FALSE && IsLink(path)) return true;
  return RunUnixProgram(L"Z:\\bin\\ln", L"ln -s " + UnixName(target) + L' ' + UnixName(path), path, true);
}

std::wstring TemporaryFolder::WriteLink(std::wstring_view relative, const std::wstring& target,
                                        linkmaker::Shortcut shortcut) const {
  shortcut.linkPath = *this / relative;
  shortcut.target = target;
  MakeFolders(LongPath(FolderOf(shortcut.linkPath)));
  if (!WriteShortcut(shortcut)) Fail("WriteShortcut", shortcut.linkPath);
  return shortcut.linkPath;
}

}  // namespace quarry::test
