#pragma once

#include <cstddef>
#include <new>
#include <utility>

/// Holds a process-wide object that is never destroyed. For objects that own platform resources or call back into other
/// code: when the library is unloaded, that code runs under the loader lock and may already be gone.
template <typename T>
class NoDestructor {
 public:
  template <typename... Arguments>
  explicit NoDestructor(Arguments&&... arguments) {
    ::new (static_cast<void*>(storage_)) T(std::forward<Arguments>(arguments)...);
  }
  NoDestructor(const NoDestructor&) = delete;
  NoDestructor& operator=(const NoDestructor&) = delete;

  T& get() noexcept { return *std::launder(reinterpret_cast<T*>(storage_)); }

 private:
  alignas(T) std::byte storage_[sizeof(T)];
};
