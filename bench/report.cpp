#include "bench/report.h"

#include "lib/string/str.h"

#include <nlohmann/json.hpp>

namespace quarry::bench {

namespace {

constexpr int kIndent = 2;

std::string TimeText(const Cost& cost) { return Str_Format("%.1f ± %.1f", cost.microseconds, cost.spread); }

nlohmann::ordered_json JsonOf(const Cost& cost) {
  return {{"calls", cost.calls},
          {"microseconds", cost.microseconds},
          {"spread", cost.spread},
          {"callsByFunction", cost.callsByFunction}};
}

}  // namespace

std::string TableOf(const std::vector<Result>& results) {
  std::string table =
      "| One more | Items | Calls | naive | best | Microseconds | naive | best | Against naive | Bytes |\n"
      "|---|---|---|---|---|---|---|---|---|---|\n";
  std::string noisy;
  for (const Result& result : results) {
    table += Str_Format("| %s | %d, %d | %.1f | %.1f | %.1f | %s | %s | %s | %.2f | %.0f |\n", result.name.c_str(),
                        result.few, result.many, result.library.calls, result.naive.calls, result.best.calls,
                        TimeText(result.library).c_str(), TimeText(result.naive).c_str(), TimeText(result.best).c_str(),
                        result.library.microseconds / result.naive.microseconds, result.bytes);
    if (result.noise > kMostNoise) {
      noisy += Str_Format("Too noisy to judge by time: %s (the naive way differs from itself by %.0f %%)\n",
                          result.name.c_str(), result.noise * 100);
    }
  }
  return noisy.empty() ? table : table + '\n' + noisy;
}

std::string JsonOf(const std::vector<Result>& results) {
  nlohmann::ordered_json paths = nlohmann::ordered_json::array();
  for (const Result& result : results) {
    paths.push_back({{"name", result.name},
                     {"few", result.few},
                     {"many", result.many},
                     {"library", JsonOf(result.library)},
                     {"naive", JsonOf(result.naive)},
                     {"best", JsonOf(result.best)},
                     {"bytes", result.bytes},
                     {"noise", result.noise},
                     {"tooNoisyForTimes", result.noise > kMostNoise}});
  }
  return paths.dump(kIndent) + '\n';
}

}  // namespace quarry::bench
