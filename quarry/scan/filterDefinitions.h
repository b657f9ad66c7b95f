#pragma once

#include "quarry/scan/scanFilter.h"

#include <string>
#include <vector>

namespace quarry {

/// The subkeys of the settings key that can define a filter are Filter1 to Filter9.
inline constexpr int kLastFilterNumber = 9;

/// What becomes of a definition.
enum class DefinitionState {
  Used,
  NoRoot,
  NotAdminOnly,  ///< others than administrators can write to its key
  Disabled,
};

/// A filter as it is written down.
struct FilterDefinition {
  std::wstring place = {};  ///< the subkey or section; empty for one that the library makes itself
  std::wstring name = {};
  std::vector<std::wstring> roots = {};  ///< the folders to scan, unexpanded; one at most in the registry and in files
  std::wstring includes = {};            ///< patterns, separated by ";"
  std::wstring excludes = {};
  DefinitionState state = DefinitionState::Used;
};

/// What is read of a definition that is left out: nothing more than decided it, or all, for reports.
enum class LeftOutDetail { None, All };

/// The definitions of the registry in the order of their numbers, whatever their state. Those that others than
/// administrators can write to are not used. When all there is are definitions without Root, an empty one is appended,
/// so that a damaged definition does not publish the defaults instead.
std::vector<FilterDefinition> RegistryDefinitions(LeftOutDetail detail);

/// Those of an INI file, one for each of its sections in order; none for a file that cannot be read. All are used: one
/// without Root gives a filter without paths.
std::vector<FilterDefinition> IniDefinitions(const std::wstring& iniPath);

/// Those of an ordinary scan: the registry's, behind which the built-in ones stand when none of those is used.
std::vector<FilterDefinition> ConfiguredDefinitions(LeftOutDetail detail);

/// Builds a filter from a definition; its lists are cut at ";".
ScanFilterPtr MakeFilter(const FilterDefinition& definition);

/// Builds the filter of a scan that was asked for with a path. Hosts rely on what it has always done: the path is not
/// put into the filter, which so accepts every file and has nothing to scan.
ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& path);

/// The filters of an INI file.
ScanFilterList LoadFiltersFromIniFile(const std::wstring& iniPath);

/// Appends the filters of an ordinary scan.
void GetConfiguredFilters(ScanFilterList& list);

}  // namespace quarry
