#include "lib/seamlyFilter/ruleFile.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/pathTrust.h"
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

constexpr char kProcessFolder[] = "SeamlyFilterProcessFolder";
constexpr wchar_t kFolderName[] = L"Seamly Filters";

// Microsoft Learn, "Maximum Path Length Limitation": the longest path of the wide functions, with its terminator.
constexpr DWORD kLongestPath = 32767;

/// The common application-data folder; empty when the system names none.
std::wstring CommonFolder() {
  PWSTR path = nullptr;
  const HRESULT result = SHGetKnownFolderPath(FOLDERID_ProgramData, KF_FLAG_CREATE, nullptr, &path);
  const UniqueCoTaskMem<wchar_t> owner(path);  // to be freed also when the call failed
  return SUCCEEDED(result) ? path : std::wstring();
}

/// The rules folder of the machine, which need not exist.
std::wstring MachineRulesFolder(const std::wstring& commonFolder) {
  return commonFolder.empty() ? std::wstring() : commonFolder + L"\\Velkor\\KilnServer\\" + kFolderName;
}

/// The rules folder beside the host program; empty when the system does not name the program.
std::wstring HostRulesFolder() {
  std::wstring path(kLongestPath, L'\0');
  const DWORD length = GetModuleFileNameW(nullptr, path.data(), kLongestPath);
  if (length == 0 || length == kLongestPath) return {};
  path.resize(length);
  return path.substr(0, path.find_last_of(L'\\') + 1) + kFolderName;
}

void Count(const std::wstring& text, SkippedRules& skipped) {
  if (skipped.count++ == 0) skipped.first = text;
}

void Skip(const char* function, const std::wstring& path, const std::wstring& reason, SkippedRules& skipped) {
  const std::wstring text = path + L", " + reason;
  LogEntry(function, "skipping %s\n", Unicode_Utf8FromWide(text).c_str());
  Count(text, skipped);
}

std::wstring ReasonOf(const PathJudgement& judgement) {
  return L"owner " + judgement.owner + L": " + ReasonFor(judgement.distrust);
}

/// A folder that is not there is not to be worried about: others may have made those above it for something else.
bool IsFolderTrusted(const std::wstring& folder, const std::wstring& commonFolder, const PathTrust& trust,
                     SkippedRules& skipped) {
  if (GetFileAttributesW(folder.c_str()) == INVALID_FILE_ATTRIBUTES) return true;
  for (const JudgedFolder& part : trust.FoldersToJudge(folder, commonFolder)) {
    const PathJudgement judgement = trust.JudgeFolder(part);
    if (judgement.takenOver) {
      LogEntry(kProcessFolder, "only administrators may write to %s from now on\n",
               Unicode_Utf8FromWide(part.path).c_str());
    }
    if (judgement.IsTrusted()) continue;
    Skip(kProcessFolder, part.path, ReasonOf(judgement), skipped);
    return false;
  }
  return true;
}

/// A stream takes the file over, in text mode.
UniqueStdFile StreamOf(UniqueFile file) {
  if (!file) return {};
  const int descriptor = _open_osfhandle(reinterpret_cast<std::intptr_t>(file.get()), _O_RDONLY | _O_TEXT);
  if (descriptor < 0) return {};
  static_cast<void>(file.release());  // the descriptor's now
  UniqueStdFile stream(_fdopen(descriptor, "rt"));
  if (!stream) _close(descriptor);
  return stream;
}

}  // namespace

UniqueFile OpenRuleFile(const std::wstring& path) {
  UniqueFile file = OpenRegularFile(path, FILE_SHARE_READ | FILE_SHARE_WRITE);
  const std::optional<std::uint64_t> size = file ? SizeOfFile(file.get()) : std::nullopt;
  if (!size) return {};
  if (*size <= kLargestRuleFile) return file;
  SetLastError(ERROR_FILE_TOO_LARGE);
  return {};
}

RuleFileReader::RuleFileReader(UniqueFile file) : file_(StreamOf(std::move(file))) {
  if (IsOpen()) SkipByteOrderMark();
}

bool RuleFileReader::Fill() {
  position_ = 0;
  filled_ = std::fread(buffer_.data(), 1, std::min(buffer_.size(), remaining_), file_.get());
  remaining_ -= filled_;
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

bool SeamlyFilterProcessFile(const std::wstring& path, const char* context, const PathTrust& trust,
                             SkippedRules& skipped) {
  UniqueFile file = OpenRuleFile(path);
  if (!file && GetLastError() == ERROR_FILE_TOO_LARGE) {
    Skip(__func__, path, L"it is too large", skipped);
    return false;
  }
  const PathJudgement judgement = file ? trust.JudgeFile(file.get()) : PathJudgement();
  if (!judgement.IsTrusted()) {
    Skip(__func__, path, ReasonOf(judgement), skipped);
    return false;
  }
  RuleFileReader reader(std::move(file));
  if (!reader.IsOpen()) {
    LogEntry(__func__, "unable to open %s\n", Unicode_Utf8FromWide(path).c_str());
    Count(path + L", it cannot be opened", skipped);
    return false;
  }
  RuleReading reading{context};
  while (const std::optional<RuleLine> line = reader.Next()) SeamlyFilterParseLine(line->text, reading);
  SeamlyFilterEndRule(reading);
  return true;
}

bool SeamlyFilterProcessFolder(const std::wstring& folder, const char* context, const PathTrust& trust,
                               SkippedRules& skipped) {
  WIN32_FIND_DATAW entry{};
  const UniqueFind search(FindFirstFileExW((folder + L"\\*").c_str(), FindExInfoBasic, &entry, FindExSearchNameMatch,
                                           nullptr, FIND_FIRST_EX_LARGE_FETCH));
  if (!search) return false;
  int files = 0;
  do {
    if ((entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0) continue;
    if (++files > kMostRuleFiles) {
      Skip(__func__, folder + L'\\' + entry.cFileName, L"there are too many files", skipped);
      break;
    }
    SeamlyFilterProcessFile(folder + L'\\' + entry.cFileName, context, trust, skipped);
  } while (FindNextFileW(search.get(), &entry) != FALSE);
  return true;
}

SkippedRules SeamlyFilterProcessRulesFolder(const char* context) {
  const PathTrust trust;
  const std::wstring commonFolder = CommonFolder();
  SkippedRules skipped;
  for (const std::wstring& folder : {MachineRulesFolder(commonFolder), HostRulesFolder()}) {
    if (!folder.empty() && IsFolderTrusted(folder, commonFolder, trust, skipped) &&
        SeamlyFilterProcessFolder(folder, context, trust, skipped)) {
      break;
    }
  }
  return skipped;
}
