#include "quarry/boundary/applicationMap.h"
#include "quarry/boundary/guarded.h"
#include "quarry/boundary/recordArray.h"
#include "quarry/diagnostics/objectCounters.h"
#include "quarry/diagnostics/timers.h"
#include "quarry/facade/quarry.h"
#include "quarry/quarry.h"
#include "quarry/scan/filterDefinitions.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

using quarry::AllocateZeroed;
using quarry::ApplicationList;
using quarry::ApplicationMap;
using quarry::ApplicationPtr;
using quarry::ExtensionPtr;
using quarry::Guarded;
using quarry::IconPtr;
using quarry::Log;
using quarry::LogLevel;
using quarry::RecordArray;
using quarry::RegisteredExtensions;
using quarry::ScanFilterList;
using quarry::ScanFilterPtr;

namespace {

// A plain pointer: an owner would destroy the facade when the library is unloaded without Quarry_Exit, under the
// loader lock, where its window and COM objects must not be touched.
quarry::Quarry* g_quarry = nullptr;

const wchar_t* OrNull(const wchar_t* text) { return text != nullptr ? text : L"(null)"; }

void LeaveMap(const QuarryApplicationInfo& record) {
  if (ApplicationMap::Instance().Remove(&record)) return;
  Log(LogLevel::Detail, L"Unable to find application %s in map.", OrNull(record.path));
}

QuarryIconInfo* HandOutIcon(const IconPtr& icon) {
  if (icon == nullptr) return nullptr;
  RecordArray<QuarryIconInfo> record(1);
  record.Append(*icon);
  return record.Release();
}

QuarryApplicationInfo* HandOutApplications(const ApplicationList& applications) {
  RecordArray<QuarryApplicationInfo> records(applications.size());
  std::vector<const QuarryApplicationInfo*> entered;
  entered.reserve(applications.size());
  try {
    for (const ApplicationPtr& application : applications) {
      entered.push_back(&records.Append(*application));
      ApplicationMap::Instance().Enter(entered.back(), application);
    }
  } catch (...) {
    for (const QuarryApplicationInfo* record : entered) ApplicationMap::Instance().Remove(record);
    throw;
  }
  return records.Release();
}

QuarryApplicationInfo* HandOutApplication(const ApplicationPtr& application) {
  return application != nullptr ? HandOutApplications({application}) : nullptr;
}

QuarryExtensionList* HandOutExtensions(const RegisteredExtensions& extensions) {
  RecordArray<QuarryExtensionEntry> entries(extensions.GetEntries().size());
  for (const ExtensionPtr& extension : extensions.GetEntries()) entries.Append(*extension);
  UniqueMalloc<QuarryExtensionList> list = AllocateZeroed<QuarryExtensionList>(1);
  *list = {extensions.GetCount(), entries.Release()};
  return list.release();
}

void RunFilters(const ScanFilterList& filters, QuarryApplicationInfo** outApps, std::uint64_t* outCount) {
  *outCount = 0;
  ApplicationList all;
  for (const ScanFilterPtr& filter : filters) {
    for (const std::wstring& path : filter->GetPaths()) {
      Log(LogLevel::Detail, L"Filter has base path: %s", path.c_str());
    }
    ApplicationList found;
    g_quarry->ScanWithFilter(*filter, found);
    Log(LogLevel::Detail, L"Filter returned %u apps", static_cast<std::uint32_t>(found.size()));
    std::move(found.begin(), found.end(), std::back_inserter(all));
  }
  if (all.empty()) return;
  *outApps = HandOutApplications(all);
  *outCount = all.size();
}

void FillTable(QuarryFunctions& table) {
  table = {Quarry_Exit,
           Quarry_ReportDebugInfo,
           Quarry_GetOpenWindows,
           Quarry_ScanApplicationsUsingIniFile,
           Quarry_ScanApplications,
           Quarry_GetApplication,
           Quarry_GetApplicationIcon,
           Quarry_GetIcon,
           Quarry_GetIconData,
           Quarry_GetApplicationRegisteredExtensions,
           Quarry_VerifyApplication,
           Quarry_LaunchApplication,
           Quarry_FreeIcon,
           Quarry_FreeRegisteredExtensions,
           Quarry_FreeApplication,
           Quarry_FreeApplications,
           std::free,  // what quarry.def exports as Quarry_FreeIconData
           Quarry_FreeWindows};
}

}  // namespace

void Quarry_Init(QuarryLogFn log, uint32_t buildFileTypeDatabase, QuarryFunctions* table) {
  Guarded(__func__, [=] {
    if (g_quarry == nullptr) g_quarry = quarry::CreateQuarry(log, buildFileTypeDatabase != 0).release();
  });
  if (table != nullptr) FillTable(*table);
}

void Quarry_Exit() {
  Guarded(__func__, [] {
    ApplicationMap::Instance().Clear();
    const std::unique_ptr<quarry::Quarry> last(std::exchange(g_quarry, nullptr));
  });
}

int32_t Quarry_ReportDebugInfo() {
  return Guarded(__func__, [] {
    quarry::ReportLeaks(true);
    return quarry::ReportTimers();
  });
}

void Quarry_GetOpenWindows(QuarryWindowInfo** outWindows, uint64_t* outCount) {
  if (g_quarry == nullptr || outWindows == nullptr || outCount == nullptr) return;
  Guarded(__func__, [=] {
    *outWindows = nullptr;
    *outCount = 0;
    const quarry::WindowList windows = g_quarry->GetOpenWindows();
    if (windows.empty()) return;
    RecordArray<QuarryWindowInfo> records(windows.size());
    for (const quarry::WindowPtr& window : windows) records.Append(*window);
    *outWindows = records.Release();
    *outCount = windows.size();
  });
}

