#pragma once

#include "quarry/quarry.h"

#include "lib/misc/platformHandles.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace quarryctl {

/// Gives a record back to the library.
template <typename Record>
struct RecordDeleter {
  void (*free)(Record*) = nullptr;
  void operator()(Record* record) const { free(record); }
};

/// Gives an array of records back to the library.
template <typename Record>
struct ArrayDeleter {
  void (*free)(Record*, std::uint64_t) = nullptr;
  std::uint64_t count = 0;
  void operator()(Record* records) const { free(records, count); }
};

/// Records of the library, given back to it when they go out of scope. They must not outlive the Library.
using ApplicationRecord = std::unique_ptr<QuarryApplicationInfo, RecordDeleter<QuarryApplicationInfo>>;
using IconRecord = std::unique_ptr<QuarryIconInfo, RecordDeleter<QuarryIconInfo>>;
using ExtensionRecord = std::unique_ptr<QuarryExtensionList, RecordDeleter<QuarryExtensionList>>;
using ApplicationRecords = std::unique_ptr<QuarryApplicationInfo[], ArrayDeleter<QuarryApplicationInfo>>;
using WindowRecords = std::unique_ptr<QuarryWindowInfo[], ArrayDeleter<QuarryWindowInfo>>;

/// The icons of one application under their indexes; one that could not be stored is null.
using IconRecords = std::vector<IconRecord>;

/// The records of an array, none for one that is null.
template <typename Record>
std::span<const Record> Items(const std::unique_ptr<Record[], ArrayDeleter<Record>>& records) {
  if (!records) return {};
  return {records.get(), static_cast<std::size_t>(records.get_deleter().count)};
}
std::span<const QuarryExtensionEntry> Items(const ExtensionRecord& record);

/// Whether the library reads the file types of this system when it starts, which takes its time.
enum class FileTypes { Leave, Read };

/// What keeps quarry.dll from being opened.
enum class OpenFailure { None, NotLoaded, NotInitialised };

struct OpenedLibrary;

/// quarry.dll, loaded and initialised. The destructor shuts it down and unloads it.
class Library {
 public:
  /// `path` is the full path of the DLL, so that nothing else can be loaded in its place. `log` may be called for as
  /// long as the Library exists.
  static OpenedLibrary Open(const std::wstring& path, QuarryLogFn log, FileTypes fileTypes);
  ~Library() { Exit(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Scans with the filters of the INI file at `iniPath` (absolute), or with the configured filters when it is empty.
  ApplicationRecords Scan(const std::wstring& iniPath) const;
  /// Null when no application can be made from `path`.
  ApplicationRecord GetApplication(const std::wstring& path) const;
  /// What the application at `path` opens. Null unless the file types were read.
  ExtensionRecord GetExtensions(const std::wstring& path) const;
  bool VerifyApplication(const std::wstring& path) const;
  /// `application` is a record of this library, not a copy.
  IconRecords GetIcons(const QuarryApplicationInfo& application) const;
  /// Null when the icon cache knows no icon of that name.
  IconRecord GetIcon(const std::wstring& name) const;
  /// The PNG file of the icon `name`; empty when it cannot be read.
  std::string GetIconData(const std::wstring& name) const;
  /// Null when no window is open.
  WindowRecords GetOpenWindows() const;
  /// Returns a QUARRY_LAUNCH_ result.
  std::uint32_t Launch(const std::wstring& path, std::uint32_t flags, const std::wstring& arguments,
                       const std::wstring& folder, const std::vector<QuarryLaunchParameter>& parameters) const;
  /// Writes the library's reports to standard output.
  void ReportDebugInfo() const { functions_.ReportDebugInfo(); }
  /// Shuts the library down ahead of time; only ReportDebugInfo may be called after it.
  void Exit() const { functions_.Exit(); }

 private:
  Library(UniqueModule module, const QuarryFunctions& functions);

  UniqueModule module_;
  QuarryFunctions functions_;
};

/// The library, or why there is none.
struct OpenedLibrary {
  std::unique_ptr<Library> library;
  OpenFailure failure = OpenFailure::None;
  std::uint32_t platformError = 0;  ///< of the attempt to load it
};

}  // namespace quarryctl
