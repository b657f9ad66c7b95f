#include "quarry/icons/groupIconName.h"

#include <new>

namespace quarry {

namespace {

struct Search {
  std::int32_t groupsToPass;
  std::wstring name;
};

// NOLINTNEXTLINE(readability-non-const-parameter): ENUMRESNAMEPROCW has it so
BOOL CALLBACK TakeName(HMODULE /*module*/, const wchar_t* /*type*/, wchar_t* name, LONG_PTR parameter) noexcept {
  auto& search = *reinterpret_cast<Search*>(parameter);
  if (search.groupsToPass-- >= 1) return TRUE;
  try {
    search.name = IS_INTRESOURCE(name) ? L'#' + std::to_wstring(LOWORD(reinterpret_cast<ULONG_PTR>(name))) : name;
  } catch (const std::bad_alloc&) {
    search.name.clear();
  }
  return FALSE;
}

// What the enumeration returns tells nothing: stopping it counts as its failure, with an error that not every system
// sets. A name that was taken is good.
std::wstring NameAt(HMODULE module, std::int32_t position) {
  Search search{position, {}};
  EnumResourceNamesW(module, RT_GROUP_ICON, TakeName, reinterpret_cast<LONG_PTR>(&search));
  return search.name;
}

}  // namespace

GroupIconName::GroupIconName(HMODULE module, std::int32_t index)
    : isNumber_(index < 0),
      number_(isNumber_ ? LOWORD(0u - static_cast<std::uint32_t>(index)) : WORD{0}),
      text_(isNumber_ ? std::wstring() : NameAt(module, index)) {}

}  // namespace quarry
