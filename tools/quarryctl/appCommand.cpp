#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/extensionTable.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/recordJson.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/table.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct AppOptions {
  std::wstring path;
  bool json = false;
  bool icons = false;
  bool extensions = false;
};

/// What was asked for of one application.
struct Description {
  ApplicationRecord application;
  std::optional<IconRecords> icons;
  ExtensionRecords extensions;  ///< null when not asked for
};

std::string FormatIcons(const IconRecords& icons, std::size_t width) {
  std::vector<TableRow> rows = {{"ICON", "SIZE", "NAME", "FILE"}};
  for (const IconRecord& icon : icons) {
    const std::string number = std::to_string(rows.size() - 1);
    if (!icon) {
      rows.push_back({number, "", "", "(could not be stored)"});
      continue;
    }
    rows.push_back({number, std::to_string(icon->Width()) + 'x' + std::to_string(icon->Height()),
                    Unicode_Utf8FromWide(icon->Name().c_str()), Unicode_Utf8FromWide(icon->Path().c_str())});
  }
  return FormatTable(rows, width);
}

std::string FormatText(const Description& description, std::size_t width) {
  std::string text = FormatFields(JsonFrom(description.application->Record()), width);
  if (description.icons && !description.icons->empty()) text += '\n' + FormatIcons(*description.icons, width);
  if (description.extensions) text += '\n' + FormatExtensionTable(Items(description.extensions), width);
  return text;
}

Json JsonFromDescription(const Description& description) {
  Json object = JsonFrom(description.application->Record());
  if (description.icons) object["icons"] = JsonFrom(*description.icons);
  if (description.extensions) object["extensions"] = JsonFrom(Items(description.extensions));
  return object;
}

ExitStatus RunApp(const AppOptions& options, const CommandContext& context) {
  const std::unique_ptr<Session> session =
      Session::Open(context, {.fileTypes = options.extensions ? FileTypes::Read : FileTypes::Leave});
  if (!session) return kNothingFound;
  Library& library = session->GetLibrary();
  Description description;
  // The library describes any path with a known extension; only its verification looks whether the file is there.
  if (library.VerifyApplication(options.path)) description.application = library.GetApplication(options.path);
  if (!description.application) {
    return Refuse(context, "no application can be made from " + Unicode_Utf8FromWide(options.path) +
                               " (quarryctl verify says why)");
  }
  if (options.icons) description.icons = GetIcons(library, description.application->Record());
  if (options.extensions) description.extensions = library.GetExtensions(description.application->Path());
  context.out.Write(options.json ? FormatJson(JsonFromDescription(description))
                                 : FormatText(description, context.out.Columns()));
  return kDone;
}

void BindApp(CLI::App& command, AppOptions& options) {
  BindApplicationPath(command, options.path, "Shortcut, program or script");
  BindJson(command, options.json, "Write the fields as a JSON object");
  command.add_flag("--icons", options.icons, "Show each icon's size, name and file too");
  command.add_flag("--extensions", options.extensions, "Add the file types and protocols that it opens");
}

}  // namespace

void AddAppCommand(const CommandGroup& commands) { commands.Add("app", "Describe one application", BindApp, RunApp); }

}  // namespace quarryctl
