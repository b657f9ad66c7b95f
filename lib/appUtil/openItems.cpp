#include "lib/appUtil/openItems.h"

#include "lib/appUtil/allocationGuard.h"
#include "lib/appUtil/handlerEnumeration.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <shellapi.h>
#include <shobjidl.h>
#include <wrl/client.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <map>
#include <optional>

namespace {

using Microsoft::WRL::ComPtr;

constexpr char kOpenItems[] = "AppUtil_OpenItems";

// The place in messages about memory that ran out and about an empty group.
constexpr char kSource[] = "lib/appUtil/appUtilFileTypesWin32";
constexpr int kFaultLine = 2288;

constexpr DWORD kExecuteMask = SEE_MASK_NOASYNC | SEE_MASK_DOENVSUBST | SEE_MASK_FLAG_NO_UI;

// The longest URL that the shell takes (wininet.h, INTERNET_MAX_URL_LENGTH).
constexpr std::size_t kLongestItem = 2083;

using ItemList = std::vector<std::wstring>;
using ItemGroups = std::map<std::wstring, ItemList>;

/// The handler through which a group's items are opened.
struct Handler {
  std::wstring name;  ///< its executable, as the shell names it
  std::wstring progId;
};

/// A wide text for a message.
std::string Text(std::wstring_view text) { return Unicode_Utf8FromWide(text); }

const char* KindWord(OpenItemKind kind) { return kind == OpenItemKind::Url ? "protocol" : "file extension"; }

std::wstring LowerCase(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t character) { return static_cast<wchar_t>(std::towlower(character)); });
  return text;
}

/// A URL's protocol or a file's extension with its dot; nothing for an item that has none.
std::optional<std::wstring> KeyOf(const std::wstring& item, OpenItemKind kind) {
  if (kind == OpenItemKind::Url) {
    const std::size_t colon = item.find(L':');
    if (colon == std::wstring::npos) return std::nullopt;
    return LowerCase(item.substr(0, colon));
  }
  const std::size_t dot = item.rfind(L'.');
  const std::size_t backslash = item.rfind(L'\\');
  if (dot == std::wstring::npos || (backslash != std::wstring::npos && backslash > dot)) return std::nullopt;
  return LowerCase(item.substr(dot));
}

ItemGroups GroupByKey(const ItemList& items, OpenItemKind kind, ItemList& unopened) {
  ItemGroups groups;
  for (const std::wstring& item : items) {
    if (const std::optional<std::wstring> key = KeyOf(item, kind)) {
      groups[*key].push_back(item);
    } else {
      unopened.push_back(item);
    }
  }
  return groups;
}

/// The handler's executable as the shell names it; nothing, with a message, when the shell does not.
std::optional<std::wstring> NameOf(IAssocHandler& handler, const std::wstring& key, OpenItemKind kind) {
  LPWSTR text = nullptr;
  const HRESULT result = handler.GetName(&text);
  const UniqueCoTaskMem<wchar_t> owner(text);
  if (FAILED(result) || text == nullptr) {
    LogEntry(kOpenItems, "Failed to retrieve the name of a handler for %s '%s' with error 0x%08x.\n", KindWord(kind),
             Text(key).c_str(), static_cast<unsigned>(result));
    return std::nullopt;
  }
  return text;
}

/// Compares ignoring case, once the name's environment variables are expanded.
bool IsApplication(const std::wstring& name, OpenItemKind kind, const std::wstring& applicationPath) {
  wchar_t expanded[MAX_PATH];
  const DWORD length = ExpandEnvironmentStringsW(name.c_str(), expanded, MAX_PATH);
  if (length == 0 || length > MAX_PATH) {
    const HRESULT result = HRESULT_FROM_WIN32(length == 0 ? GetLastError() : ERROR_INSUFFICIENT_BUFFER);
    LogEntry(kOpenItems, "Failed to expand handler path '%s' of %s with error 0x%08x.\n", Text(name).c_str(),
             KindWord(kind), static_cast<unsigned>(result));
    return false;
  }
  return _wcsicmp(expanded, applicationPath.c_str()) == 0;
}

std::wstring ProgIdOf(IAssocHandler& handler) {
  ComPtr<IObjectWithProgID> withProgId;
  LPWSTR text = nullptr;
  if (FAILED(handler.QueryInterface(IID_PPV_ARGS(&withProgId))) || FAILED(withProgId->GetProgID(&text))) return {};
  const UniqueCoTaskMem<wchar_t> owner(text);
  return text != nullptr ? text : L"";
}

/// Walks the handlers up to the first that is the application; nothing when none is.
std::optional<Handler> FindHandler(IEnumAssocHandlers& handlers, const std::wstring& key, OpenItemKind kind,
                                   const std::wstring& applicationPath) {
  for (;;) {
    ComPtr<IAssocHandler> handler;
    ULONG fetched = 0;
    if (handlers.Next(1, &handler, &fetched) != S_OK || fetched != 1 || handler == nullptr) return std::nullopt;
    const std::optional<std::wstring> name = NameOf(*handler.Get(), key, kind);
    if (name && IsApplication(*name, kind, applicationPath)) return Handler{*name, ProgIdOf(*handler.Get())};
  }
}

