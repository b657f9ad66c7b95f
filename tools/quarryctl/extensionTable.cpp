#include "tools/quarryctl/extensionTable.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/table.h"

#include <vector>

namespace quarryctl {

std::string FormatExtensionTable(std::span<const QuarryExtensionEntry> extensions, std::size_t width) {
  std::vector<TableRow> rows = {{"TYPE", "DESCRIPTION"}};
  for (const QuarryExtensionEntry& extension : extensions) {
    rows.push_back({Unicode_Utf8FromWide(extension.name), Unicode_Utf8FromWide(extension.description)});
  }
  return FormatList(rows, "type", width);
}

}  // namespace quarryctl
