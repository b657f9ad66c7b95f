#pragma once

#include <windows.h>

#include <cstdint>
#include <span>

namespace quarry {

/// The bytes of a resource of a module that was loaded as data, from its start to the end of the mapping that it lies
/// in: the size that the module gives it is not looked at. Empty when the module's tables lead outside of the mapping.
std::span<const std::uint8_t> MappedBytesOf(HMODULE module, HRSRC resource);

/// The bytes that the module gives to the resource. Empty when not all of them lie inside the mapping.
std::span<const std::uint8_t> WholeResource(HMODULE module, HRSRC resource);

}  // namespace quarry
