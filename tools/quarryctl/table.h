#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {

using TableRow = std::vector<std::string>;

/// Lays UTF-8 cells out in columns as wide as their widest cell, two blanks apart. Where the lines would take more than
/// `width` columns (0: they may), cells lose their middle, those of the last column first, where paths belong; all keep
/// a few characters, and wrap on a terminal that is narrower still. The last column is not padded. Control characters
/// inside a cell become blanks. All rows have the first one's number of cells.
std::string FormatTable(const std::vector<TableRow>& rows, std::size_t width);

/// "1 window", "2 windows". `noun` takes an "s".
std::string FormatCount(std::size_t count, std::string_view noun);

/// The table and a line with the number of its rows; that line alone when the first row, the heading, is the only one.
std::string FormatList(const std::vector<TableRow>& rows, std::string_view noun, std::size_t width);

}  // namespace quarryctl
