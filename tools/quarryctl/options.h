#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace quarryctl {

// What several sub-commands take on their command lines, bound in one way. Paths arrive absolute.

/// The required PATH of an application. One that begins with an environment variable or one of the library's own
/// tokens, such as "%CommonStartMenu%", stays as it is: the library expands it.
CLI::Option* BindApplicationPath(CLI::App& command, std::wstring& path, const char* description);

/// An option, such as "-o,--output", that names a file; `path` stays empty without it.
CLI::Option* BindFile(CLI::App& command, const char* names, std::wstring& path, const char* description);

/// --json
CLI::Option* BindJson(CLI::App& command, bool& json, const char* description);

/// --html FILE
CLI::Option* BindHtml(CLI::App& command, std::wstring& path, const char* description);

}  // namespace quarryctl
