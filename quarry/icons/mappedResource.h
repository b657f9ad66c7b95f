#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <vector>

// Resources of modules that were loaded as data, copied: a mapping of a file whose server stops answering, or that is
// cut, faults when it is read, and what has been judged must not change afterwards.

namespace quarry {

/// The beginning of a resource, at most `limit` bytes and no more than its mapping has: the size that the module gives
/// the resource is not looked at. Empty when the module's tables lead outside of the mapping or it cannot be read.
std::vector<std::uint8_t> CopyResourceStart(HMODULE module, HRSRC resource, std::size_t limit);

/// The bytes that the module gives to the resource. Empty when not all of them lie inside the mapping, when they are
/// more than `limit` and when they cannot be read.
std::vector<std::uint8_t> CopyResource(HMODULE module, HRSRC resource, std::size_t limit);

}  // namespace quarry
