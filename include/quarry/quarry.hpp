/// @file
/// Quarry for C++17 and later: owners, ranges and views over the functions and records of quarry.h. Header only.
///
/// What the C interface asks for holds here as well, and shows in the types:
///  - **One thread.** The library has no lock. No call is const, because none may run beside another.
///  - **Records go back before the end.** They can only be moved, and free themselves. A Library that goes first shuts
///    the DLL down, but leaves it loaded until the last record is gone: what a record says can be read until then.
///  - **Nothing is thrown.** Calls answer with an empty record or range, or with a result, as the C functions do. Only
///    the texts and vectors that a LaunchRequest is filled with can throw, while the host fills them.
#pragma once

#include "quarry/quarry.h"

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

/// The C++ interface.
namespace quarry {
// A name of its own for the linker: it keeps these types apart from those of another version in the same program.
inline namespace v1 {

/// A text of a record: a view that is known to be terminated, and as long-lived as the record.
class Text : public std::wstring_view {
 public:
  /// Views `text`, which is terminated and not null.
  explicit Text(const wchar_t* text) noexcept : std::wstring_view(text) {}
  /// For functions of C and of the platform.
  const wchar_t* c_str() const noexcept { return data(); }
};

/// What a call takes for a text: anything that ends with a terminator. Nothing is copied.
class TextArgument {
 public:
  /// Takes a text that is not null.
  TextArgument(const wchar_t* text) noexcept : text_(text) {}
  /// Takes a text of the host's.
  TextArgument(const std::wstring& text) noexcept : text_(text.c_str()) {}
  /// Takes a text of a record.
  TextArgument(const Text& text) noexcept : text_(text.c_str()) {}
  /// For the C functions.
  const wchar_t* c_str() const noexcept { return text_; }

 private:
  const wchar_t* text_;
};

/// The levels of log messages, QUARRY_LOG_....
enum class LogLevel : std::uint32_t {
  Error = QUARRY_LOG_ERROR,      ///< an operation failed or input was refused
  Warning = QUARRY_LOG_WARNING,  ///< something was skipped or degraded
  Notable = QUARRY_LOG_NOTABLE,  ///< notable information
  Detail = QUARRY_LOG_DETAIL     ///< detail and trace
};

/// The results of a launch, QUARRY_LAUNCH_....
enum class LaunchResult : std::uint32_t {
  Ok = QUARRY_LAUNCH_OK,                          ///< started, or a running instance was brought forward
  Failed = QUARRY_LAUNCH_FAILED,                  ///< the shell could not start it
  FilesMissing = QUARRY_LAUNCH_FILES_MISSING,     ///< some redirected files did not appear before the time-out
  Refused = QUARRY_LAUNCH_REFUSED,                ///< not initialised, bad argument, or a path refused by policy
  DrivesDisabled = QUARRY_LAUNCH_DRIVES_DISABLED  ///< client drive redirection is disabled by policy
};

/// Whether the library reads what the file types of the system are registered for when it starts, which takes its time.
enum class FileTypes {
  Leave,  ///< no: Library::GetExtensions tells nothing
  Read    ///< yes
};

/// What keeps quarry.dll from being opened.
enum class OpenError {
  None,             ///< it is open
  AlreadyOpen,      ///< another Library of this program is, and the DLL has one state and one log for a process
  NotFullPath,      ///< the path does not begin with a drive or a share, so that it could be any file
  NoFile,           ///< there is no such file
  WrongMachine,     ///< the file is no DLL for this processor, or no DLL at all
  NotLoaded,        ///< the system refuses to load it, for the reason that the platform's error has
  NotQuarry,        ///< it has no Quarry_Init
  MissingFunction,  ///< it is of a version that lacks a function
  NotInitialised,   ///< its initialisation failed
  OutOfMemory       ///< there is no memory for its owner
};

/// Says in English what an error means.
inline const char* Describe(OpenError error) noexcept {
  switch (error) {
    case OpenError::None:
      return "open";
    case OpenError::AlreadyOpen:
      return "open already";
    case OpenError::NotFullPath:
      return "not a full path";
    case OpenError::NoFile:
      return "no such file";
    case OpenError::WrongMachine:
      return "not a DLL for this machine";
    case OpenError::NotLoaded:
      return "cannot be loaded";
    case OpenError::NotQuarry:
      return "not Quarry";
    case OpenError::MissingFunction:
      return "too old";
    case OpenError::NotInitialised:
      return "could not be initialised";
    case OpenError::OutOfMemory:
      return "out of memory";
  }
  return "unknown error";
}

/// An application, as its record describes it. A view: copying it copies no record.
class Application {
 public:
  /// Views a record that the library handed out.
  explicit Application(const QuarryApplicationInfo& record) noexcept : record_(&record) {}
  Text Path() const noexcept { return Text(record_->path); }                        ///< full path; names it in calls
  Text FileName() const noexcept { return Text(record_->fileName); }                ///< with extension
  Text BaseName() const noexcept { return Text(record_->baseName); }                ///< without extension
  Text Extension() const noexcept { return Text(record_->extension); }              ///< without the dot
  Text ProductName() const noexcept { return Text(record_->productName); }          ///< may be empty, as all below
  Text ProductVersion() const noexcept { return Text(record_->productVersion); }    ///< of the program
  Text FileDescription() const noexcept { return Text(record_->fileDescription); }  ///< of a shortcut: its comment
  Text FileVersion() const noexcept { return Text(record_->fileVersion); }          ///< of the program
  Text Comments() const noexcept { return Text(record_->comments); }                ///< of the program
  Text CompanyName() const noexcept { return Text(record_->companyName); }          ///< of the program
  Text TargetPath() const noexcept { return Text(record_->targetPath); }            ///< what is started for it
  std::uint64_t IconCount() const noexcept { return record_->iconCount; }           ///< how many icons it has
  /// The record itself, which is what the library knows the application by.
  const QuarryApplicationInfo& Record() const noexcept { return *record_; }

 private:
  const QuarryApplicationInfo* record_;
};

/// An icon, as its record describes it. A view.
class Icon {
 public:
  /// Views a record.
  explicit Icon(const QuarryIconInfo& record) noexcept : record_(&record) {}
  std::int64_t Width() const noexcept { return record_->width; }    ///< in pixels
  std::int64_t Height() const noexcept { return record_->height; }  ///< in pixels
  std::int64_t Depth() const noexcept { return record_->depth; }    ///< in bits per pixel
  Text Name() const noexcept { return Text(record_->name); }        ///< its name in the icon cache
  Text Path() const noexcept { return Text(record_->path); }        ///< full path of its PNG file
  /// The record itself.
  const QuarryIconInfo& Record() const noexcept { return *record_; }

 private:
  const QuarryIconInfo* record_;
};

/// A window, as its record describes it. A view.
class Window {
 public:
  /// Views a record.
  explicit Window(const QuarryWindowInfo& record) noexcept : record_(&record) {}
  Text Title() const noexcept { return Text(record_->title); }             ///< may be empty
  bool IsVisible() const noexcept { return record_->isVisible != 0; }      ///< its style has WS_VISIBLE
  bool IsMinimized() const noexcept { return record_->isMinimized != 0; }  ///< its style has WS_MINIMIZE
  Text ImagePath() const noexcept { return Text(record_->imagePath); }     ///< program that owns it
  const QuarryWindowInfo& Record() const noexcept { return *record_; }     ///< the record itself

 private:
  const QuarryWindowInfo* record_;
};

/// A file type or URL protocol that an application opens. A view.
class Extension {
 public:
  /// Views a record.
  explicit Extension(const QuarryExtensionEntry& record) noexcept : record_(&record) {}
  Text Name() const noexcept { return Text(record_->name); }                ///< with its dot, or a protocol's name
  Text Description() const noexcept { return Text(record_->description); }  ///< may be empty
  const QuarryExtensionEntry& Record() const noexcept { return *record_; }  ///< the record itself

 private:
  const QuarryExtensionEntry* record_;
};

/// What of this header is no part of the interface.
namespace detail {

/// Hears the library's messages.
class LogSink {
 public:
  virtual ~LogSink() = default;
  virtual void Hear(LogLevel level, Text message) noexcept = 0;
};

template <typename Log>
class CallableSink final : public LogSink {
 public:
  explicit CallableSink(Log&& log) noexcept : log_(std::move(log)) {}
  void Hear(LogLevel level, Text message) noexcept override {
    try {
      log_(level, message);
    } catch (...) {
      // The library's own frames lie between here and whoever could make use of it.
    }
  }

 private:
  Log log_;
};

// The C callback has no place for a pointer of the host's.
inline LogSink* currentSink = nullptr;
inline bool isLibraryOpen = false;

inline void Receive(std::uint32_t level, const wchar_t* message) noexcept {
  if (currentSink != nullptr) currentSink->Hear(static_cast<LogLevel>(level), Text(message));
}

/// The DLL with all that must not go before it. One that could not be loaded has no module.
struct LoadedModule {
  LoadedModule() = default;
  LoadedModule(const LoadedModule&) = delete;
  LoadedModule& operator=(const LoadedModule&) = delete;
  ~LoadedModule() {
    if (module != nullptr) FreeLibrary(module);
    if (currentSink == sink.get()) currentSink = nullptr;
  }

  HMODULE module = nullptr;
  QuarryFunctions functions{};
  std::unique_ptr<LogSink> sink;
  std::uint64_t holders = 0;
};

/// Keeps the DLL loaded. All holders are on one thread.
class ModuleHolder {
 public:
  ModuleHolder() = default;
  explicit ModuleHolder(LoadedModule* module) noexcept : module_(module) {
    if (module_ != nullptr) ++module_->holders;
  }
  ModuleHolder(const ModuleHolder& other) noexcept : ModuleHolder(other.module_) {}
  ModuleHolder(ModuleHolder&& other) noexcept : module_(std::exchange(other.module_, nullptr)) {}
  ModuleHolder& operator=(ModuleHolder other) noexcept {
    std::swap(module_, other.module_);
    return *this;
  }
  ~ModuleHolder() {
    // The analysis does not follow the count.
    if (module_ != nullptr && --module_->holders == 0) delete module_;  // NOLINT(clang-analyzer-cplusplus.NewDelete)
  }
  LoadedModule* operator->() const noexcept { return module_; }
  explicit operator bool() const noexcept { return module_ != nullptr; }

 private:
  LoadedModule* module_ = nullptr;
};

template <typename View, typename Record>
class ViewIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = View;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = View;

  ViewIterator() = default;
  explicit ViewIterator(const Record* record) noexcept : record_(record) {}
  View operator*() const noexcept { return View(*record_); }
  ViewIterator& operator++() noexcept {
    ++record_;
    return *this;
  }
  ViewIterator operator++(int) noexcept { return ViewIterator(record_++); }
  bool operator==(const ViewIterator& other) const noexcept { return record_ == other.record_; }
  bool operator!=(const ViewIterator& other) const noexcept { return record_ != other.record_; }

 private:
  const Record* record_ = nullptr;
};

template <typename View>
struct Arrow {
  View view;
  const View* operator->() const noexcept { return &view; }
};

/// Whether the library works: one that is not initialised touches no output. The icon without a name does not exist.
inline bool IsInitialised(const QuarryFunctions& functions) noexcept {
  LogSink* const sink = std::exchange(currentSink, nullptr);
  void* data = nullptr;
  std::uint64_t size = UINT64_MAX;
  functions.GetIconData(L"", &data, &size);
  currentSink = sink;
  return size != UINT64_MAX;
}

inline bool IsComplete(const QuarryFunctions& functions) noexcept {
  using Function = void (*)();
  Function table[sizeof(QuarryFunctions) / sizeof(Function)];
  std::memcpy(table, &functions, sizeof(functions));
  for (const Function function : table) {
    if (function == nullptr) return false;
  }
  return true;
}

inline bool IsFullPath(const wchar_t* path) noexcept {
  if (path[0] == L'\\') return path[1] == L'\\';
  return path[0] != L'\0' && path[1] == L':' && path[2] == L'\\';
}

inline OpenError LoadFailure(const wchar_t* path, DWORD platformError) noexcept {
  if (platformError == ERROR_BAD_EXE_FORMAT) return OpenError::WrongMachine;
  return GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES ? OpenError::NoFile : OpenError::NotLoaded;
}

}  // namespace detail

/// One record of the library, given back to it at the end. Empty when the library had none to give, or when it has been
/// moved from.
template <typename View, typename Record, auto Free>
class RecordOwner {
 public:
  /// Owns nothing.
  RecordOwner() = default;
  /// Takes over what `other` owns.
  RecordOwner(RecordOwner&& other) noexcept
      : module_(std::move(other.module_)), record_(std::exchange(other.record_, nullptr)) {}
  /// Takes over what `other` owns, and gives back what was owned before.
  RecordOwner& operator=(RecordOwner&& other) noexcept {
    RecordOwner taken(std::move(other));
    std::swap(module_, taken.module_);
    std::swap(record_, taken.record_);
    return *this;
  }
  /// Gives the record back.
  ~RecordOwner() {
    if (record_ != nullptr) (module_->functions.*Free)(record_);
  }

