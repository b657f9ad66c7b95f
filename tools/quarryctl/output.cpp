#include "tools/quarryctl/output.h"

#include "lib/unicode/unicode.h"

#include <algorithm>
#include <string>

namespace quarryctl {
namespace {

// Microsoft Learn, WriteConsole: a call fails when the text does not fit into the console's 64 KB heap.
constexpr std::size_t kConsoleChunk = 8192;
constexpr std::size_t kFileChunk = 1u << 20;

bool IsConsoleHandle(HANDLE handle) {
  DWORD mode = 0;
  return GetConsoleMode(handle, &mode) != 0;
}

bool IsHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

}  // namespace

Output::Output(DWORD standardHandle) : handle_(GetStdHandle(standardHandle)), isConsole_(IsConsoleHandle(handle_)) {}

void Output::Write(std::string_view utf8) {
  if (isConsole_) {
    WriteCharacters(Unicode_WideFromUtf8(utf8));
  } else {
    WriteBytes(utf8);
  }
}

void Output::WriteBytes(std::string_view bytes) {
  while (!bytes.empty() && !hasFailed_) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kFileChunk));
    hasFailed_ = !WriteFile(handle_, bytes.data(), wanted, &written, nullptr) || written == 0;
    bytes.remove_prefix(written);
  }
}

void Output::WriteCharacters(std::wstring_view text) {
  while (!text.empty() && !hasFailed_) {
    std::size_t wanted = std::min(text.size(), kConsoleChunk);
    if (wanted < text.size() && IsHighSurrogate(text[wanted - 1])) --wanted;
    DWORD written = 0;
    hasFailed_ = !WriteConsoleW(handle_, text.data(), static_cast<DWORD>(wanted), &written, nullptr) || written == 0;
    text.remove_prefix(written);
  }
}

void WriteComplaint(Output& err, std::string_view text) {
  err.Write(std::string("quarryctl: ").append(text).append("\n"));
}

}  // namespace quarryctl
