#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {

using TableRow = std::vector<std::string>;

/// Lays UTF-8 cells out in columns as wide as their widest cell, two blanks apart. Nothing is cut off: the last column
/// is not padded, so long paths belong there. Control characters inside a cell become blanks. All rows have the first
/// one's number of cells.
std::string FormatTable(const std::vector<TableRow>& rows);

/// "1 window", "2 windows". `noun` takes an "s".
std::string FormatCount(std::size_t count, std::string_view noun);

/// The table and a line with the number of its rows; that line alone when the first row, the heading, is the only one.
std::string FormatList(const std::vector<TableRow>& rows, std::string_view noun);

}  // namespace quarryctl
