// The runtime declares rand_s only for those who ask.
#define _CRT_RAND_S  // NOLINT(bugprone-reserved-identifier): the name is the runtime's

#include "quarry/icons/temporaryFile.h"

#include "lib/string/str.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace quarry {

namespace {

/// A name that the cache is not read back by; empty when there are no random numbers.
std::wstring NameBeside(const std::wstring& path) {
  unsigned numbers[4];
  for (unsigned& number : numbers) {
    if (rand_s(&number) != 0) return {};
  }
  return path.substr(0, path.find_last_of(L'\\') + 1) +
         Str_FormatWide(L"~%08x%08x%08x%08x.tmp", numbers[0], numbers[1], numbers[2], numbers[3]);
}

}  // namespace

TemporaryFile::TemporaryFile(const std::wstring& finalPath)
    : file_(CreateFileW(NameBeside(finalPath).c_str(), GENERIC_WRITE | DELETE, FILE_SHARE_READ, nullptr, CREATE_NEW,
                        FILE_ATTRIBUTE_NORMAL, nullptr)) {}

TemporaryFile::~TemporaryFile() {
  if (!file_ || moved_) return;
  FILE_DISPOSITION_INFO disposition{TRUE};
  SetFileInformationByHandle(file_.get(), FileDispositionInfo, &disposition, sizeof(disposition));
}

bool TemporaryFile::Write(std::span<const std::uint8_t> bytes) {
  DWORD written = 0;
  return file_ && WriteFile(file_.get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr) != FALSE &&
         written == bytes.size() && FlushFileBuffers(file_.get()) != FALSE;
}

bool TemporaryFile::MoveTo(const std::wstring& finalPath) {
  const std::size_t length = finalPath.size() * sizeof(wchar_t);
  // The structure ends in the first character of the name and so has room for its end.
  std::vector<std::uint8_t> buffer(sizeof(FILE_RENAME_INFO) + length);
  auto* const rename = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
  rename->FileNameLength = static_cast<DWORD>(length);
  std::memcpy(rename->FileName, finalPath.data(), length);
  moved_ = SetFileInformationByHandle(file_.get(), FileRenameInfo, rename, static_cast<DWORD>(buffer.size())) != FALSE;
  return moved_;
}

}  // namespace quarry
