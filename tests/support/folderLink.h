#pragma once

#include <string>

namespace quarry::test {

/// Makes `linkPath` a symbolic link to the folder `target`, by way of the Unix system below where the Windows function
/// is missing. Returns false when this system lets nobody make one.
bool MakeFolderLink(const std::wstring& linkPath, const std::wstring& target);

}  // namespace quarry::test
