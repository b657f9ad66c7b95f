#include "lib/appUtil/openItems.h"

#include "lib/appUtil/handlerEnumeration.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"

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

constexpr char kFunction[] = "AppUtil_OpenItems";

// What the fault of an empty group is reported under.
constexpr char kFaultFile[] = "lib/appUtil/appUtilFileTypesWin32";
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

/// The handler's executable, with environment variables expanded; nothing, with a message, when it cannot be told.
std::optional<std::wstring> HandlerPath(IAssocHandler& handler, const std::wstring& key, OpenItemKind kind,
                                        std::wstring& name) {
  LPWSTR text = nullptr;
  HRESULT result = handler.GetName(&text);
  const UniqueCoTaskMem<wchar_t> owner(text);
  if (FAILED(result) || text == nullptr) {
    LogEntry("%s: Failed to retrieve the name of a handler for %s '%S' with error 0x%08x.\n", kFunction, KindWord(kind),
             key.c_str(), static_cast<unsigned>(result));
    return std::nullopt;
  }
  name = text;
  wchar_t expanded[MAX_PATH];
  const DWORD length = ExpandEnvironmentStringsW(text, expanded, MAX_PATH);
  if (length == 0 || length > MAX_PATH) {
    result = HRESULT_FROM_WIN32(length == 0 ? GetLastError() : ERROR_INSUFFICIENT_BUFFER);
    LogEntry("%s: Failed to expand handler path '%S' of %s with error 0x%08x.\n", kFunction, text, KindWord(kind),
             static_cast<unsigned>(result));
    return std::nullopt;
  }
  return expanded;
}

/// Walks the handlers up to the first that is the application; null when none is.
ComPtr<IAssocHandler> FindHandler(IEnumAssocHandlers& handlers, const std::wstring& key, OpenItemKind kind,
                                  const std::wstring& applicationPath, std::wstring& name) {
  for (;;) {
    ComPtr<IAssocHandler> handler;
    ULONG fetched = 0;
    if (handlers.Next(1, &handler, &fetched) != S_OK || fetched != 1 || handler == nullptr) return nullptr;
    const std::optional<std::wstring> path = HandlerPath(*handler.Get(), key, kind, name);
    if (path && _wcsicmp(path->c_str(), applicationPath.c_str()) == 0) return handler;
  }
}

std::wstring ProgIdOf(IAssocHandler& handler) {
  ComPtr<IObjectWithProgID> withProgId;
  LPWSTR text = nullptr;
  if (FAILED(handler.QueryInterface(IID_PPV_ARGS(&withProgId))) || FAILED(withProgId->GetProgID(&text))) return {};
  const UniqueCoTaskMem<wchar_t> owner(text);
  return text != nullptr ? text : L"";
}

/// The group's handler that is the application and has a prog ID; nothing, with a message, when there is none.
std::optional<Handler> ChooseHandler(const std::wstring& key, const ItemList& items, OpenItemKind kind,
                                     const std::wstring& applicationPath) {
  const HandlerEnumeration& enumeration = AppUtil_GetHandlerEnumeration();
  const auto enumerate = kind == OpenItemKind::Url ? enumeration.forProtocol : enumeration.forExtension;
  ComPtr<IEnumAssocHandlers> handlers;
  const HRESULT result = enumerate(key.c_str(), &handlers);
  if (FAILED(result) || handlers == nullptr) {
    LogEntry("%s: Failed to query handlers for %s '%S' with error 0x%08x.\n", kFunction, KindWord(kind), key.c_str(),
             static_cast<unsigned>(result));
    return std::nullopt;
  }
  Handler chosen;
  const ComPtr<IAssocHandler> handler = FindHandler(*handlers.Get(), key, kind, applicationPath, chosen.name);
  if (handler == nullptr) {
    LogEntry(
        "%s: Failed to locate a handler for %s '%S' using application '%S'. This is unexpected and means that we may "
        "not open the %I64u file(s) with that extension properly.\n",
        kFunction, KindWord(kind), key.c_str(), applicationPath.c_str(), static_cast<std::uint64_t>(items.size()));
    return std::nullopt;
  }
  chosen.progId = ProgIdOf(*handler.Get());
  if (chosen.progId.empty()) return std::nullopt;
  LogEntry("%s: Handler '%S' has prog ID '%S'.\n", kFunction, chosen.name.c_str(), chosen.progId.c_str());
  return chosen;
}

/// Its prog IDs open an item in a window of their own instead of in the application that is running.
bool NeedsCommandLine(const std::wstring& progId) {
  constexpr std::wstring_view kProgram = L"PowerPoint";
  return progId.size() >= kProgram.size() && progId.find(kProgram) != std::wstring::npos;
}

UniqueRegistryKey OpenClassKey(const std::wstring& progId) {
  UniqueRegistryKey key;
  if (RegOpenKeyExW(HKEY_CLASSES_ROOT, progId.c_str(), 0, KEY_READ, key.put()) != ERROR_SUCCESS) {
    LogEntry("%s: Failed to open HKEY_CLASSES_ROOT\\%S key. Falling back to opening URI using class name.\n", kFunction,
             progId.c_str());
    return {};
  }
  return key;
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
    LogEntry("%s: Using command-line '%S' instead of prog ID.\n", kFunction, commandLine.c_str());
  } else {
    request.fMask |= SEE_MASK_CLASSNAME;
    request.lpClass = handler.progId.c_str();
  }

  const bool tooLong = wcsnlen(request.lpFile, kLongestItem + 1) > kLongestItem;
  if (tooLong) SetLastError(ERROR_FILENAME_EXCED_RANGE);
  if (tooLong || ShellExecuteExW(&request) == FALSE) {
    LogEntry("%s: Failed to invoke handler '%S' with prog ID '%S' for file or url '%S' with error %u.\n", kFunction,
             handler.name.c_str(), handler.progId.c_str(), item.c_str(), static_cast<unsigned>(GetLastError()));
    return false;
  }
  LogEntry("%s: Successfully invoked handler '%S' directly using prog ID '%S' for file or url '%S'.\n", kFunction,
           handler.name.c_str(), handler.progId.c_str(), item.c_str());
  return true;
}

}  // namespace

std::vector<std::wstring> AppUtil_OpenItems(const std::vector<std::wstring>& items, OpenItemKind kind,
                                            const std::wstring& applicationPath) {
  ItemList unopened;
  for (const auto& [key, group] : GroupByKey(items, kind, unopened)) {
    if (key.empty()) {
      // A URL that begins with its colon. The groups behind it are given up without being reported, as ever.
      LogEntry("VERIFY %s:%d\n", kFaultFile, kFaultLine);
      return unopened;
    }
    const std::optional<Handler> handler = ChooseHandler(key, group, kind, applicationPath);
    for (const std::wstring& item : group) {
      if (!handler || !OpenItem(item, kind, *handler, applicationPath)) unopened.push_back(item);
    }
  }
  return unopened;
}
