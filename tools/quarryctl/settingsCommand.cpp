#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/settingReport.h"
#include "tools/quarryctl/table.h"

#include <algorithm>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct SettingsOptions {
  bool json = false;
};

Json JsonFrom(const SettingReport& report) {
  Json object{{"name", report.name}, {"value", report.value}, {"from", report.from}};
  object["text"] = report.text ? Json(*report.text) : Json();
  object["hidden"] = report.hidden ? Json(*report.hidden) : Json();
  object["problems"] = report.problems;
  return object;
}

std::string TextOf(const Json& value) {
  if (value.is_boolean()) return value.get<bool>() ? "on" : "off";
  if (!value.is_string()) return value.dump();
  return value.get<std::string>().empty() ? "(built-in folder)" : value.get<std::string>();
}

std::string FormatText(const std::vector<SettingReport>& reports, std::size_t width) {
  std::vector<TableRow> rows = {{"SETTING", "FROM", "HIDDEN", "VALUE"}};
  std::string problems;
  for (const SettingReport& report : reports) {
    rows.push_back({report.name, report.from, report.hidden ? '"' + *report.hidden + '"' : "", TextOf(report.value)});
    for (const std::string& problem : report.problems) problems += report.name + ": " + problem + '\n';
  }
  return FormatTable(rows, width) + (problems.empty() ? "" : '\n' + problems);
}

ExitStatus RunSettings(const SettingsOptions& options, const CommandContext& context) {
  const std::vector<SettingReport> reports = ReportSettings();
  if (options.json) {
    Json array = Json::array();
    for (const SettingReport& report : reports) array.push_back(JsonFrom(report));
    context.out.Write(FormatJson(array));
  } else {
    context.out.Write(FormatText(reports, context.out.Columns()));
  }
  const bool sound =
      std::all_of(reports.begin(), reports.end(), [](const auto& report) { return report.problems.empty(); });
  return sound ? kDone : kNothingFound;
}

void BindSettings(CLI::App& command, SettingsOptions& options) {
  BindJson(command, options.json, "Write the settings as a JSON array");
}

}  // namespace

void AddSettingsCommand(const CommandGroup& commands) {
  commands.Add("settings", "Show each setting, where it comes from, and what is wrong with it", BindSettings,
               RunSettings);
}

}  // namespace quarryctl
