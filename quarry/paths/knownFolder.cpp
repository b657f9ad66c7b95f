#include "quarry/paths/knownFolder.h"

#include "lib/misc/platformHandles.h"

#include <shlobj.h>

namespace quarry {

std::wstring KnownFolder(const KNOWNFOLDERID& folder, HANDLE user) {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(folder, KF_FLAG_DEFAULT, user, &path);
  const UniqueCoTaskMem<wchar_t> owner(path);  // to be freed also when the call failed
  return SUCCEEDED(result) ? std::wstring(path) : std::wstring();
}

}  // namespace quarry
