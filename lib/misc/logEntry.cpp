#include "lib/misc/logEntry.h"

#include "lib/string/str.h"

#include <cstdarg>
#include <string>

namespace {

LogSink currentSink = nullptr;

}  // namespace

void LogEntry_SetSink(LogSink sink) noexcept { currentSink = sink; }

namespace log_entry_detail {

void FormatAndDeliver(const char* function, const char* format, ...) {
  if (currentSink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  const std::string message = std::string(function) + ": " + Str_VFormat(format, arguments);
  va_end(arguments);
  currentSink(message.c_str());
}

}  // namespace log_entry_detail

void LogEntry_Fault(const char* kind, const char* source, int line) {
  if (currentSink != nullptr) currentSink(Str_Format("%s %s:%d\n", kind, source, line).c_str());
}
