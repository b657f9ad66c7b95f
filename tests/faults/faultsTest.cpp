// One call of the platform fails, anywhere in a host's day: what the library then gives is sound, the next day is as if
// nothing had been, and nothing is left. A worker process spends the days, so that one that dies names its fault.

#include "tests/support/hostDays.h"
#include "tests/support/hostTest.h"
#include "tests/support/importTable.h"

#include <iostream>
#include <iterator>
#include <set>
#include <sstream>

namespace quarry::test {
namespace {

/// Tells a worker its work: "DAY FIRST" for the faults of a day in a process that has spent it before, from the FIRST
/// on; "DAY FUNCTION CALL" for one fault in a new process; "DAY -" to name the faults that a new process can meet.
constexpr wchar_t kTask[] = L"QUARRY_FAULT_TASK";
/// So many faults are one worker's.
constexpr std::size_t kBatch = 40;

struct Fault {
  std::string function;
  std::uint64_t call;
};

std::set<std::string> Words(const char* text) {
  std::istringstream words(text);
  return {std::istream_iterator<std::string>(words), {}};
}

/// Those that give something back, that only look at memory, or that the compiler's run time has for itself.
bool CanFail(const Import& import) {
  static const std::set<std::string> kFromRuntime = Words("malloc calloc realloc _wcsdup _fdopen _open_osfhandle");
  static const std::set<std::string> kNever = Words(
      "AddVectoredExceptionHandler CallNextHookEx CloseHandle CoTaskMemFree CoUninitialize CompareFileTime "
      "CryptDestroyHash CryptReleaseContext DefWindowProcW DeleteCriticalSection DeleteObject DestroyIcon "
      "DestroyWindow EnterCriticalSection EqualSid FindClose FreeLibrary FreeSid GdipDisposeImage "
      "GdiplusShutdown GetACP GetCurrentProcess GetCurrentProcessId GetCurrentThread GetCurrentThreadId "
      "GetLastError GetLengthSid GetSystemTimeAsFileTime GetTickCount64 InitializeCriticalSection "
      "IsDBCSLeadByteEx IsDebuggerPresent IsWindow LeaveCriticalSection LocalFree LockResource "
      "OutputDebugStringA QueryPerformanceCounter QueryPerformanceFrequency RaiseException RegCloseKey "
      "ReleaseDC ReleaseSemaphore RtlCaptureContext RtlLookupFunctionEntry RtlUnwindEx RtlVirtualUnwind "
      "SetLastError Sleep TlsAlloc TlsGetValue TlsSetValue TryEnterCriticalSection UnhookWindowsHookEx "
      "UnmapViewOfFile VirtualAlloc VirtualFree VirtualProtect VirtualQuery __C_specific_handler");
  return import.library == "msvcrt.dll" ? kFromRuntime.contains(import.function) : !kNever.contains(import.function);
}

std::vector<Import> ThatCanFail() {
  std::vector<Import> imports = ImportsOf(Library::Instance().Module());
  std::erase_if(imports, std::not_fn(CanFail));
  return imports;
}

/// By the documentation of each function; most answer 0.
Failure FailureOf(const std::string& function) {
  static const std::pair<std::uint64_t, std::set<std::string>> kResults[] = {
      {0x8007000E,  // E_OUTOFMEMORY
       Words("AssocQueryStringW CoCreateInstance CoInitializeEx CreateStreamOnHGlobal PathCreateFromUrlW "
             "SHAssocEnumHandlers SHGetFolderPathW SHGetKnownFolderPath SHLoadIndirectString")},
      {~std::uint64_t{0}, Words("CreateFileA CreateFileW FindFirstFileExW")},
      {INVALID_FILE_ATTRIBUTES, Words("GetFileAttributesW")},
      {WAIT_FAILED, Words("WaitForMultipleObjects WaitForSingleObject")},
      {ERROR_NOT_ENOUGH_MEMORY,
       Words("GetExplicitEntriesFromAclW GetNamedSecurityInfoW GetSecurityInfo SHCreateDirectoryExW")},
  };
  if (function.starts_with("Reg") && function != "RegisterClassW") return {ERROR_NOT_ENOUGH_MEMORY};
  if (function.starts_with("Gdip") || function == "GdiplusStartup") return {3};  // OutOfMemory
  const auto* const found = std::find_if(std::begin(kResults), std::end(kResults),
                                         [&](const auto& result) { return result.second.contains(function); });
  return found == std::end(kResults) ? Failure{} : Failure{found->first};
}

/// The faults of a day: the first and a few later calls of each function, or many of them.
std::vector<Fault> FaultsOf(const std::map<std::string, std::uint64_t>& counts) {
  const auto dense = static_cast<std::uint64_t>(Rounds(1, 24));
  const auto step = static_cast<std::uint64_t>(Rounds(400, 2));  // each so many tenths of the one before, and one more
  std::vector<Fault> faults;
  for (const auto& [function, count] : counts) {
    for (std::uint64_t call = 1; call <= count; call += call < dense ? 1 : 1 + call * step / 10) {
      faults.push_back({function, call});
    }
  }
  return faults;
}

std::string Text(const Fault& fault) { return fault.function + ' ' + std::to_string(fault.call); }

class Worker {
 public:
  explicit Worker(Day day) : day_(day) {}

