// Calls, time and memory of one more item on the library's paths, beside two floors:
//
//   bench [JSON FILE [ROUNDS]]
//
// The table goes to the standard output. scripts/bench.sh runs it, docs/performance.md tells how to read it.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "bench/measure.h"
#include "bench/path.h"
#include "bench/report.h"

namespace {

constexpr int kRounds = 15;

}  // namespace

int main(int argc, char** argv) {
  using namespace quarry::bench;  // NOLINT(google-build-using-namespace)
  try {
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : kRounds;
    PinToOneCore();
    std::vector<Result> results;
    for (const auto& paths : {WindowsPaths(), FileTypesPaths(), ScanPaths()}) {
      for (const Path& path : paths) {
        std::fprintf(stderr, "%s...\n", path.name.c_str());
        results.push_back(Measure(path, rounds));
      }
    }
    std::fputs(TableOf(results).c_str(), stdout);
    if (argc > 1 && !(std::ofstream(argv[1], std::ios::binary) << JsonOf(results))) {
      std::fprintf(stderr, "cannot write %s\n", argv[1]);
      return 1;
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
