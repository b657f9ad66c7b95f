#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace quarry {

/// Digests by the platform's cryptographic provider. One provider is acquired at the first use and serves the process
/// until ReleaseProvider, because acquiring one costs more than hashing an icon.
class Hash {
 public:
  /// The MD5 of `bytes` as 32 lower-case hexadecimal digits; empty, with a message, when the provider fails.
  static std::wstring MD5(std::span<const std::uint8_t> bytes);

  static void ReleaseProvider() noexcept;
};

}  // namespace quarry
