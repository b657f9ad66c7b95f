#pragma once

#include <cstdint>
#include <string_view>

namespace quarry {

struct Timer;

/// Adds the time from its construction to its destruction, and one call, to the process-wide timer of that name.
class TimingScope {
 public:
  explicit TimingScope(std::wstring_view name);
  ~TimingScope();
  TimingScope(const TimingScope&) = delete;
  TimingScope& operator=(const TimingScope&) = delete;

 private:
  Timer& timer_;
  std::uint64_t startTicks_;
};

/// Writes each timer's name, average milliseconds per call and number of calls to the process's standard wide output.
/// Returns the number of timers written.
std::int32_t ReportTimers();

}  // namespace quarry
