#include "quarry/config/iniFile.h"

#include <windows.h>

namespace quarry {

namespace {

// Microsoft Learn, GetPrivateProfileStringW: an answer that does not fit is cut and counted as the buffer's size less
// one, or less two for a list of names. Those counts so mean "perhaps incomplete".
constexpr DWORD kCapacity = 2048;
constexpr DWORD kLongestNameList = kCapacity - 3;
constexpr DWORD kLongestValue = kCapacity - 2;

/// What the profile function writes into `buffer`, by its count. A longer name is none that it takes; Wine (8.0) copies
/// it all the same, beyond its own buffer.
DWORD ReadProfile(const std::wstring& path, const wchar_t* section, const wchar_t* key, std::vector<wchar_t>& buffer) {
  if (path.size() >= MAX_PATH) return 0;
  return GetPrivateProfileStringW(section, key, nullptr, buffer.data(), kCapacity, path.c_str());
}

}  // namespace

IniFile::IniFile(std::wstring path) : path_(std::move(path)) {}

std::vector<std::wstring> IniFile::GetSectionNames() const { return GetNames(nullptr); }

std::vector<std::wstring> IniFile::GetKeyNames(const std::wstring& section) const { return GetNames(section.c_str()); }

std::vector<std::wstring> IniFile::GetNames(const wchar_t* section) const {
  // Zeroed and one longer than the function is told, so that the list ends even where the function does not end it.
  std::vector<wchar_t> buffer(kCapacity + 1, L'\0');
  const DWORD length = ReadProfile(path_, section, nullptr, buffer);
  if (length == 0 || length > kLongestNameList) return {};

  std::vector<std::wstring> names;
  for (const wchar_t* name = buffer.data(); *name != L'\0'; name += names.back().size() + 1) names.emplace_back(name);
  return names;
}

std::wstring IniFile::GetString(const std::wstring& section, const std::wstring& key) const {
  std::vector<wchar_t> buffer(kCapacity, L'\0');
  const DWORD length = ReadProfile(path_, section.c_str(), key.c_str(), buffer);
  if (length == 0 || length > kLongestValue) return {};
  return {buffer.data(), length};
}

bool IniFile::HasTooManySections() const {
  std::vector<wchar_t> buffer(kCapacity + 1, L'\0');
  return ReadProfile(path_, nullptr, nullptr, buffer) > kLongestNameList;
}

bool IniFile::IsTooLong(const std::wstring& section, const std::wstring& key) const {
  std::vector<wchar_t> buffer(kCapacity, L'\0');
  return ReadProfile(path_, section.c_str(), key.c_str(), buffer) > kLongestValue;
}

}  // namespace quarry
