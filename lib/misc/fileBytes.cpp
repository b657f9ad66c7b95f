#include "lib/misc/fileBytes.h"

#include "lib/misc/platformHandles.h"

#include <algorithm>

namespace {

constexpr std::size_t kLargestWholeFile = std::size_t{256} << 20;

}  // namespace

std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit) {
  const UniqueFile file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
  LARGE_INTEGER size{};
  if (!file || GetFileSizeEx(file.get(), &size) == FALSE) return std::nullopt;

  // The file can shrink while it is read: what counts is what arrives.
  std::vector<std::uint8_t> bytes(std::min(limit, static_cast<std::size_t>(size.QuadPart)));
  std::size_t length = 0;
  while (length < bytes.size()) {
    constexpr std::size_t kChunk = std::size_t{1} << 24;
    DWORD count = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size() - length, kChunk));
    if (ReadFile(file.get(), bytes.data() + length, wanted, &count, nullptr) == FALSE) return std::nullopt;
    if (count == 0) break;
    length += count;
  }
  bytes.resize(length);
  return bytes;
}

std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::wstring& path) {
  auto bytes = ReadFileStart(path, kLargestWholeFile + 1);
  if (!bytes || bytes->size() <= kLargestWholeFile) return bytes;
  SetLastError(ERROR_FILE_TOO_LARGE);
  return std::nullopt;
}
