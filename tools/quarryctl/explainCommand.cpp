#include "lib/unicode/unicode.h"

#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/scanQuestion.h"
#include "tools/quarryctl/scanTrail.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/table.h"
#include "tools/quarryctl/trailJson.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct ExplainOptions {
  std::string question;
  std::wstring iniPath;
  bool json = false;
};

const char* FateText(const TrailEntry& entry) {
  switch (entry.fate) {
    case Fate::Published:
      return "published";
    case Fate::Scanned:
      return "scanned";
    case Fate::LeftOut:
      return "left out";
  }
  return "";
}

std::string FormatText(const std::vector<TrailEntry>& entries, std::size_t width) {
  std::vector<TableRow> rows = {{"RESULT", "WHY", "PATH"}};
  std::size_t published = 0;
  for (const TrailEntry& entry : entries) {
    if (entry.fate == Fate::Published) ++published;
    std::string why = entry.reason;
    if (why.empty() && entry.fate == Fate::Published) why = "below " + Unicode_Utf8FromWide(entry.root);
    rows.push_back({FateText(entry), std::move(why), Unicode_Utf8FromWide(entry.path)});
  }
  const std::string counts = FormatCount(entries.size(), "line") + ", " + std::to_string(published) + " published\n";
  return entries.empty() ? counts : FormatTable(rows, width) + counts;
}

ExitStatus RunExplain(const ExplainOptions& options, const CommandContext& context) {
  ScanTrail trail;
  const auto hear = [&trail](std::uint32_t, std::wstring_view message) { trail.Observe(message); };
  const std::unique_ptr<Session> session = Session::Open(context, {.showsErrors = false, .hear = hear});
  if (!session) return kNothingFound;
  trail.Finish(session->GetLibrary().Scan(options.iniPath));
  const std::vector<TrailEntry> answer = Answer(trail, Unicode_WideFromUtf8(options.question));
  context.out.Write(options.json ? FormatJson(JsonFrom(answer)) : FormatText(answer, context.out.Columns()));
  const bool allPublished =
      std::none_of(answer.begin(), answer.end(), [](const TrailEntry& entry) { return entry.fate == Fate::LeftOut; });
  return allPublished && !answer.empty() ? kDone : kNothingFound;
}

void BindExplain(CLI::App& command, ExplainOptions& options) {
  command.add_option("TEXT", options.question, "What occurs in a name, path or target; or a whole path")->type_name("");
  BindFile(command, "--ini", options.iniPath, "Take the scan filters from FILE, not from the registry");
  BindJson(command, options.json, "Write the entries as a JSON array");
}

}  // namespace

void AddExplainCommand(const CommandGroup& commands) {
  commands.Add("explain", "Tell what a scan made of each file and folder, and which rule decided", BindExplain,
               RunExplain);
}

}  // namespace quarryctl
