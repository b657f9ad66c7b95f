#pragma once

#include <string>

namespace quarry {

/// The strings of a version resource that an application shows, each empty where the resource does not hold it.
struct VersionStrings {
  std::wstring productName;
  std::wstring productVersion;
  std::wstring comments;
  std::wstring companyName;
  std::wstring fileDescription;
  std::wstring fileVersion;
};

/// Reads the strings of the file at `path`, in the language that its translation table names first. A file without a
/// readable version resource is logged and gives empty strings.
VersionStrings ReadVersionInfo(const std::wstring& path);

}  // namespace quarry
