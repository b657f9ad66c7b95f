#pragma once

#include <string>

namespace quarry {

/// Adds one object of the class to the process-wide counters of objects created or deleted.
void CountCreated(const char* className);
void CountDeleted(const char* className);

/// Counts the object that holds it: as created when the holder is constructed, as deleted when it is destroyed; the
/// holder cannot be copied. Declare it as the last member, with the holder's class name as a literal.
class ObjectCount {
 public:
  explicit ObjectCount(const char* className) : className_(className) { CountCreated(className_); }
  ObjectCount(const ObjectCount&) = delete;
  ObjectCount& operator=(const ObjectCount&) = delete;
  ~ObjectCount() { CountDeleted(className_); }

 private:
  const char* className_;
};

/// The leak report: a line with the counters of each class in the order of their names, then the verdict. With
/// `verdictLast` false the lines of the classes follow once more, each after a tab.
std::string FormatLeakReport(bool verdictLast);

/// Writes the leak report to the process's standard output.
void ReportLeaks(bool verdictLast);

}  // namespace quarry
