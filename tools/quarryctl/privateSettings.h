#pragma once

#include "lib/misc/platformHandles.h"

#include <string>

namespace quarryctl {

/// While it exists, this process alone sees another local machine in the registry: one that has a single setting of the
/// library and nothing else. So a setting can be tried without the right to change the machine's, and without any
/// effect on others. Lies in a new key of the user's own, under a random name, which is removed at the end.
class PrivateSettings {
 public:
  /// Does nothing when the registry refuses, or when the key is there already.
  PrivateSettings(const wchar_t* name, const std::wstring& value);
  ~PrivateSettings();
  PrivateSettings(const PrivateSettings&) = delete;
  PrivateSettings& operator=(const PrivateSettings&) = delete;

 private:
  std::wstring path_;
  UniqueRegistryKey machine_;
};

}  // namespace quarryctl
