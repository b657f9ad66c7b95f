#include "tools/quarryctl/json.h"

#include "tools/quarryctl/table.h"

#include <vector>

namespace quarryctl {
namespace {

constexpr int kIndent = 2;

}  // namespace

std::string FormatJson(const Json& json) { return json.dump(kIndent) + '\n'; }

std::string FormatFields(const Json& object, std::size_t width) {
  std::vector<TableRow> rows;
  for (const auto& [name, value] : object.items()) {
    rows.push_back({name, value.is_string() ? value.get<std::string>() : value.dump()});
  }
  return FormatTable(rows, width);
}

}  // namespace quarryctl
