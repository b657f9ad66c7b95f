#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace quarry {

/// The name of a group-icon resource, as the platform's resource functions take it.
class GroupIconName {
 public:
  /// A negative `index` is the negated number of the resource, any other the position of the group in `module`. Past
  /// the last group, and when the groups cannot be listed, the name is the empty text, which finds nothing.
  GroupIconName(HMODULE module, std::int32_t index);

  const wchar_t* Get() const { return isNumber_ ? MAKEINTRESOURCEW(number_) : text_.c_str(); }

 private:
  bool isNumber_;
  WORD number_;
  std::wstring text_;
};

}  // namespace quarry
