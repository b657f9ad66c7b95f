#include "quarry/diagnostics/log.h"

#include "lib/string/str.h"

#include <cstdarg>
#include <string>

namespace quarry {

namespace log_detail {

void FormatAndDeliver(LogLevel level, const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const std::wstring message = Str_VFormatWide(format, arguments);
  va_end(arguments);
  callback(static_cast<std::uint32_t>(level), message.c_str());
}

}  // namespace log_detail

void SetLogCallback(LogCallback callback) noexcept { log_detail::callback = callback; }

}  // namespace quarry
