#include "lib/fileTypes/fileTypeRecord.h"

#include "lib/appUtil/actionUri.h"
#include "lib/fileTypes/buildBudget.h"
#include "lib/fileTypes/buildMemory.h"
#include "lib/fileTypes/handlerPath.h"
#include "lib/fileTypes/indirectString.h"
#include "lib/fileTypes/lookupCaches.h"
#include "lib/fileTypes/registryText.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/tickCount.h"
#include "lib/misc/win32uRegistry.h"

#include <boost/make_shared.hpp>

#include <shlwapi.h>

#include <cwchar>
#include <cwctype>
#include <limits>
#include <new>
#include <string_view>

namespace {

constexpr char kLoad[] = "FileTypeInfoWin32::Load";
constexpr char kAddHandlersForSubValues[] = "FileTypeInfoWin32::AddHandlersForSubValues";
constexpr char kAddApplicationWithCommandLine[] = "FileTypeInfoWin32::AddApplicationWithCommandLine";
constexpr char kFriendlyName[] = "FileTypeInfoWin32::FriendlyName";

constexpr std::string_view kOpenCommand = R"(\shell\open\command)";

// A name that makes a longer path is no type that a program registers; Explorer itself knows no such keys.
constexpr std::size_t kLongestKeyPath = 254;

// Lists that a person or Explorer keeps hold a few names.
constexpr DWORD kLongestListBytes = 1024;

// Any user's program can fill a type's lists, and each name in them costs registry reads: a list is read no longer.
constexpr std::uint32_t kLongestListMilliseconds = 10000;

std::optional<std::string> KeyPath(std::string_view parent, std::string_view name, std::string_view child) {
  if (parent.size() + name.size() + child.size() > kLongestKeyPath) return std::nullopt;
  return std::string(parent).append(name).append(child);
}

std::optional<std::string> ExplorerKeyPath(const std::string& typeName, std::string_view list) {
  return KeyPath(kExplorerTypesKey, "\\" + typeName, list);
}

DWORD CountSubkeys(HKEY key) {
  DWORD count = 0;
  const LSTATUS status = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr, nullptr,
                                          nullptr, nullptr, nullptr);
  return status == ERROR_SUCCESS ? count : std::numeric_limits<DWORD>::max();
}

/// Tells when a list has taken so long that the rest of it is left out.
class ListBudget {
 public:
  ListBudget(const char* function, std::string path) : function_(function), path_(std::move(path)) {}

  bool IsSpent() const {
    const std::uint32_t elapsed = TickCount_Now32() - started_;
    if (elapsed < kLongestListMilliseconds && !BuildBudget::IsSpent()) return false;
    LogEntry(function_, "Leaving out the rest of '%s' after %u ms.\n", path_.c_str(), elapsed);
    return true;
  }

 private:
  const char* function_;
  std::string path_;
  std::uint32_t started_ = TickCount_Now32();
};

/// The name that a prog ID gives to its types, unresolved and possibly empty.
std::string FriendlyTypeName(const std::string& progId) {
  auto& cache = AppUtilFileTypeCaches().friendlyTypeNameCache;
  if (const auto known = cache.find(progId); known != cache.end()) return known->second;
  std::string name;
  UniqueRegistryKey key;
  if (WinReg_OpenKey(HKEY_CLASSES_ROOT, progId, KEY_READ, key) == ERROR_SUCCESS) {
    std::optional<std::wstring> text = AppUtilReadRegistryText(key.get(), L"FriendlyTypeName");
    if (!text) text = AppUtilReadRegistryText(key.get(), L"");
    if (text) name = Unicode_Utf8FromWide(*text);
  }
  return cache.emplace(progId, std::move(name)).first->second;
}

ASSOCF AssociationFlags(const std::string& name) {
  const ASSOCF flags = ASSOCF_INIT_IGNOREUNKNOWN | ASSOCF_REMAPRUNDLL | ASSOCF_NOTRUNCATE;
  return name.find(".exe") == std::string::npos ? flags : flags | ASSOCF_INIT_BYEXENAME;
}