  void NameFaults() {
    for (const Fault& fault : FaultsOf(Calls())) std::cout << "fault " << Text(fault) << '\n';
  }

  void SufferInNewProcess(const Fault& fault) {
    Suffer(fault);
    Spend();  // the hidden window's class is there from now on, which the library says
    const std::vector<std::string> said = Spend();
    EXPECT_EQ(Spend(), said);
    std::cout << "said " << std::hash<std::string>()(PrintToString(said)) << '\n';
  }

  void SufferInUsedProcess(std::size_t first) {
    Spend();
    const std::vector<Fault> faults = FaultsOf(Calls());
    const std::vector<std::string> honest = Spend();
    for (std::size_t index = first; index < std::min(first + kBatch, faults.size()); ++index) {
      std::cout << "fault " << index << ' ' << Text(faults[index]) << std::endl;
      // The platform and the run time keep what a first failure needs, so it is the second that must leave nothing.
      Suffer(faults[index]);
      Spend();
      const ResourceCounts before = ResourceCounts::Now();
      Suffer(faults[index]);
      EXPECT_EQ(Spend(), honest) << Text(faults[index]);
      EXPECT_EQ(ResourceCounts::Now() - before, ResourceCounts()) << Text(faults[index]);
    }
    std::cout << "done " << (first + kBatch < faults.size()) << '\n';
  }

 private:
  std::vector<std::string> Spend() const { return world_.Spend(day_); }
  void Suffer(const Fault& fault) {
    calls_.Reset();
    calls_.Fail(fault.function, fault.call, FailureOf(fault.function));
    Spend();
    calls_.Reset();
    EXPECT_THAT(Library::Instance().DebugReport(), HasSubstr("memleak: no leaks.")) << Text(fault);
  }
  std::map<std::string, std::uint64_t> Calls() {
    calls_.Reset();
    Spend();
    return calls_.Counts();
  }

  Day day_;
  HostWorld world_;
  CountedImports calls_{ThatCanFail()};
};

TEST(FaultWorker, DISABLED_SpendsItsDays) {
  EndAtOnceWhenFaulting();
  wchar_t variable[100] = {};
  GetEnvironmentVariableW(kTask, variable, static_cast<DWORD>(std::size(variable)));
  std::istringstream task(Unicode_Utf8FromWide(variable));
  int day = 0;
  Fault fault;
  task >> day >> fault.function;
  Worker worker(static_cast<Day>(day));
  if (fault.function == "-") return worker.NameFaults();
  if (task >> fault.call) return worker.SufferInNewProcess(fault);
  worker.SufferInUsedProcess(std::stoul(fault.function));
}

ProcessOutput RunWorker(Day day, const std::string& task) {
  const std::string whole = std::to_string(static_cast<int>(day)) + ' ' + task;
  SetEnvironmentVariableA("QUARRY_FAULT_TASK", whole.c_str());
  return RunProgram(L"tests\\faultsTest", {L"--gtest_filter=FaultWorker.*", L"--gtest_also_run_disabled_tests"});
}

/// The lines of `text` that begin with `word`, without it.
std::vector<std::string> LinesOf(const std::string& text, const std::string& word) {
  std::vector<std::string> found;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.starts_with(word + ' ')) found.push_back(line.substr(word.size() + 1));
  }
  return found;
}

class Faults : public TestWithParam<Day> {};

TEST_P(Faults, InAUsedProcessLeaveNothing) {
  std::size_t count = 0;
  for (bool more = true; more;) {
    const ProcessOutput output = RunWorker(GetParam(), std::to_string(count));
    const std::vector<std::string> faults = LinesOf(output.out, "fault");
    const std::vector<std::string> done = LinesOf(output.out, "done");
    EXPECT_EQ(output.exitCode, 0U) << output.out << output.err;
    ASSERT_FALSE(faults.empty());
    // One that died goes on behind its last fault.
    more = done.empty() || done[0] == "1";
    count += faults.size();
  }
  std::cout << count << " faults\n";
}

TEST_P(Faults, InANewProcessLeaveItAsUsable) {
  const std::vector<std::string> faults = LinesOf(RunWorker(GetParam(), "-").out, "fault");
  ASSERT_FALSE(faults.empty());
  std::set<std::string> said;
  // A brief run takes some from all over the list.
  const auto step = static_cast<std::size_t>(Rounds(std::max(static_cast<int>(faults.size()) / 6, 1), 1));
  for (std::size_t index = 0; index < faults.size(); index += step) {
    SCOPED_TRACE(faults[index]);
    const ProcessOutput output = RunWorker(GetParam(), faults[index]);
    EXPECT_EQ(output.exitCode, 0U) << output.out << output.err;
    for (const std::string& hash : LinesOf(output.out, "said")) said.insert(hash);
  }
  EXPECT_THAT(said, SizeIs(1));
  std::cout << (faults.size() + step - 1) / step << " faults\n";
}

INSTANTIATE_TEST_SUITE_P(Days, Faults, ValuesIn(kAllDays));

}  // namespace
}  // namespace quarry::test
