#include "tools/quarryctl/filterReport.h"

#include "quarry/config/iniFile.h"
#include "quarry/paths/expandPath.h"

#include "lib/misc/fileBytes.h"
#include "lib/string/str.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/readerMessages.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <set>
#include <string_view>
#include <utility>

namespace quarryctl {
namespace {

using quarry::DefinitionState;
using quarry::FilterDefinition;

/// All that the library takes of a file of filters comes nowhere near.
constexpr std::uint64_t kLargestFilterFile = 16u << 20;

constexpr std::array<const wchar_t*, 3> kKeys = {L"Root", L"Includes", L"Excludes"};

std::string Quoted(std::wstring_view text) { return '"' + Unicode_Utf8FromWide(text) + '"'; }

bool IsFolder(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void FindInPatterns(const std::wstring& list, const char* key, std::vector<FilterFinding>& findings) {
  for (const std::wstring& pattern : Str_Split(list, L';')) {
    const std::string start = std::string(key) + ": " + Quoted(pattern);
    if (pattern.find_first_of(L"\\/") != std::wstring::npos) {
      findings.push_back({start + " matches nothing, patterns are compared with the file name only"});
    }
    if (pattern.front() == L' ' || pattern.back() == L' ') {
      findings.push_back({start + " begins or ends with a blank, which belongs to the pattern"});
    }
  }
}

std::string WhyMissing(const FilterRoot& root) {
  if (root.written.find(L';') != std::wstring::npos) return ": a \";\" belongs to the path, one filter has one Root";
  if (root.expanded.find(L'%') != std::wstring::npos) return ": a variable in it is not set, or it gets too long";
  return "";
}

void FindInDefinition(FilterReport& report) {
  const FilterDefinition& definition = report.definition;
  for (const FilterRoot& root : report.roots) {
    if (!root.exists) report.findings.push_back({"there is no folder " + Quoted(root.expanded) + WhyMissing(root)});
  }
  if (report.IsUsed() && report.roots.empty()) report.findings.push_back({"has no Root: nothing is found"});
  FindInPatterns(definition.includes, "Includes", report.findings);
  FindInPatterns(definition.excludes, "Excludes", report.findings);
}

const char* WhyLeftOut(DefinitionState state) {
  switch (state) {
    case DefinitionState::NoRoot:
      return "left out: it has no Root";
    case DefinitionState::NotAdminOnly:
      return "left out: others than administrators can write to its key (docs/filterDefinitions.md)";
    case DefinitionState::Disabled:
      return "left out: Enabled is 0";
    case DefinitionState::Used:
      break;
  }
  return "";
}

FilterReport ReportOf(FilterDefinition definition, const char* from) {
  FilterReport report{.definition = std::move(definition), .from = from};
  for (const std::wstring& root : report.definition.roots) {
    const std::wstring expanded = quarry::ExpandPath(root);
    report.roots.push_back({root, expanded, IsFolder(expanded)});
  }
  return report;
}

/// What the reader has said of the definition's key.
void AddMessages(const std::vector<std::string>& messages, FilterReport& report) {
  const std::string key = '\\' + Unicode_Utf8FromWide(report.definition.place);
  for (const std::string& message : messages) {
    if (message.find(key) != std::string::npos) report.findings.push_back({message});
  }
}

/// What the file holds that the library does not take into the filter of a section.
void FindInSection(const quarry::IniFile& ini, FilterReport& report) {
  const std::wstring& section = report.definition.place;
  for (const std::wstring& key : ini.GetKeyNames(section)) {
    const bool isKnown = std::any_of(kKeys.begin(), kKeys.end(),
                                     [&](const wchar_t* known) { return Unicode_EqualIgnoreCase(key, known); });
    if (!isKnown && !key.starts_with(L';')) {
      report.findings.push_back({Quoted(key) + " is ignored, a filter has Root, Includes and Excludes"});
    }
    if (isKnown && ini.IsTooLong(section, key)) {
      report.findings.push_back({Unicode_Utf8FromWide(key) + " is too long and counts as absent", true});
    }
  }
}

void FindInBytes(const std::vector<std::uint8_t>& bytes, FilterFile& file) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const bool isUtf16 = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
  const bool isAscii = std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
  if (!isUtf16 && !isAscii && Unicode_Utf8FromWide(Unicode_WideFromUtf8(text)) == text) {
    file.findings.push_back({"seems to be UTF-8, which is not read as such: save it as UTF-16 (\"Unicode\")"});
  }
}

/// Why the file has no filters; empty when it has some.
std::string WhyWithoutFilters(const std::wstring& path, const quarry::IniFile& ini) {
  if (path.size() >= MAX_PATH) return "its path has more characters than the platform takes here";
  if (ini.HasTooManySections()) return "its section names are too long together: the library takes none of them";
  return ini.GetSectionNames().empty() ? "it has no sections" : "";
}

}  // namespace

std::vector<FilterReport> ReportConfiguredFilters() {
  const ReaderMessages reader;
  std::vector<FilterReport> reports;
  for (FilterDefinition& definition : quarry::ConfiguredDefinitions(quarry::LeftOutDetail::All)) {
    const bool isBuiltIn = definition.place.empty() && !definition.roots.empty();
    reports.push_back(ReportOf(std::move(definition), isBuiltIn ? "built-in" : "registry"));
    FilterReport& report = reports.back();
    // Whatever a built-in filter does not find is no mistake of the administrator's.
    if (isBuiltIn) continue;
    if (!report.IsUsed()) report.findings.push_back({WhyLeftOut(report.definition.state), true});
    FindInDefinition(report);
  }
  const std::vector<std::string> messages = ReaderMessages::Take();
  for (FilterReport& report : reports) {
    if (!report.definition.place.empty()) AddMessages(messages, report);
  }
  return reports;
}

bool FilterFile::HasFindings() const {
  const auto hasSome = [](const FilterReport& filter) { return !filter.findings.empty(); };
  return !findings.empty() || std::any_of(filters.begin(), filters.end(), hasSome);
}

std::optional<FilterFile> ReadFilterFile(const std::wstring& path, std::string& whyNot) {
  const UniqueFile opened = OpenDiskFile(path, kShareAll);
  const std::optional<std::uint64_t> size = opened ? SizeOfFile(opened.get()) : std::nullopt;
  if (!size) {
    whyNot = "it cannot be read, error " + std::to_string(GetLastError());
    return std::nullopt;
  }
  if (*size > kLargestFilterFile) {
    whyNot = "it has " + std::to_string(*size) + " bytes, which no file of filters has";
    return std::nullopt;
  }
  const quarry::IniFile ini(path);
  whyNot = WhyWithoutFilters(path, ini);
  if (!whyNot.empty()) return std::nullopt;

  FilterFile file;
  if (const auto bytes = ReadFileAt(opened.get(), 0, kLargestFilterFile)) FindInBytes(*bytes, file);
  std::set<std::wstring, Unicode_LessIgnoreCase> seen;
  for (FilterDefinition& definition : quarry::IniDefinitions(path)) {
    file.filters.push_back(ReportOf(std::move(definition), "file"));
    FilterReport& report = file.filters.back();
    if (!seen.insert(report.definition.name).second) {
      report.findings.push_back({"a section of this name stands above: that one is taken once more", true});
      continue;
    }
    FindInSection(ini, report);
    FindInDefinition(report);
  }
  return file;
}

Json JsonFrom(const FilterReport& filter) {
  const auto list = [](const std::wstring& patterns) {
    Json array = Json::array();
    for (const std::wstring& pattern : Str_Split(patterns, L';')) array.push_back(Unicode_Utf8FromWide(pattern));
    return array;
  };
  Json object{{"name", Unicode_Utf8FromWide(filter.definition.name)},
              {"from", filter.from},
              {"place", Unicode_Utf8FromWide(filter.definition.place)},
              {"used", filter.IsUsed()}};
  object["roots"] = Json::array();
  for (const FilterRoot& root : filter.roots) {
    object["roots"].push_back(Json{{"root", Unicode_Utf8FromWide(root.written)},
                                   {"expanded", Unicode_Utf8FromWide(root.expanded)},
                                   {"exists", root.exists}});
  }
  object["includes"] = list(filter.definition.includes);
  object["excludes"] = list(filter.definition.excludes);
  object["problems"] = Json::array();
  for (const FilterFinding& finding : filter.findings) object["problems"].push_back(finding.text);
  return object;
}

}  // namespace quarryctl
