#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/extensionTable.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/recordJson.h"
#include "tools/quarryctl/session.h"

#include <memory>
#include <string>

namespace quarryctl {
namespace {

struct ExtensionsOptions {
  std::wstring path;
  bool json = false;
};

/// The registrations name programs by full paths, and only of an application does the library expand the path.
std::wstring FullPath(Library& library, const std::wstring& path) {
  if (!path.starts_with(L'%')) return path;
  const ApplicationRecord application = library.GetApplication(path);
  return application ? std::wstring(application->Path()) : path;
}

ExitStatus RunExtensions(const ExtensionsOptions& options, const CommandContext& context) {
  const std::unique_ptr<Session> session = Session::Open(context, {.fileTypes = FileTypes::Read});
  if (!session) return kNothingFound;
  Library& library = session->GetLibrary();
  const ExtensionRecords record = library.GetExtensions(FullPath(library, options.path));
  if (!record) return Refuse(context, "the library does not tell the types of " + Unicode_Utf8FromWide(options.path));
  context.out.Write(options.json ? FormatJson(JsonFrom(Items(record)))
                                 : FormatExtensionTable(Items(record), context.out.Columns()));
  return record.empty() ? kNothingFound : kDone;
}

void BindExtensions(CLI::App& command, ExtensionsOptions& options) {
  BindApplicationPath(command, options.path, "Shortcut or program");
  BindJson(command, options.json, "Write the types as a JSON array");
}

}  // namespace

void AddExtensionsCommand(const CommandGroup& commands) {
  commands.Add("extensions", "List the file types and protocols that a program opens", BindExtensions, RunExtensions);
}

}  // namespace quarryctl
