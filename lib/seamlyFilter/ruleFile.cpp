#include "lib/seamlyFilter/ruleFile.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/platformHandles.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <knownfolders.h>
#include <shlobj.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

namespace {

constexpr wchar_t kFolderName[] = L"Seamly Filters";

// Microsoft Learn, "Maximum Path Length Limitation": the longest path of the wide functions, with its terminator.
constexpr DWORD kLongestPath = 32767;

// More than any administrator writes, and little enough to be read at a start whatever lies there.
constexpr LONGLONG kLargestFile = LONGLONG{1} << 20;
constexpr int kMostFiles = 256;

/// The folder for the data of all users; empty when the system names none.
std::wstring CommonDataFolder() {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, &path);
  const UniqueCoTaskMem<wchar_t> owner(path);  // to be freed also when the call failed
  return SUCCEEDED(result) ? std::wstring(path) : std::wstring();
}

/// The rules folder beside the host program; empty when the system does not name the program.
std::wstring HostRulesFolder() {
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  if (length == 0 || length == kLongestPath) return {};
  path.resize(length);
  return path.substr(0, path.find_last_of(L'\\') + 1) + kFolderName;
}

/// In text mode. Only a regular file: what bears the name of one can be a device or lead elsewhere.
UniqueStdFile OpenText(const std::wstring& path) {
  UniqueFile file = OpenRegularFile(path);
  const int descriptor = file ? _open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), _O_RDONLY | _O_TEXT) : -1;
  if (descriptor < 0) return {};
  static_cast<void>(file.release());  // the descriptor owns it now
  UniqueStdFile text(_fdopen(descriptor, "rt"));
  if (!text) _close(descriptor);
  return text;
}

void LeaveOut(Distrust distrust, RulesLeftOut& leftOut) {
  LogEntry("SeamlyFilterProcessFolder", "left out %s (owner %s), which %s\n",
           Unicode_Utf8FromWide(distrust.path).c_str(), Unicode_Utf8FromWide(distrust.owner).c_str(),
           Unicode_Utf8FromWide(distrust.reason).c_str());
  leftOut.push_back(std::move(distrust));
}

/// Why the open file is not read, if it is not.
std::optional<Distrust> ReasonToLeaveOut(HANDLE file, const std::wstring& path) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(file, &size) == FALSE || size.QuadPart > kLargestFile) {
    return Distrust{path, {}, L"is larger than 1 MiB"};
  }
  return IsPrivilegedProcess() ? FindDistrust(file, path, TrustedUse::Content) : std::nullopt;
}

}  // namespace

RuleFileReader::RuleFileReader(const std::wstring& path) : file_(OpenText(path)) {
  if (IsOpen()) SkipByteOrderMark();
}

HANDLE RuleFileReader::Handle() const { return reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file_.get()))); }

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

bool SeamlyFilterProcessFile(const std::wstring& path, const char* context, RulesLeftOut& leftOut) {
  RuleFileReader reader(path);
  if (!reader.IsOpen()) {
    LogEntry(__func__, "unable to open %s\n", Unicode_Utf8FromWide(path).c_str());
    return false;
  }
  if (std::optional<Distrust> reason = ReasonToLeaveOut(reader.Handle(), path)) {
    LeaveOut(std::move(*reason), leftOut);
    return true;
  }
  RuleReading reading{context};
  while (const std::optional<RuleLine> line = reader.Next()) SeamlyFilterParseLine(line->text, reading);
  SeamlyFilterEndRule(reading);
  return true;
}

bool SeamlyFilterProcessFolder(const std::wstring& folder, const char* context, RulesLeftOut& leftOut) {
  WIN32_FIND_DATAW entry{};
  const UniqueFind search(FindFirstFileExW((folder + L"\\*").c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!search) return false;
  int files = 0;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    const std::wstring path = folder + L'\\' + entry.cFileName;
    if (++files > kMostFiles) {
      LeaveOut({path, {}, L"is one more than 256"}, leftOut);
      break;
    }
    SeamlyFilterProcessFile(path, context, leftOut);
  } while (FindNextFileW(search.get(), &entry) != FALSE);
  return true;
}

RulesLeftOut SeamlyFilterProcessRulesFolder(const char* context) {
  RulesLeftOut leftOut;
  const std::wstring commonData = CommonDataFolder();
  const std::wstring machine =
      commonData.empty() ? std::wstring() : commonData + L"\\Velkor\\KilnServer\\" + kFolderName;
  for (const std::wstring& folder : {machine, HostRulesFolder()}) {
    if (folder.empty() || GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) continue;
    std::optional<Distrust> distrust = IsPrivilegedProcess() ? FindDistrustOnPath(commonData, folder) : std::nullopt;
    if (distrust) {
      LeaveOut(std::move(*distrust), leftOut);
    } else if (SeamlyFilterProcessFolder(folder, context, leftOut)) {
      break;
    }
  }
  return leftOut;
}
