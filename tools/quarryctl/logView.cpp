#include "tools/quarryctl/logView.h"

#include "quarry/quarry.h"

#include "tools/quarryctl/utf8.h"

#include <array>

namespace quarryctl {
namespace {

constexpr std::array<const char*, 4> kLevelNames = {"error", "warning", "note", "detail"};

std::wstring_view WithoutLineEnd(std::wstring_view message) {
  const std::size_t last = message.find_last_not_of(L"\r\n");
  return last == std::wstring_view::npos ? std::wstring_view() : message.substr(0, last + 1);
}

std::string Line(std::uint32_t level, std::wstring_view message) {
  const char* name = level < kLevelNames.size() ? kLevelNames[level] : kLevelNames.back();
  return std::string(name) + ": " + Utf8FromWide(message);
}

}  // namespace

LogView* LogView::current_ = nullptr;

LogView::LogView(Output& err, unsigned shownLevels) : err_(err), shownLevels_(shownLevels), progress_(err) {
  current_ = this;
}

LogView::~LogView() {
  progress_.Erase();
  current_ = nullptr;
}

void LogView::Receive(std::uint32_t level, const wchar_t* message) noexcept {
  if (current_ != nullptr && message != nullptr) current_->Add(level, WithoutLineEnd(message));
}

void LogView::Add(std::uint32_t level, std::wstring_view message) {
  progress_.Observe(message);
  if (level < shownLevels_) {
    progress_.Erase();
    err_.Write(Line(level, message) + '\n');
  } else if (level == QUARRY_LOG_WARNING) {
    ++hiddenWarnings_;
  }
  if (keepsLines_ && level <= QUARRY_LOG_NOTABLE) keptLines_.push_back(Line(level, message));
}

}  // namespace quarryctl