/// The command line with which the shell opens, or else edits, files of a prog ID or with an application.
/// Source: Microsoft Learn, AssocQueryStringW: E_POINTER answers for a text that does not fit, with its length.
std::optional<std::wstring> ShellCommandOf(const std::string& name) {
  constexpr DWORD kUsualLength = 512;
  const std::wstring association = Unicode_WideFromUtf8(name);
  const ASSOCF flags = AssociationFlags(name);
  for (const wchar_t* const verb : {L"open", L"edit"}) {
    std::wstring command(kUsualLength, L'\0');
    DWORD length = kUsualLength;
    HRESULT result = AssocQueryStringW(flags, ASSOCSTR_COMMAND, association.c_str(), verb, command.data(), &length);
    if (result == E_POINTER) {
      command.assign(std::size_t{length} + 1, L'\0');
      ++length;
      result = AssocQueryStringW(flags, ASSOCSTR_COMMAND, association.c_str(), verb, command.data(), &length);
      if (FAILED(result)) return std::nullopt;
    }
    if (FAILED(result)) continue;
    command.resize(wcsnlen(command.c_str(), command.size()));  // its terminator was counted
    return command;
  }
  return std::nullopt;
}

std::wstring WithoutLeadingSpace(const std::wstring& text) {
  std::size_t begin = 0;
  while (begin < text.size() && std::iswspace(text[begin]) != 0) ++begin;
  return text.substr(begin);
}

/// The handler that a command line leads to, as the registry has it now.
std::optional<FileTypeHandler> HandlerOf(const std::wstring& commandLine, const char* function) {
  const std::optional<std::string> path = AppUtilHandlerPathOf(commandLine, function);
  if (!path) return std::nullopt;
  const std::optional<std::string> uri = AppUtil_ActionURIForCommandLine(commandLine);
  if (!uri) return std::nullopt;
  return FileTypeHandler{*path, *uri};
}

void LogShellNameFailure(const char* function, const std::string& typeName, HRESULT result) {
  LogEntry(function, "Failed to get friendly name for file extension \"%s\".\n", typeName.c_str());
  LogEntry(function, "AssocQueryString error 0x%lx.\n", result);
}

/// The shell's name for a type; nothing, with a message, when it has none.
std::optional<std::string> ShellNameOf(const std::string& typeName) {
  const std::wstring wideName = Unicode_WideFromUtf8(typeName);
  if (wideName.empty() && !typeName.empty()) {  // longer than ICU can count
    LogEntry(kFriendlyName, "Failed to convert extension to UTF16.\n");
    return std::nullopt;
  }
  DWORD length = 0;
  HRESULT result = AssocQueryStringW(0, ASSOCSTR_FRIENDLYDOCNAME, wideName.c_str(), nullptr, nullptr, &length);
  if (FAILED(result)) {
    LogShellNameFailure(kFriendlyName, typeName, result);
    return std::nullopt;
  }
  if (length == 0) {
    LogEntry(kFriendlyName, "File extension \"%s\" has no friendly name.\n", typeName.c_str());
    return std::nullopt;
  }
  try {
    std::wstring name(length, L'\0');
    result = AssocQueryStringW(0, ASSOCSTR_FRIENDLYDOCNAME, wideName.c_str(), nullptr, name.data(), &length);
    if (FAILED(result)) {
      LogShellNameFailure(kFriendlyName, typeName, result);
      return std::nullopt;
    }
    std::string utf8Name = Unicode_Utf8FromWide(name.c_str());
    if (utf8Name.empty() && name.front() != L'\0') {  // longer than ICU can count
      LogEntry(kFriendlyName, "Failed to convert name string to UTF8.\n");
      return std::nullopt;
    }
    return utf8Name;
  } catch (const std::bad_alloc&) {
    LogEntry(kFriendlyName, "Failed to allocate %I64u bytes.\n", std::uint64_t{length} * 2);
    return std::nullopt;
  }
}

}  // namespace

LSTATUS FileTypeInfoWin32::Load(std::uint32_t flags) {
  UniqueRegistryKey key;
  const LSTATUS status = WinReg_OpenKey(HKEY_CLASSES_ROOT, typeName, KEY_READ, key);
  if (status == ERROR_SUCCESS) LoadFrom(key.get(), flags);
  return status;
}

