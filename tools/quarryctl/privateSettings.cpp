#include "tools/quarryctl/privateSettings.h"

namespace quarryctl {
namespace {

constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Velkor, Inc.\\Velkor Quarry";

// Volatile, so that it does not outlive the user's session should this process be ended.
UniqueRegistryKey MakeKey(HKEY root, const wchar_t* path) {
  UniqueRegistryKey key;
  const LSTATUS status =
      RegCreateKeyExW(root, path, 0, nullptr, REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, key.put(), nullptr);
  if (status != ERROR_SUCCESS) return {};
  return key;
}

}  // namespace

PrivateSettings::PrivateSettings(const wchar_t* name, const std::wstring& value)
    : path_(L"Software\\quarryctl." + std::to_wstring(GetCurrentProcessId())),
      machine_(MakeKey(HKEY_CURRENT_USER, path_.c_str())) {
  if (!machine_) return;
  const UniqueRegistryKey settings = MakeKey(machine_.get(), kSettingsKey);
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
