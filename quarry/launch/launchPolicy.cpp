#include "quarry/launch/launchPolicy.h"

#include "quarry/config/registry.h"
#include "quarry/config/settingTable.h"
#include "quarry/diagnostics/log.h"
#include "quarry/launch/clientDrivePath.h"
#include "quarry/launch/shortcutTarget.h"

#include <windows.h>

#include <shlwapi.h>
#include <wininet.h>

#include <algorithm>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <span>
#include <utility>

namespace quarry {

namespace {

// The most that a command line, and so an argument, can have (Microsoft Learn, CreateProcessW).
constexpr std::size_t kLongestValue = 32'767;

constexpr wchar_t kBlanks[] = L" \t\r\n";

std::wstring_view WithoutLeadingBlanks(std::wstring_view text) {
  return text.substr(std::min(text.find_first_not_of(kBlanks), text.size()));
}

bool IsLetter(wchar_t character) {
  return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z');
}

bool IsScheme(std::wstring_view scheme, std::wstring_view name) {
  return scheme.size() == name.size() && _wcsnicmp(scheme.data(), name.data(), name.size()) == 0;
}

/// What stands before the colon of a URL; empty when there is no such thing. The platform's test takes more for one:
/// the letter of a drive, the option of a program, a file with its extension before the name of a stream.
std::wstring_view SchemeOf(std::wstring_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), [](wchar_t character) {
    return IsLetter(character) || (character >= L'0' && character <= L'9') || character == L'+' || character == L'-';
  });
  const auto length = static_cast<std::size_t>(end - text.begin());
  const bool isScheme = end != text.end() && *end == L':' && length > 1 && IsLetter(text.front());
  return text.substr(0, isScheme ? length : 0);
}

bool IsFileUrl(std::wstring_view text) { return IsScheme(SchemeOf(text), L"file"); }

bool IsFullPath(std::wstring_view text) {
  const bool hasDrive =
      text.size() > 2 && IsLetter(text[0]) && text[1] == L':' && (text[2] == L'\\' || text[2] == L'/');
  return hasDrive || text.starts_with(L'\\');
}

/// What a text with schemes before it leads to.
struct InnerItem {
  std::wstring_view text;     ///< a path, or a URL whose own scheme is the last of them
  bool isBehindFile = false;  ///< the scheme "file" was one of those before it
};

/// Reads each character a few times only, however many schemes there are.
InnerItem WithoutOuterSchemes(std::wstring_view text) {
  InnerItem item{text};
  for (;;) {
    const std::wstring_view inner = WithoutLeadingBlanks(item.text);
    const std::wstring_view scheme = SchemeOf(inner);
    if (scheme.empty()) return item;
    item.text = inner;
    const bool isFile = IsScheme(scheme, L"file");
    const std::wstring_view rest = WithoutLeadingBlanks(inner.substr(scheme.size() + 1));
    // "url:" before anything means nothing; what "file:" names is for the platform to decode.
    const bool leadsOn = !SchemeOf(rest).empty() || IsScheme(scheme, L"url") || (IsFullPath(rest) && !isFile);
    if (!leadsOn) return item;
    item = {rest, item.isBehindFile || isFile};
  }
}

/// One that cannot be turned into a path is judged as the path behind its scheme.
std::wstring PathOfFileUrl(const std::wstring& url) {
  std::wstring path(url.size() + MAX_PATH, L'\0');
  auto length = static_cast<DWORD>(path.size());
  // The platform's URL functions take INTERNET_MAX_URL_LENGTH characters.
  if (url.size() > INTERNET_MAX_URL_LENGTH || FAILED(PathCreateFromUrlW(url.c_str(), path.data(), &length, 0))) {
    return url.substr(url.find(L':') + 1);
  }
  path.resize(wcsnlen(path.c_str(), path.size()));
  return path;
}

/// Whether a path leads to another machine, or may: the platform's own names for devices have one for each of its
/// redirectors. Its test looks for backslashes; the file system takes slashes as well.
bool IsNetworkPath(std::wstring_view text) {
  std::wstring path(WithoutLeadingBlanks(text));
  std::replace(path.begin(), path.end(), L'/', L'\\');
  constexpr std::wstring_view kDevicePrefixes[] = {L"\\\\?\\", L"\\\\.\\", L"\\??\\"};
  const bool isDevice = std::any_of(std::begin(kDevicePrefixes), std::end(kDevicePrefixes),
                                    [&path](std::wstring_view prefix) { return path.starts_with(prefix); });
  return isDevice || PathIsNetworkPathW(path.c_str()) != FALSE;
}