  /// Whether there is a record.
  explicit operator bool() const noexcept { return record_ != nullptr; }
  /// The record; there must be one.
  View operator*() const noexcept { return View(*record_); }
  /// The record; there must be one.
  detail::Arrow<View> operator->() const noexcept { return {View(*record_)}; }

 private:
  friend class Library;
  friend class IconRange;
  RecordOwner(const detail::ModuleHolder& module, Record* record) noexcept : module_(module), record_(record) {}

  detail::ModuleHolder module_;
  Record* record_ = nullptr;
};

/// Records of the library, given back to it together at the end. Empty when there are none.
template <typename View, typename Record, auto Free>
class RecordRange {
 public:
  using iterator = detail::ViewIterator<View, Record>;  ///< over views
  using const_iterator = iterator;                      ///< over views
  using value_type = View;                              ///< of an iterator

  /// Owns nothing.
  RecordRange() = default;
  /// Takes over what `other` owns.
  RecordRange(RecordRange&& other) noexcept
      : module_(std::move(other.module_)),
        records_(std::exchange(other.records_, nullptr)),
        count_(std::exchange(other.count_, 0)) {}
  /// Takes over what `other` owns, and gives back what was owned before.
  RecordRange& operator=(RecordRange&& other) noexcept {
    RecordRange taken(std::move(other));
    std::swap(module_, taken.module_);
    std::swap(records_, taken.records_);
    std::swap(count_, taken.count_);
    return *this;
  }
  /// Gives the records back.
  ~RecordRange() {
    if (records_ != nullptr) (module_->functions.*Free)(records_, count_);
  }

