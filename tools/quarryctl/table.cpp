#include "tools/quarryctl/table.h"

#include "tools/quarryctl/displayWidth.h"

#include <algorithm>
#include <numeric>

namespace quarryctl {
namespace {

constexpr std::size_t kColumnGap = 2;
constexpr std::size_t kShortPath = 30;
constexpr std::size_t kNarrowestColumn = 8;

bool IsControl(char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; }

std::string CleanCell(std::string cell) {
  std::replace_if(cell.begin(), cell.end(), IsControl, ' ');
  const std::size_t last = cell.find_last_not_of(' ');
  cell.resize(last == std::string::npos ? 0 : last + 1);
  return cell;
}

std::vector<std::size_t> ColumnWidths(const std::vector<TableRow>& rows) {
  std::vector<std::size_t> widths(rows.front().size());
  for (const TableRow& row : rows) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      widths[column] = std::max(widths[column], DisplayWidth(row[column]));
    }
  }
  return widths;
}

/// Shortens lines to `width`: first the last column, where paths stand, then whichever is the widest.
void Narrow(std::vector<std::size_t>& widths, std::size_t width) {
  std::size_t line = std::accumulate(widths.begin(), widths.end(), kColumnGap * (widths.size() - 1));
  for (; line > width; --line) {
    const auto widest = widths.back() > kShortPath ? widths.end() - 1 : std::max_element(widths.begin(), widths.end());
    if (*widest <= kNarrowestColumn) return;
    --*widest;
  }
}

std::string FormatRow(const TableRow& row, const std::vector<std::size_t>& widths) {
  std::string line;
  std::size_t padding = 0;
  for (std::size_t column = 0; column < widths.size(); ++column) {
    // Padding is put off until something stands after it: no line ends in blanks.
    const std::string cell = FitWidth(row[column], widths[column]);
    if (!cell.empty()) {
      line.append(padding, ' ').append(cell);
      padding = 0;
    }
    padding += widths[column] - DisplayWidth(cell) + kColumnGap;
  }
  return line + '\n';
}

}  // namespace

std::string FormatTable(const std::vector<TableRow>& rows, std::size_t width) {
  if (rows.empty()) return {};
  std::vector<TableRow> cleanRows = rows;
  for (TableRow& row : cleanRows) {
    std::transform(row.begin(), row.end(), row.begin(), CleanCell);
  }
  std::vector<std::size_t> widths = ColumnWidths(cleanRows);
  if (width > 0) Narrow(widths, width);
  std::string text;
  for (const TableRow& row : cleanRows) text += FormatRow(row, widths);
  return text;
}

std::string FormatCount(std::size_t count, std::string_view noun) {
  return std::to_string(count).append(" ").append(noun).append(count == 1 ? "" : "s");
}

std::string FormatList(const std::vector<TableRow>& rows, std::string_view noun, std::size_t width) {
  const std::size_t count = rows.size() - 1;
  return (count == 0 ? "" : FormatTable(rows, width)) + FormatCount(count, noun) + '\n';
}

}  // namespace quarryctl
