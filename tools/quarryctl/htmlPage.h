#pragma once

#include "tools/quarryctl/applicationIcons.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/scanTrail.h"

#include <span>
#include <string>
#include <vector>

namespace quarryctl {

/// A page that shows the applications with their icons, and of the entries that the scan looked at those that were left
/// out. It is complete in itself: it holds the pictures and needs
/// nothing of the network. UTF-8.
std::string FormatHtmlPage(std::span<const ApplicationWithIcons> applications, const std::vector<TrailEntry>& entries,
                           Library& library);

}  // namespace quarryctl
