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

/// GDI+ in use, from GdiplusStartup. It must outlive every GDI+ object.
using UniqueGdiPlus = UniqueHandle<ULONG_PTR, Gdiplus::GdiplusShutdown>;
/// A bitmap of GDI+.
using UniqueGdiPlusBitmap = UniqueHandle<Gdiplus::GpBitmap*, Gdiplus::DllExports::GdipDisposeImage>;

}  // namespace quarry
