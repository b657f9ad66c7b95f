#include "lib/fileTypes/buildMemory.h"

#include "lib/fileTypes/buildBudget.h"
#include "lib/misc/win32uRegistry.h"

#include <algorithm>

namespace {

BuildMemory* g_current = nullptr;

/// Nothing for a name with other letters: whether two such names are one key is for the registry to say.
std::optional<std::string> LowerAscii(std::string name) {
  for (char& character : name) {
    if (static_cast<unsigned char>(character) >= 0x80) return std::nullopt;
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
  }
  return name;
}

/// The types that have a key of Explorer's. Any program of the user can fill it: it is read no longer than lists are.
std::optional<std::set<std::string>> ReadUserTypes() {
  std::set<std::string> types;
  bool complete = true;
  const LSTATUS status =
      WinReg_EnumerateSubkeys(HKEY_CURRENT_USER, kExplorerTypesKey, [&](const WinRegSubkey& type, bool& proceed) {
        complete = proceed = !BuildBudget::IsSpent();
        if (const std::optional<std::string> name = LowerAscii(type.name)) types.insert(*name);
        return ERROR_SUCCESS;
      });
  if (!complete || (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)) return std::nullopt;
  return types;
}

}  // namespace

BuildMemory::BuildMemory() : userTypes_(ReadUserTypes()) { g_current = this; }

BuildMemory::~BuildMemory() { g_current = nullptr; }

bool BuildMemory::MayHaveUserLists(const std::string& typeName) {
  if (g_current == nullptr || !g_current->userTypes_) return true;
  const std::optional<std::string> name = LowerAscii(typeName);
  return !name || g_current->userTypes_->contains(*name);
}

bool BuildMemory::IsWithoutCommand(const std::string& name) {
  return g_current != nullptr && g_current->withoutCommand_.contains(name);
}

void BuildMemory::RememberWithoutCommand(const std::string& name) {
  if (g_current != nullptr) g_current->withoutCommand_.insert(name);
}
