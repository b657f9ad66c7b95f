#include "tools/quarryctl/command.h"
#include "tools/quarryctl/extensionTable.h"
#include "tools/quarryctl/jsonFormat.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/recordFields.h"
#include "tools/quarryctl/tableFormat.h"
#include "tools/quarryctl/utf8.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct AppOptions {
  std::string path;
  bool json = false;
  bool icons = false;
  bool extensions = false;
};

std::string FormatFields(const QuarryApplicationInfo& application) {
  std::vector<TableRow> rows;
  rows.reserve(kTextFields.size() + 1);
  for (const TextField& field : kTextFields) rows.push_back({field.name, Utf8FromWide(application.*field.member)});
  rows.push_back({kIconCountName, std::to_string(application.iconCount)});
  return FormatTable(rows);
}

std::string FormatIcons(const IconRecords& icons) {
  std::vector<TableRow> rows = {{"ICON", "SIZE", "NAME", "FILE"}};
  for (const IconRecord& icon : icons) {
    const std::string number = std::to_string(rows.size() - 1);
    if (icon == nullptr) {
      rows.push_back({number, "", "", "(could not be stored)"});
      continue;
    }
    rows.push_back({number, std::to_string(icon->width) + 'x' + std::to_string(icon->height), Utf8FromWide(icon->name),
                    Utf8FromWide(icon->path)});
  }
  return FormatTable(rows);
}

/// `icons` and `extensions` are null when they were not asked for.
std::string FormatResult(const QuarryApplicationInfo& application, const IconRecords* icons,
                         const QuarryExtensionList* extensions, bool json) {
  std::optional<std::span<const QuarryExtensionEntry>> entries;
  if (extensions != nullptr) entries.emplace(extensions->entries, static_cast<std::size_t>(extensions->count));
  if (json) return FormatJson(application, icons, entries);
  std::string text = FormatFields(application);
  if (icons != nullptr && !icons->empty()) text += '\n' + FormatIcons(*icons);
  if (entries) text += '\n' + FormatExtensionTable(*entries);
  return text;
}

ExitStatus RunApp(const AppOptions& options, const CommandContext& context) {
  const std::wstring path = AbsoluteApplicationPath(WideFromUtf8(options.path));
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library =
      Library::Open(&LogView::Receive, context.err, options.extensions ? FileTypes::Read : FileTypes::Leave);
  if (!library) return kNothingFound;
  // The library describes any path with a known extension; only its verification looks whether the file is there.
  ApplicationRecord record(nullptr, nullptr);
  if (library->VerifyApplication(path)) record = library->GetApplication(path);
  if (!record) {
    context.err.Write("quarryctl: no application can be made from " + Utf8FromWide(path) +
                      " (quarryctl verify says why)\n");
    return kNothingFound;
  }
  std::optional<IconRecords> icons;
  ExtensionRecord extensions(nullptr, nullptr);
  if (options.icons) icons = library->GetIcons(*record);
  if (options.extensions) extensions = library->GetExtensions(record->path);
  context.out.Write(FormatResult(*record, icons ? &*icons : nullptr, extensions.get(), options.json));
  return kDone;
}

}  // namespace

void AddAppCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<AppOptions>();
  CLI::App* command = parser.add_subcommand("app", "Describe one application");
  command->add_option("PATH", options->path, "Shortcut, program or script")->required()->type_name("");
  command->add_flag("--json", options->json, "Write the fields as a JSON object");
  command->add_flag("--icons", options->icons, "Show each icon's size, name and file too");
  command->add_flag("--extensions", options->extensions, "Add the file types and protocols that it opens");
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunApp(*options, context); }; });
}

}  // namespace quarryctl
