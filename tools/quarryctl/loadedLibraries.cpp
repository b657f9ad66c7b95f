#include "tools/quarryctl/loadedLibraries.h"

#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <tlhelp32.h>

namespace quarryctl {
namespace {

/// Microsoft Learn, CreateToolhelp32Snapshot: INVALID_HANDLE_VALUE when it fails; with ERROR_BAD_LENGTH, which a
/// process gives whose modules are just being loaded, it is to be asked again.
UniqueFile TakeSnapshot(DWORD what, DWORD process) {
  constexpr int kTries = 10;
  UniqueFile snapshot;
  for (int tries = 0; tries < kTries && !snapshot; ++tries) {
    snapshot = UniqueFile(CreateToolhelp32Snapshot(what, process));
    if (!snapshot && GetLastError() != ERROR_BAD_LENGTH) break;
  }
  return snapshot;
}

void AddModulesOf(const PROCESSENTRY32W& process, LoadedLibraries& found) {
  const UniqueFile snapshot = TakeSnapshot(TH32CS_SNAPMODULE, process.th32ProcessID);
  if (!snapshot) {
    ++found.hidden;
    return;
  }
  MODULEENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Module32FirstW(snapshot.get(), &entry); more != FALSE;
       more = Module32NextW(snapshot.get(), &entry)) {
    if (!Unicode_EqualIgnoreCase(entry.szModule, L"quarry.dll")) continue;
    found.modules.push_back({process.szExeFile, entry.szExePath});
  }
}

}  // namespace

LoadedLibraries FindLoadedLibraries() {
  LoadedLibraries found;
  const UniqueFile snapshot = TakeSnapshot(TH32CS_SNAPPROCESS, 0);
  if (!snapshot) return found;
  PROCESSENTRY32W entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Process32FirstW(snapshot.get(), &entry); more != FALSE;
       more = Process32NextW(snapshot.get(), &entry)) {
    // The first two, the idle process and the system, are none of programs.
    constexpr DWORD kSystem = 4;
    if (entry.th32ProcessID > kSystem && entry.th32ProcessID != GetCurrentProcessId()) AddModulesOf(entry, found);
  }
  return found;
}

}  // namespace quarryctl
