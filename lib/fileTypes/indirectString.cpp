#include "lib/fileTypes/indirectString.h"

#include "lib/misc/logEntry.h"
#include "lib/unicode/unicode.h"

#include <shlwapi.h>

#include <algorithm>

namespace {

constexpr std::size_t kSmallestBuffer = 128;
constexpr std::size_t kLargestBuffer = 1024;

IndirectStringLoader currentLoader = SHLoadIndirectString;

HRESULT LoadWithGrowingBuffer(const std::wstring& source, std::wstring& resolved) {
  HRESULT result = E_INVALIDARG;
  for (std::size_t size = std::max(source.size() + 1, kSmallestBuffer); size <= kLargestBuffer; size *= 2) {
    std::wstring buffer(size, L'\0');
    result = currentLoader(source.c_str(), buffer.data(), static_cast<UINT>(size), nullptr);
    if (SUCCEEDED(result)) resolved.assign(buffer, 0, buffer.find(L'\0'));
    if (result != HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)) return result;
  }
  return result;
}

}  // namespace

HRESULT VlkSHLoadIndirectString(const std::wstring& source, std::wstring& resolved) {
  const HRESULT result = LoadWithGrowingBuffer(source, resolved);
  if (FAILED(result)) {
    LogEntry(__func__, "SHLoadIndirectString failed, source: \"%s\", error: 0x%08X\n",
             Unicode_Utf8FromWide(source).c_str(), static_cast<unsigned>(result));
  }
  return result;
}

void AppUtilSetIndirectStringLoader(IndirectStringLoader loader) noexcept {
  currentLoader = loader != nullptr ? loader : SHLoadIndirectString;
}
