#pragma once

#include <windows.h>

#include <optional>
#include <string>

namespace quarry {

/// Tells whether everyone may add files to the folder, by its DACL. Nothing when that cannot be told, which is logged.
std::optional<bool> IsWorldWritable(const std::wstring& folderPath);

/// The same for a DACL at hand. The first entry for `world` decides: it must be an access-allowed entry that grants
/// the right to add files. A leading deny entry so makes the folder count as not writable.
std::optional<bool> IsDaclWorldWritable(PACL dacl, PSID world);

}  // namespace quarry
