#pragma once

#include <type_traits>

namespace quarry {

/// Whether every window's details are to be logged. The setting VerboseWindowLogging is read at the first call and then
/// holds for the process.
bool IsVerboseWindowLogOn();

namespace verbose_detail {
void FormatAndLog(const wchar_t* format, ...);
}  // namespace verbose_detail

/// Logs a message on one window at level 3, cut at 1024 characters, when the verbose window log is on. Otherwise
/// nothing is formatted.
template <typename... Arguments>
void VerboseLog(const wchar_t* format, Arguments... arguments) {
  static_assert((std::is_scalar_v<Arguments> && ...), "a format takes numbers and pointers: pass text by c_str()");
  if (IsVerboseWindowLogOn()) verbose_detail::FormatAndLog(format, arguments...);
}

}  // namespace quarry
