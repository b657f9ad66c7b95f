#pragma once

#include "quarry/scan/scanFilter.h"

#include <string>

namespace quarry {

/// Builds a filter from lists written as one string each, cut at ";".
ScanFilterPtr MakeFilter(const std::wstring& name, const std::wstring& pathsString, const std::wstring& excludesString,
                         const std::wstring& includesString);

/// Builds the filter of a scan that was asked for with a path. Hosts rely on what it has always done: the path is not
/// put into the filter, which so accepts every file and has nothing to scan.
ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& path);

/// Fills an empty list with the built-in filters; a list that holds any is left as it is.
void EnsureDefaultFilters(ScanFilterList& list);

/// The filters of an INI file, one for each of its sections in order; none for a file that cannot be read. A section
/// without Root gives a filter without paths.
ScanFilterList LoadFiltersFromIniFile(const std::wstring& iniPath);

/// Appends the filters defined by the subkeys Filter1 to Filter9 of the settings key. Definitions that others than
/// administrators can write to are skipped. When all there is are definitions without Root, an empty filter is
/// appended, so that a damaged definition does not publish the defaults instead.
void LoadFiltersFromRegistry(ScanFilterList& list);

/// The filters of an ordinary scan: the registry's, or the built-in ones when it defines none.
void GetConfiguredFilters(ScanFilterList& list);

}  // namespace quarry
