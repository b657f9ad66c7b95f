#include "lib/unicode/unicode.h"

#include "tools/quarryctl/applicationIcons.h"
#include "tools/quarryctl/commandTable.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/htmlPage.h"
#include "tools/quarryctl/json.h"
#include "tools/quarryctl/logSummary.h"
#include "tools/quarryctl/options.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/recordJson.h"
#include "tools/quarryctl/scanTrail.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/table.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {
namespace {

constexpr char kNoun[] = "application";

struct ScanOptions {
  std::wstring iniPath;
  bool json = false;
  std::wstring htmlPath;
};

std::string FormatText(std::span<const QuarryApplicationInfo> applications, std::size_t width) {
  std::vector<TableRow> rows = {{"NAME", "VERSION", "COMPANY", "TARGET"}};
  for (const QuarryApplicationInfo& application : applications) {
    // A program without version information has no product name.
    const wchar_t* name = *application.productName == L'\0' ? application.fileName : application.productName;
    rows.push_back({Unicode_Utf8FromWide(name), Unicode_Utf8FromWide(application.productVersion),
                    Unicode_Utf8FromWide(application.companyName), Unicode_Utf8FromWide(application.targetPath)});
  }
  return FormatList(rows, kNoun, width);
}

/// Writes the result in the form that was asked for; false when that failed.
bool WriteResult(const ApplicationRecords& records, const ScanOptions& options, Library& library, ScanTrail& trail,
                 const CommandContext& context) {
  const std::span<const QuarryApplicationInfo> applications = Items(records);
  if (options.json) {
    context.out.Write(FormatJson(JsonFrom(WithIcons(applications, library))));
    return true;
  }
  if (options.htmlPath.empty()) {
    context.out.Write(FormatText(applications, context.out.Columns()));
    return true;
  }
  trail.Finish(records);
  const std::string page = FormatHtmlPage(WithIcons(applications, library), trail.Entries(), library);
  if (!WriteFileBytes(options.htmlPath, page, context.err)) return false;
  context.out.Write(FormatCount(applications.size(), kNoun) + '\n' + Unicode_Utf8FromWide(options.htmlPath) + '\n');
  return true;
}

ExitStatus RunScan(const ScanOptions& options, const CommandContext& context) {
  if (!options.iniPath.empty() && !IsFile(options.iniPath)) {
    return Refuse(context, "there is no file " + Unicode_Utf8FromWide(options.iniPath));
  }
  LogSummary summary;
  ScanTrail trail;
  const auto hear = [&](std::uint32_t level, std::wstring_view message) {
    summary.Observe(level, message);
    trail.Observe(message);
  };
  const std::unique_ptr<Session> session = Session::Open(context, {.showsErrors = false, .hear = hear});
  if (!session) return kNothingFound;
  const ApplicationRecords records = session->GetLibrary().Scan(options.iniPath);
  const bool written = WriteResult(records, options, session->GetLibrary(), trail, context);
  // With -v the log itself has been shown.
  if (context.verbosity == 0) context.err.Write(summary.Format());
  return !records.empty() && written ? kDone : kNothingFound;
}

void BindScan(CLI::App& command, ScanOptions& options) {
  BindFile(command, "--ini", options.iniPath, "Take the scan filters from FILE, not from the registry");
  CLI::Option* const json = BindJson(command, options.json, "Write every field of every application as a JSON array");
  BindHtml(command, options.htmlPath, "Write a page with the applications and their icons to FILE")->excludes(json);
}

}  // namespace

void AddScanCommand(const CommandGroup& commands) {
  commands.Add("scan", "List the applications that this host publishes", BindScan, RunScan);
}

}  // namespace quarryctl
