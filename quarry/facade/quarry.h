#pragma once

#include "quarry/apps/application.h"
#include "quarry/diagnostics/log.h"
#include "quarry/fileTypes/registeredExtensions.h"
#include "quarry/quarry.h"
#include "quarry/scan/directoryScanner.h"
#include "quarry/windows/window.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// What the library does, behind its exports. It keeps no list of applications: every query names one by its path.
class Quarry {
 public:
  /// Scans with the configured filters. False when the scan was given up; see DirectoryScanner.
  virtual bool ScanDefault(ApplicationList& results) = 0;
  virtual bool ScanWithFilter(const ScanFilter& filter, ApplicationList& results) = 0;
  virtual void ScanPath(const std::wstring& path, ApplicationList& results) = 0;

  /// Makes the application at `path`, with icons; empty when it names none.
  virtual ApplicationPtr GetApplication(const std::wstring& path) = 0;
  /// The icon that the icon cache knows by `name`, or empty.
  virtual IconPtr GetIcon(const std::wstring& name) = 0;
  /// The bytes of that icon's PNG file; empty, with a message, when there is none.
  virtual std::vector<std::uint8_t> GetIconData(const std::wstring& name) = 0;
  /// The file types of the application at `path`; never empty. Throws std::bad_alloc when the facade was made without
  /// the file-type database.
  virtual RegisteredExtensionsPtr GetApplicationRegisteredExtensions(const wchar_t* path) = 0;
  /// Tells whether an application can be made from the file at `path`. Mines no icons.
  virtual bool VerifyApplication(const std::wstring& path) = 0;
  /// The session's classified top-level windows.
  virtual WindowList GetOpenWindows() = 0;
  /// Starts an application or brings a running one forward. Returns a QUARRY_LAUNCH_ result.
  virtual std::uint32_t LaunchApplication(const std::wstring& path, std::uint32_t flags, const std::wstring& arguments,
                                          const std::wstring& workingDirectory, std::int32_t parameterCount,
                                          const QuarryLaunchParameter* parameters) = 0;
  // Last, because the place of a virtual function is part of the interface.
  virtual ~Quarry() = default;
};

/// Makes the facade and stores the log callback for good. Throws when memory runs out.
std::unique_ptr<Quarry> CreateQuarry(LogCallback log, bool buildFileTypeDatabase);

}  // namespace quarry
