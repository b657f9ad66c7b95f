#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/recordJson.h"
#include "tools/quarryctl/session.h"

#include <memory>
#include <string>

namespace quarryctl {
namespace {

struct IconOptions {
  std::string name;
  std::wstring outputPath;
  bool json = false;
};

ExitStatus RunIcon(const IconOptions& options, const CommandContext& context) {
  const std::unique_ptr<Session> session = Session::Open(context);
  if (!session) return kNothingFound;
  Library& library = session->GetLibrary();
  const std::wstring name = Unicode_WideFromUtf8(options.name);
  const IconRecord icon = library.GetIcon(name);
  if (!icon) {
    return Refuse(context, "the icon cache has no icon " + options.name + " (quarryctl app --icons shows the names)");
  }
  if (!options.outputPath.empty()) {
    const IconData png = library.GetIconData(name);
    return !png.empty() && WriteFileBytes(options.outputPath, Bytes(png), context.err) ? kDone : kNothingFound;
  }
  context.out.Write(options.json ? FormatJson(JsonFrom(icon)) : FormatFields(JsonFrom(icon), context.out.Columns()));
  return kDone;
}

void BindIcon(CLI::App& command, IconOptions& options) {
  command.add_option("NAME", options.name, "Name of the icon")->required()->type_name("");
  CLI::Option* const json = BindJson(command, options.json, "Write the fields as a JSON object");
  BindFile(command, "-o,--output", options.outputPath, "Write the picture, a PNG, to FILE")->excludes(json);
}

}  // namespace

void AddIconCommand(const CommandGroup& commands) {
  commands.Add("icon", "Describe an icon of the icon cache, or copy its picture", BindIcon, RunIcon);
}

}  // namespace quarryctl
