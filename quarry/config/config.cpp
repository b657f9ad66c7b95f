#include "quarry/config/config.h"

#include "quarry/config/settingTable.h"
#include "quarry/config/worldWritable.h"
#include "quarry/diagnostics/log.h"

#include <cstddef>
#include <optional>

namespace quarry {

namespace {

const SettingEntry& EntryOf(Setting setting) { return kSettings.at(static_cast<std::size_t>(setting)); }

}  // namespace

Config::Config() : Registry(kSettingsRoot, true) {}

std::wstring Config::GetString(Setting setting) const { return SettingsReader(*this).GetString(setting); }
int Config::GetInt(Setting setting) const { return SettingsReader(*this).GetInt(setting); }
bool Config::GetBool(Setting setting) const { return SettingsReader(*this).GetBool(setting); }

std::wstring SettingsReader::GetString(Setting setting) {
  const SettingEntry& entry = EntryOf(setting);
  std::wstring text;
  return keys_.ReadString(entry.valueName, text) == ERROR_SUCCESS ? text : entry.defaultText;
}

int SettingsReader::GetInt(Setting setting) { return ParseNumber(GetString(setting)); }

bool SettingsReader::GetBool(Setting setting) {
  return ParseSwitch(GetString(setting)).value_or(ParseSwitch(EntryOf(setting).defaultText) == true);
}

bool SettingsReader::CheckWritableFolder(const std::wstring& folderPath, bool& abortScan, bool& skipFolder) {
  abortScan = false;
  skipFolder = false;
  const std::wstring text = GetString(Setting::WritableFolders);
  const std::optional<FolderAction> action = ParseFolderAction(text);
  if (action == FolderAction::Allow) return false;
  const std::optional<bool> writable = IsWorldWritable(folderPath);
  if (!writable) return false;
  if (!*writable) return true;

  if (action == FolderAction::Warn) {
    Log(LogLevel::Warning, L"Scanning world-writable directory \"%s\"\n", folderPath.c_str());
  } else if (action == FolderAction::Skip) {
    Log(LogLevel::Warning, L"Skipping world-writable directory \"%s\"\n", folderPath.c_str());
    skipFolder = true;
  } else if (action == FolderAction::Stop) {
    Log(LogLevel::Error, L"Aborting due to world-writable directory \"%s\"\n", folderPath.c_str());
    abortScan = true;
  } else {
    Log(LogLevel::Error, L"Bad value \"%s\" for CONFIG_WRITABLE_FOLDER_ACTION\n", text.c_str());
    abortScan = true;
  }
  return true;
}

}  // namespace quarry
