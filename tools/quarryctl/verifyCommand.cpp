#include "tools/quarryctl/command.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/utf8.h"

#include <memory>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

std::string RefusalText(const std::string& path, const std::vector<std::string>& reasons) {
  std::string text = path + ": no application can be made from it\n";
  for (const std::string& reason : reasons) text += "  " + reason + '\n';
  // The library refuses without a word in this case only.
  if (reasons.empty()) text += "  there is no such file, or it is a folder\n";
  return text;
}

ExitStatus RunVerify(const std::string& path, const CommandContext& context) {
  const std::wstring fullPath = AbsoluteApplicationPath(WideFromUtf8(path));
  // The reasons are this command's result: without -v they are not shown as a log as well.
  LogView log(context.err, context.verbosity == 0 ? 0 : ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err);
  if (!library) return kNothingFound;
  log.KeepLines();
  if (library->VerifyApplication(fullPath)) {
    context.out.Write(Utf8FromWide(fullPath) + ": an application can be made from it\n");
    return kDone;
  }
  context.out.Write(RefusalText(Utf8FromWide(fullPath), log.KeptLines()));
  return kNothingFound;
}

}  // namespace

void AddVerifyCommand(CLI::App& parser, Command& chosen) {
  const auto path = std::make_shared<std::string>();
  CLI::App* command = parser.add_subcommand("verify", "Say whether a file can be published, and if not, why");
  command->add_option("PATH", *path, "Shortcut, program or script")->required()->type_name("");
  command->callback(
      [path, &chosen] { chosen = [path](CommandContext& context) { return RunVerify(*path, context); }; });
}

}  // namespace quarryctl