enum class Place { ClientDrive, Network, Url, Local };

/// Where an item leads, and what of it is opened.
struct Destination {
  Place place;
  std::wstring text;
};

/// A URL of the scheme "file" is only another spelling of the path that it names, however often the scheme is repeated:
/// what is behind it is never a URL again. One behind other schemes is judged as itself.
Destination DestinationOf(const std::wstring& value) {
  std::wstring decoded;
  InnerItem inner = WithoutOuterSchemes(value);
  bool namesFile = inner.isBehindFile;
  // Only what was percent-encoded can be a URL once more when it is decoded.
  while (IsFileUrl(inner.text)) {
    namesFile = true;
    decoded = PathOfFileUrl(std::wstring(inner.text));
    inner = WithoutOuterSchemes(decoded);
  }
  std::wstring path(inner.text);
  if (IsClientDrivePath(path)) return {Place::ClientDrive, std::move(path)};
  if (IsNetworkPath(path)) return {Place::Network, std::move(path)};
  const bool isUrl = !namesFile && !SchemeOf(value).empty() && !SchemeOf(path).empty();
  if (isUrl && PathIsURLW(value.c_str()) != FALSE) return {Place::Url, value};
  return {Place::Local, std::move(path)};
}

std::wstring WithCarriedNames(const std::wstring& path) {
  std::wstring sanitized = SanitizeClientDrivePath(path);
  if (sanitized != path) {
    Log(LogLevel::Detail, L"Sanitized share path '%s' -> '%s'.\n", path.c_str(), sanitized.c_str());
  }
  return sanitized;
}

/// One argument even without quotes, and nothing in it has a meaning for one interpreter or another.
bool IsPlain(const std::wstring& item) {
  return !item.empty() && item.find_first_of(L" &|<>^();,=!%`") == std::wstring::npos;
}

// Quotes do not keep these from an interpreter. Batch files: variables are replaced between quotes as well.
constexpr wchar_t kUnprotectedInBatchFiles[] = L"%!";
// "cmd /c" may take the first and the last quote off its whole command line (Microsoft Learn, "cmd"), and then what was
// between quotes is so no more.
constexpr wchar_t kUnprotectedAtPrompt[] = L"%!&|<>^";
// These read a text anew when its quotes are gone.
constexpr wchar_t kUnprotectedAnywhere[] = L"&|<>^();,=!%`$";

/// A program that reads its command line as commands, or a kind of file that such a program runs.
struct Interpreter {
  const wchar_t* name;
  const wchar_t* unprotected;
};

constexpr Interpreter kPrograms[] = {
    {L"cmd", kUnprotectedAtPrompt},         {L"powershell", kUnprotectedAnywhere},  {L"pwsh", kUnprotectedAnywhere},
    {L"wscript", kUnprotectedInBatchFiles}, {L"cscript", kUnprotectedInBatchFiles}, {L"mshta", kUnprotectedAnywhere},
    {L"rundll32", kUnprotectedAnywhere},
};

constexpr Interpreter kExtensions[] = {
    {L".bat", kUnprotectedInBatchFiles},
    {L".cmd", kUnprotectedInBatchFiles},
    {L".vbs", kUnprotectedInBatchFiles},
    {L".vbe", kUnprotectedInBatchFiles},
    {L".js", kUnprotectedInBatchFiles},
    {L".jse", kUnprotectedInBatchFiles},
    {L".wsf", kUnprotectedInBatchFiles},
    {L".wsh", kUnprotectedInBatchFiles},
    {L".ps1", kUnprotectedAnywhere},
    {L".hta", kUnprotectedAnywhere},
    {L".cpl", kUnprotectedAnywhere},
    // Whatever it is that the shell finds for these.
    {L".lnk", kUnprotectedAtPrompt},
    {L"", kUnprotectedAtPrompt},
};

/// The file name as the shell sees it, which overlooks quotation marks around a path and blanks and dots at its end.
std::wstring FileNameOf(std::wstring path) {
  std::erase(path, L'"');
  path.erase(path.find_last_not_of(L" .") + 1);
  return PathFindFileNameW(path.c_str());
}

