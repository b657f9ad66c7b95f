#include "tools/quarryctl/hostChecks.h"

#include "quarry/quarry.h"

#include "lib/fileTypes/buildBudget.h"
#include "lib/misc/pathTrust.h"
#include "lib/misc/platformHandles.h"
#include "lib/seamlyFilter/filter.h"
#include "lib/seamlyFilter/rules.h"
#include "lib/unicode/unicode.h"

#include "tools/quarryctl/filterReport.h"
#include "tools/quarryctl/loadedLibraries.h"
#include "tools/quarryctl/paths.h"
#include "tools/quarryctl/readerMessages.h"
#include "tools/quarryctl/scanMessage.h"
#include "tools/quarryctl/session.h"
#include "tools/quarryctl/settingReport.h"
#include "tools/quarryctl/table.h"
#include "tools/quarryctl/versionText.h"

#include <windows.h>

#include <aclapi.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace quarryctl {
namespace {

struct LogLine {
  std::uint32_t level;
  std::wstring text;
};
using LogLines = std::vector<LogLine>;

/// What stands behind `begin` in the first message that begins with it.
std::optional<std::wstring> TextBehind(const LogLines& log, std::wstring_view begin) {
  for (const LogLine& line : log) {
    if (line.text.starts_with(begin)) return line.text.substr(begin.size());
  }
  return std::nullopt;
}

/// The first of several findings, and how many there are.
std::string FirstOf(const std::vector<std::string>& findings) {
  if (findings.size() == 1) return findings.front();
  return findings.front() + " (" + std::to_string(findings.size()) + " problems)";
}

HostCheck CheckFindings(const char* name, const std::vector<std::string>& findings, std::string allIsWell,
                        const char* remedy) {
  if (findings.empty()) return {name, CheckStatus::Ok, std::move(allIsWell)};
  return {name, CheckStatus::Warning, FirstOf(findings), remedy};
}

HostCheck CheckRights() {
  constexpr char kName[] = "rights";
  if (PathTrust().IsNeeded()) return {kName, CheckStatus::Ok, "those of an administrator, as most agents have them"};
  return {kName, CheckStatus::Warning, "those of an ordinary user: who may write to folders and files is not judged",
          "run it from an elevated prompt"};
}

HostCheck CheckLinkReader(const LogLines& log) {
  const bool failed = std::any_of(log.begin(), log.end(), [](const LogLine& line) {
    return ReadScanMessage(line.text).kind == ScanMessageKind::LinksUnreadable;
  });
  if (!failed) return {"shortcuts", CheckStatus::Ok, "the shell reads them"};
  return {"shortcuts", CheckStatus::Error, "the shell's reader cannot be made: no shortcut is published",
          "repair Windows: sfc /scannow"};
}

/// Whether a file can be made in the folder; it does not stay.
bool CanWriteTo(const std::wstring& folder) {
  const std::wstring path = folder + L"\\quarryctl." + std::to_wstring(GetCurrentProcessId());
  const UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
  return static_cast<bool>(file);
}

Distrust JudgeFolder(const std::wstring& folder) {
  PSECURITY_DESCRIPTOR descriptor = nullptr;
  const DWORD status =
      GetNamedSecurityInfoW(folder.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION,
                            nullptr, nullptr, nullptr, nullptr, &descriptor);
  const UniqueLocal<void> owner(descriptor);
  return status == ERROR_SUCCESS ? JudgeDescriptor(descriptor, nullptr) : Distrust::Unreadable;
}

HostCheck CheckIconFolder(const LogLines& log) {
  constexpr char kName[] = "icon folder";
  constexpr char kRemedy[] = "docs/iconCache.md says what the folder needs";
  std::vector<std::string> complaints;
  for (const LogLine& line : log) {
    const bool isOfFolder = line.text.find(L"PNG cache folder") != std::wstring::npos;
    if (isOfFolder && line.level <= QUARRY_LOG_WARNING) complaints.push_back(Unicode_Utf8FromWide(line.text));
  }
  std::optional<std::wstring> folder = TextBehind(log, L"Using PNG cache folder \"");
  if (!folder) {
    complaints.emplace_back("there is no folder for icons");
    return {kName, CheckStatus::Error, FirstOf(complaints), kRemedy};
  }
  folder->resize(folder->find(L'"'));
  const std::string path = Unicode_Utf8FromWide(*folder);
  if (!CanWriteTo(*folder)) return {kName, CheckStatus::Error, "no file can be made in " + path, kRemedy};
  // A process with more rights has had the library judge the folder.
  const Distrust distrust = PathTrust().IsNeeded() ? Distrust::None : JudgeFolder(*folder);
  if (distrust != Distrust::None) complaints.push_back(path + ": " + Unicode_Utf8FromWide(ReasonFor(distrust)));
  return CheckFindings(kName, complaints, path, kRemedy);
}

HostCheck CheckFileTypes(const LogLines& log) {
  constexpr char kName[] = "file types";
  const std::optional<std::wstring> time = TextBehind(log, L"Building the file extension database took ");
  if (!time) return {kName, CheckStatus::Error, "the database was not built", "quarryctl extensions PATH -v"};
  const std::string text = "the database is built in " + Unicode_Utf8FromWide(*time);
  if (std::stoul(*time) < BuildBudget::kMilliseconds) return {kName, CheckStatus::Ok, text};
  return {kName, CheckStatus::Warning, text + " The rest of its lists was left out", "docs/fileTypes.md"};
}

std::vector<HostCheck> CheckLibrary(const CommandContext& context) {
  LogLines log;
  const auto hear = [&log](std::uint32_t level, std::wstring_view message) {
    log.push_back({level, std::wstring(message)});
  };
  const std::unique_ptr<Session> session =
      Session::Open(context, {.fileTypes = FileTypes::Read, .showsErrors = false, .hear = hear});
  const std::string path = Unicode_Utf8FromWide(LibraryPath());
  if (!session) {
    return {{"library", CheckStatus::Error, path + " cannot be used", "put the package's quarry.dll beside quarryctl"}};
  }
  return {{"library", CheckStatus::Ok, VersionOfFile(LibraryPath()) + ", " + path},
          CheckLinkReader(log),
          CheckIconFolder(log),
          CheckFileTypes(log)};
}

std::vector<HostCheck> CheckSettings() {
  std::vector<std::string> findings;
  bool forbidsDrives = false;
  for (const SettingReport& setting : ReportSettings()) {
    for (const std::string& problem : setting.problems) findings.push_back(setting.name + ": " + problem);
    forbidsDrives = forbidsDrives || (setting.name == "fDisableCdm" && setting.value != 0);
  }
  HostCheck drives{"drive policy", CheckStatus::Ok, "files and URLs of clients can be opened"};
  if (forbidsDrives) {
    drives = {"drive policy", CheckStatus::Warning, "fDisableCdm refuses all files and URLs of clients",
              "docs/launching.md"};
  }
  return {CheckFindings("settings", findings, "nothing to report", "quarryctl settings shows all"), drives};
}

std::vector<HostCheck> CheckFilters() {
  std::vector<std::string> findings;
  std::vector<std::string> open;
  std::size_t used = 0;
  for (const FilterReport& filter : ReportConfiguredFilters()) {
    const std::string place = Unicode_Utf8FromWide(filter.definition.place);
    if (filter.IsUsed() && !filter.roots.empty()) ++used;
    if (filter.definition.state == quarry::DefinitionState::NotAdminOnly) {
      open.push_back("others than administrators can write to the key of " + place + ", which is left out");
      continue;
    }
    for (const FilterFinding& finding : filter.findings) findings.push_back(place + ": " + finding.text);
  }
  HostCheck filters = CheckFindings("filters", findings, FormatCount(used, "filter"), "quarryctl filters shows all");
  if (used == 0) filters = {"filters", CheckStatus::Error, "nothing is published", "quarryctl filters shows why"};
  HostCheck keys{"filter keys", CheckStatus::Ok, "only administrators can write to them"};
  if (!open.empty()) {
    keys = {"filter keys", CheckStatus::Error, FirstOf(open), "docs/filterDefinitions.md shows how to close them"};
  }
  return {filters, keys};
}

/// Whether a message of the rules' reader tells of something that was not taken.
bool IsOfBadRule(const std::string& message) {
  constexpr std::string_view kBegins[] = {"bad token",        "Too many",           "The registry rule",
                                          "Ignoring unknown", "Registry value",     "Unhandled error",
                                          "Registry read",    "only administrators"};
  return std::any_of(std::begin(kBegins), std::end(kBegins),
                     [&](std::string_view begin) { return message.starts_with(begin); });
}

HostCheck CheckRules() {
  const ReaderMessages reader;
  const SkippedRules skipped = SeamlyFilter_LoadRules(nullptr);
  const int count = SeamlyFilterRules().last + 1;
  std::vector<std::string> findings;
  for (const std::string& message : ReaderMessages::Take()) {
    if (IsOfBadRule(message)) findings.push_back(message);
  }
  SeamlyFilter_Close();
  if (skipped.count > 0) findings.push_back("left out: " + Unicode_Utf8FromWide(skipped.first));
  return CheckFindings("window rules", findings, FormatCount(static_cast<std::size_t>(count), "rule set"),
                       "quarryctl rules check FILE shows the lines, docs/windows.md who may write");
}

HostCheck CheckOtherProcesses() {
  const LoadedLibraries loaded = FindLoadedLibraries();
  const std::string own = VersionOfFile(LibraryPath());
  std::vector<std::string> findings;
  for (const LoadedLibraries::Module& module : loaded.modules) {
    const std::string version = VersionOfFile(module.path);
    if (version == own) continue;
    findings.push_back(Unicode_Utf8FromWide(module.program) + " has loaded " + version + ", " +
                       Unicode_Utf8FromWide(module.path));
  }
  std::string text = loaded.modules.empty()
                         ? "none has loaded quarry.dll"
                         : std::to_string(loaded.modules.size()) + " with this version of quarry.dll";
  if (loaded.hidden > 0) text += ", " + std::to_string(loaded.hidden) + " could not be looked into";
  return CheckFindings("other processes", findings, text, "have the agent updated, then started again");
}

void Append(std::vector<HostCheck> more, std::vector<HostCheck>& checks) {
  std::move(more.begin(), more.end(), std::back_inserter(checks));
}

}  // namespace

std::vector<HostCheck> CheckHost(const CommandContext& context) {
  std::vector<HostCheck> checks = {CheckRights()};
  Append(CheckLibrary(context), checks);
  Append(CheckSettings(), checks);
  Append(CheckFilters(), checks);
  Append({CheckRules(), CheckOtherProcesses()}, checks);
  return checks;
}

}  // namespace quarryctl
