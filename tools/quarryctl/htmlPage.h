#pragma once

#include "tools/quarryctl/applicationIcons.h"
#include "tools/quarryctl/library.h"

#include <span>
#include <string>

namespace quarryctl {

/// A page that shows the applications with their icons. It is complete in itself: it holds the pictures and needs
/// nothing of the network. UTF-8.
std::string FormatHtmlPage(std::span<const ApplicationWithIcons> applications, Library& library);

}  // namespace quarryctl
