#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quarryctl {

/// How many columns of a terminal a UTF-8 text takes: East Asian wide characters take two, combining marks and format
/// characters none.
std::size_t DisplayWidth(std::string_view utf8);

/// The text, with an ellipsis in place of its middle where it takes more than `columns`, at least 1: of a path the
/// drive and the file's name remain.
std::string FitWidth(std::string_view utf8, std::size_t columns);

}  // namespace quarryctl
