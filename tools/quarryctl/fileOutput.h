#pragma once

#include "tools/quarryctl/output.h"

#include <string>
#include <string_view>

namespace quarryctl {

/// Writes `bytes` to the file at `path` (absolute), in place of what it holds. False when that fails; `err` then has
/// the reason.
bool WriteFileBytes(const std::wstring& path, std::string_view bytes, Output& err);

}  // namespace quarryctl
