#include "tools/quarryctl/logView.h"

#include "quarry/quarry.h"

#include "lib/unicode/unicode.h"

#include <array>
#include <utility>

namespace quarryctl {
namespace {

constexpr std::array<const char*, 4> kLevelNames = {"error", "warning", "note", "detail"};

std::wstring_view WithoutLineEnd(std::wstring_view message) {
  const std::size_t last = message.find_last_not_of(L"\r\n");
  return last == std::wstring_view::npos ? std::wstring_view() : message.substr(0, last + 1);
}

std::string Painted(const Output& err, std::uint32_t level, const std::string& line) {
  if (level == QUARRY_LOG_ERROR) return err.Painted(Colour::Error, line);
  return level == QUARRY_LOG_WARNING ? err.Painted(Colour::Warning, line) : line;
}

}  // namespace

LogView::LogView(Output& err, unsigned shownLevels) : err_(err), shownLevels_(shownLevels), progress_(err) {}

void LogView::Receive(std::uint32_t level, std::wstring_view message) {
  message = WithoutLineEnd(message);
  progress_.Observe(message);
  if (level < shownLevels_) {
    err_.Write(Painted(err_, level, FormatLogLine(level, message)) + '\n');
  }
  if (listener_) listener_(level, message);
}

LogListener::LogListener(LogView& log, std::function<void(std::uint32_t, std::wstring_view)> hear) : log_(log) {
  log_.listener_ = std::move(hear);
}

std::string FormatLogLine(std::uint32_t level, std::wstring_view message) {
  const char* name = level < kLevelNames.size() ? kLevelNames[level] : kLevelNames.back();
  return std::string(name) + ": " + Unicode_Utf8FromWide(message);
}

}  // namespace quarryctl
