#include "tests/support/versionedExecutable.h"

#include "tests/support/quarryHost.h"

#include <algorithm>

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
  Bytes bytes;
  Append(bytes, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
  return bytes;
}

void Align(Bytes& bytes) { bytes.resize((bytes.size() + 3) / 4 * 4); }

/// Every node is: its length, its value's length (in characters for text), its type, its key, its value, its children.
Bytes Node(const std::wstring& key, std::uint16_t type, const Bytes& value, const std::vector<Bytes>& children = {}) {
  Bytes node(3 * sizeof(std::uint16_t));
  Append(node, key.c_str(), (key.size() + 1) * sizeof(wchar_t));
  Align(node);
  Append(node, value.data(), value.size());
  for (const Bytes& child : children) {
    Align(node);
    Append(node, child.data(), child.size());
  }
  const std::uint16_t header[] = {static_cast<std::uint16_t>(node.size()),
                                  static_cast<std::uint16_t>(type == kText ? value.size() / 2 : value.size()), type};
  std::copy_n(reinterpret_cast<const std::uint8_t*>(header), sizeof(header), node.begin());
  return node;
}

Bytes StringTableBytes(const VersionResource::StringTable& table) {
  std::vector<Bytes> strings;
  for (const auto& [key, text] : table.strings) strings.push_back(Node(key, kText, TextBytes(text)));
  return Node(table.key, kText, {}, strings);
}

Bytes TranslationBytes(const VersionResource& version) {
  Bytes table;
  for (const VersionResource::Translation& translation : version.translations) {
    Append(table, &translation, sizeof(translation));
  }
  return Node(L"VarFileInfo", kText, {}, {Node(L"Translation", kBinary, table)});
}

}  // namespace

Bytes VersionResourceBytes(const VersionResource& version) {
  VS_FIXEDFILEINFO fixed{};
  fixed.dwSignature = VS_FFI_SIGNATURE;
  fixed.dwStrucVersion = VS_FFI_STRUCVERSION;
  fixed.dwFileVersionMS = static_cast<DWORD>(version.fileVersion >> 32);
  fixed.dwFileVersionLS = static_cast<DWORD>(version.fileVersion);
  Bytes fixedBytes;
  if (version.hasNumbers) Append(fixedBytes, &fixed, sizeof(fixed));

  std::vector<Bytes> tables;
  for (const VersionResource::StringTable& table : version.tables) tables.push_back(StringTableBytes(table));
  std::vector<Bytes> parts;
  if (!tables.empty()) parts.push_back(Node(L"StringFileInfo", kText, {}, tables));
  if (version.hasTranslations) parts.push_back(TranslationBytes(version));
  return Node(L"VS_VERSION_INFO", kBinary, fixedBytes, parts);
}

bool WriteExecutable(const std::wstring& path) {
  return CopyFileW(FixtureProgram(L"emptyApp").c_str(), path.c_str(), FALSE) != FALSE;
}

bool WriteVersionedExecutable(const std::wstring& path, std::span<const std::uint8_t> versionResource) {
  return WriteExecutable(path) && PutResource(path, RT_VERSION, MAKEINTRESOURCEW(VS_VERSION_INFO), versionResource);
}

bool PutResource(const std::wstring& path, LPCWSTR type, LPCWSTR name, std::span<const std::uint8_t> bytes) {
  const HANDLE update = BeginUpdateResourceW(path.c_str(), FALSE);
  if (update == nullptr) return false;
  Bytes copy(bytes.begin(), bytes.end());
  const BOOL put = UpdateResourceW(update, type, name, MAKELANGID(LANG_NEUTRAL, SUBLANG_NEUTRAL), copy.data(),
                                   static_cast<DWORD>(copy.size()));
  return EndUpdateResourceW(update, put == FALSE) != FALSE && put != FALSE;
}

}  // namespace quarry::test
