#include "quarry/apps/abstractApp.h"

#include "quarry/diagnostics/log.h"
#include "quarry/paths/knownFolder.h"

#include <knownfolders.h>

#include <algorithm>
#include <cwctype>

namespace quarry {

namespace {

const std::wstring& CommandPromptPath() {
  static const std::wstring path = JoinPath(KnownFolder(FOLDERID_System), L"cmd.exe");
  return path;
}

bool EqualIgnoringCase(const std::wstring& left, const std::wstring& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](wchar_t a, wchar_t b) { return std::towlower(a) == std::towlower(b); });
}

}  // namespace

bool AbstractApp::CanReuseRunningInstance() const {
  if (!EqualIgnoringCase(GetTargetPath(), CommandPromptPath())) return true;
  Log(LogLevel::Detail, L"Command prompt always launches a new window.\n");
  return false;
}

}  // namespace quarry
