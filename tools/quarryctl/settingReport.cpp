#include "tools/quarryctl/settingReport.h"

#include "quarry/config/registry.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/readerMessages.h"

#include <algorithm>
#include <string_view>

namespace quarryctl {
namespace {

using quarry::Registry;
using quarry::RegistryBranch;
using quarry::SettingEntry;
using quarry::SettingKind;

/// What is written down, a number in decimal digits.
std::optional<std::wstring> ReadSetting(const Registry& registry, const SettingEntry& entry, RegistryBranch* branch) {
  if (entry.kind == SettingKind::Dword) {
    std::uint32_t number = 0;
    const LSTATUS status = registry.ReadDword(entry.subkey, entry.valueName, number, branch);
    return status == ERROR_SUCCESS ? std::optional(std::to_wstring(number)) : std::nullopt;
  }
  std::wstring text;
  const LSTATUS status = registry.ReadString(entry.subkey, entry.valueName, text, branch);
  return status == ERROR_SUCCESS ? std::optional(text) : std::nullopt;
}

Json SwitchFrom(const std::wstring& text, const SettingEntry& entry, std::vector<std::string>& problems) {
  if (const std::optional<bool> value = quarry::ParseSwitch(text)) return *value;
  problems.push_back('"' + Unicode_Utf8FromWide(text) + "\" is none of 0, 1, false, true: the default counts");
  return quarry::ParseSwitch(entry.defaultText) == true;
}

Json DepthFrom(const std::wstring& text, std::vector<std::string>& problems) {
  const int number = quarry::ParseNumber(text);
  const int depth = std::clamp(number, 0, quarry::kDeepestLevel);
  const std::string quoted = '"' + Unicode_Utf8FromWide(text) + "\" ";
  if (number > depth) problems.push_back(quoted + "is more than any scan goes down: read as " + std::to_string(depth));
  if (depth == 0) {
    problems.push_back(quoted + "is read as 0: nothing is published");
  } else if (std::to_wstring(number) != text) {
    problems.push_back(quoted + "is read as " + std::to_string(depth));
  }
  return depth;
}

Json FolderActionFrom(const std::wstring& text, std::vector<std::string>& problems) {
  if (!quarry::ParseFolderAction(text)) {
    problems.push_back('"' + Unicode_Utf8FromWide(text) + "\" is none of allow, warn, skip, stop: taken for stop");
    return "stop";
  }
  return text.empty() ? "warn" : Unicode_Utf8FromWide(text);
}

/// What a text comes to, by the library's own parsers.
Json ValueFrom(const std::wstring& text, const SettingEntry& entry, std::vector<std::string>& problems) {
  switch (entry.kind) {
    case SettingKind::Switch:
      return SwitchFrom(text, entry, problems);
    case SettingKind::Number:
      return DepthFrom(text, problems);
    case SettingKind::FolderAction:
      return FolderActionFrom(text, problems);
    case SettingKind::Dword:
      return std::stoul(text);
    case SettingKind::Folder:
      break;
  }
  return Unicode_Utf8FromWide(text);
}

std::wstring DefaultOf(const SettingEntry& entry) {
  return entry.kind == SettingKind::Dword ? std::to_wstring(entry.defaultNumber) : entry.defaultText;
}

const char* NameOf(RegistryBranch branch, const SettingEntry& entry) {
  const bool isPolicy = branch == RegistryBranch::Policy || std::wstring_view(entry.root).starts_with(L"Policies\\");
  return isPolicy ? "policy" : "ordinary";
}

SettingReport ReportSetting(const SettingEntry& entry) {
  SettingReport report{.name = Unicode_Utf8FromWide(entry.valueName), .value = nullptr, .from = "default"};
  RegistryBranch branch = RegistryBranch::Ordinary;
  const std::optional<std::wstring> text = ReadSetting(Registry(entry.root, entry.policyFirst), entry, &branch);
  std::vector<std::string> remarks;
  report.value = ValueFrom(text.value_or(DefaultOf(entry)), entry, remarks);
  if (text) {
    report.from = NameOf(branch, entry);
    report.text = Unicode_Utf8FromWide(*text);
  }
  if (text && branch == RegistryBranch::Policy) {
    const std::optional<std::wstring> hidden = ReadSetting(Registry(entry.root, false), entry, nullptr);
    if (hidden) report.hidden = Unicode_Utf8FromWide(*hidden);
  }
  report.problems = ReaderMessages::Take();
  report.problems.insert(report.problems.end(), remarks.begin(), remarks.end());
  return report;
}

}  // namespace

std::vector<SettingReport> ReportSettings() {
  const ReaderMessages messages;
  std::vector<SettingReport> reports;
  std::transform(quarry::kSettings.begin(), quarry::kSettings.end(), std::back_inserter(reports), ReportSetting);
  return reports;
}

}  // namespace quarryctl
