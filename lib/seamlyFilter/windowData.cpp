#include "lib/seamlyFilter/windowData.h"

#include "lib/appUtil/windowProcess.h"
#include "lib/misc/logEntry.h"
#include "lib/misc/versionBlock.h"
#include "lib/unicode/unicode.h"

#include <windows.h>

#include <iterator>
#include <map>
#include <utility>

namespace {

constexpr char kGetData[] = "SeamlyFilterGetData";
constexpr std::size_t kMaxText = 780;  // bytes, terminator included
constexpr std::size_t kMaxKnownPrograms = 256;

/// Cut between two characters.
std::string BoundedUtf8(const std::wstring& text) {
  std::string utf8 = Unicode_Utf8FromWide(text);
  if (utf8.size() < kMaxText) return utf8;
  std::size_t length = kMaxText - 1;
  while (length > 0 && (static_cast<unsigned char>(utf8[length]) & 0xC0) == 0x80) --length;
  utf8.resize(length);
  return utf8;
}

/// Everything but the class name. What comes behind the first failure stays empty.
SeamlyFilterData ReadProgramData(const std::wstring& path, HWND window) {
  SeamlyFilterData data;
  const VersionResource resource = ReadVersionResource(path);
  if (!resource.block) {
    if (resource.failed == VersionCall::Size) {
      LogEntry(kGetData, "unable to get version info size of window 0x%p (err=%u).\n", window, resource.error);
    } else {
      LogEntry(kGetData, "GetFileVersionInfo failed for window 0x%p (err=%u).\n", window, resource.error);
    }
    return data;
  }
  const VersionBlock& block = *resource.block;
  const std::optional<VS_FIXEDFILEINFO> numbers = block.Read<VS_FIXEDFILEINFO>(L"\\");
  if (!numbers) {
    LogEntry(kGetData, "unable to get version info of window 0x%p (err=%u).\n", window, GetLastError());
    return data;
  }
  data.major = HIWORD(numbers->dwFileVersionMS);
  data.minor = LOWORD(numbers->dwFileVersionMS);
  data.build = HIWORD(numbers->dwFileVersionLS);
  data.revision = LOWORD(numbers->dwFileVersionLS);
  const std::optional<std::wstring> languageCodePage = block.FirstLanguageCodePage();
  if (!languageCodePage) {
    LogEntry(kGetData, "unable to get process translation data of window 0x%p (err=%u).\n", window, GetLastError());
    return data;
  }
  const std::optional<std::wstring> company = FindVersionString(block, *languageCodePage, L"CompanyName");
  if (!company) {
    LogEntry(kGetData, "unable to get company name of window 0x%p (err=%u).\n", window, GetLastError());
    return data;
  }
  data.company = BoundedUtf8(*company);
  const std::optional<std::wstring> product = FindVersionString(block, *languageCodePage, L"ProductName");
  if (!product) {
    LogEntry(kGetData, "unable to get product name of window 0x%p (err=%u).\n", window, GetLastError());
    return data;
  }
  data.product = BoundedUtf8(*product);
  return data;
}

/// The version data of a program's file as it was when the file was last written.
struct KnownProgram {
  FILETIME lastWrite;
  SeamlyFilterData data;
};

std::map<std::wstring, KnownProgram>& KnownPrograms() {
  static std::map<std::wstring, KnownProgram> programs;
  return programs;
}

/// Windows come in numbers from one program: its file is read again only when it has changed.
SeamlyFilterData GetProgramData(const std::wstring& path, HWND window, SeamlyFilterPrograms& seen) {
  if (const auto program = seen.find(path); program != seen.end()) return program->second;
  WIN32_FILE_ATTRIBUTE_DATA file{};
  if (GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &file) == FALSE) return ReadProgramData(path, window);
  std::map<std::wstring, KnownProgram>& programs = KnownPrograms();
  const auto known = programs.find(path);
  if (known != programs.end() && CompareFileTime(&known->second.lastWrite, &file.ftLastWriteTime) == 0) {
    return seen[path] = known->second.data;
  }
  if (programs.size() >= kMaxKnownPrograms) programs.clear();
  SeamlyFilterData data = ReadProgramData(path, window);
  programs[path] = {file.ftLastWriteTime, data};
  return seen[path] = std::move(data);
}

/// Empty, with a message, when it cannot be read.
std::wstring ReadClassName(HWND window) {
  // Microsoft Learn, WNDCLASSEXW: a class name has at most 256 characters.
  wchar_t className[256 + 1] = {};
  if (GetClassNameW(window, className, static_cast<int>(std::size(className))) == 0) {
    LogEntry(kGetData, "unable to classname of window 0x%p (err=%u)\n", window, GetLastError());
  }
  return className;
}

std::wstring ImagePathOf(HWND window) {
  const UniqueMalloc<wchar_t> path = System_GetImageFilePathForWindow(window);
  return path != nullptr ? path.get() : L"";
}

}  // namespace

std::optional<SeamlyFilterData> SeamlyFilterGetData(const SeamlyFilterWindow& window, SeamlyFilterPrograms& programs) {
  const std::wstring className = window.className.empty() ? ReadClassName(window.handle) : window.className;
  if (className.empty()) return std::nullopt;
  const std::wstring path = window.imagePath.empty() ? ImagePathOf(window.handle) : window.imagePath;
  SeamlyFilterData data;
  if (!path.empty()) data = GetProgramData(path, window.handle, programs);
  data.className = BoundedUtf8(className);
  return data;
}

void SeamlyFilterForgetPrograms() { KnownPrograms().clear(); }
