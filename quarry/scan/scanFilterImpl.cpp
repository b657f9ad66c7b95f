#include "quarry/scan/scanFilterImpl.h"

#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

#include "lib/string/str.h"

#include <windows.h>

#include <shlwapi.h>

#include <algorithm>

namespace quarry {

namespace {

bool MatchesAny(const std::wstring& fileName, const std::vector<std::wstring>& patterns) {
  return std::any_of(patterns.begin(), patterns.end(), [&](const std::wstring& pattern) {
    return PathMatchSpecW(fileName.c_str(), pattern.c_str()) != FALSE;
  });
}

}  // namespace

ScanFilterImpl::ScanFilterImpl(std::wstring name, std::vector<std::wstring> paths)
    : name_(std::move(name)), paths_(std::move(paths)) {}

bool ScanFilterImpl::Accepts(const std::wstring& path) const {
  const std::wstring fileName = SplitPath(path).fileName;
  if (!includes_.empty() && !MatchesAny(fileName, includes_)) {
    Log(LogLevel::Detail, L"Application %s not accepted by white list\n", fileName.c_str());
    return false;
  }
  if (MatchesAny(fileName, excludes_)) {
    Log(LogLevel::Detail, L"Application %s rejected by black list\n", fileName.c_str());
    return false;
  }
  return true;
}

ScanFilterPtr MakeFilter(const std::wstring& name, const std::wstring& pathsString, const std::wstring& excludesString,
                         const std::wstring& includesString) {
  auto filter = std::make_shared<ScanFilterImpl>(name, Str_Split(pathsString, L';'));
  filter->SetExcludes(Str_Split(excludesString, L';'));
  filter->SetIncludes(Str_Split(includesString, L';'));
  return filter;
}

ScanFilterPtr MakeSinglePathFilter(const std::wstring& name, const std::wstring& /*path*/) {
  return std::make_shared<ScanFilterImpl>(name, std::vector<std::wstring>());
}

void EnsureDefaultFilters(ScanFilterList& list) {
  if (!list.empty()) return;
  list.push_back(MakeFilter(L"Standard", L"%CommonStartMenu%;%DefaultStartMenu%", L"", L"*.lnk"));
  list.push_back(MakeFilter(L"Internet Explorer",
                            L"%ProgramFiles%\\Internet Explorer;%ProgramFiles(x86)%\\Internet Explorer", L"",
                            L"iexplore.exe"));
}

}  // namespace quarry
