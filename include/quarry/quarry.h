/**
 * @file
 * Quarry: publishes the applications of a Windows host to a remote-desktop agent.
 *
 * All that a host program includes. Load quarry.dll, call Quarry_Init once, use the function table that it fills
 * (or import the exports by name), call Quarry_Exit at the end.
 *
 * Rules that hold for every function:
 *  - One thread at a time. The library holds no lock; the host serialises its calls.
 *  - Strings are NUL-terminated UTF-16. Every string inside a record that the library hands out is non-null.
 *  - Records belong to the caller and are given back through the matching Quarry_Free... function only, before
 *    Quarry_Exit. They lie on the library's own heap: the host's free() must not see them.
 *  - Before Quarry_Init and after Quarry_Exit every function that needs the library returns its null, zero or 3 result
 *    at once and leaves its outputs untouched.
 *  - No error leaves the library as an exception. An error raised inside (out of memory) is logged at
 *    QUARRY_LOG_ERROR and becomes the function's null, zero or 3 result.
 */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The version that this header came with. docs/versioning.md says what changes with which part. */
#define QUARRY_VERSION_MAJOR 1
#define QUARRY_VERSION_MINOR 1 /**< see QUARRY_VERSION_MAJOR */
#define QUARRY_VERSION_PATCH 0 /**< see QUARRY_VERSION_MAJOR */

/** Levels of the messages that QuarryLogFn receives. */
#define QUARRY_LOG_ERROR 0u   /**< an operation failed or input was refused */
#define QUARRY_LOG_WARNING 1u /**< something was skipped or degraded */
#define QUARRY_LOG_NOTABLE 2u /**< notable information */
#define QUARRY_LOG_DETAIL 3u  /**< detail and trace */

/**
 * Receives the library's messages. `message` is valid during the call only and is passed exactly as formatted, with
 * or without a line end. Called on the thread that called the library. The last callback stored stays in use after
 * Quarry_Exit, so it must live as long as the library is loaded.
 */
typedef void (*QuarryLogFn)(uint32_t level, const wchar_t* message);

/** One application. Given back with Quarry_FreeApplication, or as part of an array with Quarry_FreeApplications. */
typedef struct QuarryApplicationInfo {
  wchar_t* path;            /**< full path it was made from; names it in later calls */
  wchar_t* fileName;        /**< file name with extension */
  wchar_t* baseName;        /**< file name without extension */
  wchar_t* extension;       /**< extension without the dot */
  wchar_t* productName;     /**< executable: version string; shortcut: display name; other kinds: base name */
  wchar_t* productVersion;  /**< executable, or a shortcut's target: version string; else empty */
  wchar_t* fileDescription; /**< executable: version string; shortcut: its comment; else empty */
  wchar_t* fileVersion;     /**< executable: version string; else empty */
  wchar_t* comments;        /**< executable: version string; else empty */
  wchar_t* companyName;     /**< executable, or a shortcut's target: version string; else empty */
  wchar_t* targetPath;      /**< what is started for it: a shortcut's target, else its own path */
  uint64_t iconCount;       /**< Quarry_GetApplicationIcon takes indexes below this */
} QuarryApplicationInfo;

/** One icon, stored as a PNG file. Given back with Quarry_FreeIcon. */
typedef struct QuarryIconInfo {
  int64_t width;  /**< pixels */
  int64_t height; /**< pixels */
  int64_t depth;  /**< bits per pixel; always 24 */
  wchar_t* name;  /**< key for Quarry_GetIcon and Quarry_GetIconData */
  wchar_t* path;  /**< full path of the PNG file in the icon cache folder */
} QuarryIconInfo;

/** One open window. Given back as an array with Quarry_FreeWindows. */
typedef struct QuarryWindowInfo {
  wchar_t* title;      /**< may be empty */
  int32_t isVisible;   /**< 1 when the window's style has WS_VISIBLE, else 0 */
  int32_t isMinimized; /**< 1 when the window's style has WS_MINIMIZE, else 0 */
  wchar_t* imagePath;  /**< executable image of the process that owns the window */
} QuarryWindowInfo;

/** One file type that an application is registered to open. */
typedef struct QuarryExtensionEntry {
  wchar_t* name;        /**< extension with its leading dot, or name of a URL protocol */
  wchar_t* description; /**< friendly name under which the application handles the type; may be empty */
} QuarryExtensionEntry;

/** The file types of one application. Given back with Quarry_FreeRegisteredExtensions. */
typedef struct QuarryExtensionList {
  uint64_t count;                /**< how many entries there are */
  QuarryExtensionEntry* entries; /**< as many */
} QuarryExtensionList;