  iterator begin() const noexcept { return iterator(records_); }                       ///< the first
  iterator end() const noexcept { return iterator(records_ + count_); }                ///< behind the last
  std::size_t size() const noexcept { return static_cast<std::size_t>(count_); }       ///< how many there are
  bool empty() const noexcept { return count_ == 0; }                                  ///< whether there are none
  View operator[](std::size_t index) const noexcept { return View(records_[index]); }  ///< `index` below size()
  const Record* data() const noexcept { return records_; }                             ///< the C records

 private:
  friend class Library;
  RecordRange(const detail::ModuleHolder& module, Record* records, std::uint64_t count) noexcept
      : module_(module), records_(records), count_(records != nullptr ? count : 0) {}

  detail::ModuleHolder module_;
  Record* records_ = nullptr;
  std::uint64_t count_ = 0;
};

/// An application that was asked for by its path.
using ApplicationRecord = RecordOwner<Application, QuarryApplicationInfo, &QuarryFunctions::FreeApplication>;
/// The applications of a scan.
using ApplicationRecords = RecordRange<Application, QuarryApplicationInfo, &QuarryFunctions::FreeApplications>;
/// An icon.
using IconRecord = RecordOwner<Icon, QuarryIconInfo, &QuarryFunctions::FreeIcon>;
/// The windows of a session.
using WindowRecords = RecordRange<Window, QuarryWindowInfo, &QuarryFunctions::FreeWindows>;

/// The file types of an application, given back at the end. Both "not told" and "opens nothing" are empty; only the
/// first is false.
class ExtensionRecords {
 public:
  using iterator = detail::ViewIterator<Extension, QuarryExtensionEntry>;  ///< over views
  using const_iterator = iterator;                                         ///< over views
  using value_type = Extension;                                            ///< of an iterator

