#include "tools/quarryctl/tableFormat.h"

#include <algorithm>
#include <array>
#include <span>

namespace quarryctl {
namespace {

constexpr std::size_t kColumnGap = 2;

struct CodePointRange {
  char32_t first;
  char32_t last;
};

// Unicode Standard Annex #11, "East Asian Width": the blocks of classes W and F.
constexpr std::array<CodePointRange, 10> kWideRanges = {{
    {0x1100, 0x115F},
    {0x2E80, 0x303E},
    {0x3041, 0xA4CF},
    {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF},
    {0xFE30, 0xFE6F},
    {0xFF00, 0xFF60},
    {0xFFE0, 0xFFE6},
    {0x1F300, 0x1FAFF},
    {0x20000, 0x3FFFD},
}};
constexpr std::array<CodePointRange, 6> kZeroWidthRanges = {{
    {0x0300, 0x036F},
    {0x1AB0, 0x1AFF},
    {0x200B, 0x200F},
    {0x20D0, 0x20FF},
    {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F},
}};

bool IsIn(std::span<const CodePointRange> ranges, char32_t character) {
  return std::any_of(ranges.begin(), ranges.end(), [character](const CodePointRange& range) {
    return character >= range.first && character <= range.last;
  });
}

std::size_t CharacterWidth(char32_t character) {
  if (IsIn(kZeroWidthRanges, character)) return 0;
  return IsIn(kWideRanges, character) ? 2 : 1;
}

bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The payload bits of a sequence's first byte.
char32_t LeadBits(unsigned char byte) {
  if (byte < 0xC0) return byte;
  if (byte < 0xE0) return byte & 0x1Fu;
  return byte < 0xF0 ? byte & 0x0Fu : byte & 0x07u;
}

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

std::size_t DisplayWidth(std::string_view utf8) {
  std::size_t width = 0;
  for (std::size_t index = 0; index < utf8.size();) {
    char32_t character = LeadBits(static_cast<unsigned char>(utf8[index++]));
    while (index < utf8.size() && IsContinuation(static_cast<unsigned char>(utf8[index]))) {
      character = (character << 6) | (static_cast<unsigned char>(utf8[index++]) & 0x3Fu);
    }
    width += CharacterWidth(character);
  }
  return width;
}

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

}  // namespace quarryctl
