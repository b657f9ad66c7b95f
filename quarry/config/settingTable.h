#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace quarry {

/// What a setting stands for.
enum class SettingKind {
  Folder,
  Switch,        ///< a text, read by ParseSwitch
  Number,        ///< a text, read by ParseNumber
  FolderAction,  ///< a text, read by ParseFolderAction
  Dword,         ///< a REG_DWORD; all others are a REG_SZ
};

/// Where a setting lies, and what counts without it.
struct SettingEntry {
  const wchar_t* root;  ///< a key below SOFTWARE, as Registry takes it
  bool policyFirst;
  const wchar_t* subkey;
  const wchar_t* valueName;
  SettingKind kind;
  const wchar_t* defaultText;   ///< of a text
  std::uint32_t defaultNumber;  ///< of a REG_DWORD
};

/// The library's own settings key, below SOFTWARE\ and SOFTWARE\Policies\.
inline constexpr wchar_t kSettingsRoot[] = L"Velkor, Inc.\\Velkor Quarry";

/// How long a launch waits for redirected files, in milliseconds.
inline constexpr SettingEntry kRemoteFileTimeout = {kSettingsRoot,      true, L"Config", L"RemoteFileOpenTimeoutMs",
                                                    SettingKind::Dword, L"",  15'000};

/// The Windows policy "Do not allow drive redirection".
inline constexpr SettingEntry kDriveRedirectionDisabled = {
    L"Policies\\Microsoft\\Windows NT\\Terminal Services", false, L"", L"fDisableCdm", SettingKind::Dword, L"", 0};

/// All that the library reads: first those of the enumeration Setting, in its order.
inline constexpr std::array kSettings = {
    SettingEntry{kSettingsRoot, true, L"", L"IconCacheDir", SettingKind::Folder, L"", 0},
    SettingEntry{kSettingsRoot, true, L"", L"ScanHidden", SettingKind::Switch, L"0", 0},
    SettingEntry{kSettingsRoot, true, L"", L"ScanReparsePoints", SettingKind::Switch, L"0", 0},
    SettingEntry{kSettingsRoot, true, L"", L"MaxScanDepth", SettingKind::Number, L"20", 0},
    SettingEntry{kSettingsRoot, true, L"", L"WritableFolders", SettingKind::FolderAction, L"warn", 0},
    SettingEntry{kSettingsRoot, true, L"", L"VerboseWindowLogging", SettingKind::Switch, L"0", 0},
    kRemoteFileTimeout,
    kDriveRedirectionDisabled,
};

/// The deepest level that a scan goes down to, whatever MaxScanDepth says. Each level of the walk takes stack of the
/// host's thread. Paths of the classic length end at 130 levels; with long paths a planted tree could be as deep as
/// 16,000.
inline constexpr int kDeepestLevel = 256;

/// What a scan does with a folder that everyone can write to.
enum class FolderAction { Allow, Warn, Skip, Stop };

/// "1" and "true" are on, "0" and "false" are off, in any case; every other text is neither.
std::optional<bool> ParseSwitch(const std::wstring& text);

/// The number that the text begins with, 0 for a text without digits.
int ParseNumber(const std::wstring& text);

/// By its name in lower case, Warn for an empty text; nothing for others.
std::optional<FolderAction> ParseFolderAction(const std::wstring& text);

}  // namespace quarry