  /// Not told.
  ExtensionRecords() = default;
  explicit operator bool() const noexcept { return static_cast<bool>(list_); }  ///< whether they were told
  iterator begin() const noexcept { return iterator(data()); }                  ///< the first
  iterator end() const noexcept { return iterator(data() + size()); }           ///< behind the last
  bool empty() const noexcept { return size() == 0; }                           ///< whether there are none
  Extension operator[](std::size_t index) const noexcept { return Extension(data()[index]); }  ///< below size()
  /// How many there are.
  std::size_t size() const noexcept { return list_ ? static_cast<std::size_t>((*list_).count) : 0; }
  /// The C records.
  const QuarryExtensionEntry* data() const noexcept { return list_ ? (*list_).entries : nullptr; }

 private:
  friend class Library;
  using List = RecordOwner<const QuarryExtensionList&, QuarryExtensionList, &QuarryFunctions::FreeRegisteredExtensions>;
  explicit ExtensionRecords(List&& list) noexcept : list_(std::move(list)) {}

  List list_;
};

/// The PNG file of an icon, given back at the end. Empty when there is none.
class IconData {
 public:
  /// No bytes.
  IconData() = default;
  /// Takes over what `other` owns.
  IconData(IconData&& other) noexcept
      : module_(std::move(other.module_)),
        data_(std::exchange(other.data_, nullptr)),
        size_(std::exchange(other.size_, 0)) {}
  /// Takes over what `other` owns, and gives back what was owned before.
  IconData& operator=(IconData&& other) noexcept {
    IconData taken(std::move(other));
    std::swap(module_, taken.module_);
    std::swap(data_, taken.data_);
    std::swap(size_, taken.size_);
    return *this;
  }
  /// Gives the bytes back.
  ~IconData() {
    if (data_ != nullptr) module_->functions.FreeIconData(data_);
  }

