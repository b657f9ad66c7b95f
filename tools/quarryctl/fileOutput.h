#pragma once

#include "tools/quarryctl/output.h"

#include <functional>
#include <string>
#include <string_view>

namespace quarryctl {

/// Asks whether a file that has been written, under a name that it does not keep, is as it should be.
using FileCheck = std::function<bool(const std::wstring& path)>;

/// Writes `bytes` to the file at `path` (absolute), in place of what it holds: under another name first, so that it is
/// there whole or not at all. False when that fails; `err` then has the reason, but for what `check` refuses.
bool WriteFileBytes(const std::wstring& path, std::string_view bytes, Output& err, const FileCheck& check = nullptr);

}  // namespace quarryctl
