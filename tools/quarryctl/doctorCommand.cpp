#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/hostChecks.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"

#include <algorithm>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

constexpr std::size_t kStatusWidth = 9;
constexpr std::size_t kNameWidth = 17;

struct DoctorOptions {
  bool json = false;
};

const char* NameOf(CheckStatus status) {
  if (status == CheckStatus::Ok) return "ok";
  return status == CheckStatus::Warning ? "warning" : "error";
}

Colour ColourOf(CheckStatus status) {
  if (status == CheckStatus::Ok) return Colour::Good;
  return status == CheckStatus::Warning ? Colour::Warning : Colour::Error;
}

std::string Padded(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size()), ' ');
  return text;
}

/// One line, however long: what is wrong is not cut off.
std::string FormatCheck(const HostCheck& check, const Output& out) {
  const std::string status = out.Painted(ColourOf(check.status), Padded(NameOf(check.status), kStatusWidth));
  const std::string remedy = check.remedy.empty() ? "" : "; " + check.remedy;
  return status + Padded(check.name, kNameWidth) + check.text + remedy + '\n';
}

ExitStatus RunDoctor(const DoctorOptions& options, const CommandContext& context) {
  const std::vector<HostCheck> checks = CheckHost(context);
  if (options.json) {
    Json array = Json::array();
    for (const HostCheck& check : checks) {
      array.push_back(Json{
          {"check", check.name}, {"status", NameOf(check.status)}, {"text", check.text}, {"remedy", check.remedy}});
    }
    context.out.Write(FormatJson(array));
  } else {
    for (const HostCheck& check : checks) context.out.Write(FormatCheck(check, context.out));
  }
  const bool failed = std::any_of(checks.begin(), checks.end(),
                                  [](const HostCheck& check) { return check.status == CheckStatus::Error; });
  return failed ? kNothingFound : kDone;
}

void BindDoctor(CLI::App& command, DoctorOptions& options) {
  BindJson(command, options.json, "Write the checks as a JSON array");
}

}  // namespace

void AddDoctorCommand(const CommandGroup& commands) {
  commands.Add("doctor", "Look at what publishing needs on this host, with a remedy for each fault", BindDoctor,
               RunDoctor);
}

}  // namespace quarryctl