  const std::byte* data() const noexcept { return static_cast<const std::byte*>(data_); }  ///< the first byte
  std::size_t size() const noexcept { return static_cast<std::size_t>(size_); }            ///< in bytes
  bool empty() const noexcept { return size_ == 0; }                                       ///< whether there are none
  const std::byte* begin() const noexcept { return data(); }                               ///< the first byte
  const std::byte* end() const noexcept { return data() + size(); }                        ///< behind the last

 private:
  friend class Library;
  IconData(const detail::ModuleHolder& module, void* data, std::uint64_t size) noexcept
      : module_(module), data_(data), size_(data != nullptr ? size : 0) {}

  detail::ModuleHolder module_;
  void* data_ = nullptr;
  std::uint64_t size_ = 0;
};

/// The icons of an application, each asked for when an iterator is dereferenced. One that could not be stored is an
/// empty record. The application's record must live as long.
class IconRange {
 public:
  /// Over the indexes.
  class iterator {
   public:
    using iterator_category = std::input_iterator_tag;  ///< each icon is asked for anew
    using value_type = IconRecord;                      ///< an owner
    using difference_type = std::ptrdiff_t;             ///< of indexes
    using pointer = void;                               ///< there is none
    using reference = IconRecord;                       ///< an owner

    iterator() = default;  ///< of no range
    /// The icon at `index`.
    iterator(const IconRange& range, std::uint64_t index) noexcept : range_(&range), index_(index) {}
    /// Asks for the icon.
    IconRecord operator*() const noexcept { return range_->Get(index_); }
    /// The next.
    iterator& operator++() noexcept {
      ++index_;
      return *this;
    }
    iterator operator++(int) noexcept { return iterator(*range_, index_++); }                 ///< the next
    bool operator==(const iterator& other) const noexcept { return index_ == other.index_; }  ///< in one range
    bool operator!=(const iterator& other) const noexcept { return index_ != other.index_; }  ///< in one range

