#pragma once

#include "quarry/quarry.h"

#include "tools/quarryctl/applicationIcons.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/library.h"

#include <span>

namespace quarryctl {

// The library's records as JSON: every field under its name in the record.

Json JsonFrom(const QuarryApplicationInfo& application);
/// With a further field "icons".
Json JsonFrom(const ApplicationWithIcons& application);
Json JsonFrom(const QuarryIconInfo& icon);
/// Null for an icon that could not be stored.
Json JsonFrom(const IconRecord& icon);
Json JsonFrom(const QuarryExtensionEntry& extension);
Json JsonFrom(const QuarryWindowInfo& window);

// Several of them as an array.

Json JsonFrom(std::span<const ApplicationWithIcons> applications);
Json JsonFrom(const IconRecords& icons);
Json JsonFrom(std::span<const QuarryExtensionEntry> extensions);
Json JsonFrom(std::span<const QuarryWindowInfo> windows);

}  // namespace quarryctl