void FileTypeInfoWin32::LoadFrom(HKEY typeKey, std::uint32_t flags) {
  // A type without a default value is nobody's, whatever its other keys list.
  const RegistryText progId = AppUtilQueryRegistryText(typeKey, L"");
  if (!progId.exists) return;
  const std::string name = Unicode_Utf8FromWide(progId.text.value_or(L""));
  if (progId.text) AddHandlerForName(name);
  DWORD subkeysLeft = CountSubkeys(typeKey);
  if (subkeysLeft > 0 && AddOpenCommand(typeName)) --subkeysLeft;
  if ((flags & kFileTypesPerceivedType) != 0) AddHandlersOfPerceivedType(typeKey);
  if (!name.empty()) AddHandlerForName(name);  // the default value stands for two sources

  const std::optional<std::string> list = KeyPath("", typeName, "\\OpenWithList");
  if (list && subkeysLeft > 0 && AddHandlersForSubkeys(*list)) --subkeysLeft;
  const std::optional<std::string> progIds = KeyPath("", typeName, "\\OpenWithProgIds");
  if (progIds && subkeysLeft > 0) AddHandlersForSubValues(HKEY_CLASSES_ROOT, *progIds);
  if (!BuildMemory::MayHaveUserLists(typeName)) return;
  if (const auto path = ExplorerKeyPath(typeName, "\\OpenWithProgIds")) {
    AddHandlersForSubValues(HKEY_CURRENT_USER, *path);
  }
  AddMostRecentlyUsed();
}

bool FileTypeInfoWin32::AddOpenCommand(const std::string& className) {
  const std::optional<std::string> path = KeyPath("", className, kOpenCommand);
  UniqueRegistryKey key;
  if (!path || WinReg_OpenKey(HKEY_CLASSES_ROOT, *path, KEY_READ, key) != ERROR_SUCCESS) return false;
  const std::optional<std::wstring> command = AppUtilReadRegistryText(key.get(), L"");
  if (command) AddApplicationWithCommandLine(*command);
  return true;
}

void FileTypeInfoWin32::AddHandlersOfPerceivedType(HKEY typeKey) {
  const std::optional<std::wstring> type = AppUtilReadRegistryText(typeKey, L"PerceivedType", kLongestListBytes);
  if (!type) return;
  const auto path = KeyPath("SystemFileAssociations\\", Unicode_Utf8FromWide(*type), "\\OpenWithList");
  if (path) AddHandlersForSubkeys(*path);
}

/// False when there is no such key.
bool FileTypeInfoWin32::AddHandlersForSubkeys(const std::string& path) {
  const ListBudget budget(kLoad, path);
  const LSTATUS status =
      WinReg_EnumerateSubkeys(HKEY_CLASSES_ROOT, path, [&](const WinRegSubkey& subkey, bool& proceed) {
        proceed = !budget.IsSpent();
        if (proceed) AddHandlerForName(subkey.name);
        return ERROR_SUCCESS;
      });
  return status == ERROR_SUCCESS;
}

void FileTypeInfoWin32::AddHandlersForSubValues(HKEY rootKey, const std::string& path) {
  const ListBudget budget(kAddHandlersForSubValues, path);
  WinReg_EnumerateValues(rootKey, path, 0, [&](const WinRegValue& value, bool& proceed) {
    proceed = !budget.IsSpent();
    if (!proceed) return ERROR_SUCCESS;
    if (value.type == REG_NONE || (value.type == REG_SZ && !value.name.empty())) {
      AddHandlerForName(value.name);
    } else {
      LogEntry(kAddHandlersForSubValues, "Ignoring type '%s' handler '%s' because its type isn't correct (%u).\n",
               typeName.c_str(), value.name.c_str(), value.type);
    }
    return ERROR_SUCCESS;
  });
}

/// Explorer's list of the programs that the user opened the type with: values named by one letter each, and their
/// order.
void FileTypeInfoWin32::AddMostRecentlyUsed() {
  const std::optional<std::string> path = ExplorerKeyPath(typeName, "\\OpenWithList");
  UniqueRegistryKey key;
  if (!path || WinReg_OpenKey(HKEY_CURRENT_USER, *path, KEY_READ, key) != ERROR_SUCCESS) return;
  const std::optional<std::wstring> order = AppUtilReadRegistryText(key.get(), L"MRUList", kLongestListBytes);
  if (!order) return;
  const ListBudget budget(kLoad, *path);
  for (const wchar_t letter : *order) {
    if (budget.IsSpent()) return;
    const std::optional<std::wstring> name = AppUtilReadRegistryText(key.get(), std::wstring(1, letter));
    if (name) AddHandlerForName(Unicode_Utf8FromWide(*name));
  }
}

