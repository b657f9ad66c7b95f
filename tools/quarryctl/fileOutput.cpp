#include "tools/quarryctl/fileOutput.h"

#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <algorithm>

namespace quarryctl {
namespace {

constexpr std::size_t kChunk = 1u << 20;

/// The platform's error, or ERROR_SUCCESS.
DWORD WriteNew(const std::wstring& path, std::string_view bytes) {
  const UniqueFile file(
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
  if (!file) return GetLastError();
  while (!bytes.empty()) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kChunk));
    if (WriteFile(file.get(), bytes.data(), wanted, &written, nullptr) == FALSE) return GetLastError();
    if (written == 0) return ERROR_WRITE_FAULT;
    bytes.remove_prefix(written);
  }
  return ERROR_SUCCESS;
}

}  // namespace

bool WriteFileBytes(const std::wstring& path, std::string_view bytes, Output& err, const FileCheck& check) {
  const std::wstring partial = path + L".partial";
  DWORD error = WriteNew(partial, bytes);
  const bool isRefused = error == ERROR_SUCCESS && check && !check(partial);
  if (error == ERROR_SUCCESS && !isRefused) {
    if (MoveFileExW(partial.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) != FALSE) return true;
    error = GetLastError();
  }
  DeleteFileW(partial.c_str());
  if (isRefused) return false;
  WriteComplaint(err, "cannot write " + Unicode_Utf8FromWide(path) + ", error " + std::to_string(error));
  return false;
}

}  // namespace quarryctl
