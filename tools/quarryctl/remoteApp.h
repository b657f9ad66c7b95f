#pragma once

#include <string>
#include <vector>

namespace quarryctl {

/// An application as a remote-desktop host publishes it. Without control characters.
struct RemoteApp {
  std::wstring alias;
  std::wstring name;
  std::wstring program;
  std::wstring arguments;  ///< always given to the program; empty for none
  std::wstring fileTypes;  ///< ".txt;.log"
};

/// Where users find the host.
struct RemoteHost {
  std::wstring name;
  std::wstring gateway;  ///< empty for none
};

/// Whether `text` would not stand on one line.
bool HasControlCharacter(const std::wstring& text);

/// What names the application at `path` on every host and in every scan: of its name what is letters and digits, and a
/// number of its path, so that no two have one, whatever else is published. Fit for file names and registry keys.
std::wstring AliasOf(const std::wstring& name, const std::wstring& path);

/// The text of an .rdp file, with the icon of the .ico file `icon` (empty for none).
std::wstring FormatRdp(const RemoteApp& app, const RemoteHost& host, const std::wstring& icon);

/// A file of the registry editor's: the host's list of applications that may be started so.
std::wstring FormatAllowList(const std::vector<RemoteApp>& apps);

}  // namespace quarryctl
