#pragma once

#include <cstddef>
#include <string_view>

namespace quarryctl {

/// How many columns of a terminal a UTF-8 text takes: East Asian wide characters take two, combining marks and format
/// characters none.
std::size_t DisplayWidth(std::string_view utf8);

}  // namespace quarryctl