void Quarry_ScanApplicationsUsingIniFile(const wchar_t* iniPath, QuarryApplicationInfo** outApps, uint64_t* outCount) {
  if (g_quarry == nullptr || iniPath == nullptr || outApps == nullptr || outCount == nullptr) return;
  Guarded(__func__, [=] {
    ScanFilterList filters;
    if (*iniPath == L'\0') {
      quarry::GetConfiguredFilters(filters);
    } else {
      filters = quarry::LoadFiltersFromIniFile(iniPath);
    }
    if (filters.empty()) {
      Log(LogLevel::Error, L"No filters in INI file!\n");
      return;
    }
    RunFilters(filters, outApps, outCount);
  });
}

void Quarry_ScanApplications(const wchar_t* const* paths, uint64_t count, QuarryApplicationInfo** outApps,
                             uint64_t* outCount) {
  if (g_quarry == nullptr || outApps == nullptr || outCount == nullptr) return;
  Guarded(__func__, [=] {
    ScanFilterList filters;
    if (count == 0) quarry::GetConfiguredFilters(filters);
    for (uint64_t index = 0; index < count; ++index) {
      const wchar_t* const path = paths != nullptr ? paths[index] : nullptr;
      filters.push_back(quarry::MakeSinglePathFilter(L"name", path != nullptr ? path : L""));
    }
    RunFilters(filters, outApps, outCount);
  });
}

QuarryApplicationInfo* Quarry_GetApplication(const wchar_t* path) {
  if (g_quarry == nullptr || path == nullptr) return nullptr;
  return Guarded(__func__, [=] { return HandOutApplication(g_quarry->GetApplication(path)); });
}

QuarryIconInfo* Quarry_GetApplicationIcon(const QuarryApplicationInfo* app, uint64_t index) {
  if (g_quarry == nullptr || app == nullptr || app->path == nullptr) return nullptr;
  return Guarded(__func__, [=]() -> QuarryIconInfo* {
    const ApplicationPtr application = ApplicationMap::Instance().Find(app);
    if (application == nullptr) {
      Log(LogLevel::Error, L"Unable to find application %s in internal map.\n", app->path);
      return nullptr;
    }
    return HandOutIcon(application->GetIcon(index));
  });
}

QuarryIconInfo* Quarry_GetIcon(const wchar_t* name) {
  if (g_quarry == nullptr || name == nullptr) return nullptr;
  return Guarded(__func__, [=] { return HandOutIcon(g_quarry->GetIcon(name)); });
}

int32_t Quarry_GetIconData(const wchar_t* name, void** outData, uint64_t* outSize) {
  if (g_quarry == nullptr || name == nullptr || outData == nullptr || outSize == nullptr) return 0;
  return Guarded(__func__, [=] {
    *outSize = 0;
    const std::vector<std::uint8_t> data = g_quarry->GetIconData(name);
    if (data.empty()) return 0;
    UniqueMalloc<std::uint8_t> block = AllocateZeroed<std::uint8_t>(data.size());
    std::memcpy(block.get(), data.data(), data.size());
    *outData = block.release();
    *outSize = data.size();
    return 1;
  });
}

QuarryExtensionList* Quarry_GetApplicationRegisteredExtensions(const wchar_t* path) {
  if (g_quarry == nullptr || path == nullptr) return nullptr;
  return Guarded(__func__, [=] { return HandOutExtensions(*g_quarry->GetApplicationRegisteredExtensions(path)); });
}

int32_t Quarry_VerifyApplication(const wchar_t* path) {
  if (g_quarry == nullptr || path == nullptr) return 0;
  return Guarded(__func__, [=] { return g_quarry->VerifyApplication(path) ? 1 : 0; });
}

uint32_t Quarry_LaunchApplication(const wchar_t* path, uint32_t flags, const wchar_t* arguments,
                                  const wchar_t* workingDirectory, int32_t parameterCount,
                                  const QuarryLaunchParameter* parameters) {
  if (g_quarry == nullptr || path == nullptr || arguments == nullptr || workingDirectory == nullptr) {
    return QUARRY_LAUNCH_REFUSED;
  }
  return Guarded(__func__, QUARRY_LAUNCH_REFUSED, [=] {
    return g_quarry->LaunchApplication(path, flags, arguments, workingDirectory, parameterCount, parameters);
  });
}

void Quarry_FreeIcon(QuarryIconInfo* icon) {
  if (icon == nullptr) return;
  quarry::FreeStrings(*icon);
  std::free(icon);
}

void Quarry_FreeRegisteredExtensions(QuarryExtensionList* list) {
  if (list == nullptr) return;
  for (uint64_t index = 0; index < list->count; ++index) quarry::FreeStrings(list->entries[index]);
  std::free(list->entries);
  std::free(list);
}

void Quarry_FreeApplication(QuarryApplicationInfo* app) { Quarry_FreeApplications(app, 1); }

void Quarry_FreeApplications(QuarryApplicationInfo* apps, uint64_t count) {
  if (apps == nullptr) return;
  for (uint64_t index = 0; index < count; ++index) {
    Guarded(__func__, [=] { LeaveMap(apps[index]); });
    quarry::FreeStrings(apps[index]);
  }
  std::free(apps);
}

void Quarry_FreeWindows(QuarryWindowInfo* windows, uint64_t count) {
  if (windows == nullptr) return;
  for (uint64_t index = 0; index < count; ++index) quarry::FreeStrings(windows[index]);
  std::free(windows);
}
