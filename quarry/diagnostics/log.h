#pragma once

#include "lib/string/checkedFormat.h"

#include <cstdint>
#include <type_traits>

namespace quarry {

/// Levels of the host's log callback.
enum class LogLevel : std::uint32_t {
  Error = 0,    ///< an operation failed or input was refused
  Warning = 1,  ///< something was skipped or degraded
  Notable = 2,  ///< notable information
  Detail = 3,   ///< detail and trace
};

/// The host's log callback: level and NUL-terminated message.
using LogCallback = void (*)(std::uint32_t level, const wchar_t* message);

/// Stores the callback that all later messages go to, for the whole process; null silences them.
void SetLogCallback(LogCallback callback) noexcept;

namespace log_detail {
inline constinit LogCallback callback = nullptr;
void FormatAndDeliver(LogLevel level, const wchar_t* format, ...);
}  // namespace log_detail

/// Formats one message, as Str_FormatWide does (`%s` names a wide string), and passes it whole to the callback. Without
/// a callback nothing is formatted.
template <typename... Arguments>
void Log(LogLevel level, CheckedFormat<wchar_t, std::type_identity_t<Arguments>...> format, Arguments... arguments) {
  if (log_detail::callback == nullptr) return;
  log_detail::FormatAndDeliver(level, format.get(), arguments...);
}

}  // namespace quarry
