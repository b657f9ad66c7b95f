#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace quarry {

/// One icon that is stored as a PNG file. Shared between the icon cache and the applications that show it.
class Icon {
 public:
  virtual ~Icon() = default;
  virtual std::uint64_t GetWidth() const = 0;   ///< pixels
  virtual std::uint64_t GetHeight() const = 0;  ///< pixels
  virtual std::uint64_t GetDepth() const = 0;   ///< bits per pixel
  virtual std::wstring GetName() const = 0;     ///< lower-case hexadecimal MD5 of the pixels
  virtual std::wstring GetPath() const = 0;     ///< full path of the PNG file
};

using IconPtr = std::shared_ptr<const Icon>;

}  // namespace quarry
