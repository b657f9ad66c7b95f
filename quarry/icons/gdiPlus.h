#pragma once

#include "lib/misc/uniqueHandle.h"

#include <windows.h>

#include <objidl.h>

#include <algorithm>

// The platform's header wants the macros min and max, which NOMINMAX leaves out.
namespace Gdiplus {  // NOLINT(readability-identifier-naming): the name is the platform's
using std::max;
using std::min;
}  // namespace Gdiplus
// clang-format off
#include <gdiplus.h>
// clang-format on

namespace quarry {

struct GdiPlusTokenTraits {
  using Handle = ULONG_PTR;
  static Handle Invalid() noexcept { return 0; }
  static void Close(Handle handle) noexcept { Gdiplus::GdiplusShutdown(handle); }
};
/// GDI+ in use, from GdiplusStartup. It must outlive every GDI+ object.
using UniqueGdiPlus = UniqueHandle<GdiPlusTokenTraits>;

struct GdiPlusBitmapTraits {
  using Handle = Gdiplus::GpBitmap*;
  static Handle Invalid() noexcept { return nullptr; }
  static void Close(Handle handle) noexcept { Gdiplus::DllExports::GdipDisposeImage(handle); }
};
using UniqueGdiPlusBitmap = UniqueHandle<GdiPlusBitmapTraits>;

}  // namespace quarry
