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

std::string Describe(const OpenedLibrary& opened, const std::wstring& path) {
  const std::string name = Unicode_Utf8FromWide(path);
  if (opened.failure == OpenFailure::NotInitialised) return name + " could not be initialised";
  return "cannot load " + name + ", error " + std::to_string(opened.platformError);
}

}  // namespace

Session::Session(const CommandContext& context, const SessionOptions& options)
    : log_(context.err, ShownLevels(context, options)) {}

std::unique_ptr<Session> Session::Open(const CommandContext& context, const SessionOptions& options) {
  std::unique_ptr<Session> session(new Session(context, options));
  // By its full path, so that nothing else can be loaded in its place.
  const std::wstring path = ProgramFolder() + L"\\quarry.dll";
  OpenedLibrary opened = Library::Open(path, &LogView::Receive, options.fileTypes);
  if (!opened.library) {
    WriteComplaint(context.err, Describe(opened, path));
    return nullptr;
  }
  session->library_ = std::move(opened.library);
  return session;
}

ApplicationRecords Session::Scan(const std::wstring& iniPath) {
  ApplicationRecords records = library_->Scan(iniPath);
  log_.EndProgress();
  return records;
}

}  // namespace quarryctl
