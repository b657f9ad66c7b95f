#include "tools/quarryctl/options.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/paths.h"

namespace quarryctl {
namespace {

std::string RefuseEmptyName(const std::string& path) { return path.empty() ? "the file name is empty" : ""; }

}  // namespace

CLI::Option* BindApplicationPath(CLI::App& command, std::wstring& path, const char* description) {
  const auto store = [&path](const std::string& text) {
    path = Unicode_WideFromUtf8(text);
    if (!path.starts_with(L'%')) path = AbsolutePath(path);
  };
  return command.add_option_function<std::string>("PATH", store, description)->required()->type_name("");
}

CLI::Option* BindFile(CLI::App& command, const char* names, std::wstring& path, const char* description) {
  const auto store = [&path](const std::string& text) { path = AbsolutePath(Unicode_WideFromUtf8(text)); };
  return command.add_option_function<std::string>(names, store, description)->type_name("FILE")->check(RefuseEmptyName);
}

CLI::Option* BindJson(CLI::App& command, bool& json, const char* description) {
  return command.add_flag("--json", json, description);
}

CLI::Option* BindHtml(CLI::App& command, std::wstring& path, const char* description) {
  return BindFile(command, "--html", path, description);
}

}  // namespace quarryctl
