#include "quarry/quarry.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/session.h"

#include <memory>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct VerifyOptions {
  std::wstring path;
};

std::string RefusalText(const std::string& path, const std::vector<std::string>& reasons) {
  std::string text = path + ": no application can be made from it\n";
  for (const std::string& reason : reasons) text += "  " + reason + '\n';
  // The library refuses without a word in this case only.
  if (reasons.empty()) text += "  there is no such file, or it is a folder\n";
  return text;
}

ExitStatus RunVerify(const VerifyOptions& options, const CommandContext& context) {
  // The reasons are this command's result: without -v they are not shown as a log as well.
  const std::unique_ptr<Session> session = Session::Open(context, {.showsErrors = false});
  if (!session) return kNothingFound;
  std::vector<std::string> reasons;
  const LogListener listener(session->GetLog(), [&reasons](std::uint32_t level, std::wstring_view message) {
    if (level <= QUARRY_LOG_NOTABLE) reasons.push_back(FormatLogLine(level, message));
  });
  const std::string path = Unicode_Utf8FromWide(options.path);
  if (session->GetLibrary().VerifyApplication(options.path)) {
    context.out.Write(path + ": an application can be made from it\n");
    return kDone;
  }
  context.out.Write(RefusalText(path, reasons));
  return kNothingFound;
}

void BindVerify(CLI::App& command, VerifyOptions& options) {
  BindApplicationPath(command, options.path, "Shortcut, program or script");
}

}  // namespace

void AddVerifyCommand(const CommandGroup& commands) {
  commands.Add("verify", "Say whether a file can be published, and if not, why", BindVerify, RunVerify);
}

}  // namespace quarryctl
