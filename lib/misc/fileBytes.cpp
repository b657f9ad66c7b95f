#include "lib/misc/fileBytes.h"

#include "lib/misc/remoteServers.h"

#include <algorithm>

namespace {

constexpr std::uint64_t kLargestWholeFile = std::uint64_t{256} << 20;

// The server behind a pipe may learn who asks, but not act in that name (Microsoft Learn, "Impersonation Levels").
UniqueFile OpenOnDisk(const std::wstring& path, DWORD shareMode, DWORD flags) {
  UniqueFile file;
  const bool isOpen = RemoteServer_Access(path, [&] {
    file.attach(CreateFileW(path.c_str(), GENERIC_READ, shareMode, nullptr, OPEN_EXISTING,
                            FILE_ATTRIBUTE_NORMAL | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION | flags, nullptr));
    return static_cast<bool>(file);
  });
  if (!isOpen || GetFileType(file.get()) == FILE_TYPE_DISK) return file;
  SetLastError(ERROR_BAD_DEV_TYPE);
  return {};
}

}  // namespace

UniqueFile OpenDiskFile(const std::wstring& path, DWORD shareMode) { return OpenOnDisk(path, shareMode, 0); }

UniqueFile OpenRegularFile(const std::wstring& path, DWORD shareMode) {
  UniqueFile file = OpenOnDisk(path, shareMode, FILE_FLAG_OPEN_REPARSE_POINT);
  BY_HANDLE_FILE_INFORMATION information{};
  if (!file || GetFileInformationByHandle(file.get(), &information) == FALSE) return {};
  constexpr DWORD kIrregular = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
  if ((information.dwFileAttributes & kIrregular) == 0) return file;
  SetLastError(ERROR_BAD_FILE_TYPE);
  return {};
}

std::optional<std::uint64_t> SizeOfFile(HANDLE file) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(file, &size) == FALSE) return std::nullopt;
  return static_cast<std::uint64_t>(size.QuadPart);
}

// The file can shrink while it is read: what counts is what arrives.
std::optional<std::vector<std::uint8_t>> ReadFileAt(HANDLE file, std::uint64_t offset, std::size_t limit) {
  const std::optional<std::uint64_t> size = SizeOfFile(file);
  LARGE_INTEGER start{};
  start.QuadPart = static_cast<LONGLONG>(offset);
  if (!size || SetFilePointerEx(file, start, nullptr, FILE_BEGIN) == FALSE) return std::nullopt;
  std::vector<std::uint8_t> bytes(std::min<std::uint64_t>(limit, *size - std::min(offset, *size)));
  std::size_t length = 0;
  while (length < bytes.size()) {
    constexpr std::size_t kChunk = std::size_t{1} << 24;
    DWORD count = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size() - length, kChunk));
    if (ReadFile(file, bytes.data() + length, wanted, &count, nullptr) == FALSE) return std::nullopt;
    if (count == 0) break;
    length += count;
  }
  bytes.resize(length);
  return bytes;
}

std::optional<std::vector<std::uint8_t>> ReadFileStart(const std::wstring& path, std::size_t limit) {
  const UniqueFile file = OpenDiskFile(path, kShareAll);
  return file ? ReadFileAt(file.get(), 0, limit) : std::nullopt;
}

std::optional<std::vector<std::uint8_t>> ReadAllOf(HANDLE file) {
  const std::optional<std::uint64_t> size = SizeOfFile(file);
  if (!size) return std::nullopt;
  if (*size <= kLargestWholeFile) return ReadFileAt(file, 0, static_cast<std::size_t>(*size));
  SetLastError(ERROR_FILE_TOO_LARGE);
  return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::wstring& path) {
  const UniqueFile file = OpenDiskFile(path, kShareAll);
  return file ? ReadAllOf(file.get()) : std::nullopt;
}
