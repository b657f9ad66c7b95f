#include "tools/quarryctl/filterFiles.h"

#include "tools/quarryctl/utf16Files.h"

#include <string_view>

namespace quarryctl {
namespace {

using quarry::DefinitionState;
using quarry::FilterDefinition;

/// Microsoft Learn, GetPrivateProfileStringW: one pair of quotation marks around a value is taken off. Blanks at its
/// ends get lost without them.
std::wstring IniValue(const std::wstring& text) {
  constexpr std::wstring_view kLost = L" \t\"'";
  const bool isAtRisk = !text.empty() && (kLost.find(text.front()) != std::wstring_view::npos ||
                                          kLost.find(text.back()) != std::wstring_view::npos);
  return isAtRisk ? L'"' + text + L'"' : text;
}

std::wstring FormatSection(const FilterDefinition& definition, const std::wstring& begin) {
  std::wstring text = begin + L'[' + definition.name + L"]\r\n";
  const auto add = [&](const wchar_t* key, const std::wstring& value) {
    if (!value.empty()) text.append(begin).append(key).append(IniValue(value)).append(L"\r\n");
  };
  for (const std::wstring& root : definition.roots) add(L"Root=", root);
  add(L"Includes=", definition.includes);
  add(L"Excludes=", definition.excludes);
  return text;
}

}  // namespace

std::wstring FormatFilterIni(const std::vector<FilterDefinition>& definitions) {
  std::wstring text = L"; Scan filters, as this host's registry had them\r\n";
  for (const FilterDefinition& definition : definitions) {
    text += L"\r\n";
    if (definition.state == DefinitionState::NotAdminOnly || definition.state == DefinitionState::Disabled) {
      const bool isDisabled = definition.state == DefinitionState::Disabled;
      text += L"; " + definition.place + (isDisabled ? L", disabled" : L", others can write to its key") + L"\r\n";
      text += FormatSection(definition, L"; ");
    } else {
      text += FormatSection(definition, L"");
    }
  }
  return text;
}

std::wstring FormatFilterReg(const std::vector<FilterDefinition>& definitions, const std::wstring& keyPath) {
  const auto key = [&](std::size_t number) { return keyPath + L"\\Filter" + std::to_wstring(number); };
  std::wstring text = L"Windows Registry Editor Version 5.00\r\n";
  std::size_t number = 0;
  for (const FilterDefinition& definition : definitions) {
    // All values, so that none of the other key's shows through.
    text += L"\r\n[" + key(++number) + L"]\r\n\"Enabled\"=dword:00000001\r\n";
    text += L"\"Name\"=" + RegistryText(definition.name) + L"\r\n";
    text += L"\"Root\"=" + RegistryText(definition.roots.empty() ? L"" : definition.roots.front()) + L"\r\n";
    text += L"\"Includes\"=" + RegistryText(definition.includes) + L"\r\n";
    text += L"\"Excludes\"=" + RegistryText(definition.excludes) + L"\r\n";
  }
  while (++number <= quarry::kLastFilterNumber) text += L"\r\n[-" + key(number) + L"]\r\n";
  return text;
}

}  // namespace quarryctl