/** One custom parameter of a launch. `type` in any case: "file-path", "url" or "appCommandLine". */
typedef struct QuarryLaunchParameter {
  const wchar_t* type;  /**< how it is handed over */
  const wchar_t* value; /**< path, URL or text */
} QuarryLaunchParameter;

/** Bits of Quarry_LaunchApplication's flags. */
#define QUARRY_LAUNCH_REUSE_RUNNING 1u     /**< bring a running instance forward (only without custom parameters) */
#define QUARRY_LAUNCH_MAXIMIZE 2u          /**< start maximised, or maximise the window brought forward */
#define QUARRY_LAUNCH_ALLOW_LOCAL_FILES 8u /**< local file paths may be handed over */
#define QUARRY_LAUNCH_TRACK_PROCESSES 16u  /**< consult, and enter, the table of processes that the library started */

/** Results of Quarry_LaunchApplication. */
#define QUARRY_LAUNCH_OK 0u              /**< started, or a running instance was brought forward */
#define QUARRY_LAUNCH_FAILED 1u          /**< the shell could not start it */
#define QUARRY_LAUNCH_FILES_MISSING 2u   /**< some redirected files did not appear before the time-out */
#define QUARRY_LAUNCH_REFUSED 3u         /**< not initialised, bad argument, or a path refused by policy */
#define QUARRY_LAUNCH_DRIVES_DISABLED 4u /**< client drive redirection is disabled by policy */

struct QuarryFunctions;

#ifdef QUARRY_BUILDING_LIBRARY
#define QUARRY_API /* exported by quarry.def under the plain name */
#elif defined(_WIN32)
#define QUARRY_API __declspec(dllimport)
#else
#define QUARRY_API
#endif

/**
 * Creates the library's one facade unless it exists, then fills `table` when it is non-null (on a repeated call too).
 * `log` may be null: nothing is then delivered. A non-zero `buildFileTypeDatabase` makes
 * Quarry_GetApplicationRegisteredExtensions available, at the price of reading every file type's registration now.
 * On a repeated call `log` and `buildFileTypeDatabase` are ignored. When creation fails the library stays
 * uninitialised.
 * @param log hears the messages until the library is unloaded; may be null
 * @param buildFileTypeDatabase 1 to read the file types, else 0
 * @param table receives the other functions; may be null
 *
 * @snippet everyCall.c Quarry_Init
 */
QUARRY_API void Quarry_Init(QuarryLogFn log, uint32_t buildFileTypeDatabase, struct QuarryFunctions* table);

/**
 * Destroys the facade and forgets every application record handed out. Safe when not initialised and repeatedly.
 * Records still held can be freed afterwards, each with a message that the library no longer knows it.
 *
 * @snippet everyCall.c Quarry_Exit
 */
QUARRY_API void Quarry_Exit(void);

/**
 * Writes the object counters (the leak check) and the timers to the process's standard output. Needs no
 * initialisation.
 * @return the number of timers written
 *
 * @snippet everyCall.c Quarry_Exit
 */
QUARRY_API int32_t Quarry_ReportDebugInfo(void);

/**
 * Lists the session's open top-level windows. Stores an array in `*outWindows` and its length in `*outCount`; null and
 * 0 when there are none.
 * @param outWindows receives the array, given back with Quarry_FreeWindows
 * @param outCount receives its length
 *
 * @snippet everyCall.c Quarry_GetOpenWindows
 */
QUARRY_API void Quarry_GetOpenWindows(QuarryWindowInfo** outWindows, uint64_t* outCount);

/**
 * Scans with the filters of the INI file at `iniPath`, or with the configured filters when it is the empty string.
 * A file without filters is logged and leaves the outputs untouched. Otherwise `*outCount` receives the number of
 * applications and, when it is not 0, `*outApps` an array of them.
 * @param iniPath full path of the file, or the empty string
 * @param outApps receives the array, given back with Quarry_FreeApplications
 * @param outCount receives its length
 *
 * @snippet everyCall.c Quarry_ScanApplicationsUsingIniFile
 */
QUARRY_API void Quarry_ScanApplicationsUsingIniFile(const wchar_t* iniPath, QuarryApplicationInfo** outApps,
                                                    uint64_t* outCount);

/**
 * Scans with the configured filters (registry definitions, else the built-in defaults) when `count` is 0; `paths` is
 * then ignored. `*outCount` receives the number of applications and, when it is not 0, `*outApps` an array of them.
 * With `count` > 0 the paths are turned into filters that hold no path, so the scan finds nothing: use an INI file to
 * scan folders of your own.
 * @param paths null
 * @param count 0
 * @param outApps receives the array, given back with Quarry_FreeApplications
 * @param outCount receives its length
 *
 * @snippet everyCall.c Quarry_ScanApplications
 */
