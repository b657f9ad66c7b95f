#include "tests/support/processOutput.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"

#include "tests/support/quarryHost.h"

#include <limits>
#include <stdexcept>

namespace quarry::test {
namespace {

constexpr DWORD kTimeLimitMs = 300'000;

/// A file for the output of one program, removed when the last who has it open is gone. Not a pipe: what the platform
/// starts in passing, such as the desktop's shell, can inherit that and keep its reader waiting.
UniqueFile MakeOutputFile() {
  wchar_t path[MAX_PATH] = {};
  GetTempFileNameW(std::filesystem::temp_directory_path().c_str(), L"out", 0, path);
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  return UniqueFile(CreateFileW(path, GENERIC_READ | GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherited, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
}

std::string TextOf(HANDLE file) {
  const auto bytes = ReadFileAt(file, 0, std::numeric_limits<std::size_t>::max());
  return bytes ? std::string(bytes->begin(), bytes->end()) : std::string();
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

LONG WINAPI EndProcess(EXCEPTION_POINTERS* /*fault*/) {
  TerminateProcess(GetCurrentProcess(), 3);
  return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

void EndAtOnceWhenFaulting() { SetUnhandledExceptionFilter(EndProcess); }

ProcessOutput RunProgram(std::wstring_view name, const std::vector<std::wstring>& arguments,
                         const std::wstring& folder) {
  const UniqueFile out = MakeOutputFile();
  const UniqueFile err = MakeOutputFile();
  std::wstring commandLine = Quoted((BinFolder() / name).wstring() + L".exe");
  for (const std::wstring& argument : arguments) commandLine += L' ' + Quoted(argument);
  STARTUPINFOW startup{};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = out.get();
  startup.hStdError = err.get();
  PROCESS_INFORMATION information{};
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                      folder.empty() ? nullptr : folder.c_str(), &startup, &information)) {
    throw std::runtime_error("a program cannot be started");
  }
  const UniqueKernelHandle thread(information.hThread);
  const UniqueKernelHandle process(information.hProcess);
  if (WaitForSingleObject(process.get(), kTimeLimitMs) != WAIT_OBJECT_0) {
    TerminateProcess(process.get(), ERROR_TIMEOUT);
    throw std::runtime_error("a program does not end: " + TextOf(out.get()));
  }
  DWORD exitCode = 0;
  GetExitCodeProcess(process.get(), &exitCode);
  return {exitCode, TextOf(out.get()), TextOf(err.get())};
}

}  // namespace quarry::test
