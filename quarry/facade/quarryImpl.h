#pragma once

#include "quarry/apps/comInterface.h"
#include "quarry/config/config.h"
#include "quarry/diagnostics/objectCounters.h"
#include "quarry/facade/quarry.h"
#include "quarry/facade/ruleLifetime.h"
#include "quarry/icons/iconBoss.h"
#include "quarry/launch/launcher.h"
#include "quarry/windows/windowManager.h"

#include "lib/misc/platformHandles.h"

namespace quarry {

/// The one object behind the exports: owns all that lives as long as the library is in use.
class QuarryImpl : public Quarry {
 public:
  QuarryImpl(LogCallback log, bool buildFileTypeDatabase);
  ~QuarryImpl() override;
  QuarryImpl(const QuarryImpl&) = delete;
  QuarryImpl& operator=(const QuarryImpl&) = delete;

  bool ScanDefault(ApplicationList& results) override;
  bool ScanWithFilter(const ScanFilter& filter, ApplicationList& results) override;
  void ScanPath(const std::wstring& path, ApplicationList& results) override;
  ApplicationPtr GetApplication(const std::wstring& path) override;
  IconPtr GetIcon(const std::wstring& name) override;
  std::vector<std::uint8_t> GetIconData(const std::wstring& name) override;
  RegisteredExtensionsPtr GetApplicationRegisteredExtensions(const wchar_t* path) override;
  bool VerifyApplication(const std::wstring& path) override;
  WindowList GetOpenWindows() override;
  std::uint32_t LaunchApplication(const std::wstring& path, std::uint32_t flags, const std::wstring& arguments,
                                  const std::wstring& workingDirectory, std::int32_t parameterCount,
                                  const QuarryLaunchParameter* parameters) override;

 private:
  DirectoryScanner Scanner() const { return {*config_, iconBoss_.get()}; }

  RuleLifetime rules_;  // outlives the rest
  bool fileTypesEnabled_;
  ObjectCount count_{"QuarryImpl"};
  std::unique_ptr<Config> config_;
  std::unique_ptr<IconBoss> iconBoss_;  // null when there is no place for icons; all else works without
  std::unique_ptr<WindowManager> windowManager_;
  ComReference comInterface_;
  UniqueWindow hiddenWindow_;
  std::uint64_t fileTypesBuiltAt_;  // tick count after the last build of the file-type database; 0 without one
  std::unique_ptr<Registry> settingsKey_;
  Launcher launcher_;
};

}  // namespace quarry
