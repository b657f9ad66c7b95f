#include "lib/misc/logEntry.h"

#include "lib/string/str.h"

#include <cstdarg>
#include <string>

namespace {

LogSink currentSink = nullptr;

}  // namespace

void LogEntry(const char* format, ...) {
  if (currentSink == nullptr) return;
  va_list arguments;
  va_start(arguments, format);
  const std::string message = Str_VFormat(format, arguments);
  va_end(arguments);
  currentSink(message.c_str());
}

void LogEntry_SetSink(LogSink sink) noexcept { currentSink = sink; }
