#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace quarryctl {

/// What the library's verbose window log tells of one window. UTF-8, empty where it tells nothing.
struct WindowExplanation {
  std::string handle;
  std::string decision;  ///< "Kept" or "Skipped", with the test that decided in parentheses
  std::string title;
  std::string className;
  std::string imagePath;
};

/// Puts the explanations together from the library's messages.
class WindowExplanations {
 public:
  /// Takes one message without its line end. Those that are not of the verbose window log are passed over.
  void Observe(std::wstring_view message);
  /// In the order in which the windows were looked at.
  const std::vector<WindowExplanation>& Get() const { return windows_; }

 private:
  std::vector<WindowExplanation> windows_;
};

}  // namespace quarryctl
