#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quarry::bench {

/// Items of one kind, made for as long as it lives, and three ways to do the same work on all of them.
class Subject {
 public:
  Subject() = default;
  virtual ~Subject() = default;
  Subject(const Subject&) = delete;
  Subject& operator=(const Subject&) = delete;

  /// Through the exports of the library. Returns what it hands out, to be let go by the caller.
  virtual std::shared_ptr<void> Library() = 0;
  /// The platform's calls as the behaviour suggests them, each where its answer is wanted. Nothing is written down.
  virtual void Naive() = 0;
  /// As few of the platform's calls as the behaviour can do with.
  virtual void Best() = 0;
};

/// What is measured: the cost of one more item, from the difference between two numbers of them.
struct Path {
  std::string name;
  int few;
  int many;
  std::function<std::unique_ptr<Subject>(int count)> make;
};

std::vector<Path> WindowsPaths();
std::vector<Path> FileTypesPaths();
std::vector<Path> ScanPaths();

}  // namespace quarry::bench
