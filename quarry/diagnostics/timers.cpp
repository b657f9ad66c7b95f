#include "quarry/diagnostics/timers.h"

#include <windows.h>

#include <intrin.h>

#include <functional>
#include <iostream>
#include <map>
#include <string>

namespace quarry {

struct Timer {
  std::uint64_t ticks = 0;
  std::uint64_t calls = 0;
};

namespace {

/// One moment on the processor's time-stamp counter and on the system's performance counter.
struct Moment {
  std::uint64_t ticks;
  LONGLONG count;

  static Moment Now() {
    LARGE_INTEGER count{};
    QueryPerformanceCounter(&count);
    return {__rdtsc(), count.QuadPart};
  }
};

/// The timers in the order of their names, and the moment when the first came up, from which the time-stamp counter is
/// calibrated.
struct Timers {
  std::map<std::wstring, Timer, std::less<>> byName;
  Moment firstUse = Moment::Now();
};

Timers& AllTimers() {
  static Timers timers;
  return timers;
}

Timer& TimerNamed(std::wstring_view name) {
  auto& timers = AllTimers().byName;
  const auto found = timers.find(name);
  return found != timers.end() ? found->second : timers[std::wstring(name)];
}

double TicksPerMillisecond() {
  constexpr DWORD kShortestCalibration = 20;  // milliseconds
  const Moment start = AllTimers().firstUse;
  LARGE_INTEGER frequency{};
  QueryPerformanceFrequency(&frequency);
  Moment end = Moment::Now();
  if ((end.count - start.count) * 1000 < frequency.QuadPart * kShortestCalibration) {
    Sleep(kShortestCalibration);
    end = Moment::Now();
  }
  const double milliseconds =
      static_cast<double>(end.count - start.count) * 1000.0 / static_cast<double>(frequency.QuadPart);
  return static_cast<double>(end.ticks - start.ticks) / milliseconds;
}

/// Writes a name that may hold characters which the stream's locale cannot carry; these become question marks instead
/// of stopping the stream.
void WriteName(std::wostream& out, const std::wstring& name) {
  for (const wchar_t character : name) {
    out.put(character);
    if (out.good()) continue;
    out.clear();
    out.put(L'?');
  }
}

}  // namespace

TimingScope::TimingScope(std::wstring_view name) : timer_(TimerNamed(name)), startTicks_(__rdtsc()) {}

TimingScope::~TimingScope() {
  timer_.ticks += __rdtsc() - startTicks_;
  ++timer_.calls;
}

std::int32_t ReportTimers() {
  const double ticksPerMillisecond = TicksPerMillisecond();
  std::wcout << L"timer:\n";
  for (const auto& [name, timer] : AllTimers().byName) {
    // No call has ended yet of a timer that runs while the report is asked for, from within the log callback.
    const double calls = timer.calls == 0 ? 1.0 : static_cast<double>(timer.calls);
    std::wcout << L'\t';
    WriteName(std::wcout, name);
    std::wcout << L" : " << static_cast<double>(timer.ticks) / ticksPerMillisecond / calls << L" ms (" << timer.calls
               << L" calls)\n";
  }
  std::wcout << std::flush;
  return static_cast<std::int32_t>(AllTimers().byName.size());
}

}  // namespace quarry
