#include "quarry/scan/filterDefinitions.h"

#include "quarry/config/iniFile.h"
#include "quarry/config/registry.h"
#include "quarry/diagnostics/log.h"
#include "quarry/scan/scanFilterImpl.h"

#include "lib/string/str.h"

namespace quarry {

namespace {

constexpr int kLastFilterNumber = 9;

std::vector<std::wstring> CutList(const std::wstring& text) { return Str_Split(text, L';'); }

/// The lists of a definition, whose values `read` returns by name. Root is one path, whatever it holds.
template <typename Read>
FilterLists ReadLists(const std::wstring& root, Read read) {
  FilterLists lists;
  if (!root.empty()) lists.paths.push_back(root);
  lists.includes = CutList(read(L"Includes"));
  lists.excludes = CutList(read(L"Excludes"));
  return lists;
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
  FilterLists lists =
      ReadLists(root, [&](const wchar_t* valueName) { return ReadText(registry, subkey, valueName, L""); });
  return enabled == 0 ? nullptr : std::make_shared<ScanFilterImpl>(name, std::move(lists));
}

}  // namespace

ScanFilterPtr MakeFilter(const std::wstring& name, const std::wstring& pathsString, const std::wstring& excludesString,
                         const std::wstring& includesString) {
  FilterLists lists;
  lists.paths = CutList(pathsString);
  lists.excludes = CutList(excludesString);
  lists.includes = CutList(includesString);
  return std::make_shared<ScanFilterImpl>(name, std::move(lists));
}

ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& /*path*/) {
  return std::make_shared<ScanFilterImpl>(name, FilterLists{});
}

void EnsureDefaultFilters(ScanFilterList& list) {
  if (!list.empty()) return;
  list.push_back(MakeFilter(L"Standard", L"%CommonStartMenu%;%DefaultStartMenu%", L"", L"*.lnk"));
  list.push_back(MakeFilter(L"Internet Explorer",
                            L"%ProgramFiles%\\Internet Explorer;%ProgramFiles(x86)%\\Internet Explorer", L"",
                            L"iexplore.exe"));
}

ScanFilterList LoadFiltersFromIniFile(const std::wstring& iniPath) {
  const IniFile ini(iniPath);
  ScanFilterList filters;
  for (const std::wstring& section : ini.GetSectionNames()) {
    const std::wstring root = ini.GetString(section, L"Root");
    if (root.empty()) Log(LogLevel::Warning, L"Filter defined with no root!\n");
    FilterLists lists = ReadLists(root, [&](const wchar_t* key) { return ini.GetString(section, key); });
    filters.push_back(std::make_shared<ScanFilterImpl>(section, std::move(lists)));
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
    list.push_back(std::make_shared<ScanFilterImpl>(L"", FilterLists{}));
  }
}

void GetConfiguredFilters(ScanFilterList& list) {
  LoadFiltersFromRegistry(list);
  EnsureDefaultFilters(list);
}

}  // namespace quarry
