#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>

namespace quarryctl {

/// Objects keep their fields in the order in which they were added.
using Json = nlohmann::ordered_json;

/// As --json writes it, with its line end.
std::string FormatJson(const Json& json);

/// An object without nested ones as a table with a row for each field, in lines of at most `width` (0: any length).
std::string FormatFields(const Json& object, std::size_t width);

}  // namespace quarryctl
