// A small agent: keeps the list of applications up to date, saves their icons, looks at the windows once a second, and
// starts what it is told to.
//
//   agent ICON_FOLDER INI_FILE WATCHED_FOLDER
//
// INI_FILE has the scan filters; a change below WATCHED_FOLDER makes the agent scan again. A number on standard input
// starts the application that was listed under it. The end of the input ends the agent.
#include "quarry/quarry.hpp"

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cwchar>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr DWORD kPollMs = 1000;

// What the thread that reads the input tells the one that calls the library.
class Input {
 public:
  HANDLE Arrival() const { return arrival_; }
  void Read() {
    for (wchar_t line[32]; std::fgetws(line, 32, stdin) != nullptr;) Tell(std::wcstoul(line, nullptr, 10));
    Tell(kEnd);
  }
  std::vector<unsigned long> Take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(numbers_, {});
  }

  static constexpr unsigned long kEnd = 0;

 private:
  void Tell(unsigned long number) {
    const std::lock_guard<std::mutex> lock(mutex_);
    numbers_.push_back(number);
    SetEvent(arrival_);
  }

  const HANDLE arrival_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);  // until the process ends
  std::mutex mutex_;
  std::vector<unsigned long> numbers_;
};

class Agent {
 public:
  Agent(quarry::Library& library, std::wstring icons, std::wstring ini)
      : library_(library), icons_(std::move(icons)), ini_(std::move(ini)) {}

  // Lists what is new and what is gone. An application keeps its number for as long as it is there.
  void Scan() {
    const quarry::ApplicationRecords records = library_.Scan(ini_);
    std::map<std::wstring, unsigned long> found;
    for (const quarry::Application application : records) {
      const std::wstring path(application.Path());
      const auto known = numbers_.find(path);
      found[path] = known != numbers_.end() ? known->second : ++lastNumber_;
      if (known != numbers_.end()) continue;
      std::wprintf(L"+ %lu %ls\n", lastNumber_, application.BaseName().c_str());
      for (const quarry::IconRecord icon : library_.GetIcons(application)) Save(icon);
    }
    for (const auto& [path, number] : numbers_) {
      if (found.count(path) == 0) std::wprintf(L"- %lu\n", number);
    }
    numbers_ = std::move(found);
    std::fflush(stdout);
  }

  void LookAtWindows() {
    const std::size_t count = library_.GetOpenWindows().size();
    if (count != windows_) std::wprintf(L"%u windows\n", static_cast<unsigned>(count));
    windows_ = count;
    std::fflush(stdout);
  }

  void Launch(unsigned long number) {
    for (const auto& [path, known] : numbers_) {
      if (known != number) continue;
      quarry::LaunchRequest request;
      request.path = path;
      const quarry::LaunchResult result = library_.Launch(request);
      std::wprintf(result == quarry::LaunchResult::Ok ? L"started %lu\n" : L"could not start %lu\n", number);
      std::fflush(stdout);
    }
  }

 private:
  void Save(const quarry::IconRecord& icon) {
    if (!icon) return;
    const std::wstring path = icons_ + L"\\" + std::wstring(icon->Name()) + L".png";
    const quarry::IconData data = library_.GetIconData(icon->Name());
    if (std::FILE* const file = _wfopen(path.c_str(), L"wb")) {
      std::fwrite(data.data(), 1, data.size(), file);
      std::fclose(file);
    }
  }

  quarry::Library& library_;
  const std::wstring icons_;
  const std::wstring ini_;
  std::map<std::wstring, unsigned long> numbers_;
  unsigned long lastNumber_ = 0;
  std::size_t windows_ = SIZE_MAX;
};

// All calls into the library come from here.
void Run(Agent& agent, Input& input, HANDLE change) {
  agent.Scan();
  for (const HANDLE events[] = {input.Arrival(), change};;) {
    const DWORD event = WaitForMultipleObjects(2, events, FALSE, kPollMs);
    if (event == WAIT_OBJECT_0 + 1) {
      FindNextChangeNotification(change);
      agent.Scan();
    }
    for (const unsigned long number : input.Take()) {
      if (number == Input::kEnd) return;
      agent.Launch(number);
    }
    agent.LookAtWindows();
  }
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
  if (argc != 4) return 2;
  _setmode(_fileno(stdout), _O_U8TEXT);
  quarry::Library library = quarry::Library::OpenBesideProgram();
  const HANDLE change = FindFirstChangeNotificationW(
      argv[3], TRUE, FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_DIR_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE);
  if (!library || change == INVALID_HANDLE_VALUE) return 1;
  Agent agent(library, argv[1], argv[2]);
  Input input;
  std::thread reader(&Input::Read, &input);
  Run(agent, input, change);
  reader.join();
  FindCloseChangeNotification(change);
  return 0;
}
