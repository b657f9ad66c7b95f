#include "quarry/config/config.h"

#include "quarry/config/worldWritable.h"
#include "quarry/diagnostics/log.h"

#include <cstdlib>
#include <cwchar>
#include <map>
#include <optional>

namespace quarry {

namespace {

struct Entry {
  const wchar_t* subkey;
  const wchar_t* valueName;
  const wchar_t* defaultText;
};

const Entry& EntryOf(Setting setting) {
  static const std::map<Setting, Entry> kEntries = {
      {Setting::IconCacheDir, {L"", L"IconCacheDir", L""}},
      {Setting::ScanHidden, {L"", L"ScanHidden", L"0"}},
      {Setting::ScanReparsePoints, {L"", L"ScanReparsePoints", L"0"}},
      {Setting::MaxScanDepth, {L"", L"MaxScanDepth", L"20"}},
      {Setting::WritableFolders, {L"", L"WritableFolders", L"warn"}},
      {Setting::VerboseWindowLogging, {L"", L"VerboseWindowLogging", L"0"}},
  };
  return kEntries.at(setting);
}

std::optional<bool> ParseBool(const std::wstring& text) {
  if (text == L"1" || _wcsicmp(text.c_str(), L"true") == 0) return true;
  if (text == L"0" || _wcsicmp(text.c_str(), L"false") == 0) return false;
  return std::nullopt;
}

}  // namespace

Config::Config() : Registry(kSettingsRoot, true) {}

std::wstring Config::GetString(Setting setting) const {
  const Entry& entry = EntryOf(setting);
  std::wstring text;
  if (ReadString(entry.subkey, entry.valueName, text) != ERROR_SUCCESS) return entry.defaultText;
  return text;
}

int Config::GetInt(Setting setting) const { return _wtoi(GetString(setting).c_str()); }

bool Config::GetBool(Setting setting) const {
  return ParseBool(GetString(setting)).value_or(ParseBool(EntryOf(setting).defaultText) == true);
}

bool Config::CheckWritableFolder(const std::wstring& folderPath, bool& abortScan, bool& skipFolder) const {
  abortScan = false;
  skipFolder = false;
  const std::wstring action = GetString(Setting::WritableFolders);
  if (action == L"allow") return false;
  const std::optional<bool> writable = IsWorldWritable(folderPath);
  if (!writable) return false;
  if (!*writable) return true;

  if (action.empty() || action == L"warn") {
    Log(LogLevel::Warning, L"Scanning world-writable directory \"%s\"\n", folderPath.c_str());
  } else if (action == L"skip") {
    Log(LogLevel::Warning, L"Skipping world-writable directory \"%s\"\n", folderPath.c_str());
    skipFolder = true;
  } else if (action == L"stop") {
    Log(LogLevel::Error, L"Aborting due to world-writable directory \"%s\"\n", folderPath.c_str());
    abortScan = true;
  } else {
    Log(LogLevel::Error, L"Bad value \"%s\" for CONFIG_WRITABLE_FOLDER_ACTION\n", action.c_str());
    abortScan = true;
  }
  return true;
}

}  // namespace quarry
