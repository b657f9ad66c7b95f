#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {

using TableRow = std::vector<std::string>;

/// How many columns of a terminal a UTF-8 text takes: East Asian wide characters take two, combining ones none.
std::size_t DisplayWidth(std::string_view utf8);

/// Lays UTF-8 cells out in columns as wide as their widest cell, two blanks apart. Nothing is cut off: the last column
/// is not padded, so long paths belong there. Control characters inside a cell become blanks. All rows have the first
/// one's number of cells.
std::string FormatTable(const std::vector<TableRow>& rows);

}  // namespace quarryctl