/// The group's handler that is the application and has a prog ID; nothing, with a message, when there is none.
std::optional<Handler> ChooseHandler(const std::wstring& key, const ItemList& items, OpenItemKind kind,
                                     const std::wstring& applicationPath) {
  const HandlerEnumeration& enumeration = AppUtil_GetHandlerEnumeration();
  const auto enumerate = kind == OpenItemKind::Url ? enumeration.forProtocol : enumeration.forExtension;
  ComPtr<IEnumAssocHandlers> handlers;
  const HRESULT result = enumerate(key.c_str(), &handlers);
  if (FAILED(result) || handlers == nullptr) {
    LogEntry(kOpenItems, "Failed to query handlers for %s '%s' with error 0x%08x.\n", KindWord(kind), Text(key).c_str(),
             static_cast<unsigned>(result));
    return std::nullopt;
  }
  std::optional<Handler> handler = FindHandler(*handlers.Get(), key, kind, applicationPath);
  if (!handler) {
    LogEntry(kOpenItems,
             "Failed to locate a handler for %s '%s' using application '%s'. This is unexpected and means that we may "
             "not open the %I64u file(s) with that extension properly.\n",
             KindWord(kind), Text(key).c_str(), Text(applicationPath).c_str(),
             static_cast<std::uint64_t>(items.size()));
    return std::nullopt;
  }
  if (handler->progId.empty()) return std::nullopt;
  LogEntry(kOpenItems, "Handler '%s' has prog ID '%s'.\n", Text(handler->name).c_str(), Text(handler->progId).c_str());
  return handler;
}

/// Its prog IDs open an item in a window of their own instead of in the application that is running.
bool NeedsCommandLine(const std::wstring& progId) { return progId.find(L"PowerPoint") != std::wstring::npos; }

UniqueRegistryKey OpenClassKey(const std::wstring& progId) {
  UniqueRegistryKey key;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, progId.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
    LogEntry(kOpenItems, "Failed to open HKEY_CLASSES_ROOT\\%s key. Falling back to opening URI using class name.\n",
             Text(progId).c_str());
    return {};
  }
  return key;
}

/// False, with the last error, for a request that the shell must not see: one that is too long for it, or whose item
/// would leave the place that the handler's command line has for it.
bool IsFitForShell(const SHELLEXECUTEINFOW& request, const std::wstring& item) {
  const bool tooLong = wcsnlen(request.lpFile, kLongestItem + 1) > kLongestItem;
  const bool leavesPlace = !AppUtil_IsOneArgument(item);
  if (tooLong) SetLastError(ERROR_FILENAME_EXCED_RANGE);
  if (leavesPlace) SetLastError(ERROR_BAD_ARGUMENTS);
  return !tooLong && !leavesPlace;
}

bool OpenItem(const std::wstring& item, OpenItemKind kind, const Handler& handler,
              const std::wstring& applicationPath) {
  const std::wstring commandLine = L"\"" + item + L"\"";
  const UniqueRegistryKey classKey = kind == OpenItemKind::Url ? OpenClassKey(handler.progId) : UniqueRegistryKey();
  SHELLEXECUTEINFOW request{};
  request.cbSize = sizeof(request);
  request.fMask = kExecuteMask;
  request.lpVerb = L"open";
  request.lpFile = item.c_str();
  request.nShow = SW_SHOW;
  if (classKey) {
    request.fMask |= SEE_MASK_CLASSKEY;
    request.hkeyClass = classKey.get();
  } else if (NeedsCommandLine(handler.progId)) {
    request.lpFile = applicationPath.c_str();
    request.lpParameters = commandLine.c_str();
    LogEntry(kOpenItems, "Using command-line '%s' instead of prog ID.\n", Text(commandLine).c_str());
  } else {
    request.fMask |= SEE_MASK_CLASSNAME;
    request.lpClass = handler.progId.c_str();
  }

  if (!IsFitForShell(request, item) || ShellExecuteExW(&request) == FALSE) {
    const auto error = static_cast<unsigned>(GetLastError());
    LogEntry(kOpenItems, "Failed to invoke handler '%s' with prog ID '%s' for file or url '%s' with error %u.\n",
             Text(handler.name).c_str(), Text(handler.progId).c_str(), Text(item).c_str(), error);
    return false;
  }
  LogEntry(kOpenItems, "Successfully invoked handler '%s' directly using prog ID '%s' for file or url '%s'.\n",
           Text(handler.name).c_str(), Text(handler.progId).c_str(), Text(item).c_str());
  return true;
}

}  // namespace

bool AppUtil_IsOneArgument(std::wstring_view item) {
  return std::none_of(item.begin(), item.end(), [](wchar_t character) {
    const bool isControl = character < L' ' || (character >= 0x7F && character <= 0x9F);  // Unicode's category Cc
    return isControl || character == L'"';
  });
}

std::vector<std::wstring> AppUtil_OpenItems(const std::vector<std::wstring>& items, OpenItemKind kind,
                                            const std::wstring& applicationPath) {
  ItemList unopened;
  unopened.reserve(items.size());
  ItemGroups groups = GroupByKey(items, kind, unopened);
  for (auto& entry : groups) {
    const std::wstring& key = entry.first;
    ItemList& group = entry.second;
    if (key.empty()) {
      // A URL that begins with its colon. The groups behind it are given up without being reported, as ever.
      LogEntry_Fault("VERIFY", kSource, kFaultLine);
      return unopened;
    }
    std::optional<Handler> handler;
    AppUtilGuardAllocation(kSource, __LINE__, [&] { handler = ChooseHandler(key, group, kind, applicationPath); });
    for (std::wstring& item : group) {
      bool opened = false;
      AppUtilGuardAllocation(kSource, __LINE__,
                             [&] { opened = handler && OpenItem(item, kind, *handler, applicationPath); });
      if (!opened) unopened.push_back(std::move(item));
    }
  }
  return unopened;
}
