#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The first bytes of the file at `path`, at most `limit`; fewer only when the file is shorter. Nothing when the file
/// cannot be opened or read, with the platform's error in GetLastError. The file stays open to everybody else.
std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit);

/// All bytes of the file at `path`, under the same rules. A file of more than 256 MiB is refused with
/// ERROR_FILE_TOO_LARGE: no file that this library reads whole comes near that.
std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::wstring& path);
