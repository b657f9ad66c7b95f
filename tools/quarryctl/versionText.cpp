#include "tools/quarryctl/versionText.h"

#include "quarry/quarry.h"

#include "lib/misc/osVersion.h"
#include "lib/misc/versionBlock.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/paths.h"

#include <optional>

namespace quarryctl {

std::string VersionOfFile(const std::wstring& path) {
  const VersionResource resource = ReadVersionResource(path);
  if (!resource.block) return "not there, error " + std::to_string(resource.error);
  const std::optional<std::wstring> table = resource.block->FirstLanguageCodePage();
  return table ? Unicode_Utf8FromWide(QueryVersionString(*resource.block, *table, L"FileVersion")) : "without version";
}

std::string VersionText() {
  return "quarryctl " + std::to_string(QUARRY_VERSION_MAJOR) + '.' + std::to_string(QUARRY_VERSION_MINOR) + '.' +
         std::to_string(QUARRY_VERSION_PATCH) + "\nquarry.dll " + VersionOfFile(LibraryPath()) + '\n' +
         Unicode_Utf8FromWide(Os_Describe());
}

}  // namespace quarryctl
