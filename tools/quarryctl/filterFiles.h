#pragma once

#include "quarry/scan/filterDefinitions.h"

#include <string>
#include <vector>

namespace quarryctl {

/// Definitions as a text of an INI file: those that are used, and those without Root; the others as comments.
std::wstring FormatFilterIni(const std::vector<quarry::FilterDefinition>& definitions);

/// Definitions, nine at most, as a file of the registry editor's: all values of Filter1 and following below `keyPath`,
/// and the subkeys with the numbers behind them removed.
std::wstring FormatFilterReg(const std::vector<quarry::FilterDefinition>& definitions, const std::wstring& keyPath);

}  // namespace quarryctl
