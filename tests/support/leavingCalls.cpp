#include "tests/support/leavingCalls.h"

#include <numeric>
#include <set>

namespace quarry::test {
namespace {

bool StaysInMemory(const std::string& function) {
  static const std::set<std::string, std::less<>> kFunctions = {
      // the process itself, its threads, locks and memory
      "AddVectoredExceptionHandler", "DeleteCriticalSection", "EnterCriticalSection", "GetCurrentProcess",
      "GetCurrentProcessId", "GetCurrentThread", "GetCurrentThreadId", "GetLastError", "GetModuleHandleExW",
      "GetModuleHandleW", "GetModuleFileNameW", "GetProcAddress", "InitializeCriticalSection", "IsDebuggerPresent",
      "LeaveCriticalSection", "LocalFree", "RaiseException", "SetLastError", "TlsAlloc", "TlsGetValue", "TlsSetValue",
      "TryEnterCriticalSection", "VirtualAlloc", "VirtualFree", "VirtualProtect", "VirtualQuery", "CoTaskMemFree",
      "CreateStreamOnHGlobal",
      // time and texts
      "CompareFileTime", "CompareStringOrdinal", "ExpandEnvironmentStringsW", "FormatMessageA", "GetACP",
      "GetSystemTimeAsFileTime", "GetTickCount64", "IsDBCSLeadByteEx", "LCMapStringW", "MultiByteToWideChar",
      "QueryPerformanceCounter", "QueryPerformanceFrequency", "WideCharToMultiByte", "CommandLineToArgvW",
      "PathCreateFromUrlW", "PathFindExtensionW", "PathFindFileNameW", "PathIsNetworkPathW", "PathIsRelativeW",
      "PathIsURLW", "PathMatchSpecW",
      // resources and versions that have been loaded, rights that have been read
      "FindResourceW", "LoadResource", "LockResource", "LookupIconIdFromDirectoryEx", "SizeofResource",
      "VerQueryValueW", "AllocateAndInitializeSid", "ConvertSidToStringSidW",
      "ConvertStringSecurityDescriptorToSecurityDescriptorW", "CreateWellKnownSid", "EqualSid", "FreeSid", "GetAce",
      "GetAclInformation", "GetExplicitEntriesFromAclW", "GetLengthSid", "GetSecurityDescriptorDacl",
      "GetSecurityDescriptorOwner", "IsValidAcl", "IsValidSid", "IsWellKnownSid"};
  return function.starts_with("Rtl") || kFunctions.contains(function);
}

std::vector<Import> LeavingImports(HMODULE module) {
  std::vector<Import> imports = ImportsOf(module);
  std::erase_if(imports, [](const Import& import) {
    return _stricmp(import.library.c_str(), "msvcrt.dll") == 0 || StaysInMemory(import.function);
  });
  return imports;
}

}  // namespace

LeavingCalls::LeavingCalls(HMODULE module) : imports_(LeavingImports(module)) {}

std::uint64_t LeavingCalls::Of(const std::function<void()>& action) {
  const std::map<std::string, std::uint64_t> counts = ByFunction(action);
  return std::accumulate(counts.begin(), counts.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const auto& entry) { return sum + entry.second; });
}

std::map<std::string, std::uint64_t> LeavingCalls::ByFunction(const std::function<void()>& action) {
  imports_.Reset();
  action();
  return imports_.Counts();
}

}  // namespace quarry::test
