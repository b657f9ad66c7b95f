#include "tools/quarryctl/output.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/displayWidth.h"

#include <algorithm>
#include <iterator>

namespace quarryctl {
namespace {

// Microsoft Learn, WriteConsole: a call fails when the text does not fit into the console's 64 KB heap.
constexpr std::size_t kConsoleChunk = 8192;
constexpr std::size_t kFileChunk = 1u << 20;

bool WantsColours() {
  wchar_t value[2] = L"";
  // By the convention of NO_COLOR any value but an empty one is a refusal.
  return GetEnvironmentVariableW(L"NO_COLOR", value, static_cast<DWORD>(std::size(value))) == 0;
}

// Microsoft Learn, "System Error Codes": what a pipe without a reader gives, by its kind.
bool IsEndOfPipe(DWORD error) {
  return error == ERROR_NO_DATA || error == ERROR_BROKEN_PIPE || error == ERROR_PIPE_NOT_CONNECTED;
}

bool IsHighSurrogate(wchar_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }

}  // namespace

// Consoles of older systems, which know no control sequences, refuse the mode.
Output::Output(DWORD standardHandle, Output* other)
    : handle_(GetStdHandle(standardHandle)),
      other_(other),
      isConsole_(GetConsoleMode(handle_, &oldMode_) != FALSE),
      hasColours_(isConsole_ && WantsColours() &&
                  SetConsoleMode(handle_, oldMode_ | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != FALSE) {}

Output::~Output() {
  EraseFleeting();
  if (hasColours_) SetConsoleMode(handle_, oldMode_);
}

std::size_t Output::Columns() const {
  CONSOLE_SCREEN_BUFFER_INFO info{};
  if (!isConsole_ || GetConsoleScreenBufferInfo(handle_, &info) == FALSE) return 0;
  // A line that fills the last column would be followed by an empty one.
  return static_cast<std::size_t>(std::max(info.srWindow.Right - info.srWindow.Left, 1));
}

std::string Output::Painted(Colour colour, std::string_view text) const {
  if (!hasColours_) return std::string(text);
  return "\x1B[" + std::to_string(static_cast<int>(colour)) + 'm' + std::string(text) + "\x1B[0m";
}

void Output::ShowFleeting(std::string_view line) {
  if (!isConsole_) return;
  EraseFleeting();
  const std::string shown = FitWidth(line, Columns());
  WriteCharacters(Unicode_WideFromUtf8(shown));
  fleetingWidth_ = DisplayWidth(shown);
}

void Output::EraseFleeting() {
  if (fleetingWidth_ == 0) return;
  WriteCharacters(L'\r' + std::wstring(fleetingWidth_, L' ') + L'\r');
  fleetingWidth_ = 0;
}

void Output::Write(std::string_view utf8) {
  EraseFleeting();
  if (other_ != nullptr) other_->EraseFleeting();
  if (isConsole_) {
    WriteCharacters(Unicode_WideFromUtf8(utf8));
  } else {
    WriteBytes(utf8);
  }
}

void Output::Check(bool written) {
  if (written) return;
  isLost_ = true;
  hasFailed_ = !IsEndOfPipe(GetLastError());
}

void Output::WriteBytes(std::string_view bytes) {
  while (!bytes.empty() && !isLost_) {
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kFileChunk));
    Check(WriteFile(handle_, bytes.data(), wanted, &written, nullptr) != FALSE && written > 0);
    bytes.remove_prefix(written);
  }
}

void Output::WriteCharacters(std::wstring_view text) {
  while (!text.empty() && !isLost_) {
    std::size_t wanted = std::min(text.size(), kConsoleChunk);
    if (wanted < text.size() && IsHighSurrogate(text[wanted - 1])) --wanted;
    DWORD written = 0;
    Check(WriteConsoleW(handle_, text.data(), static_cast<DWORD>(wanted), &written, nullptr) != FALSE && written > 0);
    text.remove_prefix(written);
  }
}

void WriteComplaint(Output& err, std::string_view text) {
  err.Write(std::string("quarryctl: ").append(text).append("\n"));
}

}  // namespace quarryctl
