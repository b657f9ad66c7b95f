#include "tools/quarryctl/progress.h"

#include <string>

namespace quarryctl {
namespace {

constexpr std::uint64_t kQuietStartMs = 1000;
constexpr std::uint64_t kIntervalMs = 100;

// The quotation mark tells a folder's own message from the warnings that begin with the same word.
constexpr std::wstring_view kFolderStart = L"Scanning \"";
constexpr std::wstring_view kApplicationEnd = L": valid Application";

}  // namespace

Progress::Progress(Output& err) : err_(err), startedAt_(GetTickCount64()), nextDrawAt_(startedAt_ + kQuietStartMs) {}

void Progress::Observe(std::wstring_view message) {
  if (!err_.IsConsole()) return;
  if (message.starts_with(kFolderStart)) {
    ++folders_;
  } else if (message.ends_with(kApplicationEnd)) {
    ++applications_;
  }
  if (GetTickCount64() >= nextDrawAt_) Draw();
}

void Progress::Draw() {
  std::string line = "Folders: " + std::to_string(folders_) + ", applications: " + std::to_string(applications_);
  if (folders_ == 0) line = "Working for " + std::to_string((GetTickCount64() - startedAt_) / 1000) + " s";
  err_.ShowFleeting(line);
  nextDrawAt_ = GetTickCount64() + kIntervalMs;
}

}  // namespace quarryctl
