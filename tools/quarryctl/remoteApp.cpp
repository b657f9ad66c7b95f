#include "tools/quarryctl/remoteApp.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/utf16Files.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace quarryctl {
namespace {

constexpr wchar_t kAllowList[] =
    L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Terminal "
    L"Server\\TSAppAllowList\\Applications";

// What a person still reads in a list of files; keys and file names may have 255.
constexpr std::size_t kLongestReadablePart = 48;

// Microsoft Learn, Win32_TSPublishedApplication, CommandLineSetting.
enum class CommandLineSetting { None = 0, Any = 1, Required = 2 };

CommandLineSetting SettingOf(const RemoteApp& app) {
  if (!app.arguments.empty()) return CommandLineSetting::Required;
  // A file that is opened arrives as an argument.
  return app.fileTypes.empty() ? CommandLineSetting::None : CommandLineSetting::Any;
}

/// Letters and digits of all scripts, with one dash for anything between them.
std::wstring ReadablePart(const std::wstring& name) {
  std::wstring part;
  bool isBetween = false;
  for (std::size_t index = 0; index < name.size();) {
    const std::size_t start = index;
    UChar32 character = 0;
    U16_NEXT(name.data(), index, name.size(), character);
    if (u_isUAlphabetic(character) == 0 && u_isdigit(character) == 0) {
      isBetween = !part.empty();
      continue;
    }
    if (part.size() + (index - start) + 1 > kLongestReadablePart) break;
    if (isBetween) part += L'-';
    part.append(name, start, index - start);
    isBetween = false;
  }
  return part;
}

/// FNV-1a with 64 bits (draft-eastlake-fnv), in hexadecimal digits. Never another one: aliases stand on hosts.
std::wstring NumberOf(const std::string& bytes) {
  std::uint64_t number = 0xCBF29CE484222325u;
  for (const char byte : bytes) number = (number ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
  std::wstring digits;
  for (int shift = 60; shift >= 0; shift -= 4) digits += L"0123456789abcdef"[number >> shift & 0xF];
  return digits;
}

}  // namespace

bool HasControlCharacter(const std::wstring& text) {
  return std::any_of(text.begin(), text.end(), [](wchar_t character) { return u_isISOControl(character) != 0; });
}

std::wstring AliasOf(const std::wstring& name, const std::wstring& path) {
  const std::wstring readable = ReadablePart(name);
  return (readable.empty() ? L"app" : readable) + L'-' + NumberOf(Unicode_FoldCase(Unicode_Utf8FromWide(path)));
}

// Microsoft Learn, "Supported RDP properties".
std::wstring FormatRdp(const RemoteApp& app, const RemoteHost& host, const std::wstring& icon) {
  std::wstring text = L"full address:s:" + host.name + L"\r\n";
  if (!host.gateway.empty()) {
    text += L"gatewayhostname:s:" + host.gateway + L"\r\n";
    text += L"gatewayusagemethod:i:1\r\ngatewayprofileusagemethod:i:1\r\n";
  }
  text += L"remoteapplicationmode:i:1\r\n";
  text += L"remoteapplicationprogram:s:||" + app.alias + L"\r\n";
  text += L"remoteapplicationname:s:" + app.name + L"\r\n";
  if (SettingOf(app) == CommandLineSetting::Any) {
    text += L"remoteapplicationfileextensions:s:" + app.fileTypes + L"\r\n";
  }
  if (!icon.empty()) text += L"remoteapplicationicon:s:" + icon + L"\r\n";
  return text;
}

std::wstring FormatAllowList(const std::vector<RemoteApp>& apps) {
  std::wstring text = L"Windows Registry Editor Version 5.00\r\n";
  for (const RemoteApp& app : apps) {
    text += L"\r\n[" + std::wstring(kAllowList) + L'\\' + app.alias + L"]\r\n";
    text += L"\"Name\"=" + RegistryText(app.name) + L"\r\n";
    text += L"\"Path\"=" + RegistryText(app.program) + L"\r\n";
    text += L"\"IconPath\"=" + RegistryText(app.program) + L"\r\n\"IconIndex\"=dword:00000000\r\n";
    text += L"\"CommandLineSetting\"=dword:0000000" + std::to_wstring(static_cast<int>(SettingOf(app))) + L"\r\n";
    text += L"\"RequiredCommandLine\"=" + RegistryText(app.arguments) + L"\r\n";
  }
  return text;
}

}  // namespace quarryctl
