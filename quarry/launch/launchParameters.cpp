#include "quarry/launch/launchParameters.h"

#include "quarry/diagnostics/log.h"
#include "quarry/launch/launchPolicy.h"

#include <cwchar>
#include <utility>

namespace quarry {

namespace {

const wchar_t* OrEmpty(const wchar_t* text) { return text != nullptr ? text : L""; }

bool IsType(const std::wstring& type, const wchar_t* name) { return _wcsicmp(type.c_str(), name) == 0; }

}  // namespace

std::optional<LaunchItems> ReadLaunchParameters(const LaunchRequest& request) {
  if (request.parameters == nullptr) {
    Log(LogLevel::Error, L"Expecting customized parameters but none found\n");
    return std::nullopt;
  }
  const bool allowLocalFiles = request.Has(QUARRY_LAUNCH_ALLOW_LOCAL_FILES);
  LaunchItems items;
  for (std::int32_t index = 0; index < request.parameterCount; ++index) {
    const std::wstring type = OrEmpty(request.parameters[index].type);
    const std::wstring value = OrEmpty(request.parameters[index].value);
    Log(LogLevel::Detail, L"Param: %d, Type: '%s', Value: '%s'\n", index + 1, type.c_str(), value.c_str());
    const bool isCommandLine = IsType(type, L"appCommandLine");
    if (!isCommandLine && !IsType(type, L"file-path") && !IsType(type, L"url")) {
      Log(LogLevel::Error, L"Invalid custom parameter file type: '%s'\n", type.c_str());
      return std::nullopt;
    }
    if (!IsOfAllowedLength(value)) return std::nullopt;
    if (isCommandLine) {
      items.commandLine = value;
      continue;
    }
    std::optional<AcceptedItem> item = AcceptItem(value, allowLocalFiles);
    if (!item) return std::nullopt;
    (item->kind == OpenItemKind::Url ? items.urls : items.files).push_back(std::move(item->text));
  }
  return items;
}

}  // namespace quarry
