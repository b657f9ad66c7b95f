#pragma once

#include "quarry/scan/filterDefinitions.h"

#include "tools/quarryctl/json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace quarryctl {

/// Something that an administrator cannot have meant. UTF-8.
struct FilterFinding {
  std::string text;
  bool isLoss = false;  ///< what is written there does not count
};

/// A folder to scan.
struct FilterRoot {
  std::wstring written;
  std::wstring expanded;
  bool exists = false;
};

/// A definition with what the library makes of it on this host.
struct FilterReport {
  quarry::FilterDefinition definition;
  const char* from;  ///< "registry", "file" or "built-in"
  std::vector<FilterRoot> roots = {};
  std::vector<FilterFinding> findings = {};

  bool IsUsed() const { return definition.state == quarry::DefinitionState::Used; }
};

/// The definitions of an ordinary scan, used and left out, read by the library's code.
std::vector<FilterReport> ReportConfiguredFilters();

/// An INI file as the library reads it.
struct FilterFile {
  std::vector<FilterReport> filters = {};
  std::vector<FilterFinding> findings = {};  ///< on the file as a whole

  bool HasFindings() const;
};

/// Nothing for a file that cannot be one with filters; `whyNot` then says why.
std::optional<FilterFile> ReadFilterFile(const std::wstring& path, std::string& whyNot);

Json JsonFrom(const FilterReport& filter);

}  // namespace quarryctl
