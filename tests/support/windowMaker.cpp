#include "tests/support/windowMaker.h"

#include "tests/support/quarryHost.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace quarry::test {
namespace {

std::wstring Argument(const WindowSpec& window) {
  std::wostringstream text;
  text << L" \"" << std::hex << window.style << L'|' << window.exStyle << std::dec << L"|10,10," << window.width << L','
       << window.height << L'|' << window.className << L'|' << window.title << L'"';
  return text.str();
}

/// The end that the child gets is inherited, the other one is not.
void MakePipe(UniqueKernelHandle& readEnd, UniqueKernelHandle& writeEnd, bool childReads) {
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  if (CreatePipe(readEnd.put(), writeEnd.put(), &inherited, 0) == FALSE) throw std::runtime_error("CreatePipe");
  SetHandleInformation((childReads ? writeEnd : readEnd).get(), HANDLE_FLAG_INHERIT, 0);
}

/// Lines up to "ready"; the child's end of the pipe is closed when it dies.
std::vector<HWND> ReadWindows(HANDLE pipe) {
  std::vector<HWND> windows;
  std::string line;
  char character = 0;
  DWORD count = 0;
  while (ReadFile(pipe, &character, 1, &count, nullptr) != FALSE && count > 0) {
    if (character == '\r') continue;
    if (character != '\n') {
      line += character;
      continue;
    }
    if (line == "ready") return windows;
    windows.push_back(reinterpret_cast<HWND>(static_cast<std::uintptr_t>(std::strtoull(line.c_str(), nullptr, 16))));
    line.clear();
  }
  throw std::runtime_error("windowMaker did not come up");
}

}  // namespace

WindowMaker::WindowMaker(const std::vector<WindowSpec>& windows, bool hang)
    : WindowMaker(FixtureProgram(L"windowMaker"), windows, hang) {}

WindowMaker::WindowMaker(const std::filesystem::path& program, const std::vector<WindowSpec>& windows, bool hang) {
  UniqueKernelHandle childInput;
  UniqueKernelHandle childOutput;
  UniqueKernelHandle output;
  MakePipe(childInput, input_, true);
  MakePipe(output, childOutput, false);
  std::wstring commandLine = L'"' + program.wstring() + L'"' + (hang ? L" --hang" : L"");
  for (const WindowSpec& window : windows) commandLine += Argument(window);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = childInput.get();
  startup.hStdOutput = childOutput.get();
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION process{};
  if (CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                     &process) == FALSE) {
    throw std::runtime_error("windowMaker cannot be started");
  }
  const UniqueKernelHandle thread(process.hThread);
  process_.attach(process.hProcess);
  processId_ = process.dwProcessId;
  childInput.reset();
  childOutput.reset();
  windows_ = ReadWindows(output.get());
}

WindowMaker::~WindowMaker() {
  input_.reset();
  constexpr DWORD kTimeLimitMs = 5'000;
  if (WaitForSingleObject(process_.get(), kTimeLimitMs) == WAIT_OBJECT_0) return;
  TerminateProcess(process_.get(), ERROR_TIMEOUT);
  WaitForSingleObject(process_.get(), kTimeLimitMs);
}

}  // namespace quarry::test
