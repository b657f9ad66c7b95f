#include "quarry/scan/filterDefinitions.h"

#include "quarry/config/iniFile.h"
#include "quarry/config/registry.h"
#include "quarry/diagnostics/log.h"
#include "quarry/scan/scanFilterImpl.h"

#include "lib/string/str.h"

namespace quarry {

namespace {

constexpr int kLastFilterNumber = 9;

/// Root is one path, whatever it holds; the pattern lists are cut at ";".
ScanFilterPtr MakeDefinedFilter(const std::wstring& name, const std::wstring& root, const std::wstring& includes,
                                const std::wstring& excludes) {
  std::vector<std::wstring> paths;
  if (!root.empty()) paths.push_back(root);
  auto filter = std::make_shared<ScanFilterImpl>(name, std::move(paths));
  filter->SetIncludes(Str_Split(includes, L';'));
  filter->SetExcludes(Str_Split(excludes, L';'));
  return filter;
}

std::wstring ReadText(const Registry& registry, const std::wstring& subkey, const wchar_t* valueName,
                      const std::wstring& defaultText) {
  std::wstring text;
  return registry.ReadString(subkey, valueName, text) == ERROR_SUCCESS ? text : defaultText;
}

/// The filter that a subkey with a Root defines; empty when it is disabled.
ScanFilterPtr ReadDefinition(const Registry& registry, const std::wstring& subkey, const std::wstring& root) {
  std::uint32_t enabled = 1;
  registry.ReadDword(subkey, L"Enabled", enabled);
  const std::wstring name = ReadText(registry, subkey, L"Name", subkey);
  const std::wstring includes = ReadText(registry, subkey, L"Includes", L"");
  const std::wstring excludes = ReadText(registry, subkey, L"Excludes", L"");
  return enabled == 0 ? nullptr : MakeDefinedFilter(name, root, includes, excludes);
}

}  // namespace

ScanFilterList LoadFiltersFromIniFile(const std::wstring& iniPath) {
  const IniFile ini(iniPath);
  ScanFilterList filters;
  for (const std::wstring& section : ini.GetSectionNames()) {
    const std::wstring root = ini.GetString(section, L"Root");
    if (root.empty()) Log(LogLevel::Warning, L"Filter defined with no root!\n");
    filters.push_back(
        MakeDefinedFilter(section, root, ini.GetString(section, L"Includes"), ini.GetString(section, L"Excludes")));
  }
  return filters;
}

void LoadFiltersFromRegistry(ScanFilterList& list) {
  const Registry registry(kSettingsRoot, true);
  bool rootedSeen = false;
  bool rootlessSeen = false;
  for (int number = 1; number <= kLastFilterNumber; ++number) {
    const std::wstring subkey = Str_FormatWide(L"Filter%d", number);
    if (!registry.IsKeyAdminOnly(subkey, false)) continue;
    const std::wstring root = ReadText(registry, subkey, L"Root", L"");
    if (root.empty()) {
      Log(LogLevel::Warning, L"Filter defined with no root!\n");
      rootlessSeen = true;
      continue;
    }
    rootedSeen = true;
    if (!registry.IsKeyAdminOnly(subkey, true)) continue;
    if (ScanFilterPtr filter = ReadDefinition(registry, subkey, root)) list.push_back(std::move(filter));
  }
  if (list.empty() && rootlessSeen && !rootedSeen) {
    Log(LogLevel::Notable, L"Inserting empty filter to prevent revert to default scan settings\n");
    list.push_back(MakeDefinedFilter(L"", L"", L"", L""));
  }
}

void GetConfiguredFilters(ScanFilterList& list) {
  LoadFiltersFromRegistry(list);
  EnsureDefaultFilters(list);
}

}  // namespace quarry