QUARRY_API void Quarry_ScanApplications(const wchar_t* const* paths, uint64_t count, QuarryApplicationInfo** outApps,
                                        uint64_t* outCount);

/**
 * Describes the application at `path`. Null when no application can be made from it.
 * @param path of a shortcut, program or script; variables are expanded
 * @return a record of the caller's, given back with Quarry_FreeApplication; or null
 *
 * @snippet everyCall.c Quarry_GetApplication
 */
QUARRY_API QuarryApplicationInfo* Quarry_GetApplication(const wchar_t* path);

/**
 * Returns the icon at `index` of an application record that the library handed out (the record itself, not a copy).
 * Null when the application has no icon there.
 * @param app the record itself, not a copy
 * @param index below its iconCount
 * @return a record of the caller's, given back with Quarry_FreeIcon; or null
 *
 * @snippet everyCall.c Quarry_GetApplicationIcon
 */
QUARRY_API QuarryIconInfo* Quarry_GetApplicationIcon(const QuarryApplicationInfo* app, uint64_t index);

/**
 * Returns the icon that the icon cache knows by `name`, or null.
 * @param name as an icon record has it
 * @return a record of the caller's, given back with Quarry_FreeIcon; or null
 *
 * @snippet everyCall.c Quarry_GetIcon
 */
QUARRY_API QuarryIconInfo* Quarry_GetIcon(const wchar_t* name);

/**
 * Reads the PNG file of the icon `name`. Sets `*outSize` to its length in bytes; when that is not 0, stores a block in
 * `*outData` (given back with Quarry_FreeIconData) and returns 1. Else returns 0 and leaves `*outData` untouched.
 * @param name as an icon record has it
 * @param outData receives the block, given back with Quarry_FreeIconData
 * @param outSize receives its length in bytes
 * @return 1 when there is data, else 0
 *
 * @snippet everyCall.c Quarry_GetIconData
 */
QUARRY_API int32_t Quarry_GetIconData(const wchar_t* name, void** outData, uint64_t* outSize);

/**
 * Lists the file extensions and URL protocols that the application at `path` is registered to open. Null when
 * Quarry_Init was called without the file-type database.
 * @param path of a program or shortcut, without variables
 * @return a record of the caller's, given back with Quarry_FreeRegisteredExtensions; or null
 *
 * @snippet everyCall.c Quarry_GetApplicationRegisteredExtensions
 */
QUARRY_API QuarryExtensionList* Quarry_GetApplicationRegisteredExtensions(const wchar_t* path);

/**
 * Returns 1 when an application can be made from the file at `path`, else 0. Mines no icons.
 * @param path of a shortcut, program or script; variables are expanded
 * @return 1 or 0
 *
 * @snippet everyCall.c Quarry_VerifyApplication
 */
QUARRY_API int32_t Quarry_VerifyApplication(const wchar_t* path);

/**
 * Starts the application at `path` for the remote user, or brings a running instance forward. `flags` are
 * QUARRY_LAUNCH_ bits. `arguments` and `workingDirectory` may be empty, not null. `parameters` holds
 * `parameterCount` custom parameters; a count below 1 means none. Returns a QUARRY_LAUNCH_ result.
 * @param path of a shortcut, program or script; variables are expanded
 * @param flags QUARRY_LAUNCH_ bits
 * @param arguments of the command line; may be empty
 * @param workingDirectory may be empty
 * @param parameterCount how many parameters there are; below 1 means none
 * @param parameters what the application is to open; may be null when there are none
 * @return a QUARRY_LAUNCH_ result
 *
 * @snippet everyCall.c Quarry_LaunchApplication
 */
QUARRY_API uint32_t Quarry_LaunchApplication(const wchar_t* path, uint32_t flags, const wchar_t* arguments,
                                             const wchar_t* workingDirectory, int32_t parameterCount,
                                             const QuarryLaunchParameter* parameters);

/**
 * Frees an icon record. Null is ignored.
 * @param icon of Quarry_GetApplicationIcon or Quarry_GetIcon
 *
 * @snippet everyCall.c Quarry_GetIcon
 */
QUARRY_API void Quarry_FreeIcon(QuarryIconInfo* icon);

/**
 * Frees a list of registered extensions. Null is ignored.
 * @param list of Quarry_GetApplicationRegisteredExtensions
 *
 * @snippet everyCall.c Quarry_GetApplicationRegisteredExtensions
 */
QUARRY_API void Quarry_FreeRegisteredExtensions(QuarryExtensionList* list);

/**
 * Frees an application record of Quarry_GetApplication. Null is ignored.
 * @param app of Quarry_GetApplication
 *
 * @snippet everyCall.c Quarry_FreeApplication
 */
