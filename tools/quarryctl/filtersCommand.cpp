#include "quarry/config/settingTable.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/filterFiles.h"
#include "tools/quarryctl/filterReport.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/table.h"
#include "tools/quarryctl/utf16Files.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quarryctl {
namespace {

using quarry::DefinitionState;
using quarry::FilterDefinition;

std::optional<FilterFile> ReadFile(const std::wstring& path, const CommandContext& context) {
  std::string whyNot;
  std::optional<FilterFile> file = ReadFilterFile(path, whyNot);
  if (!file) WriteComplaint(context.err, "no filters can be read from " + Unicode_Utf8FromWide(path) + ": " + whyNot);
  return file;
}

/// Where a definition stands, and its name where that is another.
std::string TitleOf(const FilterReport& filter) {
  const std::string name = Unicode_Utf8FromWide(filter.definition.name);
  const std::string place = Unicode_Utf8FromWide(filter.definition.place);
  if (place.empty()) return name.empty() ? "nothing, since no definition has a Root" : name + " (" + filter.from + ')';
  return place == name ? name : name + " (" + place + ')';
}

std::string FormatFilter(const FilterReport& filter, std::size_t width) {
  std::vector<TableRow> rows;
  for (const FilterRoot& root : filter.roots) {
    std::string path = Unicode_Utf8FromWide(root.written);
    if (root.expanded != root.written) path += " = " + Unicode_Utf8FromWide(root.expanded);
    rows.push_back({"", "root", path + (root.exists ? "" : " (missing)")});
  }
  const std::string includes = Unicode_Utf8FromWide(filter.definition.includes);
  rows.push_back({"", "includes", includes.empty() ? "(every name)" : includes});
  if (!filter.definition.excludes.empty()) {
    rows.push_back({"", "excludes", Unicode_Utf8FromWide(filter.definition.excludes)});
  }
  std::string text = TitleOf(filter) + '\n' + FormatTable(rows, width);
  for (const FilterFinding& finding : filter.findings) text += "  problem   " + finding.text + '\n';
  return text;
}

struct FiltersOptions {
  std::wstring iniPath;
  bool json = false;
};

ExitStatus RunFilters(const FiltersOptions& options, const CommandContext& context) {
  FilterFile file;
  if (options.iniPath.empty()) {
    file.filters = ReportConfiguredFilters();
  } else {
    std::optional<FilterFile> read = ReadFile(options.iniPath, context);
    if (!read) return kNothingFound;
    file = std::move(*read);
  }
  Json array = Json::array();
  std::string text;
  for (const FilterReport& filter : file.filters) {
    array.push_back(JsonFrom(filter));
    text += FormatFilter(filter, context.out.Columns());
  }
  for (const FilterFinding& finding : file.findings) text += "The file " + finding.text + '\n';
  context.out.Write(options.json ? FormatJson(array) : text);
  return file.HasFindings() ? kNothingFound : kDone;
}

void BindFilters(CLI::App& command, FiltersOptions& options) {
  BindFile(command, "--ini", options.iniPath, "Show the filters of FILE, not those of the registry");
  BindJson(command, options.json, "Write the filters as a JSON array");
}

struct FileOptions {
  std::wstring path;
};

/// What there is to say of a file, a line for each thing, with the file and the section.
std::string FormatFindings(const FilterFile& file, const std::wstring& path) {
  const std::string name = Unicode_Utf8FromWide(path);
  std::string text;
  for (const FilterFinding& finding : file.findings) text += name + ": " + finding.text + '\n';
  for (const FilterReport& filter : file.filters) {
    const std::string begin = name + ": [" + Unicode_Utf8FromWide(filter.definition.name) + "] ";
    for (const FilterFinding& finding : filter.findings) text += begin + finding.text + '\n';
  }
  return text;
}

ExitStatus RunCheck(const FileOptions& options, const CommandContext& context) {
  const std::optional<FilterFile> file = ReadFile(options.path, context);
  if (!file) return kNothingFound;
  if (file->HasFindings()) {
    context.out.Write(FormatFindings(*file, options.path));
    return kNothingFound;
  }
  context.out.Write(Unicode_Utf8FromWide(options.path) + ": " + FormatCount(file->filters.size(), "filter") +
                    ", nothing to report\n");
  return kDone;
}

void BindCheck(CLI::App& command, FileOptions& options) {
  BindFile(command, "FILE", options.path, "INI file with filters")->required()->type_name("");
}

bool SameContent(const FilterDefinition& left, const FilterDefinition& right) {
  return left.name == right.name && left.roots == right.roots && left.includes == right.includes &&
         left.excludes == right.excludes;
}

/// Whether the library reads back from the file what was written there; else says what an INI file cannot hold.
bool IsCarried(const std::vector<FilterDefinition>& written, const std::wstring& path, const CommandContext& context) {
  const std::vector<FilterDefinition> read = quarry::IniDefinitions(path);
  if (std::equal(written.begin(), written.end(), read.begin(), read.end(), SameContent)) return true;
  std::string places;
  for (std::size_t index = 0; index < written.size(); ++index) {
    if (index < read.size() && SameContent(written[index], read[index])) continue;
    places += ' ' + Unicode_Utf8FromWide(written[index].place);
  }
  WriteComplaint(context.err, "nothing was written: an INI file cannot carry a text of" +
                                  (places.empty() ? " what is not used" : places) +
                                  " (too long, a name that is there twice, a bracket in a name, a line break)");
  return false;
}

ExitStatus RunExport(const FileOptions& options, const CommandContext& context) {
  std::vector<FilterDefinition> definitions = quarry::RegistryDefinitions(quarry::LeftOutDetail::All);
  std::erase_if(definitions, [](const FilterDefinition& definition) { return definition.place.empty(); });
  if (definitions.empty()) return Refuse(context, "the registry defines no filters, the built-in ones count");
  std::vector<FilterDefinition> carried;
  for (const FilterDefinition& definition : definitions) {
    if (definition.state == DefinitionState::Used || definition.state == DefinitionState::NoRoot) {
      carried.push_back(definition);
    } else {
      WriteComplaint(context.err, Unicode_Utf8FromWide(definition.place) +
                                      " is not used by scans and stands in the file as a comment");
    }
  }
  const auto check = [&](const std::wstring& path) { return IsCarried(carried, path, context); };
  const std::string bytes = Utf16Bytes(FormatFilterIni(definitions));
  if (!WriteFileBytes(options.path, bytes, context.err, check)) return kNothingFound;
  context.out.Write(FormatCount(carried.size(), "filter") + '\n' + Unicode_Utf8FromWide(options.path) + '\n');
  return kDone;
}

void BindExport(CLI::App& command, FileOptions& options) {
  BindFile(command, "FILE", options.path, "INI file to be written")->required()->type_name("");
}

struct ImportOptions {
  std::wstring iniPath;
  std::wstring regPath;
  bool ordinary = false;
};

bool LosesTexts(const FilterFile& file) {
  const auto isLoss = [](const FilterFinding& finding) { return finding.isLoss; };
  return std::any_of(file.filters.begin(), file.filters.end(), [&](const FilterReport& filter) {
    return std::any_of(filter.findings.begin(), filter.findings.end(), isLoss);
  });
}

ExitStatus RunImport(const ImportOptions& options, const CommandContext& context) {
  const std::optional<FilterFile> file = ReadFile(options.iniPath, context);
  if (!file) return kNothingFound;
  context.err.Write(FormatFindings(*file, options.iniPath));
  if (LosesTexts(*file)) return Refuse(context, "nothing was written, since texts of the file would be lost");
  if (file->filters.size() > quarry::kLastFilterNumber) {
    return Refuse(context, "nothing was written: the file has " + FormatCount(file->filters.size(), "filter") +
                               ", the registry takes " + std::to_string(quarry::kLastFilterNumber));
  }
  std::vector<FilterDefinition> definitions;
  std::transform(file->filters.begin(), file->filters.end(), std::back_inserter(definitions),
                 [](const FilterReport& filter) { return filter.definition; });
  std::wstring keyPath = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\";
  if (!options.ordinary) keyPath += L"Policies\\";
  keyPath += quarry::kSettingsRoot;
  if (!WriteFileBytes(options.regPath, Utf16Bytes(FormatFilterReg(definitions, keyPath)), context.err)) {
    return kNothingFound;
  }
  context.out.Write(FormatCount(definitions.size(), "filter") + '\n' + Unicode_Utf8FromWide(options.regPath) + '\n');
  return kDone;
}

void BindImport(CLI::App& command, ImportOptions& options) {
  BindFile(command, "FILE", options.iniPath, "INI file with filters")->required()->type_name("");
  BindFile(command, "--reg", options.regPath, "Registry file to be written")->required();
  command.add_flag("--ordinary", options.ordinary, "Write them for the ordinary key, not for that of policies");
}

}  // namespace

void AddFiltersCommand(const CommandGroup& commands) {
  const CommandGroup filters =
      commands.Add("filters", "Show where a scan looks and what it leaves out", BindFilters, RunFilters);
  filters.Add("check", "Show what is wrong in an INI file before it is used", BindCheck, RunCheck);
  filters.Add("export", "Write the registry's filters as an INI file", BindExport, RunExport);
  filters.Add("import", "Make a registry file of an INI file, for a policy", BindImport, RunImport);
}

}  // namespace quarryctl
