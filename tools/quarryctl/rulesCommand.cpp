#include "lib/seamlyFilter/ruleFile.h"
#include "lib/seamlyFilter/rules.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/readerMessages.h"
#include "tools/quarryctl/table.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {
namespace {

/// What an item says that its key does not know.
std::optional<std::string> FindUnknownValue(RuleKey key, const std::string& line) {
  const std::optional<RuleText> text = SeamlyFilterSplitText(line);
  if (!text) return std::nullopt;
  const std::string value = "'" + std::string(text->value) + "'";
  if (key == RuleKey::Type && SeamlyFilterWindowTypeOf(text->value) == WindowType::None) {
    return value + " names no window type";
  }
  if (key == RuleKey::Action && SeamlyFilterActionOf(text->value) == RuleAction::None) {
    return value + " names no action";
  }
  return std::nullopt;
}

/// What there is to say of one line: what the library's reader says, unless it says that it took the line, and what it
/// takes without a word but an administrator cannot mean.
std::vector<std::string> CheckLine(const RuleLine& line, RuleReading& reading) {
  const bool ignored = reading.begun == 0 && !line.text.empty() && line.text.front() != '#';
  const RuleKey key = SeamlyFilterParseLine(line.text, reading);
  std::vector<std::string> findings = ReaderMessages::Take();
  if (key != RuleKey::None) findings.erase(findings.begin());
  if (const std::optional<std::string> unknown = FindUnknownValue(key, line.text)) findings.push_back(*unknown);
  if (line.cut) findings.push_back("longer than " + std::to_string(kMaxRuleText - 1) + " bytes, the rest is dropped");
  if (ignored && reading.begun == 0) findings.emplace_back("ignored, no BeginRule stands above it");
  return findings;
}

struct CheckOptions {
  std::vector<std::string> files;
};

/// Whether the file could be read and there is nothing to say of it.
bool CheckFile(const std::string& name, const CommandContext& context) {
  RuleFileReader reader(OpenRuleFile(AbsolutePath(Unicode_WideFromUtf8(name))));
  if (!reader.IsOpen()) {
    WriteComplaint(context.err, "unable to open " + name);
    return false;
  }
  RuleReading reading;
  bool clean = true;
  for (int number = 1; const std::optional<RuleLine> line = reader.Next(); ++number) {
    for (const std::string& finding : CheckLine(*line, reading)) {
      std::string text = name;
      context.out.Write(text.append(":").append(std::to_string(number)).append(": ").append(finding).append("\n"));
      clean = false;
    }
  }
  if (clean) {
    const auto begun = static_cast<std::size_t>(reading.begun);
    context.out.Write(name + ": " + FormatCount(begun, "rule set") + ", nothing to report\n");
  }
  return clean;
}

ExitStatus RunCheck(const CheckOptions& options, const CommandContext& context) {
  const ReaderMessages messages;
  bool clean = true;
  // One table for all files, as in the library: the limit on rule sets is that of them together.
  for (const std::string& file : options.files) clean = CheckFile(file, context) && clean;
  return clean ? kDone : kNothingFound;
}

void BindCheck(CLI::App& command, CheckOptions& options) {
  command.add_option("FILE", options.files, "Rule files, in the order in which they are to count")
      ->required()
      ->type_name("");
}

}  // namespace

void AddRulesCommand(const CommandGroup& commands) {
  const CommandGroup rules = commands.AddGroup("rules", "Work with window filter rules");
  rules.Add("check", "Read rule files as the library does and show what is wrong in them", BindCheck, RunCheck);
}

}  // namespace quarryctl
