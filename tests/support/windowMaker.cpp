#include "tests/support/windowMaker.h"

#include <sstream>
#include <stdexcept>

namespace quarry::test {

WindowMaker::WindowMaker(const std::vector<WindowSpec>& windows, bool hang, const std::wstring& program)
    : windows_(windows.size()) {
  std::wostringstream commandLine;
  commandLine << L'"' << program << (hang ? L"\" hang" : L"\" answer") << std::hex;
  for (const WindowSpec& window : windows) {
    commandLine << L' ' << window.style << L' ' << window.exStyle << L' ' << window.width << L' ' << window.height
                << L" \"" << window.className << L"\" \"" << window.title << L'"';
  }
  UniqueKernelHandle childInput;
  UniqueKernelHandle childOutput;
  UniqueKernelHandle output;
  SECURITY_ATTRIBUTES inherited{sizeof(inherited), nullptr, TRUE};
  CreatePipe(childInput.put(), input_.put(), &inherited, 0);
  CreatePipe(output.put(), childOutput.put(), &inherited, 0);
  for (const HANDLE own : {input_.get(), output.get()}) SetHandleInformation(own, HANDLE_FLAG_INHERIT, 0);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdInput = childInput.get();
  startup.hStdOutput = childOutput.get();
  PROCESS_INFORMATION process{};
  CreateProcessW(program.c_str(), commandLine.str().data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                 &process);
  process_.attach(process.hProcess);
  const UniqueKernelHandle thread(process.hThread);
  childOutput.reset();
  const auto size = static_cast<DWORD>(windows_.size() * sizeof(HWND));
  DWORD count = 0;
  ReadFile(output.get(), windows_.data(), size, &count, nullptr);
  if (count != size) throw std::runtime_error("windowMaker did not come up");
}

WindowMaker::~WindowMaker() {
  input_.reset();
  constexpr DWORD kTimeLimitMs = 5'000;
  if (WaitForSingleObject(process_.get(), kTimeLimitMs) != WAIT_OBJECT_0) TerminateProcess(process_.get(), 1);
}

}  // namespace quarry::test
