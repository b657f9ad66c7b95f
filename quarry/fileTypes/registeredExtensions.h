#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quarry {

/// One file type that an application is registered to open.
class Extension {
 public:
  virtual ~Extension() = default;
  virtual std::wstring GetName() const = 0;         ///< extension with its leading dot, or a protocol's name
  virtual std::wstring GetDescription() const = 0;  ///< friendly name under which the application handles the type
};

using ExtensionPtr = std::shared_ptr<const Extension>;

/// The file types of one application, in the order of their names.
class RegisteredExtensions {
 public:
  virtual ~RegisteredExtensions() = default;
  virtual std::uint64_t GetCount() const = 0;
  virtual const std::vector<ExtensionPtr>& GetEntries() const = 0;
};

using RegisteredExtensionsPtr = std::shared_ptr<const RegisteredExtensions>;

}  // namespace quarry
