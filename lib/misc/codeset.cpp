#include "lib/misc/codeset.h"

#include "lib/misc/uniqueHandle.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#include <unicode/udata.h>

#include <cstddef>
#include <cstdint>
#include <limits>

namespace {

constexpr char kUtf8[] = "UTF-8";

using UniqueConverter = UniqueHandle<UConverter*, ucnv_close>;

/// ICU would look for a table that is not linked in as a file, in a folder that the environment names. A character
/// set's name comes from files of others, so it must not make the process open any.
void ForbidDataFiles() {
  [[maybe_unused]] static const bool forbidden = [] {
    UErrorCode status = U_ZERO_ERROR;
    udata_setFileAccess(UDATA_NO_FILES, &status);
    return U_SUCCESS(status);
  }();
}

/// A converter that stops at what it cannot convert; none when ICU does not know the name.
UniqueConverter OpenConverter(const char* name) {
  // To ICU, no name means the platform's character set.
  if (name == nullptr || *name == '\0') return {};
  ForbidDataFiles();
  UErrorCode status = U_ZERO_ERROR;
  UniqueConverter converter(ucnv_open(name, &status));
  if (U_FAILURE(status)) return {};
  ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  if (U_FAILURE(status)) return {};
  return converter;
}

/// Runs one of ICU's whole-string conversions: first for the length, then for the text.
template <typename Target, typename Source, typename Convert>
std::optional<std::basic_string<Target>> Converted(const Convert& convert, UConverter* converter,
                                                   std::basic_string_view<Source> source) {
  if (source.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) return std::nullopt;
  const auto sourceLength = static_cast<std::int32_t>(source.size());
  UErrorCode status = U_ZERO_ERROR;
  const std::int32_t length = convert(converter, nullptr, 0, source.data(), sourceLength, &status);
  if (U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR) return std::nullopt;
  std::basic_string<Target> result(static_cast<std::size_t>(length), Target{});
  status = U_ZERO_ERROR;
  convert(converter, result.data(), length, source.data(), sourceLength, &status);
  if (U_FAILURE(status)) return std::nullopt;
  return result;
}

std::optional<std::string> Transcoded(std::string_view text, const char* from, const char* to) {
  const UniqueConverter source = OpenConverter(from);
  const UniqueConverter target = OpenConverter(to);
  if (!source || !target) return std::nullopt;
  const auto units = Converted<UChar>(ucnv_toUChars, source.get(), text);
  if (!units) return std::nullopt;
  return Converted<char>(ucnv_fromUChars, target.get(), std::basic_string_view<UChar>(*units));
}

}  // namespace

std::optional<std::string> Codeset_ToUtf8(std::string_view bytes, const char* codeset) {
  return Transcoded(bytes, codeset, kUtf8);
}

std::optional<std::string> Codeset_FromUtf8(std::string_view utf8, const char* codeset) {
  return Transcoded(utf8, kUtf8, codeset);
}

bool Codeset_IsSupported(const char* name) { return static_cast<bool>(OpenConverter(name)); }
