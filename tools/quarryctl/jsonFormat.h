#pragma once

#include "quarry/quarry.h"

#include "tools/quarryctl/library.h"

#include <optional>
#include <span>
#include <string>

namespace quarryctl {

/// One application as a JSON object with every field of the record under its name, and with the further fields that are
/// given: "icons", an array of icon objects, null where an icon could not be stored, and "extensions", an array of file
/// types. Ends with a line end.
std::string FormatJson(const QuarryApplicationInfo& application, const IconRecords* icons,
                       std::optional<std::span<const QuarryExtensionEntry>> extensions);

/// File types as a JSON array of objects with name and description. Ends with a line end.
std::string FormatJson(std::span<const QuarryExtensionEntry> extensions);

/// Applications with their icons as a JSON array of such objects, in their order. Ends with a line end.
std::string FormatJson(std::span<const ApplicationWithIcons> applications);

/// One icon as a JSON object with every field of the record under its name. Ends with a line end.
std::string FormatJson(const QuarryIconInfo& icon);

}  // namespace quarryctl
