#include "quarry/apps/abstractApp.h"
#include "quarry/apps/executable.h"
#include "quarry/apps/genericApp.h"
#include "quarry/apps/shortcut.h"
#include "quarry/diagnostics/log.h"
#include "quarry/diagnostics/timers.h"
#include "quarry/paths/expandPath.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace quarry {

namespace {

constexpr std::wstring_view kGenericExtensions[] = {L"bat", L"vbs", L"cmd", L"msc", L"jar"};

bool IsGenericExtension(std::wstring_view extension) {
  return std::find(std::begin(kGenericExtensions), std::end(kGenericExtensions), extension) !=
         std::end(kGenericExtensions);
}

}  // namespace

// The extension is compared as written: a file named Setup.EXE is no application, whatever filters accept it.
ApplicationPtr AbstractApp::NewAppFromPath(IconBoss* iconBoss, const std::wstring& path) {
  const TimingScope timing(L"AbstractApp::NewAppFromPath");
  const std::wstring normalized = CollapseBackslashes(ExpandPath(path));
  const std::wstring extension = SplitPath(normalized).extension;

  if (extension == L"lnk") {
    Log(LogLevel::Notable, L"Creating Shortcut from \"%s\"\n", normalized.c_str());
    std::shared_ptr<Shortcut> shortcut = Shortcut::NewInstance(iconBoss, normalized);
    // A shortcut that was resolved has a target. Should one come without, it has nothing to start: no application.
    return shortcut != nullptr && shortcut->GetTarget() != nullptr ? shortcut : nullptr;
  }
  if (extension == L"exe") {
    Log(LogLevel::Notable, L"Creating Executable from \"%s\"\n", normalized.c_str());
    return std::make_shared<Executable>(iconBoss, normalized);
  }
  if (IsGenericExtension(extension)) {
    Log(LogLevel::Notable, L"Creating GenericApp from \"%s\"\n", normalized.c_str());
    return std::make_shared<GenericApp>(iconBoss, normalized);
  }
  Log(LogLevel::Notable, L"Unsupported extension %s in \"%s\"\n", extension.c_str(), normalized.c_str());
  return nullptr;
}

bool AbstractApp::IsAppFile(const std::wstring& path) {
  const std::wstring expanded = ExpandPath(path);
  const DWORD attributes = GetFileAttributesW(expanded.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return false;
  return NewAppFromPath(nullptr, expanded) != nullptr;
}

}  // namespace quarry
