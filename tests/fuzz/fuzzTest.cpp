// Inputs as strangers could place or send them, of every kind, damaged by numbers: the host lives through them and
// keeps nothing. A worker process gets them. To repeat one, with its bytes in the file FUZZ-INPUT of the current
// folder:
//
//   QUARRY_FUZZ_TASK="program 1234 1 FUZZ-INPUT" fuzzTest.exe --gtest_filter=FuzzWorker.*
//   --gtest_also_run_disabled_tests

#include "tests/fuzz/targets.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

namespace quarry::test {
namespace {

constexpr std::size_t kBatch = 200;

TEST(FuzzWorker, DISABLED_LivesThroughInputs) {
  EndAtOnceWhenFaulting();
  std::istringstream task(std::getenv("QUARRY_FUZZ_TASK"));
  std::string name;
  std::uint32_t first = 0;
  std::uint32_t count = 0;
  std::string copy;
  task >> name >> first >> count >> copy;
  FuzzWorld world;
  const FuzzTarget target = world.Target(name);
  const auto feed = [&](std::uint32_t number) {
    Random random(number);
    const Bytes input = target.make(random);
    if (!copy.empty())
      std::ofstream(copy, std::ios::binary)
          .write(reinterpret_cast<const char*>(input.data()), static_cast<std::streamsize>(input.size()));
    target.feed(input);
  };
  for (std::uint32_t number = first; number < first + count; ++number) {
    std::cout << "input " << number << std::endl;
    feed(number);
  }
  // The platform keeps what a first use loads, so it is the second that must leave nothing.
  const ResourceCounts before = ResourceCounts::Now();
  for (std::uint32_t number = first; number < first + count; number += 4) feed(number);
  const ResourceCounts growth = ResourceCounts::Now() - before;
  std::cout << "growth " << PrintToString(growth) << std::endl;
  EXPECT_EQ(growth, (ResourceCounts{0, 0, growth.heapBytes}));
}

class Fuzz : public TestWithParam<std::string> {};

TEST_P(Fuzz, InputsNeitherCrashNorHangNorLeak) {
  const auto inputs = static_cast<std::size_t>(Rounds(220, 22'000));
  for (std::size_t first = 0; first < inputs;) {
    const std::string task =
        GetParam() + ' ' + std::to_string(first) + ' ' + std::to_string(std::min(kBatch, inputs - first));
    SetEnvironmentVariableA("QUARRY_FUZZ_TASK", task.c_str());
    const ProcessOutput output =
        RunProgram(L"tests\\fuzzTest", {L"--gtest_filter=FuzzWorker.*", L"--gtest_also_run_disabled_tests"});
    const std::size_t last = output.out.rfind("input ");
    ASSERT_NE(last, std::string::npos) << output.out << output.err;
    EXPECT_EQ(output.exitCode, 0U) << GetParam() << ' ' << output.out.substr(last);
    // One that died goes on behind its last input.
    first = std::stoul(output.out.substr(last + 6)) + 1;
  }
}

INSTANTIATE_TEST_SUITE_P(Targets, Fuzz, ValuesIn(FuzzWorld::TargetNames()),
                         [](const auto& target) { return target.param; });

}  // namespace
}  // namespace quarry::test
