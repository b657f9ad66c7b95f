#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <type_traits>
#include <utility>

/// Puts the thread's last error back when it goes out of scope. Owners close on the way out of functions that have
/// failed, and the caller is to learn why those failed, not how the closing went.
class LastErrorKeeper {
 public:
  LastErrorKeeper() noexcept = default;
  LastErrorKeeper(const LastErrorKeeper&) = delete;
  LastErrorKeeper& operator=(const LastErrorKeeper&) = delete;
  ~LastErrorKeeper() { SetLastError(error_); }

 private:
  DWORD error_ = GetLastError();
};

/// Owns one platform handle of type `T` and closes it with `kClose` when it goes out of scope. Closing keeps the last
/// error. `kNone` is the value that means "none", as a number: a pointer other than null is no template argument.
template <typename T, auto kClose, std::intptr_t kNone = 0>
class UniqueHandle {
 public:
  UniqueHandle() noexcept = default;
  explicit UniqueHandle(T handle) noexcept : handle_(handle) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) attach(other.release());
    return *this;
  }
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  ~UniqueHandle() { reset(); }

  explicit operator bool() const noexcept { return handle_ != None(); }
  T get() const noexcept { return handle_; }

  /// Gives the handle up without closing it.
  [[nodiscard]] T release() noexcept { return std::exchange(handle_, None()); }
  /// Closes what is held and owns `handle` instead.
  void attach(T handle) noexcept {
    reset();
    handle_ = handle;
  }
  void reset() noexcept {
    if (handle_ == None()) return;
    const LastErrorKeeper lastError;
    kClose(release());
  }
  /// Closes what is held and returns the place for a platform function's out-parameter.
  T* put() noexcept {
    reset();
    return &handle_;
  }

 private:
  static T None() noexcept {
    if constexpr (std::is_pointer_v<T>) {
      return reinterpret_cast<T>(kNone);
    } else {
      return static_cast<T>(kNone);
    }
  }

  T handle_ = None();
};

template <auto kFree>
struct BlockDeleter {
  void operator()(void* block) const noexcept {
    const LastErrorKeeper lastError;
    kFree(block);
  }
};
/// Owns one memory block that `kFree` takes back. Freeing keeps the last error.
template <typename T, auto kFree>
using UniqueBlock = std::unique_ptr<T, BlockDeleter<kFree>>;
