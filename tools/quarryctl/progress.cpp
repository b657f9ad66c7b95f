#include "tools/quarryctl/progress.h"

#include <algorithm>
#include <string>

namespace quarryctl {
namespace {

constexpr std::uint64_t kQuietStartMs = 300;
constexpr std::uint64_t kIntervalMs = 100;

// The quotation mark tells a folder's own message from the warnings that begin with the same word.
constexpr std::wstring_view kFolderStart = L"Scanning \"";
constexpr std::wstring_view kApplicationEnd = L": valid Application";

}  // namespace

Progress::Progress(Output& err) : err_(err), nextDrawAt_(GetTickCount64() + kQuietStartMs) {}

void Progress::Observe(std::wstring_view message) {
  if (!err_.IsConsole()) return;
  if (message.starts_with(kFolderStart)) {
    ++folders_;
  } else if (message.ends_with(kApplicationEnd)) {
    ++applications_;
  } else {
    return;
  }
  if (GetTickCount64() >= nextDrawAt_) Draw();
}

void Progress::Draw() {
  const std::string line = "Folders: " + std::to_string(folders_) + ", applications: " + std::to_string(applications_);
  err_.Write('\r' + line);
  drawnWidth_ = std::max(drawnWidth_, line.size());
  nextDrawAt_ = GetTickCount64() + kIntervalMs;
}

void Progress::Erase() {
  if (drawnWidth_ == 0) return;
  err_.Write('\r' + std::string(drawnWidth_, ' ') + '\r');
  drawnWidth_ = 0;
}

}  // namespace quarryctl
