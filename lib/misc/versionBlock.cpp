#include "lib/misc/versionBlock.h"

#include "lib/misc/resourceTree.h"
#include "lib/misc/sourceFile.h"
#include "lib/string/str.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <new>
#include <vector>

namespace {

// Every node of a version resource gives its length in 16 bits and the nodes nest four deep (Microsoft Learn,
// VS_VERSIONINFO), so no node begins behind this many bytes whatever the lengths say. A name without an end and the
// header of the node behind it are read a little further, into the zeros.
constexpr std::size_t kReach = VersionBlock::kLongestResource + std::size_t{2} * 65536;

/// Microsoft Learn, VerQueryValueW, "\VarFileInfo\Translation".
struct Translation {
  WORD language;
  WORD codePage;
};

}  // namespace

// Fresh pages are zero and cost nothing until they are touched, which the zeros mostly never are.
VersionBlock::VersionBlock(std::span<const std::uint8_t> resource)
    : size_(std::min(resource.size(), kLongestResource)),
      bytes_(static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kReach, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {
  if (bytes_ == nullptr) throw std::bad_alloc();
  std::copy_n(resource.begin(), size_, bytes_.get());
}

const void* VersionBlock::Find(const std::wstring& subBlock, std::uint32_t& length) const {
  void* entry = nullptr;
  UINT entryLength = 0;
  length = 0;
  if (VerQueryValueW(bytes_.get(), subBlock.c_str(), &entry, &entryLength) == FALSE) return nullptr;
  if (BytesFrom(entry) == 0) return nullptr;
  length = entryLength;
  return entry;
}

std::size_t VersionBlock::BytesFrom(const void* entry) const {
  const auto start = reinterpret_cast<std::uintptr_t>(bytes_.get());
  const auto position = reinterpret_cast<std::uintptr_t>(entry);
  return position >= start && position < start + size_ ? start + size_ - position : 0;
}

std::optional<std::wstring> VersionBlock::FirstLanguageCodePage() const {
  const std::optional<Translation> first = Read<Translation>(L"\\VarFileInfo\\Translation");
  if (!first) return std::nullopt;
  return Str_FormatWide(L"%04x%04x", first->language, first->codePage);
}

VersionResource ReadVersionResource(const std::wstring& path) {
  // The version functions open the file once more, each: what they do not find as it was judged they must not get.
  const SourceFile source = OpenSourceFile(path);
  if (!source.file) return {std::nullopt, VersionCall::Size, GetLastError()};
  if (!IsSoundResourceTree(source.file.get(), {LOWORD(RT_VERSION)})) {
    return {std::nullopt, VersionCall::Size, ERROR_RESOURCE_TYPE_NOT_FOUND};
  }
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(source.path.c_str(), &ignored);
  if (size == 0) return {std::nullopt, VersionCall::Size, GetLastError()};
  // A buffer that is smaller than the resource receives its beginning (Microsoft Learn, GetFileVersionInfoW).
  std::vector<std::uint8_t> resource(std::min<std::size_t>(size, VersionBlock::kLongestResource));
  if (GetFileVersionInfoW(source.path.c_str(), 0, static_cast<DWORD>(resource.size()), resource.data()) == FALSE) {
    return {std::nullopt, VersionCall::Content, GetLastError()};
  }
  return {VersionBlock(resource)};
}

std::optional<std::wstring> FindVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                              const std::wstring& key) {
  std::uint32_t length = 0;
  const void* const text = block.Find(L"\\StringFileInfo\\" + languageCodePage + L"\\" + key, length);
  if (text == nullptr) return std::nullopt;
  const std::size_t limit = std::min<std::size_t>(length, block.BytesFrom(text) / sizeof(wchar_t));
  std::wstring value(limit, L'\0');
  std::memcpy(value.data(), text, limit * sizeof(wchar_t));
  value.resize(wcsnlen(value.c_str(), limit));
  return value;
}

std::wstring QueryVersionString(const VersionBlock& block, const std::wstring& languageCodePage,
                                const std::wstring& key) {
  return FindVersionString(block, languageCodePage, key).value_or(std::wstring());
}
