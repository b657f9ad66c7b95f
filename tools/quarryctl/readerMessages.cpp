#include "tools/quarryctl/readerMessages.h"

#include "quarry/diagnostics/log.h"

#include "lib/unicode/unicode.h"

#include <cstdint>
#include <utility>

namespace quarryctl {
namespace {

std::vector<std::string>& Kept() {
  static std::vector<std::string> messages;
  return messages;
}

void Keep(std::uint32_t level, const wchar_t* message) {
  if (level > static_cast<std::uint32_t>(quarry::LogLevel::Warning)) return;
  std::string text = Unicode_Utf8FromWide(message);
  text.erase(text.find_last_not_of("\r\n") + 1);
  Kept().push_back(std::move(text));
}

}  // namespace

ReaderMessages::ReaderMessages() { quarry::SetLogCallback(Keep); }

ReaderMessages::~ReaderMessages() {
  quarry::SetLogCallback(nullptr);
  Kept().clear();
}

std::vector<std::string> ReaderMessages::Take() { return std::exchange(Kept(), {}); }

}  // namespace quarryctl
