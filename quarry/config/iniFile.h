#pragma once

#include "quarry/diagnostics/objectCounters.h"

#include <string>
#include <vector>

namespace quarry {

/// Reads an INI file through the platform's profile functions, afresh at each call. A file that is missing, cannot be
/// read or has a name of 260 characters or more has no sections and no values.
class IniFile {
 public:
  explicit IniFile(std::wstring path);
  virtual ~IniFile() = default;

  /// All section names in the order of the file; none when they take more than 2045 characters together.
  std::vector<std::wstring> GetSectionNames() const;

  /// The value of a key; empty when it is absent or longer than 2046 characters.
  std::wstring GetString(const std::wstring& section, const std::wstring& key) const;

  // For reports.

  /// All keys of a section, none when their names take more than 2045 characters together.
  std::vector<std::wstring> GetKeyNames(const std::wstring& section) const;
  /// Whether there are section names, but too many for GetSectionNames.
  bool HasTooManySections() const;
  /// Whether there is a value, but one that is too long for GetString.
  bool IsTooLong(const std::wstring& section, const std::wstring& key) const;

 private:
  std::vector<std::wstring> GetNames(const wchar_t* section) const;

  std::wstring path_;
  ObjectCount count_{"IniFile"};
};

}  // namespace quarry