QUARRY_API void Quarry_FreeApplication(QuarryApplicationInfo* app);

/**
 * Frees an array of application records of a scan. Null is ignored.
 * @param apps of a scan
 * @param count as the scan gave it
 *
 * @snippet everyCall.c Quarry_ScanApplications
 */
QUARRY_API void Quarry_FreeApplications(QuarryApplicationInfo* apps, uint64_t count);

/**
 * Frees the data of Quarry_GetIconData. Null is ignored.
 * @param data of Quarry_GetIconData
 *
 * @snippet everyCall.c Quarry_GetIconData
 */
QUARRY_API void Quarry_FreeIconData(void* data);

/**
 * Frees an array of windows. Null is ignored.
 * @param windows of Quarry_GetOpenWindows
 * @param count as it came with them
 *
 * @snippet everyCall.c Quarry_GetOpenWindows
 */
QUARRY_API void Quarry_FreeWindows(QuarryWindowInfo* windows, uint64_t count);

/** The table that Quarry_Init fills: every export but Quarry_Init itself. The order is part of the interface. */
typedef struct QuarryFunctions {
  /** Quarry_Exit */
  void (*Exit)(void);
  /** Quarry_ReportDebugInfo */
  int32_t (*ReportDebugInfo)(void);
  /** Quarry_GetOpenWindows */
  void (*GetOpenWindows)(QuarryWindowInfo** outWindows, uint64_t* outCount);
  /** Quarry_ScanApplicationsUsingIniFile */
  void (*ScanApplicationsUsingIniFile)(const wchar_t* iniPath, QuarryApplicationInfo** outApps, uint64_t* outCount);
  /** Quarry_ScanApplications */
  void (*ScanApplications)(const wchar_t* const* paths, uint64_t count, QuarryApplicationInfo** outApps,
                           uint64_t* outCount);
  /** Quarry_GetApplication */
  QuarryApplicationInfo* (*GetApplication)(const wchar_t* path);
  /** Quarry_GetApplicationIcon */
  QuarryIconInfo* (*GetApplicationIcon)(const QuarryApplicationInfo* app, uint64_t index);
  /** Quarry_GetIcon */
  QuarryIconInfo* (*GetIcon)(const wchar_t* name);
  /** Quarry_GetIconData */
  int32_t (*GetIconData)(const wchar_t* name, void** outData, uint64_t* outSize);
  /** Quarry_GetApplicationRegisteredExtensions */
  QuarryExtensionList* (*GetApplicationRegisteredExtensions)(const wchar_t* path);
  /** Quarry_VerifyApplication */
  int32_t (*VerifyApplication)(const wchar_t* path);
  /** Quarry_LaunchApplication */
  uint32_t (*LaunchApplication)(const wchar_t* path, uint32_t flags, const wchar_t* arguments,
                                const wchar_t* workingDirectory, int32_t parameterCount,
                                const QuarryLaunchParameter* parameters);
  /** Quarry_FreeIcon */
  void (*FreeIcon)(QuarryIconInfo* icon);
  /** Quarry_FreeRegisteredExtensions */
  void (*FreeRegisteredExtensions)(QuarryExtensionList* list);
  /** Quarry_FreeApplication */
  void (*FreeApplication)(QuarryApplicationInfo* app);
  /** Quarry_FreeApplications */
  void (*FreeApplications)(QuarryApplicationInfo* apps, uint64_t count);
  /** Quarry_FreeIconData */
  void (*FreeIconData)(void* data);
  /** Quarry_FreeWindows */
  void (*FreeWindows)(QuarryWindowInfo* windows, uint64_t count);
} QuarryFunctions;

#ifdef __cplusplus
}
#endif

#if UINTPTR_MAX == UINT64_MAX
#if defined(__cplusplus)
#define QUARRY_LAYOUT(type, size) static_assert(sizeof(type) == (size), #type " has a fixed layout")
#elif __STDC_VERSION__ >= 201112L
#define QUARRY_LAYOUT(type, size) _Static_assert(sizeof(type) == (size), #type " has a fixed layout")
#else /* what a compiler of older C understands as an assertion */
#define QUARRY_LAYOUT(type, size) typedef char type##HasFixedLayout[sizeof(type) == (size) ? 1 : -1]
#endif
QUARRY_LAYOUT(QuarryApplicationInfo, 96);
QUARRY_LAYOUT(QuarryIconInfo, 40);
QUARRY_LAYOUT(QuarryWindowInfo, 24);
QUARRY_LAYOUT(QuarryExtensionList, 16);
QUARRY_LAYOUT(QuarryExtensionEntry, 16);
QUARRY_LAYOUT(QuarryFunctions, 18 * sizeof(void (*)(void)));
#undef QUARRY_LAYOUT
#endif
