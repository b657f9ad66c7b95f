#include "bench/measure.h"

#include "tests/support/leavingCalls.h"
#include "tests/support/quarryHost.h"
#include "tests/support/resourceCounts.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <functional>
#include <memory>

namespace quarry::bench {

namespace {

using test::LeavingCalls;

enum Way : std::size_t { kLibrary, kNaive, kNaiveAgain, kBest, kWays };

/// What all items of one subject cost together.
struct Sample {
  std::array<std::map<std::string, std::uint64_t>, kWays> calls;
  std::array<std::vector<double>, kWays> microseconds;
  double bytes = 0;
};

double MicrosecondsOf(const std::function<void()>& action) {
  const auto started = std::chrono::steady_clock::now();
  action();
  return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - started).count();
}

double HeldBytes(Subject& subject) {
  const auto before = test::ResourceCounts::Now().heapBytes;
  const std::shared_ptr<void> held = subject.Library();
  return static_cast<double>(test::ResourceCounts::Now().heapBytes - before);
}

Sample Take(Subject& subject, int rounds) {
  const std::array<std::function<void()>, kWays> ways = {[&] { subject.Library(); }, [&] { subject.Naive(); },
                                                         [&] { subject.Naive(); }, [&] { subject.Best(); }};
  Sample sample;
  for (const auto& way : ways) way();  // the first time everything is cold
  {
    LeavingCalls library(test::Library::Instance().Module());
    LeavingCalls own(GetModuleHandleW(nullptr));
    for (std::size_t way = 0; way < kWays; ++way) {
      sample.calls.at(way) = (way == kLibrary ? library : own).ByFunction(ways.at(way));
    }
  }
  sample.bytes = HeldBytes(subject);
  for (int round = 0; round < rounds; ++round) {
    for (std::size_t way = 0; way < kWays; ++way) sample.microseconds.at(way).push_back(MicrosecondsOf(ways.at(way)));
  }
  return sample;
}

double Quantile(std::vector<double> values, double part) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(part * static_cast<double>(values.size() - 1))];
}

double Median(const std::vector<double>& values) { return Quantile(values, 0.5); }

Cost CostOf(const Sample& few, const Sample& many, Way way, double items) {
  Cost cost;
  for (const auto& [function, count] : many.calls.at(way)) {
    const auto before = few.calls.at(way).find(function);
    const double fewer = before == few.calls.at(way).end() ? 0 : static_cast<double>(before->second);
    const double each = (static_cast<double>(count) - fewer) / items;
    if (each >= 0.01) cost.callsByFunction[function] = each;
    cost.calls += each;
  }
  const std::vector<double>& times = many.microseconds.at(way);
  cost.microseconds = (Median(times) - Median(few.microseconds.at(way))) / items;
  cost.spread = (Quantile(times, 0.75) - Quantile(times, 0.25)) / 2 / items;
  return cost;
}

}  // namespace

void PinToOneCore() {
  DWORD_PTR own = 0;
  DWORD_PTR system = 0;
  if (GetProcessAffinityMask(GetCurrentProcess(), &own, &system) == FALSE || own == 0) return;
  SetProcessAffinityMask(GetCurrentProcess(), own & (~own + 1));
}

Result Measure(const Path& path, int rounds) {
  const Sample few = Take(*path.make(path.few), rounds);
  const Sample many = Take(*path.make(path.many), rounds);
  const double items = path.many - path.few;
  Result result;
  result.name = path.name;
  result.few = path.few;
  result.many = path.many;
  result.library = CostOf(few, many, kLibrary, items);
  result.naive = CostOf(few, many, kNaive, items);
  result.best = CostOf(few, many, kBest, items);
  result.bytes = (many.bytes - few.bytes) / items;
  const double again = Median(many.microseconds[kNaiveAgain]);
  result.noise = std::abs(Median(many.microseconds[kNaive]) - again) / again;
  return result;
}

}  // namespace quarry::bench