   private:
    const IconRange* range_ = nullptr;
    std::uint64_t index_ = 0;
  };
  using const_iterator = iterator;  ///< over the indexes

  iterator begin() const noexcept { return iterator(*this, 0); }                                   ///< the first
  iterator end() const noexcept { return iterator(*this, application_->iconCount); }               ///< behind the last
  std::size_t size() const noexcept { return static_cast<std::size_t>(application_->iconCount); }  ///< how many
  bool empty() const noexcept { return application_->iconCount == 0; }              ///< whether there are none
  IconRecord operator[](std::uint64_t index) const noexcept { return Get(index); }  ///< asks for one

 private:
  friend class Library;
  IconRange(const detail::ModuleHolder& module, const QuarryApplicationInfo& application) noexcept
      : module_(module), application_(&application) {}
  IconRecord Get(std::uint64_t index) const noexcept {
    return {module_, module_->functions.GetApplicationIcon(application_, index)};
  }

  detail::ModuleHolder module_;
  const QuarryApplicationInfo* application_;
};

/// What a launch hands over to the application.
struct LaunchParameter {
  /// In which way it is handed over.
  enum class Kind {
    File,        ///< a file of a redirected client drive, or a local one where the request allows it
    Url,         ///< a URL
    CommandLine  ///< further text of the command line
  };
  Kind kind;           ///< what the text is
  std::wstring value;  ///< the text
};

/// What is to be started, and how. A value: it has its texts itself.
struct LaunchRequest {
  std::wstring path;                        ///< shortcut, program or script
  std::wstring arguments;                   ///< command-line arguments
  std::wstring workingDirectory;            ///< empty: the application's own
  std::vector<LaunchParameter> parameters;  ///< what it is to open
  bool reusesRunning = false;               ///< bring a running instance forward (only without parameters)
  bool maximizes = false;                   ///< show it maximised
  bool allowsLocalFiles = false;            ///< accept files that are not on client drives
  bool tracksProcesses = false;             ///< only count as running what this library started

  /// The QUARRY_LAUNCH_ bits.
  std::uint32_t Flags() const noexcept {
    return (reusesRunning ? QUARRY_LAUNCH_REUSE_RUNNING : 0u) | (maximizes ? QUARRY_LAUNCH_MAXIMIZE : 0u) |
           (allowsLocalFiles ? QUARRY_LAUNCH_ALLOW_LOCAL_FILES : 0u) |
           (tracksProcesses ? QUARRY_LAUNCH_TRACK_PROCESSES : 0u);
  }
};

/// quarry.dll, loaded and initialised; or the reason why it is not. The destructor shuts it down, and unloads it as
/// soon as no record is left. There is one at a time in a program. All calls come from the thread that opened it, and
/// none is allowed on one that is not open or that has been moved from.
class Library {
 public:
  /// Loads the DLL at `path`, a full one, so that nothing else can be loaded in its place. `log` is nullptr or called
  /// with (LogLevel, Text) for every message, for as long as the DLL is loaded; the text is valid during the call only,
  /// what the call throws stops there, and it calls the library no more.
  template <typename Log = std::nullptr_t>
  [[nodiscard]] static Library Open(TextArgument path, Log log = nullptr,
                                    FileTypes fileTypes = FileTypes::Leave) noexcept {
    if constexpr (std::is_same_v<Log, std::nullptr_t>) {
      return Load(path.c_str(), nullptr, fileTypes);
    } else {
      static_assert(std::is_nothrow_move_constructible_v<Log>, "a log must move without an exception");
      std::unique_ptr<detail::LogSink> sink(new (std::nothrow) detail::CallableSink<Log>(std::move(log)));
      if (sink == nullptr) return Library(OpenError::OutOfMemory);
      return Load(path.c_str(), std::move(sink), fileTypes);
    }
  }

