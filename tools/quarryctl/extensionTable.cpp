#include "tools/quarryctl/extensionTable.h"

#include "tools/quarryctl/tableFormat.h"
#include "tools/quarryctl/utf8.h"

#include <vector>

namespace quarryctl {

std::string FormatExtensionTable(std::span<const QuarryExtensionEntry> extensions) {
  std::string count = std::to_string(extensions.size()) + (extensions.size() == 1 ? " type\n" : " types\n");
  if (extensions.empty()) return count;
  std::vector<TableRow> rows = {{"TYPE", "DESCRIPTION"}};
  for (const QuarryExtensionEntry& extension : extensions) {
    rows.push_back({Utf8FromWide(extension.name), Utf8FromWide(extension.description)});
  }
  return FormatTable(rows) + count;
}

}  // namespace quarryctl
