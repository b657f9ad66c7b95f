#pragma once

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What fails here tells nothing more than the platform's error in GetLastError.

/// Leaves a file open to everybody else.
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// Opens the file at `path` for reading; `shareMode` as for CreateFileW. Only files on a disk are opened: a path from
/// elsewhere can name a pipe or a device, and reading that could wait for ever (ERROR_BAD_DEV_TYPE).
UniqueFile OpenDiskFile(const std::wstring& path, DWORD shareMode);

/// The same for what lies at `path` itself: a link or another reparse point is not followed but refused, like a folder
/// (ERROR_BAD_FILE_TYPE; a folder also with ERROR_ACCESS_DENIED).
UniqueFile OpenRegularFile(const std::wstring& path, DWORD shareMode);

/// How many bytes an open file has.
std::optional<std::uint64_t> SizeOfFile(HANDLE file);

/// The bytes of `file` from `offset` on, at most `limit`; fewer only when the file ends before.
std::optional<std::vector<std::uint8_t>> ReadFileAt(HANDLE file, std::uint64_t offset, std::size_t limit);

/// The first bytes of the file at `path`, at most `limit`. The file stays open to everybody else.
std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit);

/// All bytes of an open file. One of more than 256 MiB is refused with ERROR_FILE_TOO_LARGE: no file that this library
/// reads whole comes near that.
std::optional<std::vector<std::uint8_t>> ReadAllOf(HANDLE file);

/// All bytes of the file at `path`, under the same rules. The file stays open to everybody else.
std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::wstring& path);
