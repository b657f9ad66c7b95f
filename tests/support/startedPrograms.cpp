#include "tests/support/startedPrograms.h"

#include "lib/misc/platformHandles.h"
#include "lib/string/str.h"

#include "tests/support/quarryHost.h"

#include <filesystem>
#include <fstream>

namespace quarry::test {

namespace {

constexpr wchar_t kFileVariable[] = L"QUARRY_ECHO_FILE";
constexpr ULONGLONG kLongestWait = 10'000;  // milliseconds
constexpr DWORD kQuietMoment = 400;         // milliseconds
constexpr DWORD kLookInterval = 10;         // milliseconds

std::wstring ArgumentsOf(const std::wstring& commandLine) {
  const bool quoted = !commandLine.empty() && commandLine.front() == L'"';
  const std::size_t end = quoted ? commandLine.find(L'"', 1) : commandLine.find(L' ');
  if (end == std::wstring::npos) return {};
  const std::size_t start = commandLine.find_first_not_of(L' ', quoted ? end + 1 : end);
  return start == std::wstring::npos ? std::wstring() : commandLine.substr(start);
}

Start StartOf(const std::wstring& line) {
  const std::size_t showCommand = line.rfind(L'\t');
  const std::size_t folder = line.rfind(L'\t', showCommand - 1);
  const std::wstring commandLine = line.substr(0, folder);
  return {commandLine, ArgumentsOf(commandLine), line.substr(folder + 1, showCommand - folder - 1),
          std::stoi(line.substr(showCommand + 1))};
}

}  // namespace

StartedPrograms::StartedPrograms() { SetEnvironmentVariableW(kFileVariable, (folder_ / L"starts.txt").c_str()); }

StartedPrograms::~StartedPrograms() { SetEnvironmentVariableW(kFileVariable, nullptr); }

std::wstring StartedPrograms::Program(const std::wstring& name) const {
  if (std::filesystem::exists(folder_ / name)) return folder_ / name;
  return folder_.CopyFrom(name, FixtureProgram(L"commandEcho"));
}

std::vector<Start> StartedPrograms::Read() const {
  std::ifstream file(std::filesystem::path(folder_ / L"starts.txt"), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
  std::vector<Start> starts;
  for (const std::wstring& line : Str_Split(text.substr(0, text.rfind(L'\n') + 1), L'\n')) {
    starts.push_back(StartOf(line));
  }
  return starts;
}

std::vector<Start> StartedPrograms::Wait(std::size_t count) const {
  const ULONGLONG begin = GetTickCount64();
  std::vector<Start> starts = Read();
  while (starts.size() < count && GetTickCount64() - begin < kLongestWait) {
    Sleep(kLookInterval);
    starts = Read();
  }
  return starts;
}

std::vector<Start> StartedPrograms::All() const {
  std::vector<Start> starts = Read();
  for (;;) {
    Sleep(kQuietMoment);
    std::vector<Start> later = Read();
    if (later.size() == starts.size()) return later;
    starts = std::move(later);
  }
}

void StartedPrograms::Forget() const { DeleteFileW((folder_ / L"starts.txt").c_str()); }

}  // namespace quarry::test
