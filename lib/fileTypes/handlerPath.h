#pragma once

#include <optional>
#include <string>

/// The program that a command line starts: its long, absolute path in lower case. Reads the command line as the
/// registry's are written: with an unquoted program, whose path may hold spaces, and with environment variables.
/// Nothing, with messages in the name of `function`, when there is no such program.
std::optional<std::string> AppUtilHandlerPathOf(const std::wstring& commandLine, const char* function);
