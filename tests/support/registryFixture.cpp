#include "tests/support/registryFixture.h"

#include "lib/misc/platformHandles.h"

#include "tests/support/temporaryFolder.h"

#include <system_error>
#include <utility>

namespace quarry::test {
namespace {

void Check(LSTATUS status, const char* what) {
  if (status != ERROR_SUCCESS) throw std::system_error(status, std::system_category(), what);
}

/// The topmost key of the path that is not there; the path itself when only that is missing.
std::wstring TopmostMissing(HKEY root, const std::wstring& path, REGSAM view) {
  for (std::size_t end = path.find(L'\\'); end != std::wstring::npos; end = path.find(L'\\', end + 1)) {
    UniqueRegistryKey key;
    std::wstring parent = path.substr(0, end);
    if (RegOpenKeyExW(root, parent.c_str(), 0, KEY_QUERY_VALUE | view, key.put()) != ERROR_SUCCESS) return parent;
  }
  return path;
}

UniqueRegistryKey MakeKey(HKEY root, const std::wstring& path, REGSAM access) {
  UniqueRegistryKey key;
  Check(RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, access, nullptr, key.put(), nullptr), "RegCreateKeyExW");
  return key;
}

/// RegDeleteTreeW deletes what lies below a handle, in the view that the handle was opened in.
void RemoveTree(HKEY root, const std::wstring& path, REGSAM view) {
  UniqueRegistryKey key;
  if (RegOpenKeyExW(root, path.c_str(), 0, KEY_ALL_ACCESS | view, key.put()) != ERROR_SUCCESS) return;
  RegDeleteTreeW(key.get(), nullptr);
  key.reset();
  RegDeleteKeyExW(root, path.c_str(), view, 0);
}

}  // namespace

RegistryFixture::RegistryFixture(std::wstring path, HKEY root, REGSAM view)
    : root_(root), view_(view), path_(std::move(path)) {
  RemoveTree(root_, path_, view_);
  topmostMade_ = TopmostMissing(root_, path_, view_);
  MakeSubkey({});
}

RegistryFixture::~RegistryFixture() { RemoveTree(root_, topmostMade_, view_); }

std::wstring RegistryFixture::PathOf(std::wstring_view subkey) const {
  return subkey.empty() ? path_ : path_ + L'\\' + std::wstring(subkey);
}

void RegistryFixture::SetRaw(std::wstring_view subkey, const std::wstring& name, DWORD type,
                             std::span<const std::uint8_t> bytes) const {
  const UniqueRegistryKey key = MakeKey(root_, PathOf(subkey), KEY_WRITE | view_);
  Check(RegSetValueExW(key.get(), name.c_str(), 0, type, bytes.data(), static_cast<DWORD>(bytes.size())),
        "RegSetValueExW");
}

void RegistryFixture::SetString(std::wstring_view subkey, const std::wstring& name, const std::wstring& text) const {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
  SetRaw(subkey, name, REG_SZ, {bytes, (text.size() + 1) * sizeof(wchar_t)});
}

void RegistryFixture::SetDword(std::wstring_view subkey, const std::wstring& name, std::uint32_t number) const {
  SetRaw(subkey, name, REG_DWORD, {reinterpret_cast<const std::uint8_t*>(&number), sizeof(number)});
}

void RegistryFixture::MakeSubkey(std::wstring_view subkey) const { MakeKey(root_, PathOf(subkey), KEY_WRITE | view_); }

void RegistryFixture::RemoveValue(std::wstring_view subkey, const std::wstring& name) const {
  const UniqueRegistryKey key = MakeKey(root_, PathOf(subkey), KEY_WRITE | view_);
  Check(RegDeleteValueW(key.get(), name.c_str()), "RegDeleteValueW");
}

void RegistryFixture::RemoveSubkey(const std::wstring& subkey) const { RemoveTree(root_, PathOf(subkey), view_); }

void RegistryFixture::Clear() const {
  RemoveSubkey({});
  MakeSubkey({});
}

void RegistryFixture::SetDacl(std::wstring_view subkey, const std::wstring& sddl) const {
  const UniqueRegistryKey key = MakeKey(root_, PathOf(subkey), WRITE_DAC | view_);
  Check(RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, SecurityDescriptor(sddl).get()), "RegSetKeySecurity");
}

}  // namespace quarry::test
