#include "quarry/scan/scanFilterImpl.h"

#include "quarry/diagnostics/log.h"
#include "quarry/paths/pathParts.h"

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

ScanFilterImpl::ScanFilterImpl(std::wstring name, FilterLists lists)
    : name_(std::move(name)), lists_(std::move(lists)) {}

bool ScanFilterImpl::Accepts(const std::wstring& path) const {
  const std::wstring fileName = SplitPath(path).fileName;
  if (!lists_.includes.empty() && !MatchesAny(fileName, lists_.includes)) {
    Log(LogLevel::Detail, L"Application %s not accepted by white list\n", fileName.c_str());
    return false;
  }
  if (MatchesAny(fileName, lists_.excludes)) {
    Log(LogLevel::Detail, L"Application %s rejected by black list\n", fileName.c_str());
    return false;
  }
  return true;
}

}  // namespace quarry