  /// Loads the quarry.dll that lies beside the program's own file, and no other. Else as Open.
  template <typename Log = std::nullptr_t>
  [[nodiscard]] static Library OpenBesideProgram(Log log = nullptr, FileTypes fileTypes = FileTypes::Leave) noexcept {
    const std::unique_ptr<wchar_t[]> path = PathBesideProgram();
    if (path == nullptr) return Library(OpenError::OutOfMemory);
    return Open(path.get(), std::move(log), fileTypes);
  }

  /// Takes over what `other` has opened.
  Library(Library&& other) noexcept = default;
  /// Takes over what `other` has opened, and shuts down what was open before.
  Library& operator=(Library&& other) noexcept {
    Library taken(std::move(other));
    std::swap(module_, taken.module_);
    std::swap(error_, taken.error_);
    std::swap(platformError_, taken.platformError_);
    return *this;
  }
  /// Shuts the library down.
  ~Library() {
    if (!module_) return;
    // Of a DLL that turned out to be no Quarry there is no Exit.
    if (module_->functions.Exit != nullptr) Exit();
    detail::isLibraryOpen = false;
  }

  /// Whether it is open.
  explicit operator bool() const noexcept { return static_cast<bool>(module_); }
  /// Why it is not.
  OpenError Error() const noexcept { return error_; }
  /// The platform's error with NoFile, WrongMachine and NotLoaded; else 0.
  std::uint32_t PlatformError() const noexcept { return platformError_; }

  /// Scans with the configured filters, or with those of an INI file, whose path must be a full one.
  ApplicationRecords Scan(TextArgument iniPath = L"") noexcept {
    QuarryApplicationInfo* records = nullptr;
    std::uint64_t count = 0;
    module_->functions.ScanApplicationsUsingIniFile(iniPath.c_str(), &records, &count);
    return {module_, records, count};
  }
  /// Describes the application at `path`; empty when none can be made.
  ApplicationRecord GetApplication(TextArgument path) noexcept {
    return {module_, module_->functions.GetApplication(path.c_str())};
  }
  /// Whether an application can be made from the file at `path`.
  bool VerifyApplication(TextArgument path) noexcept { return module_->functions.VerifyApplication(path.c_str()) != 0; }
  /// The icons of an application, whose record must be one of this library's that is still there.
  IconRange GetIcons(const Application& application) noexcept { return {module_, application.Record()}; }
  /// The icon of the icon cache that has this name; empty when there is none.
  IconRecord GetIcon(TextArgument name) noexcept { return {module_, module_->functions.GetIcon(name.c_str())}; }
  /// The PNG file of the icon that has this name; empty when there is none, or when it cannot be read.
  IconData GetIconData(TextArgument name) noexcept {
    void* data = nullptr;
    std::uint64_t size = 0;
    module_->functions.GetIconData(name.c_str(), &data, &size);
    return {module_, data, size};
  }
  /// What the application at `path` opens; not told unless the library was opened with FileTypes::Read.
  ExtensionRecords GetExtensions(TextArgument path) noexcept {
    return ExtensionRecords({module_, module_->functions.GetApplicationRegisteredExtensions(path.c_str())});
  }
  /// The session's windows, the topmost first.
  WindowRecords GetOpenWindows() noexcept {
    QuarryWindowInfo* records = nullptr;
    std::uint64_t count = 0;
    module_->functions.GetOpenWindows(&records, &count);
    return {module_, records, count};
  }
  /// Starts an application for the remote user, or brings a running instance forward. Refused when memory runs out.
  LaunchResult Launch(const LaunchRequest& request) noexcept {
    static constexpr const wchar_t* kTypes[] = {L"file-path", L"url", L"appCommandLine"};
    const std::size_t count = request.parameters.size();
    const std::unique_ptr<QuarryLaunchParameter[]> parameters(new (std::nothrow) QuarryLaunchParameter[count + 1]);
    if (parameters == nullptr) return LaunchResult::Refused;
    for (std::size_t index = 0; index < count; ++index) {
      const LaunchParameter& parameter = request.parameters[index];
      parameters[index] = {kTypes[static_cast<std::size_t>(parameter.kind)], parameter.value.c_str()};
    }
    return static_cast<LaunchResult>(module_->functions.LaunchApplication(
        request.path.c_str(), request.Flags(), request.arguments.c_str(), request.workingDirectory.c_str(),
        static_cast<std::int32_t>(count), parameters.get()));
  }
  /// Writes the object counters and the timers to standard output; returns the number of timers.
  std::int32_t ReportDebugInfo() noexcept { return module_->functions.ReportDebugInfo(); }
  /// Shuts the library down ahead of the destructor, so that ReportDebugInfo can tell of leaks. Other calls then answer
  /// with nothing.
  void Exit() noexcept { module_->functions.Exit(); }

