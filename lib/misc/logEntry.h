#pragma once

/// Takes one finished message, NUL-terminated.
using LogSink = void (*)(const char* message);

/// The one log entry of the procedural libraries. Their messages begin with "%s: " and the reporting function's name.
/// Without a sink the entry discards them, unformatted. Formats as the platform's narrow formatter does: `%s` names a
/// narrow string, `%S` and `%ls` a wide one. Texts are UTF-8: the runtime's formatter gives up on a wide string that
/// the process's locale cannot hold, so convert such a text first.
void LogEntry(const char* format, ...);

/// Routes the messages of the whole process to `sink` from now on; null discards them again.
void LogEntry_SetSink(LogSink sink) noexcept;
