#include "tools/quarryctl/table.h"

#include "tools/quarryctl/displayWidth.h"

#include <algorithm>

namespace quarryctl {
namespace {

constexpr std::size_t kColumnGap = 2;

bool IsControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; }

std::string CleanCell(std::string cell) {
  std::replace_if(cell.begin(), cell.end(), IsControl, ' ');
  const std::size_t last = cell.find_last_not_of(' ');
  cell.resize(last == std::string::npos ? 0 : last + 1);
  return cell;
}

std::vector<std::size_t> ColumnWidths(const std::vector<TableRow>& rows) {
  std::vector<std::size_t> widths(rows.empty() ? 0 : rows.front().size());
  for (const TableRow& row : rows) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      widths[column] = std::max(widths[column], DisplayWidth(row[column]));
    }
  }
  return widths;
}

std::string FormatRow(const TableRow& row, const std::vector<std::size_t>& widths) {
  std::string line;
  std::size_t padding = 0;
  for (std::size_t column = 0; column < widths.size(); ++column) {
    // Padding is put off until something stands after it: no line ends in blanks.
    if (!row[column].empty()) {
      line.append(padding, ' ').append(row[column]);
      padding = 0;
    }
    padding += widths[column] - DisplayWidth(row[column]) + kColumnGap;
  }
  return line + '\n';
}

}  // namespace

std::string FormatTable(const std::vector<TableRow>& rows) {
  std::vector<TableRow> cleanRows = rows;
  for (TableRow& row : cleanRows) {
    std::transform(row.begin(), row.end(), row.begin(), CleanCell);
  }
  const std::vector<std::size_t> widths = ColumnWidths(cleanRows);
  std::string text;
  for (const TableRow& row : cleanRows) text += FormatRow(row, widths);
  return text;
}

std::string FormatCount(std::size_t count, std::string_view noun) {
  return std::to_string(count).append(" ").append(noun).append(count == 1 ? "" : "s");
}

std::string FormatList(const std::vector<TableRow>& rows, std::string_view noun) {
  const std::size_t count = rows.size() - 1;
  return (count == 0 ? "" : FormatTable(rows)) + FormatCount(count, noun) + '\n';
}

}  // namespace quarryctl
