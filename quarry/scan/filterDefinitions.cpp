#include "quarry/scan/filterDefinitions.h"

#include "quarry/config/iniFile.h"
#include "quarry/config/registry.h"
#include "quarry/config/settingTable.h"
#include "quarry/diagnostics/log.h"
#include "quarry/scan/scanFilterImpl.h"

#include "lib/string/str.h"

#include <algorithm>

namespace quarry {

namespace {

std::wstring ReadText(const Registry& registry, const std::wstring& subkey, const wchar_t* valueName,
                      const std::wstring& defaultText) {
  std::wstring text;
  return registry.ReadString(subkey, valueName, text) == ERROR_SUCCESS ? text : defaultText;
}

/// Reads what a subkey says besides its Root. Returns whether it is enabled.
bool ReadRest(const Registry& registry, FilterDefinition& definition) {
  const std::wstring& subkey = definition.place;
  std::uint32_t enabled = 1;
  registry.ReadDword(subkey, L"Enabled", enabled);
  definition.name = ReadText(registry, subkey, L"Name", subkey);
  definition.includes = ReadText(registry, subkey, L"Includes", L"");
  definition.excludes = ReadText(registry, subkey, L"Excludes", L"");
  return enabled != 0;
}

FilterDefinition ReadDefinition(const Registry& registry, const std::wstring& subkey, LeftOutDetail detail) {
  FilterDefinition definition{.place = subkey, .name = subkey};
  const std::wstring root = ReadText(registry, subkey, L"Root", L"");
  if (root.empty()) {
    Log(LogLevel::Warning, L"Filter defined with no root!\n");
    definition.state = DefinitionState::NoRoot;
  } else {
    definition.roots.push_back(root);
    if (!registry.IsKeyAdminOnly(subkey, true)) definition.state = DefinitionState::NotAdminOnly;
  }
  if (definition.state == DefinitionState::Used || detail == LeftOutDetail::All) {
    const bool enabled = ReadRest(registry, definition);
    if (!enabled && definition.state == DefinitionState::Used) definition.state = DefinitionState::Disabled;
  }
  return definition;
}

bool IsUsed(const FilterDefinition& definition) { return definition.state == DefinitionState::Used; }

bool IsRootless(const FilterDefinition& definition) { return definition.state == DefinitionState::NoRoot; }

}  // namespace

std::vector<FilterDefinition> RegistryDefinitions(LeftOutDetail detail) {
  const Registry registry(kSettingsRoot, true);
  std::vector<FilterDefinition> definitions;
  for (int number = 1; number <= kLastFilterNumber; ++number) {
    const std::wstring subkey = Str_FormatWide(L"Filter%d", number);
    if (!registry.IsKeyAdminOnly(subkey, false)) continue;
    definitions.push_back(ReadDefinition(registry, subkey, detail));
  }
  if (!definitions.empty() && std::all_of(definitions.begin(), definitions.end(), IsRootless)) {
    Log(LogLevel::Notable, L"Inserting empty filter to prevent revert to default scan settings\n");
    definitions.push_back({});
  }
  return definitions;
}

std::vector<FilterDefinition> IniDefinitions(const std::wstring& iniPath) {
  const IniFile ini(iniPath);
  std::vector<FilterDefinition> definitions;
  for (const std::wstring& section : ini.GetSectionNames()) {
    FilterDefinition& definition = definitions.emplace_back(FilterDefinition{.place = section, .name = section});
    const std::wstring root = ini.GetString(section, L"Root");
    if (root.empty()) {
      Log(LogLevel::Warning, L"Filter defined with no root!\n");
    } else {
      definition.roots.push_back(root);
    }
    definition.includes = ini.GetString(section, L"Includes");
    definition.excludes = ini.GetString(section, L"Excludes");
  }
  return definitions;
}

std::vector<FilterDefinition> ConfiguredDefinitions(LeftOutDetail detail) {
  std::vector<FilterDefinition> definitions = RegistryDefinitions(detail);
  if (std::none_of(definitions.begin(), definitions.end(), IsUsed)) {
    definitions.push_back(
        {.name = L"Standard", .roots = {L"%CommonStartMenu%", L"%DefaultStartMenu%"}, .includes = L"*.lnk"});
    definitions.push_back({.name = L"Internet Explorer",
                           .roots = {L"%ProgramFiles%\\Internet Explorer", L"%ProgramFiles(x86)%\\Internet Explorer"},
                           .includes = L"iexplore.exe"});
  }
  return definitions;
}

ScanFilterPtr MakeFilter(const FilterDefinition& definition) {
  FilterLists lists{.paths = definition.roots,
                    .excludes = Str_Split(definition.excludes, L';'),
                    .includes = Str_Split(definition.includes, L';')};
  return std::make_shared<ScanFilterImpl>(definition.name, std::move(lists));
}

ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& /*path*/) {
  return std::make_shared<ScanFilterImpl>(name, FilterLists{});
}

ScanFilterList LoadFiltersFromIniFile(const std::wstring& iniPath) {
  ScanFilterList filters;
  for (const FilterDefinition& definition : IniDefinitions(iniPath)) filters.push_back(MakeFilter(definition));
  return filters;
}

void GetConfiguredFilters(ScanFilterList& list) {
  for (const FilterDefinition& definition : ConfiguredDefinitions(LeftOutDetail::None)) {
    if (IsUsed(definition)) list.push_back(MakeFilter(definition));
  }
}

}  // namespace quarry
