#pragma once

#include <optional>
#include <string>

/// The URI that tells how a handler's command line starts it: the program as a file URI and, as its query, one "argv[]"
/// for each argument, placeholders such as %1 and quotes included. UTF-8. Nothing, with a message, when the program is
/// given by name and not found; nothing when its path is longer than 259 characters or memory runs out.
std::optional<std::string> AppUtil_ActionURIForCommandLine(const std::wstring& commandLine);