void FileTypeInfoWin32::AddHandlerForName(const std::string& name) {
  const std::string friendlyName = FriendlyTypeName(name);
  auto& cache = AppUtilFileTypeCaches().progIdCache;
  auto known = cache.find(name);
  if (known != cache.end()) {
    AddHandler(known->second);
  } else {
    if (BuildMemory::IsWithoutCommand(name)) return;
    const std::optional<std::wstring> command = ShellCommandOf(name);
    if (!command) return BuildMemory::RememberWithoutCommand(name);
    const std::optional<FileTypeHandler> handler = AddApplicationWithCommandLine(*command);
    if (!handler) return;
    known = cache.emplace(name, *handler).first;
  }
  if (!friendlyName.empty()) handlerNames.insert_or_assign(known->second.path, friendlyName);
}

std::optional<FileTypeHandler> FileTypeInfoWin32::AddApplicationWithCommandLine(const std::wstring& commandLine) {
  auto& cache = AppUtilFileTypeCaches().commandLineCache;
  std::wstring line = WithoutLeadingSpace(commandLine);
  if (const auto known = cache.find(line); known != cache.end()) {
    AddHandler(known->second);
    return known->second;
  }
  // A program that opens itself is started as a document: through the shell.
  if (line.starts_with(L"\"%1\"")) line = L"%SystemRoot%\\explorer.exe \"%1\"";
  std::optional<FileTypeHandler> handler = HandlerOf(line, kAddApplicationWithCommandLine);
  if (!handler) {
    LogEntry(kAddApplicationWithCommandLine, "Failed to add application '%s' as handler for type name '%s'.\n",
             Unicode_Utf8FromWide(line).c_str(), typeName.c_str());
    return std::nullopt;
  }
  AddHandler(*handler);
  cache.emplace(std::move(line), *handler);
  return handler;
}

void FileTypeInfoWin32::AddHandler(const FileTypeHandler& handler) {
  handlerPaths.push_back(handler.path);
  actionUris.push_back(handler.actionUri);
}

std::string FileTypeInfoWin32::ApplicationFriendlyName(const std::string& handlerPath) const {
  const auto entry = handlerNames.find(handlerPath);
  if (entry == handlerNames.end() || entry->second.empty()) return {};
  FileTypeCaches& caches = AppUtilFileTypeCaches();
  auto& cache = caches.indirectNameCache;
  if (const auto known = cache.find(entry->second); known != cache.end()) return known->second;
  // The reference as it stands tells more than nothing when the module is gone. It is not asked for again until the
  // next build: many types can have the name, and a module on a server that is down costs a long wait.
  if (caches.unresolvedNames.contains(entry->second)) return entry->second;
  std::wstring resolved;
  if (FAILED(VlkSHLoadIndirectString(Unicode_WideFromUtf8(entry->second), resolved))) {
    return *caches.unresolvedNames.insert(entry->second).first;
  }
  return cache.emplace(entry->second, Unicode_Utf8FromWide(resolved)).first->second;
}

std::string FileTypeInfoWin32::FriendlyName() const {
  auto& cache = AppUtilFileTypeCaches().friendlyNameCache;
  if (const auto known = cache.find(typeName); known != cache.end()) return known->second;
  const std::optional<std::string> name = ShellNameOf(typeName);
  if (!name) return {};
  return cache.emplace(typeName, *name).first->second;
}

FileTypeInfoPtr FileTypeInfoWin32::ForApplication(const std::string& handlerPath) const {
  const auto record = boost::make_shared<FileTypeInfoWin32>(typeName, isProtocol);
  for (std::size_t index = 0; index < handlerPaths.size(); ++index) {
    if (handlerPaths[index] == handlerPath) record->AddHandler({handlerPaths[index], actionUris[index]});
  }
  if (const auto entry = handlerNames.find(handlerPath); entry != handlerNames.end()) {
    record->handlerNames.insert(*entry);
  }
  return record;
}
