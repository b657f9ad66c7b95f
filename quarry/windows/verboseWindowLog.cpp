#include "quarry/windows/verboseWindowLog.h"

#include "quarry/config/config.h"
#include "quarry/diagnostics/log.h"

#include "lib/string/str.h"

#include <algorithm>
#include <cstdarg>
#include <string>

namespace quarry {

namespace {

constexpr std::size_t kLongestMessage = 1024;

}  // namespace

bool IsVerboseWindowLogOn() {
  static const bool on = Config().GetBool(Setting::VerboseWindowLogging);
  return on;
}

namespace verbose_detail {

void FormatAndLog(const wchar_t* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  std::wstring message = Str_VFormatWide(format, arguments);
  va_end(arguments);
  message.resize(std::min(message.size(), kLongestMessage));
  Log(LogLevel::Detail, L"%s", message.c_str());
}

}  // namespace verbose_detail

}  // namespace quarry