const Interpreter* FindInterpreter(std::span<const Interpreter> interpreters, const std::wstring& name) {
  const auto found = std::find_if(interpreters.begin(), interpreters.end(), [&name](const Interpreter& interpreter) {
    return _wcsicmp(interpreter.name, name.c_str()) == 0;
  });
  return found != interpreters.end() ? &*found : nullptr;
}

const Interpreter* InterpreterOf(const std::wstring& program) {
  const std::wstring fileName = FileNameOf(program);
  const std::wstring extension = PathFindExtensionW(fileName.c_str());
  const Interpreter* const named = FindInterpreter(kPrograms, fileName.substr(0, fileName.size() - extension.size()));
  return named != nullptr ? named : FindInterpreter(kExtensions, extension);
}

/// One argument as the runtime's argument parser takes it (Microsoft Learn, "Parsing C command-line arguments"), so
/// that what a client sends cannot become further arguments. Quotation marks are none in it.
std::wstring QuoteArgument(const std::wstring& argument) {
  const std::size_t trailingBackslashes = argument.size() - (argument.find_last_not_of(L'\\') + 1);
  return L"\"" + argument + std::wstring(trailingBackslashes, L'\\') + L"\"";
}

}  // namespace

bool IsDriveRedirectionDisabled() {
  Log(LogLevel::Detail, L"Check Policies for Client Drive Redirection\n");
  constexpr SettingEntry kPolicy = kDriveRedirectionDisabled;
  const Registry policies(kPolicy.root, kPolicy.policyFirst);
  std::uint32_t disabled = kPolicy.defaultNumber;
  if (policies.ReadDword(kPolicy.subkey, kPolicy.valueName, disabled) != ERROR_SUCCESS || disabled == 0) return false;
  Log(LogLevel::Warning, L"Client Drive Redirection is disabled by policy\n");
  return true;
}

std::optional<AcceptedItem> AcceptItem(const std::wstring& value, bool allowLocalFiles) {
  Destination destination = DestinationOf(value);
  switch (destination.place) {
    case Place::ClientDrive:
      return AcceptedItem{OpenItemKind::File, WithCarriedNames(destination.text)};
    case Place::Network:
      Log(LogLevel::Error,
          L"The network path '%s' is not related to Client Drive Redirection and thus is not allowed to be opened.\n",
          value.c_str());
      return std::nullopt;
    case Place::Url:
      return AcceptedItem{OpenItemKind::Url, std::move(destination.text)};
    case Place::Local:
      if (allowLocalFiles) return AcceptedItem{OpenItemKind::File, std::move(destination.text)};
      Log(LogLevel::Error, L"Opening the local file path '%s' is not allowed by administrator policy.\n",
          value.c_str());
      return std::nullopt;
  }
  return std::nullopt;
}

bool IsOfAllowedLength(const std::wstring& value) {
  if (value.size() <= kLongestValue) return true;
  Log(LogLevel::Error, L"A custom parameter of %I64u characters is too long, %I64u are allowed.\n",
      static_cast<std::uint64_t>(value.size()), static_cast<std::uint64_t>(kLongestValue));
  return false;
}

ItemRules::ItemRules(const std::wstring& program) {
  const Interpreter* interpreter = InterpreterOf(program);
  // A shortcut that is no application of ours may lead to an ordinary program all the same.
  if (interpreter != nullptr && IsShortcut(program)) {
    if (const std::optional<std::wstring> target = ShortcutTarget(program)) interpreter = InterpreterOf(*target);
  }
  isInterpreter_ = interpreter != nullptr;
  if (isInterpreter_) unprotected_ = interpreter->unprotected;
}

bool ItemRules::AllowHandlers(const std::wstring& item) const { return !isInterpreter_ || IsPlain(item); }

std::optional<std::wstring> ItemRules::ArgumentFor(const std::wstring& item) const {
  if (!AppUtil_IsOneArgument(item) || item.find_first_of(unprotected_) != std::wstring::npos) {
    SetLastError(ERROR_BAD_ARGUMENTS);
    return std::nullopt;
  }
  return IsPlain(item) && !isInterpreter_ ? item : QuoteArgument(item);
}

// The shell takes paths of the classic length only (Microsoft Learn, "Maximum Path Length Limitation"); what it does
// with longer ones is better not tried in the host's process.
bool IsFitForShell(const std::wstring& path) {
  if (path.size() < MAX_PATH) return true;
  SetLastError(ERROR_FILENAME_EXCED_RANGE);
  return false;
}

}  // namespace quarry
