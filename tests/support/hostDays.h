#pragma once

#include "tests/support/registeredTypes.h"
#include "tests/support/startedPrograms.h"
#include "tests/support/windowMaker.h"

#include <deque>
#include <string>
#include <vector>

namespace quarry::test {

/// What a host does with the library from Quarry_Init to Quarry_Exit, by subject.
enum class Day { Start, Scan, Windows, FileTypes, Launch };
inline constexpr Day kAllDays[] = {Day::Start, Day::Scan, Day::Windows, Day::FileTypes, Day::Launch};

/// The programs, shortcuts, settings, windows and file types that the days work on, and the days.
class HostWorld {
 public:
  HostWorld();

  /// Spends the day. Answers what the library said, a line for each record, result and message, which is the same for
  /// the same day; and checks that what it gave can be read and given back.
  std::vector<std::string> Spend(Day day) const;

  /// A program that opens one file type and has no icons.
  const std::wstring& Echo() const { return echo_; }
  /// A shortcut to a program with icons.
  const std::wstring& Published() const { return published_; }
  /// Defines a scan that finds two applications.
  const std::wstring& Ini() const { return ini_; }

 private:
  void Scan(const QuarryHost& host, std::vector<std::string>& said) const;
  void Launch(const QuarryHost& host, std::vector<std::string>& said) const;

  TemporaryFolder folder_{L"quarryFaults"};
  StartedPrograms programs_;
  std::wstring echo_ = programs_.Program();
  std::wstring published_;
  std::wstring ini_;
  std::deque<RegistryFixture> keys_;
  std::deque<WindowMaker> windows_;
};

}  // namespace quarry::test
