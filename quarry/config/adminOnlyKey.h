#pragma once

#include <windows.h>

#include <string>

namespace quarry {

/// Tells whether only administrators can set values of the key, which must be open with READ_CONTROL. `keyName` stands
/// in the messages.
bool CheckKeyAdminOnly(HKEY key, const std::wstring& keyName);

/// The same for a DACL at hand: it must grant KEY_SET_VALUE to nobody but `administrators`, by its entries in order. An
/// absent DACL grants everything to everyone and so does not pass.
bool IsDaclAdminOnly(PACL dacl, PSID administrators, const std::wstring& keyName);

}  // namespace quarry
