#include "lib/appUtil/actionUri.h"

#include "lib/appUtil/allocationGuard.h"
#include "lib/appUtil/executableSearch.h"
#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <uriparser/Uri.h>

#include <windows.h>

#include <new>
#include <string_view>
#include <vector>

namespace {

constexpr char kActionUriForCommandLine[] = "AppUtil_ActionURIForCommandLine";
constexpr char kQueryKey[] = "argv[]";

struct CommandParts {
  std::string executable;
  std::string arguments;
};

/// The program is what the first pair of quotes holds, or what stands before the first space.
CommandParts SplitCommandLine(const std::string& commandLine) {
  const bool quoted = commandLine.starts_with('"');
  const std::size_t begin = quoted ? 1 : 0;
  const std::size_t end = commandLine.find(quoted ? '"' : ' ', begin);
  CommandParts parts;
  parts.executable = commandLine.substr(begin, end - begin);
  if (end == std::string::npos) return parts;
  std::size_t rest = end + begin;  // behind the closing quote
  if (rest < commandLine.size() && commandLine[rest] == ' ') ++rest;
  parts.arguments = commandLine.substr(rest);
  return parts;
}

std::optional<std::string> ExecutablePath(const std::string& token) {
  const std::optional<std::wstring> expanded = AppUtilExpandEnvironment(Unicode_WideFromUtf8(token));
  if (!expanded || expanded->size() >= MAX_PATH) return std::nullopt;
  const std::optional<std::wstring> path = AppUtilFindExecutable(*expanded, kActionUriForCommandLine);
  if (!path) return std::nullopt;
  return Unicode_Utf8FromWide(*path);
}

std::optional<std::string> FileUri(const std::string& path) {
  // The size that uriWindowsFilenameToUriStringA's documentation asks for.
  std::string uri(8 + 3 * path.size() + 1, '\0');
  if (uriWindowsFilenameToUriStringA(path.c_str(), uri.data()) != URI_SUCCESS) return std::nullopt;
  uri.resize(std::char_traits<char>::length(uri.c_str()));
  return uri;
}

std::vector<std::string> SplitArguments(std::string_view arguments) {
  std::vector<std::string> tokens;
  while (!arguments.empty()) {
    const std::size_t end = arguments.find(' ');
    if (end != 0) tokens.emplace_back(arguments.substr(0, end));
    if (end == std::string_view::npos) break;
    arguments.remove_prefix(end + 1);
  }
  return tokens;
}

/// The empty query for no tokens; nothing when the query cannot be composed.
std::optional<std::string> ComposeQuery(const std::vector<std::string>& tokens) {
  if (tokens.empty()) return std::string();
  std::vector<UriQueryListA> pairs(tokens.size());
  for (std::size_t index = 0; index < tokens.size(); ++index) {
    UriQueryListA* const next = index + 1 < tokens.size() ? &pairs[index + 1] : nullptr;
    pairs[index] = {kQueryKey, tokens[index].c_str(), next};
  }
  char* composed = nullptr;
  const int result = uriComposeQueryMallocA(&composed, pairs.data());
  const UniqueMalloc<char> owner(composed);
  if (result == URI_ERROR_MALLOC) throw std::bad_alloc();
  if (result != URI_SUCCESS) return std::nullopt;
  return std::string(composed);
}

std::optional<std::string> ActionUri(const std::wstring& commandLine) {
  const CommandParts parts = SplitCommandLine(Unicode_Utf8FromWide(commandLine));
  const std::optional<std::string> path = ExecutablePath(parts.executable);
  if (!path) return std::nullopt;
  const std::optional<std::string> uri = FileUri(*path);
  const std::optional<std::string> query = ComposeQuery(SplitArguments(parts.arguments));
  if (!uri || !query) return std::nullopt;
  return query->empty() ? *uri : *uri + '?' + *query;
}

}  // namespace

std::optional<std::string> AppUtil_ActionURIForCommandLine(const std::wstring& commandLine) {
  std::optional<std::string> uri;
  AppUtilGuardAllocation("lib/appUtil/appUtilWin32", __LINE__, [&] { uri = ActionUri(commandLine); });
  return uri;
}
