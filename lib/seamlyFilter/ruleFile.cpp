#include "lib/seamlyFilter/ruleFile.h"

#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace {

constexpr wchar_t kFolderName[] = L"Seamly Filters";

// Microsoft Learn, "Maximum Path Length Limitation": the longest path of the wide functions, with its terminator.
constexpr DWORD kLongestPath = 32767;

/// The rules folder of the machine, which need not exist; empty when the system names no place for it.
std::wstring MachineRulesFolder() {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, &path);
  const UniqueCoTaskMem<wchar_t> owner(path);  // to be freed also when the call failed
  return SUCCEEDED(result) ? std::wstring(path) + L"\\Velkor\\KilnServer\\" + kFolderName : std::wstring();
}

/// The rules folder beside the host program; empty when the system does not name the program.
std::wstring HostRulesFolder() {
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  if (length == 0 || length == kLongestPath) return {};
  path.resize(length);
  return path.substr(0, path.find_last_of(L'\\') + 1) + kFolderName;
}

}  // namespace

RuleFileReader::RuleFileReader(const std::wstring& path) : file_(_wfopen(path.c_str(), L"rt")) {
  if (IsOpen()) SkipByteOrderMark();
}

bool RuleFileReader::Fill() {
  position_ = 0;
  filled_ = std::fread(buffer_.data(), 1, buffer_.size(), file_.get());
  return filled_ > 0;
}

void RuleFileReader::SkipByteOrderMark() {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (Fill() && std::string_view(buffer_.data(), filled_).starts_with(kMark)) position_ = kMark.size();
}

std::optional<RuleLine> RuleFileReader::Next() {
  RuleLine line;
  bool atEnd = true;
  bool textEnded = false;
  while (position_ < filled_ || Fill()) {
    atEnd = false;
    const char character = buffer_[position_++];
    if (character == '\n') break;
    textEnded = textEnded || character == '\0';
    if (textEnded) continue;
    if (line.text.size() < kMaxRuleText - 1) {
      line.text += character;
    } else {
      line.cut = true;
    }
  }
  if (atEnd) return std::nullopt;
  return line;
}

RuleKey SeamlyFilterParseLine(std::string_view line, RuleReading& reading) {
  if (line.empty() || line.front() == '#') return RuleKey::None;
  if (line == "BeginRule") {
    if (!SeamlyFilterBeginRule(reading)) LogEntry(__func__, "Too many rule sets.\n");
    return RuleKey::None;
  }
  if (line == "EndRule") {
    SeamlyFilterEndRule(reading);
    return RuleKey::None;
  }
  if (reading.begun == 0 || reading.notApplicable) return RuleKey::None;

  const std::optional<RuleText> text = SeamlyFilterSplitText(line);
  const RuleKey key = text ? SeamlyFilterKeyOf(text->key) : RuleKey::None;
  if (key == RuleKey::None) {
    LogEntry(__func__, "bad token or whitespace '%s'\n", std::string(line).c_str());
    return RuleKey::None;
  }
  LogEntry(__func__, "lhs %s rhs %s type %d\n", std::string(text->key).c_str(), std::string(text->value).c_str(),
           static_cast<int>(key));
  SeamlyFilterAddItem(reading, key, text->value);
  return key;
}

bool SeamlyFilterProcessFile(const std::wstring& path, const char* context) {
  RuleFileReader reader(path);
  if (!reader.IsOpen()) {
    LogEntry(__func__, "unable to open %s\n", Unicode_Utf8FromWide(path).c_str());
    return false;
  }
  RuleReading reading{context};
  while (const std::optional<RuleLine> line = reader.Next()) SeamlyFilterParseLine(line->text, reading);
  SeamlyFilterEndRule(reading);
  return true;
}

bool SeamlyFilterProcessFolder(const std::wstring& folder, const char* context) {
  WIN32_FIND_DATAW entry{};
  const UniqueFind search(FindFirstFileExW((folder + L"\\*").c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!search) return false;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    SeamlyFilterProcessFile(folder + L'\\' + entry.cFileName, context);
  } while (FindNextFileW(search.get(), &entry) != FALSE);
  return true;
}

void SeamlyFilterProcessRulesFolder(const char* context) {
  for (const std::wstring& folder : {MachineRulesFolder(), HostRulesFolder()}) {
    if (!folder.empty() && SeamlyFilterProcessFolder(folder, context)) return;
  }
}
