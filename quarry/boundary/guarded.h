#pragma once

#include "quarry/diagnostics/log.h"

#include "lib/misc/remoteServers.h"

#include <exception>
#include <type_traits>

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

/// Runs the body of the export `exportName` (its __func__) and lets no error pass the C boundary: one raised inside is
/// logged and becomes `fallback`. Servers that did not answer are asked again.
template <typename Result, typename Body>
Result Guarded(const char* exportName, Result fallback, Body body) noexcept {
  RemoteServer_Forget();
  try {
    return body();
  } catch (const std::exception& error) {
    LogRaised(exportName, error.what());
  } catch (...) {
    LogRaised(exportName, "unknown error");
  }
  return fallback;
}

/// The same for an export that answers null or zero then, or has no result.
template <typename Body>
auto Guarded(const char* exportName, Body body) noexcept {
  using Result = std::invoke_result_t<Body>;
  if constexpr (std::is_void_v<Result>) {
    Guarded(exportName, 0, [&body] {
      body();
      return 0;
    });
  } else {
    return Guarded(exportName, Result{}, body);
  }
}

}  // namespace quarry
