#include "tools/quarryctl/command.h"
#include "tools/quarryctl/fileOutput.h"
#include "tools/quarryctl/htmlPage.h"
#include "tools/quarryctl/jsonFormat.h"
#include "tools/quarryctl/library.h"
#include "tools/quarryctl/logView.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/tableFormat.h"
#include "tools/quarryctl/utf8.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quarryctl {
namespace {

struct ScanOptions {
  std::string iniPath;
  bool json = false;
  std::string htmlPath;
};

bool IsFile(const std::wstring& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::string CountLine(std::size_t count) {
  return std::to_string(count) + (count == 1 ? " application\n" : " applications\n");
}

std::string FormatApplications(std::span<const QuarryApplicationInfo> applications) {
  std::vector<TableRow> rows = {{"NAME", "VERSION", "COMPANY", "TARGET"}};
  for (const QuarryApplicationInfo& application : applications) {
    // A program without version information has no product name.
    const wchar_t* name = *application.productName == L'\0' ? application.fileName : application.productName;
    rows.push_back({Utf8FromWide(name), Utf8FromWide(application.productVersion), Utf8FromWide(application.companyName),
                    Utf8FromWide(application.targetPath)});
  }
  return FormatTable(rows) + CountLine(applications.size());
}

std::string FormatResult(std::span<const QuarryApplicationInfo> applications) {
  return applications.empty() ? CountLine(0) : FormatApplications(applications);
}

/// Writes the result in the form that was asked for; false when that failed.
bool WriteResult(std::span<const QuarryApplicationInfo> applications, const ScanOptions& options,
                 const Library& library, const CommandContext& context) {
  if (options.json) {
    context.out.Write(FormatJson(library.WithIcons(applications)));
    return true;
  }
  if (options.htmlPath.empty()) {
    context.out.Write(FormatResult(applications));
    return true;
  }
  const std::wstring path = AbsolutePath(WideFromUtf8(options.htmlPath));
  if (!WriteFileBytes(path, FormatHtmlPage(library.WithIcons(applications), library), context.err)) return false;
  context.out.Write(CountLine(applications.size()) + Utf8FromWide(path) + '\n');
  return true;
}

void PointToWarnings(const LogView& log, Output& err) {
  if (log.HiddenWarnings() == 0) return;
  err.Write("quarryctl: warnings not shown: " + std::to_string(log.HiddenWarnings()) +
            " (-v shows what was left out or is incomplete, and why)\n");
}

ExitStatus RunScan(const ScanOptions& options, const CommandContext& context) {
  // The profile functions look for a bare file name in the Windows folder.
  const std::wstring iniPath = options.iniPath.empty() ? std::wstring() : AbsolutePath(WideFromUtf8(options.iniPath));
  if (!iniPath.empty() && !IsFile(iniPath)) {
    context.err.Write("quarryctl: there is no file " + Utf8FromWide(iniPath) + '\n');
    return kNothingFound;
  }
  LogView log(context.err, ShownLevels(context));
  const std::unique_ptr<Library> library = Library::Open(&LogView::Receive, context.err);
  if (!library) return kNothingFound;
  const ApplicationRecords records = library->Scan(iniPath);
  log.EndProgress();
  const bool written = WriteResult(Items(records), options, *library, context);
  PointToWarnings(log, context.err);
  return records && written ? kDone : kNothingFound;
}

}  // namespace

void AddScanCommand(CLI::App& parser, Command& chosen) {
  const auto options = std::make_shared<ScanOptions>();
  CLI::App* command = parser.add_subcommand("scan", "List the applications that this host publishes");
  command->add_option("--ini", options->iniPath, "Take the scan filters from FILE, not from the registry")
      ->type_name("FILE")
      ->check(RefuseEmptyName);
  CLI::Option* const json =
      command->add_flag("--json", options->json, "Write every field of every application as a JSON array");
  command->add_option("--html", options->htmlPath, "Write a page with the applications and their icons to FILE")
      ->type_name("FILE")
      ->excludes(json)
      ->check(RefuseEmptyName);
  command->callback(
      [options, &chosen] { chosen = [options](CommandContext& context) { return RunScan(*options, context); }; });
}

}  // namespace quarryctl
