#include "quarry/facade/quarryImpl.h"

#include "quarry/apps/abstractApp.h"
#include "quarry/config/settingTable.h"
#include "quarry/fileTypes/registeredExtensionsImpl.h"
#include "quarry/icons/hash.h"
#include "quarry/launch/hiddenWindow.h"

#include "lib/fileTypes/fileTypeDiscovery.h"
#include "lib/misc/tickCount.h"

#include <new>

namespace quarry {

namespace {

/// Stores the callback ahead of the members that already report through it.
std::unique_ptr<Config> MakeConfig(LogCallback log) {
  SetLogCallback(log);
  return std::make_unique<Config>();
}

constexpr std::uint64_t kFileTypesLifetimeMilliseconds = 15000;

/// Returns the tick count after the build.
std::uint64_t BuildFileTypes() {
  const std::uint64_t started = TickCount_Now();
  AppUtil_BuildGlobalApplicationList(kFileTypesProtocols);
  const std::uint64_t ended = TickCount_Now();
  Log(LogLevel::Notable, L"Building the file extension database took %u ms.\n",
      static_cast<std::uint32_t>(ended - started));
  return ended;
}

}  // namespace

std::unique_ptr<Quarry> CreateQuarry(LogCallback log, bool buildFileTypeDatabase) {
  return std::make_unique<QuarryImpl>(log, buildFileTypeDatabase);
}

QuarryImpl::QuarryImpl(LogCallback log, bool buildFileTypeDatabase)
    : fileTypesEnabled_(buildFileTypeDatabase),
      config_(MakeConfig(log)),
      iconBoss_(IconBoss::Create(*config_)),
      windowManager_(std::make_unique<WindowManager>()),
      hiddenWindow_(CreateHiddenWindow()),
      fileTypesBuiltAt_(buildFileTypeDatabase ? BuildFileTypes() : 0),
      settingsKey_(std::make_unique<Registry>(kSettingsRoot, true)),
      launcher_(*settingsKey_, iconBoss_.get(), hiddenWindow_.get(), *windowManager_) {
  rules_.Report();
}

QuarryImpl::~QuarryImpl() { Hash::ReleaseProvider(); }

bool QuarryImpl::ScanDefault(ApplicationList& results) { return Scanner().ScanDefault(results); }

bool QuarryImpl::ScanWithFilter(const ScanFilter& filter, ApplicationList& results) {
  return Scanner().ScanWithFilter(filter, results);
}

void QuarryImpl::ScanPath(const std::wstring& path, ApplicationList& results) { Scanner().ScanPath(path, results); }

ApplicationPtr QuarryImpl::GetApplication(const std::wstring& path) {
  return AbstractApp::NewAppFromPath(iconBoss_.get(), path);
}

IconPtr QuarryImpl::GetIcon(const std::wstring& name) {
  return iconBoss_ != nullptr ? iconBoss_->GetIcon(name) : nullptr;
}

std::vector<std::uint8_t> QuarryImpl::GetIconData(const std::wstring& name) {
  if (const IconPtr icon = GetIcon(name)) return iconBoss_->ReadIcon(*icon);
  Log(LogLevel::Error, L"Unknown icon %s\n", name.c_str());
  return {};
}

RegisteredExtensionsPtr QuarryImpl::GetApplicationRegisteredExtensions(const wchar_t* path) {
  if (!fileTypesEnabled_) throw std::bad_alloc();
  if (TickCount_Now() - fileTypesBuiltAt_ >= kFileTypesLifetimeMilliseconds) fileTypesBuiltAt_ = BuildFileTypes();
  return std::make_shared<RegisteredExtensionsImpl>(path);
}

bool QuarryImpl::VerifyApplication(const std::wstring& path) { return AbstractApp::IsAppFile(path); }

WindowList QuarryImpl::GetOpenWindows() {
  return windowManager_->Enumerate({L"", true, WindowCriteria::kMatchVisibility});
}

std::uint32_t QuarryImpl::LaunchApplication(const std::wstring& path, std::uint32_t flags,
                                            const std::wstring& arguments, const std::wstring& workingDirectory,
                                            std::int32_t parameterCount, const QuarryLaunchParameter* parameters) {
  return launcher_.Launch({path, flags, arguments, workingDirectory, parameterCount, parameters});
}

}  // namespace quarry
