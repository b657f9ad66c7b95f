#pragma once

#include <utility>

/// Owns one platform handle and closes it when it goes out of scope.
///
/// `Traits` names the handle type (`Handle`), the value that means "none" (`Invalid()`) and how to close one
/// (`Close(Handle)`).
template <typename Traits>
class UniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandle() noexcept = default;
  explicit UniqueHandle(Handle handle) noexcept : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) attach(other.release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { reset(); }

  explicit operator bool() const noexcept { return handle_ != Traits::Invalid(); }
  Handle get() const noexcept { return handle_; }

  /// Gives the handle up without closing it.
  [[nodiscard]] Handle release() noexcept { return std::exchange(handle_, Traits::Invalid()); }
  /// Closes what is held and owns `handle` instead.
  void attach(Handle handle) noexcept {
    reset();
    handle_ = handle;
  }
  void reset() noexcept {
    if (handle_ != Traits::Invalid()) Traits::Close(release());
  }
  /// Closes what is held and returns the place for a platform function's out-parameter.
  Handle* put() noexcept {
    reset();
    return &handle_;
  }

 private:
  Handle handle_ = Traits::Invalid();
};
