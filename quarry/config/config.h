#pragma once

#include "quarry/config/registry.h"

#include <string>

namespace quarry {

/// The library's settings, each a REG_SZ directly under the settings key or its policy twin: the first entries of
/// kSettings (settingTable.h).
enum class Setting {
  IconCacheDir = 0,          ///< folder of the PNG icon cache; empty for the built-in default
  ScanHidden = 1,            ///< scan hidden files and folders too
  ScanReparsePoints = 2,     ///< follow junctions and symbolic links
  MaxScanDepth = 3,          ///< deepest folder level that a scan descends to
  WritableFolders = 4,       ///< what a scan does with a folder that everyone can write to
  VerboseWindowLogging = 5,  ///< log every window's details when windows are enumerated
};

/// Reads the settings. Nothing is cached: a changed value takes effect at the next use.
class Config : public Registry {
 public:
  Config();

  // One setting; SettingsReader reads several.

  /// The setting's text, or its default where the value is missing or cannot be read.
  std::wstring GetString(Setting setting) const;

  /// The number that the text begins with, 0 for a text without digits.
  int GetInt(Setting setting) const;

  /// "1" and "true" are true, "0" and "false" are false, in any case; every other text means the default.
  bool GetBool(Setting setting) const;

 private:
  ObjectCount count_{"Config"};
};

/// Reads the settings as Config does, with their keys open while it lives: for several of them at a time.
class SettingsReader {
 public:
  explicit SettingsReader(const Config& config) : keys_(config, L"") {}

  std::wstring GetString(Setting setting);
  int GetInt(Setting setting);
  bool GetBool(Setting setting);

  /// Decides by the setting WritableFolders what a scan does with the folder it is about to enter: go on, leave the
  /// folder out (`skipFolder`) or give up (`abortScan`). Returns whether the folder was checked.
  bool CheckWritableFolder(const std::wstring& folderPath, bool& abortScan, bool& skipFolder);

 private:
  RegistryKeys keys_;
};

}  // namespace quarry
