#pragma once

#include <windows.h>

#include <optional>
#include <string>

/// The operating system that the process runs on, as the kernel reports it (whatever the program's manifest says).
struct OsVersion {
  DWORD major = 0;
  DWORD minor = 0;
  DWORD build = 0;
  WORD servicePackMajor = 0;
  bool server = false;  ///< a server or domain controller
};

/// One Windows edition (GetProductInfo's product type).
struct OsEdition {
  DWORD productType;
  const wchar_t* shortName;  ///< such as "Pro"
  const wchar_t* longName;   ///< such as "Professional"
};

// Quarry itself asks for Windows 10. The libraries below it set no minimum of their own, and where systems before Vista
// need another way they take it.

/// The generation of systems that are older than any in the table, and of one whose version cannot be read.
constexpr int kOsGenerationWindows2000 = 5;
constexpr int kOsGenerationVista = 8;
constexpr int kOsGenerationUnknown = 99999;

/// Reads the version, or nothing when the kernel does not tell. Source: Microsoft Learn, RtlGetVersion.
std::optional<OsVersion> Os_GetVersion();

/// The place of a version in the row of Windows generations: 5 is Windows 2000, 6 XP, 7 Server 2003, 8 Vista and
/// Server 2008, then one more for each of 7, 8, 8.1 and 10 with all that follow it.
int Os_GenerationOf(const OsVersion& version);

/// The generation of this system, kOsGenerationUnknown when it cannot be told.
int Os_GetGeneration();

/// Answers `generation` from now on, so that tests reach what only older systems do; nothing goes back to detection.
void Os_SetGeneration(std::optional<int> generation) noexcept;

/// Looks a product type up in the table of editions; null for one that is not in it.
const OsEdition* Os_FindEdition(DWORD productType);

/// The name of this system for people, such as "Windows 10 Professional (10.0.19045)".
std::wstring Os_Describe();
