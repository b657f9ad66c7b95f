#include "tools/quarryctl/command.h"
#include "tools/quarryctl/extensionTable.h"
#include "tools/quarryctl/jsonFormat.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/utf8.h"

#include <memory>
#include <string>

namespace quarryctl {
namespace {

struct ExtensionsOptions {
  std::string path;
  bool json = false;
};

/// The registrations name programs by full paths, and only of an application does the library expand the path.
std::wstring FullPath(const Library& library, const std::wstring& path) {
  if (!path.starts_with(L'%')) return path;
  const ApplicationRecord application = library.GetApplication(path);
  return application ? std::wstring(application->path) : path;
}

ExitStatus RunExtensions(const ExtensionsOptions& options, const CommandContext& context) {
  const std::wstring path = AbsoluteApplicationPath(WideFromUtf8(options.path));
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err, FileTypes::Read);
  if (!library) return kNothingFound;
  const ExtensionRecord record = library->GetExtensions(FullPath(*library, path));
  if (!record) {
    context.err.Write("quarryctl: the library does not tell the types of " + Utf8FromWide(path) + '\n');
    return kNothingFound;
  }
  context.out.Write(options.json ? FormatJson(Items(record)) : FormatExtensionTable(Items(record)));
  return record->count == 0 ? kNothingFound : kDone;
}

}  // namespace

void AddExtensionsCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<ExtensionsOptions>();
  CLI::App* command = parser.add_subcommand("extensions", "List the file types and protocols that a program opens");
  command->add_option("PATH", options->path, "Shortcut or program")->required()->type_name("");
  command->add_flag("--json", options->json, "Write the types as a JSON array");
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunExtensions(*options, context); }; });
}

}  // namespace quarryctl
