#include "tests/support/processOutput.h"

#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <string_view>
#include <thread>

namespace quarry::test {
namespace {

constexpr DWORD kTimeLimitMs = 60'000;

struct Pipe {
  UniqueKernelHandle readEnd;
  UniqueKernelHandle writeEnd;
};

// The child inherits the write end only: a read end in the child would keep the pipe open for ever.
Pipe MakePipe() {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Pipe pipe;
  if (!CreatePipe(pipe.readEnd.put(), pipe.writeEnd.put(), &inherited, 0)) return {};
  if (!SetHandleInformation(pipe.readEnd.get(), HANDLE_FLAG_INHERIT, 0)) return {};
  return pipe;
}

std::string ReadToEnd(HANDLE pipe) {
  std::string bytes;
  char buffer[4096];
  DWORD count = 0;
  while (ReadFile(pipe, buffer, sizeof(buffer), &count, nullptr) && count > 0) bytes.append(buffer, count);
  return bytes;
}

// Microsoft Learn, "Parsing C command-line arguments": backslashes are literal unless they stand before a quote.
std::wstring Quoted(std::wstring_view argument) {
  std::wstring result = L"\"";
  std::size_t backslashes = 0;
  for (const wchar_t character : argument) {
    if (character == L'"') result.append(backslashes + 1, L'\\');
    backslashes = character == L'\\' ? backslashes + 1 : 0;
    result += character;
  }
  return result.append(backslashes, L'\\') + L'"';
}

UniqueKernelHandle Start(const std::wstring& program, const std::vector<std::wstring>& arguments,
                         const std::wstring& folder, HANDLE out, HANDLE err) {
  std::wstring commandLine = Quoted(program);
  for (const std::wstring& argument : arguments) commandLine += L' ' + Quoted(argument);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = out;
  startup.hStdError = err;
  PROCESS_INFORMATION process{};
  if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                      folder.empty() ? nullptr : folder.c_str(), &startup, &process)) {
    return {};
  }
  const UniqueKernelHandle thread(process.hThread);
  return UniqueKernelHandle(process.hProcess);
}

}  // namespace

std::optional<ProcessOutput> RunProgram(const std::wstring& program, const std::vector<std::wstring>& arguments,
                                        const std::wstring& folder) {
  Pipe out = MakePipe();
  Pipe err = MakePipe();
  if (!out.readEnd || !err.readEnd) return std::nullopt;
  const UniqueKernelHandle process = Start(program, arguments, folder, out.writeEnd.get(), err.writeEnd.get());
  out.writeEnd.reset();
  err.writeEnd.reset();
  if (!process) return std::nullopt;

  ProcessOutput result;
  std::thread outReader([&] { result.out = ReadToEnd(out.readEnd.get()); });
  std::thread errReader([&] { result.err = ReadToEnd(err.readEnd.get()); });
  const bool ended = WaitForSingleObject(process.get(), kTimeLimitMs) == WAIT_OBJECT_0;
  if (!ended) TerminateProcess(process.get(), ERROR_TIMEOUT);
  outReader.join();
  errReader.join();
  DWORD exitCode = 0;
  if (!ended || !GetExitCodeProcess(process.get(), &exitCode)) return std::nullopt;
  result.exitCode = exitCode;
  return result;
}

}  // namespace quarry::test
