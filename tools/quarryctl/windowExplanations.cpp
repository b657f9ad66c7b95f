#include "tools/quarryctl/windowExplanations.h"

#include "lib/unicode/unicode.h"

namespace quarryctl {
namespace {

constexpr std::wstring_view kFound = L"Found a window, handle ";
constexpr std::wstring_view kFoundEnd = L"...";
constexpr std::wstring_view kIndent = L"    ";

struct Attribute {
  std::wstring_view label;
  std::string WindowExplanation::*member;
};

constexpr Attribute kAttributes[] = {
    {L"    title       = ", &WindowExplanation::title},
    {L"    class       = ", &WindowExplanation::className},
    {L"    imagePath   = ", &WindowExplanation::imagePath},
};

bool IsDecision(std::wstring_view message) {
  return message.starts_with(L"    Kept (") || message.starts_with(L"    Skipped (");
}

}  // namespace

void WindowExplanations::Observe(std::wstring_view message) {
  if (message.starts_with(kFound) && message.ends_with(kFoundEnd)) {
    const std::wstring_view handle = message.substr(kFound.size(), message.size() - kFound.size() - kFoundEnd.size());
    windows_.emplace_back().handle = Unicode_Utf8FromWide(handle);
    return;
  }
  if (windows_.empty()) return;
  WindowExplanation& window = windows_.back();
  if (IsDecision(message)) window.decision = Unicode_Utf8FromWide(message.substr(kIndent.size()));
  for (const Attribute& attribute : kAttributes) {
    if (message.starts_with(attribute.label)) {
      window.*attribute.member = Unicode_Utf8FromWide(message.substr(attribute.label.size()));
    }
  }
}

}  // namespace quarryctl