 private:
  explicit Library(OpenError error, std::uint32_t platformError = 0) noexcept
      : error_(error), platformError_(platformError) {}

  static Library Load(const wchar_t* path, std::unique_ptr<detail::LogSink> sink, FileTypes fileTypes) noexcept {
    if (detail::isLibraryOpen) return Library(OpenError::AlreadyOpen);
    if (!detail::IsFullPath(path)) return Library(OpenError::NotFullPath);
    Library library(OpenError::None);
    library.module_ = detail::ModuleHolder(new (std::nothrow) detail::LoadedModule);
    if (!library.module_) return Library(OpenError::OutOfMemory);
    library.module_->sink = std::move(sink);
    // Its own imports are the system's: nothing that lies beside it is taken for one of them.
    library.module_->module = LoadLibraryExW(path, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    const DWORD platformError = GetLastError();
    if (library.module_->module == nullptr) return Library(detail::LoadFailure(path, platformError), platformError);
    const OpenError error = library.Initialise(fileTypes);
    if (error != OpenError::None) return Library(error);
    return library;
  }

  OpenError Initialise(FileTypes fileTypes) noexcept {
    using Init = decltype(&Quarry_Init);
    QuarryFunctions& functions = module_->functions;
    // By way of the one function type that compilers let become any other.
    const auto init =
        reinterpret_cast<Init>(reinterpret_cast<void (*)()>(GetProcAddress(module_->module, "Quarry_Init")));
    if (init == nullptr) return OpenError::NotQuarry;
    detail::currentSink = module_->sink.get();
    detail::isLibraryOpen = true;
    init(module_->sink != nullptr ? &detail::Receive : nullptr, fileTypes == FileTypes::Read ? 1u : 0u, &functions);
    if (!detail::IsComplete(functions)) return OpenError::MissingFunction;
    return detail::IsInitialised(functions) ? OpenError::None : OpenError::NotInitialised;
  }

  /// Null when there is no memory for it. As long as a path can get (Microsoft Learn, "Maximum Path Length
  /// Limitation").
  static std::unique_ptr<wchar_t[]> PathBesideProgram() noexcept {
    static constexpr wchar_t kName[] = L"quarry.dll";
    static constexpr DWORD kLongestPath = 32767;
    std::unique_ptr<wchar_t[]> path(new (std::nothrow) wchar_t[kLongestPath + sizeof(kName) / sizeof(wchar_t)]);
    if (path == nullptr) return path;
    DWORD length = GetModuleFileNameW(nullptr, path.get(), kLongestPath);
    while (length > 0 && path[length - 1] != L'\\') --length;
    std::memcpy(path.get() + length, kName, sizeof(kName));
    return path;
  }

  detail::ModuleHolder module_;
  OpenError error_ = OpenError::None;
  std::uint32_t platformError_ = 0;
};

}  // namespace v1
}  // namespace quarry
