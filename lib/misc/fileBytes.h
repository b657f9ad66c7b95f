#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What fails here tells nothing more than the platform's error in GetLastError.

/// Opens the file at `path` for reading; `shareMode` as for CreateFileW. Only files on a disk are opened: a path from
/// elsewhere can name a pipe or a device, and reading that could wait for ever (ERROR_BAD_DEV_TYPE).
UniqueFile OpenDiskFile(const std::wstring& path, DWORD shareMode);

/// The bytes of `file` from `offset` on, at most `limit`; fewer only when the file ends before.
std::optional<std::vector<std::uint8_t>> ReadFileAt(HANDLE file, std::uint64_t offset, std::size_t limit);

/// The first bytes of the file at `path`, at most `limit`. The file stays open to everybody else.
std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit);

/// All bytes of the file at `path`, under the same rules. A file of more than 256 MiB is refused with
/// ERROR_FILE_TOO_LARGE: no file that this library reads whole comes near that.
std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::wstring& path);
