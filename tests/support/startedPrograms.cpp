#include "tests/support/startedPrograms.h"

#include "tests/support/quarryHost.h"

#include <windows.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace quarry::test {
namespace {

constexpr wchar_t kFileVariable[] = L"QUARRY_ECHO_FILE";
constexpr ULONGLONG kLongestWait = 10'000;  // milliseconds
constexpr DWORD kQuietMoment = 150;         // milliseconds
constexpr DWORD kLookInterval = 10;         // milliseconds

}  // namespace

StartedPrograms::StartedPrograms() { SetEnvironmentVariableW(kFileVariable, (folder_ / L"starts.txt").c_str()); }

StartedPrograms::~StartedPrograms() { SetEnvironmentVariableW(kFileVariable, nullptr); }

std::wstring StartedPrograms::Program(const std::wstring& name) const {
  return folder_.CopyFrom(name, FixtureProgram(L"commandEcho"));
}

std::vector<Start> StartedPrograms::Read() const {
  std::ifstream file(std::filesystem::path(folder_ / L"starts.txt"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  std::wistringstream text(std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2));
  std::vector<Start> starts;
  Start start;
  std::wstring showCommand;
  while (std::getline(std::getline(std::getline(text, start.arguments, L'\t'), start.folder, L'\t'), showCommand)) {
    start.showCommand = std::stoi(showCommand);
    starts.push_back(start);
  }
  return starts;
}

std::vector<Start> StartedPrograms::Wait(std::size_t count) const {
  const ULONGLONG end = GetTickCount64() + kLongestWait;
  std::vector<Start> starts = Read();
  for (; starts.size() < count && GetTickCount64() < end; starts = Read()) Sleep(kLookInterval);
  return starts;
}

std::vector<std::wstring> StartedPrograms::Take(std::size_t count) const {
  std::vector<Start> starts = Wait(count);
  std::size_t before = 0;
  do {
    before = starts.size();
    Sleep(kQuietMoment);
    starts = Read();
  } while (starts.size() != before);
  std::filesystem::remove(folder_ / L"starts.txt");
  std::vector<std::wstring> arguments;
  arguments.reserve(starts.size());
  for (Start& start : starts) arguments.push_back(std::move(start.arguments));
  std::sort(arguments.begin(), arguments.end());
  return arguments;
}

}  // namespace quarry::test
