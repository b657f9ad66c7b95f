#include "tools/quarryctl/privateSettings.h"

#include <windows.h>

#include <bcrypt.h>

#include <array>
#include <cstdint>

namespace quarryctl {
namespace {

constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Quarry";

/// Volatile, so that it does not outlive the user's session should this process be ended. Null when the registry
/// refuses or the key is there already.
UniqueRegistryKey MakeNewKey(HKEY root, const std::wstring& path) {
  UniqueRegistryKey key;
  DWORD disposition = 0;
  const LSTATUS status = RegCreateKeyExW(root, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                         key.put(), &disposition);
  if (status != ERROR_SUCCESS || disposition != REG_CREATED_NEW_KEY) return {};
  return key;
}

/// A path that nobody can have filled with settings before; empty when the platform has no random numbers.
std::wstring UnpredictablePath() {
  std::array<std::uint64_t, 2> numbers{};
  // Microsoft Learn, BCryptGenRandom: 0 is success.
  if (BCryptGenRandom(nullptr, reinterpret_cast<PUCHAR>(numbers.data()), sizeof(numbers),
                      BCRYPT_USE_SYSTEM_PREFERRED_RNG) != 0) {
    return {};
  }
  return L"Software\\quarryctl." + std::to_wstring(numbers[0]) + L'.' + std::to_wstring(numbers[1]);
}

}  // namespace

PrivateSettings::PrivateSettings(const wchar_t* name, const std::wstring& value) : path_(UnpredictablePath()) {
  if (path_.empty()) return;
  machine_ = MakeNewKey(HKEY_CURRENT_USER, path_);
  if (!machine_) return;
  const UniqueRegistryKey settings = MakeNewKey(machine_.get(), kSettingsKey);
  if (!settings) return;
  RegSetValueExW(settings.get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
  // Microsoft Learn, RegOverridePredefKey: meant for installers that watch what a component would write.
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, machine_.get());
}

PrivateSettings::~PrivateSettings() {
  RegOverridePredefKey(HKEY_LOCAL_MACHINE, nullptr);
  if (machine_) RegDeleteTreeW(HKEY_CURRENT_USER, path_.c_str());
}

}  // namespace quarryctl
