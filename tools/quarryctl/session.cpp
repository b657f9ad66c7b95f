#include "tools/quarryctl/session.h"

#include "lib/unicode/unicode.h"

#include "tools/quarryctl/paths.h"

#include <algorithm>
#include <utility>

namespace quarryctl {
namespace {

/// Errors, and one level more for each -v.
unsigned ShownLevels(const CommandContext& context, const SessionOptions& options) {
  if (context.verbosity == 0 && !options.showsErrors) return 0;
  return 1u + static_cast<unsigned>(std::clamp(context.verbosity, 0, 3));
}

std::string WhyClosed(const Library& library, const std::wstring& path) {
  std::string text = "cannot load " + Unicode_Utf8FromWide(path) + ": " + quarry::Describe(library.Error());
  if (library.PlatformError() != 0) text += ", error " + std::to_string(library.PlatformError());
  return text;
}

}  // namespace

Session::Session(const CommandContext& context, const SessionOptions& options)
    : log_(context.err, ShownLevels(context, options)) {
  if (options.hear) listener_.emplace(log_, options.hear);
}

std::unique_ptr<Session> Session::Open(const CommandContext& context, const SessionOptions& options) {
  std::unique_ptr<Session> session(new Session(context, options));
  const std::wstring path = LibraryPath();
  const auto receive = [&log = session->log_](quarry::LogLevel level, quarry::Text message) {
    log.Receive(static_cast<std::uint32_t>(level), message);
  };
  session->library_.emplace(Library::Open(path, receive, options.fileTypes));
  if (!*session->library_) {
    WriteComplaint(context.err, WhyClosed(*session->library_, path));
    return nullptr;
  }
  return session;
}

}  // namespace quarryctl
