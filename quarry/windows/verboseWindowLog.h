#pragma once

#include "lib/string/checkedFormat.h"

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
void VerboseLog(CheckedFormat<wchar_t, std::type_identity_t<Arguments>...> format, Arguments... arguments) {
  if (IsVerboseWindowLogOn()) verbose_detail::FormatAndLog(format.get(), arguments...);
}

}  // namespace quarry
