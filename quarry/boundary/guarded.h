#pragma once

#include "quarry/diagnostics/log.h"

#include <exception>

namespace quarry {

/// Reports an error that reached an export.
inline void LogRaised(const char* exportName, const char* what) noexcept {
  try {
    Log(LogLevel::Error, L"%hs failed: %hs\n", exportName, what);
  } catch (...) {
    // Not even memory for the message is left; the caller still learns of the failure by the result.
    return;
  }
}

/// Runs the body of an export and lets no error pass the C boundary: one raised inside is logged and becomes
/// `fallback`.
template <typename Result, typename Body>
Result Guarded(const char* exportName, Result fallback, Body body) noexcept {
  try {
    return body();
  } catch (const std::exception& error) {
    LogRaised(exportName, error.what());
  } catch (...) {
    LogRaised(exportName, "unknown error");
  }
  return fallback;
}

/// The same for an export without a result.
template <typename Body>
void Guarded(const char* exportName, Body body) noexcept {
  Guarded(exportName, 0, [&body] {
    body();
    return 0;
  });
}

}  // namespace quarry
