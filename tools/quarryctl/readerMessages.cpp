#include "tools/quarryctl/readerMessages.h"

#include "quarry/diagnostics/log.h"

#include "lib/misc/logEntry.h"
#include "lib/unicode/unicode.h"

#include <cstdint>
#include <utility>

namespace quarryctl {
namespace {

std::vector<std::string>& Kept() {
  static std::vector<std::string> messages;
  return messages;
}

void Keep(std::string text) {
  text.erase(text.find_last_not_of("\r\n") + 1);
  Kept().push_back(std::move(text));
}

void HearLog(std::uint32_t level, const wchar_t* message) {
  if (level <= static_cast<std::uint32_t>(quarry::LogLevel::Warning)) Keep(Unicode_Utf8FromWide(message));
}

void HearLogEntry(const char* message) {
  const std::string text = message;
  const std::size_t start = text.find(": ");
  Keep(start == std::string::npos ? text : text.substr(start + 2));
}

}  // namespace

ReaderMessages::ReaderMessages() {
  quarry::SetLogCallback(HearLog);
  LogEntry_SetSink(HearLogEntry);
}

ReaderMessages::~ReaderMessages() {
  quarry::SetLogCallback(nullptr);
  LogEntry_SetSink(nullptr);
  Kept().clear();
}

std::vector<std::string> ReaderMessages::Take() { return std::exchange(Kept(), {}); }

}  // namespace quarryctl
