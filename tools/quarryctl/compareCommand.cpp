#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/jsonFile.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/scanComparison.h"
#include "tools/quarryctl/table.h"

#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct CompareOptions {
  std::wstring before;
  std::wstring after;
  bool json = false;
};

/// What stands in the file at `path`, or null with the reason on the error stream.
Json ReadScan(const std::wstring& path, const CommandContext& context) {
  JsonFile file = ReadJsonFile(path);
  if (file.error.empty() && !IsScan(file.json)) {
    file.error = Unicode_Utf8FromWide(path) + " holds no scan; \"quarryctl scan --json\" writes one";
  }
  if (file.error.empty()) return std::move(file.json);
  WriteComplaint(context.err, file.error);
  return nullptr;
}

std::string Describe(const FieldChange& change) {
  // Icons are named after their pixels, which tells a person nothing.
  if (change.after.is_array()) return change.field;
  const auto text = [](const Json& value) { return value.is_string() ? value.get<std::string>() : value.dump(); };
  return change.field + ": " + text(change.before) + " -> " + text(change.after);
}

void AddRows(const char* what, const std::vector<const Json*>& applications, std::vector<TableRow>& rows) {
  for (const Json* const application : applications) {
    rows.push_back({what, NameOf(*application), application->at("path").get<std::string>()});
  }
}

std::string FormatText(const ScanComparison& comparison, std::size_t width) {
  std::vector<TableRow> rows = {{"", "NAME", "PATH OR CHANGE"}};
  AddRows("came", comparison.came, rows);
  AddRows("went", comparison.went, rows);
  for (const ApplicationChange& change : comparison.changed) {
    for (const FieldChange& field : change.fields) {
      rows.push_back({"changed", NameOf(*change.application), Describe(field)});
    }
  }
  const std::string counts =
      std::to_string(comparison.came.size()) + " came, " + std::to_string(comparison.went.size()) + " went, " +
      std::to_string(comparison.changed.size()) + " changed, " + std::to_string(comparison.same) + " the same\n";
  return comparison.HasDifferences() ? FormatTable(rows, width) + counts : counts;
}

Json ArrayOf(const std::vector<const Json*>& applications) {
  Json array = Json::array();
  for (const Json* const application : applications) array.push_back(*application);
  return array;
}

Json JsonFrom(const ScanComparison& comparison) {
  Json changed = Json::array();
  for (const auto& [application, fields] : comparison.changed) {
    Json changes = Json::array();
    for (const auto& [field, before, after] : fields) {
      changes.push_back({{"field", field}, {"before", before}, {"after", after}});
    }
    changed.push_back({{"application", *application}, {"changes", changes}});
  }
  return {{"came", ArrayOf(comparison.came)},
          {"went", ArrayOf(comparison.went)},
          {"changed", changed},
          {"same", comparison.same}};
}

ExitStatus RunCompare(const CompareOptions& options, const CommandContext& context) {
  const Json before = ReadScan(options.before, context);
  const Json after = ReadScan(options.after, context);
  // A caller must be able to tell "they differ" from "there was nothing to compare".
  if (before.is_null() || after.is_null()) return kUsage;
  const ScanComparison comparison = CompareScans(before, after);
  context.out.Write(options.json ? FormatJson(JsonFrom(comparison)) : FormatText(comparison, context.out.Columns()));
  return comparison.HasDifferences() ? kNothingFound : kDone;
}

void BindCompare(CLI::App& command, CompareOptions& options) {
  BindFile(command, "OLD", options.before, "A scan, as \"scan --json\" writes it")->required();
  BindFile(command, "NEW", options.after, "A later one, or one of another host")->required();
  BindJson(command, options.json, "Write the differences as JSON");
}

}  // namespace

void AddCompareCommand(const CommandGroup& commands) {
  commands.Add("compare", "Tell what came, went and changed between two scans", BindCompare, RunCompare);
}

}  // namespace quarryctl
