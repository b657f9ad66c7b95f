#pragma once

#include "lib/string/checkedFormat.h"

#include <type_traits>

/// Takes one finished message, NUL-terminated.
using LogSink = void (*)(const char* message);

/// Routes the messages of the whole process to `sink` from now on; null discards them again.
void LogEntry_SetSink(LogSink sink) noexcept;

namespace log_entry_detail {
void FormatAndDeliver(const char* function, const char* format, ...);
}  // namespace log_entry_detail

/// The one log entry of the procedural libraries: "function: message". `function` is `__func__` or, where another
/// function reports for it, a constant with its name. Without a sink the entry discards messages, unformatted. Formats
/// as Str_Format does. Texts are UTF-8: the runtime's formatter gives up on a wide string that the process's locale
/// cannot hold, so convert such a text first.
template <typename... Arguments>
void LogEntry(const char* function, CheckedFormat<char, std::type_identity_t<Arguments>...> format,
              Arguments... arguments) {
  log_entry_detail::FormatAndDeliver(function, format.get(), arguments...);
}

/// The entry for a fault that is known by its place in the sources only: "kind source:line".
void LogEntry_Fault(const char* kind, const char* source, int line);
