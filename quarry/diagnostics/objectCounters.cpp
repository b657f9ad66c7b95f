#include "quarry/diagnostics/objectCounters.h"

#include <cstdint>
#include <functional>
#include <iostream>
#include <map>

namespace quarry {

namespace {

struct Counters {
  std::uint32_t created = 0;
  std::uint32_t deleted = 0;
};

std::map<std::string, Counters, std::less<>>& AllCounters() {
  static std::map<std::string, Counters, std::less<>> counters;
  return counters;
}

Counters& CountersOf(const char* className) {
  auto& all = AllCounters();
  const auto found = all.find(className);
  return found != all.end() ? found->second : all[className];
}

}  // namespace

void CountCreated(const char* className) { ++CountersOf(className).created; }

void CountDeleted(const char* className) { ++CountersOf(className).deleted; }

std::string FormatLeakReport(bool verdictLast) {
  std::string classes;
  std::string indentedClasses;
  std::int64_t total = 0;
  for (const auto& [name, counters] : AllCounters()) {
    const std::int64_t leaked = std::int64_t{counters.created} - std::int64_t{counters.deleted};
    const std::string line = name + " created=" + std::to_string(counters.created) +
                             " deleted=" + std::to_string(counters.deleted) + " leaked=" + std::to_string(leaked) +
                             "\n";
    classes += line;
    indentedClasses += "\t" + line;
    total += leaked;
  }
  const char* const verdict = total != 0 ? "memleak: FAIL:\n" : "memleak: no leaks.\n";
  return classes + verdict + (verdictLast ? std::string{} : indentedClasses);
}

void ReportLeaks(bool verdictLast) { std::cout << FormatLeakReport(verdictLast) << std::flush; }

}  // namespace quarry
