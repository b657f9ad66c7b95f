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
      CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
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

/// Puts the file under its name when it is whole.
DWORD WriteBytes(const std::wstring& path, std::string_view bytes) {
  const std::wstring partial = path + L".partial";
  DWORD error = WriteNew(partial, bytes);
  if (error == ERROR_SUCCESS && MoveFileExW(partial.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING) == FALSE) {
    error = GetLastError();
  }
  if (error != ERROR_SUCCESS) DeleteFileW(partial.c_str());
  return error;
}

}  // namespace

bool WriteFileBytes(const std::wstring& path, std::string_view bytes, Output& err) {
  const DWORD error = WriteBytes(path, bytes);
  if (error == ERROR_SUCCESS) return true;
  WriteComplaint(err, "cannot write " + Unicode_Utf8FromWide(path) + ", error " + std::to_string(error));
  return false;
}

}  // namespace quarryctl
