#pragma once

#include "lib/misc/uniqueHandle.h"

#include <windows.h>

#include <utility>

// Owners of what icons are made of on the platform.

namespace quarry {

struct IconHandleTraits {
  using Handle = HICON;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { DestroyIcon(handle); }
};
/// An icon that is not shared with others.
using UniqueIcon = UniqueHandle<IconHandleTraits>;

struct BitmapTraits {
  using Handle = HBITMAP;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { DeleteObject(handle); }
};
using UniqueBitmap = UniqueHandle<BitmapTraits>;

struct ScreenDcTraits {
  using Handle = HDC;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { ReleaseDC(nullptr, handle); }
};
/// The device context of the whole screen, from GetDC(nullptr).
using UniqueScreenDc = UniqueHandle<ScreenDcTraits>;

}  // namespace quarry
