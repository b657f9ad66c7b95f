#include "quarry/config/settingTable.h"

#include <cstdlib>
#include <cwchar>

namespace quarry {

std::optional<bool> ParseSwitch(const std::wstring& text) {
  if (text == L"1" || _wcsicmp(text.c_str(), L"true") == 0) return true;
  if (text == L"0" || _wcsicmp(text.c_str(), L"false") == 0) return false;
  return std::nullopt;
}

int ParseNumber(const std::wstring& text) { return _wtoi(text.c_str()); }

std::optional<FolderAction> ParseFolderAction(const std::wstring& text) {
  if (text == L"allow") return FolderAction::Allow;
  if (text.empty() || text == L"warn") return FolderAction::Warn;
  if (text == L"skip") return FolderAction::Skip;
  if (text == L"stop") return FolderAction::Stop;
  return std::nullopt;
}

}  // namespace quarry
