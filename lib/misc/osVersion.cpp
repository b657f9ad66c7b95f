#include "lib/misc/osVersion.h"

#include "lib/string/str.h"

#include <algorithm>
#include <iterator>

namespace {

// Microsoft Learn, GetProductInfo: the PRODUCT_ values. Numbers, because older platform headers lack the newer names.
constexpr OsEdition kEditions[] = {
    {0x01, L"Ultimate", L"Ultimate"},
    {0x02, L"Home Basic", L"Home Basic"},
    {0x03, L"Home Premium", L"Home Premium"},
    {0x04, L"Enterprise", L"Enterprise"},
    {0x06, L"Business", L"Business"},
    {0x07, L"Standard", L"Server Standard"},
    {0x08, L"Datacenter", L"Server Datacenter"},
    {0x09, L"Small Business", L"Small Business Server"},
    {0x0A, L"Enterprise", L"Server Enterprise"},
    {0x0B, L"Starter", L"Starter"},
    {0x0C, L"Datacenter Core", L"Server Datacenter (core installation)"},
    {0x0D, L"Standard Core", L"Server Standard (core installation)"},
    {0x0E, L"Enterprise Core", L"Server Enterprise (core installation)"},
    {0x11, L"Web", L"Web Server"},
    {0x18, L"Essentials", L"Server for Small Business (Essentials)"},
    {0x1B, L"Enterprise N", L"Enterprise N"},
    {0x21, L"Foundation", L"Server Foundation"},
    {0x2A, L"Hyper-V", L"Hyper-V Server"},
    {0x30, L"Pro", L"Professional"},
    {0x31, L"Pro N", L"Professional N"},
    {0x48, L"Enterprise Eval", L"Enterprise Evaluation"},
    {0x4F, L"Standard Eval", L"Server Standard Evaluation"},
    {0x50, L"Datacenter Eval", L"Server Datacenter Evaluation"},
    {0x62, L"Home N", L"Home N"},
    {0x63, L"Home China", L"Home China"},
    {0x64, L"Home Single", L"Home Single Language"},
    {0x65, L"Home", L"Home"},
    {0x79, L"Education", L"Education"},
    {0x7A, L"Education N", L"Education N"},
    {0x7D, L"LTSC", L"Enterprise LTSC"},
    {0x81, L"LTSC Eval", L"Enterprise LTSC Evaluation"},
    {0x91, L"Datacenter AC", L"Server Datacenter, Annual Channel (core installation)"},
    {0x92, L"Standard AC", L"Server Standard, Annual Channel (core installation)"},
    {0xA1, L"Pro WS", L"Pro for Workstations"},
    {0xA4, L"Pro Edu", L"Pro Education"},
    {0xAF, L"Multi-Session", L"Enterprise multi-session"},
    {0xBC, L"IoT", L"IoT Enterprise"},
    {0xBF, L"IoT LTSC", L"IoT Enterprise LTSC"},
};

std::optional<int> chosenGeneration;

using RtlGetVersionFn = LONG(WINAPI*)(OSVERSIONINFOW*);

std::wstring FamilyName(const OsVersion& version) {
  // Windows 11 and the servers since 2016 keep version 10.0; the first build of each tells them apart.
  if (version.major == 10 && version.server) {
    if (version.build >= 26100) return L"Windows Server 2025";
    if (version.build >= 20348) return L"Windows Server 2022";
    return version.build >= 17763 ? L"Windows Server 2019" : L"Windows Server 2016";
  }
  if (version.major == 10) return version.build >= 22000 ? L"Windows 11" : L"Windows 10";
  return version.server ? L"Windows Server" : L"Windows";
}

int DetectGeneration() {
  const std::optional<OsVersion> version = Os_GetVersion();
  return version ? Os_GenerationOf(*version) : kOsGenerationUnknown;
}

}  // namespace

std::optional<OsVersion> Os_GetVersion() {
  const auto rtlGetVersion = reinterpret_cast<RtlGetVersionFn>(
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlGetVersion")));
  OSVERSIONINFOEXW info{};
  info.dwOSVersionInfoSize = sizeof(info);
  if (rtlGetVersion == nullptr || rtlGetVersion(reinterpret_cast<OSVERSIONINFOW*>(&info)) != 0) return std::nullopt;
  return OsVersion{info.dwMajorVersion, info.dwMinorVersion, info.dwBuildNumber, info.wServicePackMajor,
                   info.wProductType != VER_NT_WORKSTATION};
}

int Os_GenerationOf(const OsVersion& version) {
  struct Generation {
    DWORD major;
    DWORD minor;
    int number;
  };
  static constexpr Generation kNewestFirst[] = {
      {10, 0, 12}, {6, 3, 11}, {6, 2, 10}, {6, 1, 9}, {6, 0, kOsGenerationVista}, {5, 2, 7}, {5, 1, 6},
  };
  const auto* const found =
      std::find_if(std::begin(kNewestFirst), std::end(kNewestFirst), [&](const Generation& generation) {
        return version.major > generation.major ||
               (version.major == generation.major && version.minor >= generation.minor);
      });
  return found == std::end(kNewestFirst) ? kOsGenerationWindows2000 : found->number;
}

int Os_GetGeneration() {
  static const int detectedGeneration = DetectGeneration();
  return chosenGeneration.value_or(detectedGeneration);
}

void Os_SetGeneration(std::optional<int> generation) noexcept { chosenGeneration = generation; }

const OsEdition* Os_FindEdition(DWORD productType) {
  const auto* const found =
      std::find_if(std::begin(kEditions), std::end(kEditions),
                   [productType](const OsEdition& edition) { return edition.productType == productType; });
  return found == std::end(kEditions) ? nullptr : found;
}

std::wstring Os_Describe() {
  const std::optional<OsVersion> version = Os_GetVersion();
  if (!version) return L"Windows (unknown version)";
  DWORD productType = 0;
  const OsEdition* edition = nullptr;
  if (GetProductInfo(version->major, version->minor, version->servicePackMajor, 0, &productType) != FALSE) {
    edition = Os_FindEdition(productType);
  }
  return Str_FormatWide(L"%s%s%s (%lu.%lu.%lu)", FamilyName(*version).c_str(), edition == nullptr ? L"" : L" ",
                        edition == nullptr ? L"" : edition->longName, version->major, version->minor, version->build);
}
