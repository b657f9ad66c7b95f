#include "tools/quarryctl/scanQuestion.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/paths.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

namespace quarryctl {
namespace {

bool IsPath(const std::wstring& question) { return question.find_first_of(L"\\/:") != std::wstring::npos; }

bool Holds(const std::wstring& text, const std::wstring& folded) {
  return Unicode_FoldCase(text).find(folded) != std::wstring::npos;
}

/// Whether `path` is `folder` or lies below it.
bool IsWithin(const std::wstring& path, const std::wstring& folder) {
  const std::wstring whole = Unicode_FoldCase(path);
  std::wstring start = Unicode_FoldCase(folder);
  if (whole == start) return true;
  if (!start.ends_with(L'\\')) start += L'\\';
  return whole.starts_with(start);
}

/// Why the scan never came to `path`.
std::string WhyNotMet(const ScanTrail& trail, const std::wstring& path) {
  if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) {
    return "there is no such file, error " + std::to_string(GetLastError());
  }
  // The last one is the nearest: what lies below a folder is entered behind it.
  const TrailEntry* nearest = nullptr;
  for (const TrailEntry& entry : trail.Entries()) {
    if (entry.isFolder && IsWithin(path, entry.path)) nearest = &entry;
  }
  if (nearest == nullptr) {
    std::string roots;
    for (const std::wstring& root : trail.Roots()) roots += (roots.empty() ? "" : ", ") + Unicode_Utf8FromWide(root);
    return "no filter leads there, only to: " + (roots.empty() ? "nothing" : roots);
  }
  const std::string folder = Unicode_Utf8FromWide(nearest->path);
  if (nearest->fate == Fate::LeftOut) return "the folder " + folder + " was left out: " + nearest->reason;
  return "it was not there when " + folder + " was scanned";
}

}  // namespace

std::vector<TrailEntry> Answer(const ScanTrail& trail, const std::wstring& question) {
  std::vector<TrailEntry> answer;
  const std::vector<TrailEntry>& entries = trail.Entries();
  if (!IsPath(question)) {
    const std::wstring folded = Unicode_FoldCase(question);
    std::copy_if(entries.begin(), entries.end(), std::back_inserter(answer), [&folded](const TrailEntry& entry) {
      return Holds(entry.path, folded) || Holds(entry.name, folded) || Holds(entry.target, folded) ||
             Holds(Unicode_WideFromUtf8(entry.reason), folded);
    });
    return answer;
  }
  const std::wstring path = AbsolutePath(question);
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(answer),
               [&path](const TrailEntry& entry) { return IsWithin(entry.path, path); });
  if (answer.empty()) answer.push_back({path, false, Fate::LeftOut, WhyNotMet(trail, path), {}, {}, {}});
  return answer;
}

}  // namespace quarryctl
