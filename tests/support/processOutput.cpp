#include "tests/support/processOutput.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"

#include <windows.h>

#include <limits>
#include <string_view>

namespace quarry::test {
namespace {

constexpr DWORD kTimeLimitMs = 60'000;

/// A file for the output of one program, removed when the last who has it open is gone. Not a pipe: what the platform
/// starts in passing, such as the desktop's shell, can inherit that and keep its reader waiting.
UniqueFile MakeOutputFile() {
  wchar_t folder[MAX_PATH + 1] = {};
  wchar_t path[MAX_PATH] = {};
  if (GetTempPathW(MAX_PATH + 1, folder) == 0 || GetTempFileNameW(folder, L"out", 0, path) == 0) return {};
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
  const UniqueFile out = MakeOutputFile();
  const UniqueFile err = MakeOutputFile();
  if (!out || !err) return std::nullopt;
  const UniqueKernelHandle process = Start(program, arguments, folder, out.get(), err.get());
  if (!process) return std::nullopt;
  if (WaitForSingleObject(process.get(), kTimeLimitMs) != WAIT_OBJECT_0) {
    TerminateProcess(process.get(), ERROR_TIMEOUT);
    return std::nullopt;
  }
  DWORD exitCode = 0;
  if (!GetExitCodeProcess(process.get(), &exitCode)) return std::nullopt;
  return ProcessOutput{exitCode, TextOf(out.get()), TextOf(err.get())};
}

}  // namespace quarry::test
