#include "quarry/fileTypes/registeredExtensionsImpl.h"

#include "quarry/apps/shortcut.h"
#include "quarry/fileTypes/extensionImpl.h"
#include "quarry/paths/pathParts.h"

#include "lib/fileTypes/fileTypeDiscovery.h"
#include "lib/unicode/unicode.h"

#include <map>

namespace quarry {

namespace {

/// The program whose types are asked for.
std::wstring ProgramPath(const std::wstring& path) {
  if (SplitPath(path).extension != L"lnk") return path;
  const std::shared_ptr<Shortcut> shortcut = Shortcut::NewInstance(nullptr, path);
  return shortcut != nullptr ? shortcut->GetTargetPath() : path;
}

/// Descriptions by type name, ordered by the bytes of the names.
std::map<std::string, std::string> TypesOf(const std::string& program) {
  std::map<std::string, std::string> types;
  for (const ConstFileTypeInfoPtr& record : AppUtil_FindFileTypes(program)) {
    std::string& description = types[record->typeName];
    // Several registry sources can name the application for one type, and not all of them have a name for it.
    if (description.empty()) description = record->ApplicationFriendlyName(program);
  }
  return types;
}

std::vector<ExtensionPtr> EntriesOf(const std::wstring& path) {
  std::vector<ExtensionPtr> entries;
  const std::wstring program = ProgramPath(path);
  if (program.empty()) return entries;
  for (const auto& [name, description] : TypesOf(Unicode_Utf8FromWide(program))) {
    entries.push_back(std::make_shared<ExtensionImpl>(Unicode_WideFromUtf8(name), Unicode_WideFromUtf8(description)));
  }
  return entries;
}

}  // namespace

RegisteredExtensionsImpl::RegisteredExtensionsImpl(const wchar_t* path)
    : entries_(EntriesOf(path)), count_(entries_.size()) {}

}  // namespace quarry
