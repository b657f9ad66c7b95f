#include "tests/support/versionedExecutable.h"

#include <algorithm>
#include <system_error>

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kBinary = 0;
constexpr std::uint16_t kText = 1;

void Append(Bytes& bytes, const void* data, std::size_t size) {
  const auto* const first = static_cast<const std::uint8_t*>(data);
  bytes.insert(bytes.end(), first, first + size);
}

Bytes TextBytes(const std::wstring& text) {
  const auto* const first = reinterpret_cast<const std::uint8_t*>(text.c_str());
  return {first, first + (text.size() + 1) * sizeof(wchar_t)};
}

/// Every node is: its length, its value's length (in characters for text), its type, its key, its value, its children.
Bytes Node(const std::wstring& key, std::uint16_t type, const Bytes& value, const std::vector<Bytes>& children = {}) {
  Bytes node(3 * sizeof(std::uint16_t));
  const Bytes keyBytes = TextBytes(key);
  Append(node, keyBytes.data(), keyBytes.size());
  const auto appendAligned = [&node](const Bytes& part) {
    node.resize((node.size() + 3) / 4 * 4);
    Append(node, part.data(), part.size());
  };
  appendAligned(value);
  std::for_each(children.begin(), children.end(), appendAligned);
  const std::uint16_t header[] = {static_cast<std::uint16_t>(node.size()),
                                  static_cast<std::uint16_t>(type == kText ? value.size() / 2 : value.size()), type};
  std::copy_n(reinterpret_cast<const std::uint8_t*>(header), sizeof(header), node.begin());
  return node;
}

}  // namespace

Bytes VersionResourceBytes(const VersionResource& version) {
  const DWORD fixed[] = {VS_FFI_SIGNATURE, VS_FFI_STRUCVERSION, static_cast<DWORD>(version.fileVersion >> 32),
                         static_cast<DWORD>(version.fileVersion)};
  Bytes fixedBytes;
  if (version.hasNumbers) Append(fixedBytes, fixed, sizeof(fixed));
  if (version.hasNumbers) fixedBytes.resize(sizeof(VS_FIXEDFILEINFO));
  std::vector<Bytes> tables;
  for (const auto& [tableKey, texts] : version.tables) {
    std::vector<Bytes> strings;
    strings.reserve(texts.size());
    for (const auto& [key, text] : texts) strings.push_back(Node(key, kText, TextBytes(text)));
    tables.push_back(Node(tableKey, kText, {}, strings));
  }
  std::vector<Bytes> parts;
  if (!tables.empty()) parts.push_back(Node(L"StringFileInfo", kText, {}, tables));
  Bytes table;
  for (const auto& translation : version.translations) Append(table, &translation, sizeof(translation));
  if (version.hasTranslations) {
    parts.push_back(Node(L"VarFileInfo", kText, {}, {Node(L"Translation", kBinary, table)}));
  }
  return Node(L"VS_VERSION_INFO", kBinary, fixedBytes, parts);
}

void PutResource(const std::wstring& path, LPCWSTR type, LPCWSTR name, std::span<const std::uint8_t> bytes) {
  const HANDLE update = BeginUpdateResourceW(path.c_str(), FALSE);
  Bytes copy(bytes.begin(), bytes.end());
  const BOOL put = UpdateResourceW(update, type, name, MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), copy.data(),
                                   static_cast<DWORD>(copy.size()));
  if (EndUpdateResourceW(update, put == FALSE) == FALSE || put == FALSE) {
    throw std::system_error(static_cast<int>(GetLastError()), std::system_category(), "UpdateResourceW");
  }
}

void PutVersion(const std::wstring& path, const VersionResource& version) {
  PutResource(path, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO), VersionResourceBytes(version));
}

}  // namespace quarry::test
