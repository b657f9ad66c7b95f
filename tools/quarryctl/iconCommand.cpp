#include "tools/quarryctl/command.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/jsonFormat.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/recordFields.h"
#include "tools/quarryctl/tableFormat.h"
#include "tools/quarryctl/utf8.h"

#include <memory>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct IconOptions {
  std::string name;
  std::string outputPath;
  bool json = false;
};

std::string FormatFields(const QuarryIconInfo& icon) {
  std::vector<TableRow> rows;
  rows.reserve(kIconNumberFields.size() + kIconTextFields.size());
  for (const NumberField& field : kIconNumberFields) rows.push_back({field.name, std::to_string(icon.*field.member)});
  for (const IconTextField& field : kIconTextFields) rows.push_back({field.name, Utf8FromWide(icon.*field.member)});
  return FormatTable(rows);
}

ExitStatus WritePicture(const IconOptions& options, const Library& library, const CommandContext& context) {
  const std::string png = library.GetIconData(WideFromUtf8(options.name));
  const std::wstring path = AbsolutePath(WideFromUtf8(options.outputPath));
  return !png.empty() && WriteFileBytes(path, png, context.err) ? kDone : kNothingFound;
}

ExitStatus RunIcon(const IconOptions& options, const CommandContext& context) {
  const LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err);
  if (!library) return kNothingFound;
  const IconRecord icon = library->GetIcon(WideFromUtf8(options.name));
  if (!icon) {
    context.err.Write("quarryctl: the icon cache has no icon " + options.name +
                      " (quarryctl app --icons shows the names)\n");
    return kNothingFound;
  }
  if (!options.outputPath.empty()) return WritePicture(options, *library, context);
  context.out.Write(options.json ? FormatJson(*icon) : FormatFields(*icon));
  return kDone;
}

}  // namespace

void AddIconCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<IconOptions>();
  CLI::App* command = parser.add_subcommand("icon", "Describe an icon of the icon cache, or copy its picture");
  command->add_option("NAME", options->name, "Name of the icon")->required()->type_name("");
  CLI::Option* const json = command->add_flag("--json", options->json, "Write the fields as a JSON object");
  command->add_option("-o,--output", options->outputPath, "Write the picture, a PNG, to FILE")
      ->type_name("FILE")
      ->excludes(json)
      ->check(RefuseEmptyName);
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunIcon(*options, context); }; });
}

}  // namespace quarryctl
