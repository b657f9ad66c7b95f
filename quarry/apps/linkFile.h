#pragma once

#include <cstdint>
#include <span>

namespace quarry {

/// Whether the sizes and offsets in a shortcut file hold: the header with its class identifier, the item list, the link
/// info and the texts lie inside the file, one behind the other, and the places inside the link info inside that. The
/// shell's own reader checks few of these ([MS-SHLLINK] has the layout). A relative path or a working folder of more
/// than MAX_PATH characters, which the shell's interface cannot tell anyway, does not hold either.
bool IsSoundLink(std::span<const std::uint8_t> bytes);

}  // namespace quarry
