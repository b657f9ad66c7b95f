#include "tools/quarryctl/command.h"
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

struct AppOptions {
  std::string path;
  bool json = false;
};

std::string FormatFields(const QuarryApplicationInfo& application) {
  std::vector<TableRow> rows;
  rows.reserve(kTextFields.size() + 1);
  for (const TextField& field : kTextFields) rows.push_back({field.name, Utf8FromWide(application.*field.member)});
  rows.push_back({kIconCountName, std::to_string(application.iconCount)});
  return FormatTable(rows);
}

ExitStatus RunApp(const AppOptions& options, const CommandContext& context) {
  const std::wstring path = AbsoluteApplicationPath(WideFromUtf8(options.path));
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err);
  if (!library) return kNothingFound;
  // The library describes any path with a known extension; only its verification looks whether the file is there.
  ApplicationRecord record(nullptr, nullptr);
  if (library->VerifyApplication(path)) record = library->GetApplication(path);
  if (!record) {
    context.err.Write("quarryctl: no application can be made from " + Utf8FromWide(path) +
                      " (quarryctl verify says why)\n");
    return kNothingFound;
  }
  context.out.Write(options.json ? FormatJson(*record) : FormatFields(*record));
  return kDone;
}

}  // namespace

void AddAppCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<AppOptions>();
  CLI::App* command = parser.add_subcommand("app", "Describe one application");
  command->add_option("PATH", options->path, "Shortcut, program or script")->required()->type_name("");
  command->add_flag("--json", options->json, "Write the fields as a JSON object");
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunApp(*options, context); }; });
}

}  // namespace quarryctl
