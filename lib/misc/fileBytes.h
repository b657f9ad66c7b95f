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

/// The same for a file that must be there itself, open to everybody else: a reparse point, which can lead to any other,
/// is refused (ERROR_CANT_ACCESS_FILE).
UniqueFile OpenRegularFile(const std::wstring& path);

/// The bytes of `file` from `offset` on, at most `limit`; fewer only when the file ends before.
std::optional<std::vector<std::uint8_t>> ReadFileAt(HANDLE file, std::uint64_t offset, std::size_t limit);

/// The first bytes of the file at `path`, at most `limit`. The file stays open to everybody else.
std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit);

/// All bytes of the file that OpenRegularFile opens. One of more than `limit` bytes is refused with
/// ERROR_FILE_TOO_LARGE.
std::optional<std::vector<std::uint8_t>> ReadRegularFile(const std::wstring& path,
                                                         std::size_t limit = std::size_t{256} << 20);
