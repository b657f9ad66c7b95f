#pragma once

#include "lib/misc/uniqueHandle.h"

#include <windows.h>

// Owners of what icons are made of on the platform.

namespace quarry {

namespace icon_detail {
inline void ReleaseScreenDc(HDC screen) { ReleaseDC(nullptr, screen); }
}  // namespace icon_detail

/// An icon that is not shared with others.
using UniqueIcon = UniqueHandle<HICON, DestroyIcon>;
using UniqueBitmap = UniqueHandle<HBITMAP, DeleteObject>;
/// The device context of the whole screen, from GetDC(nullptr).
using UniqueScreenDc = UniqueHandle<HDC, icon_detail::ReleaseScreenDc>;

/// The bitmaps of GetIconInfo, which makes copies of the icon's own.
struct IconBitmaps {
  UniqueBitmap mask;
  UniqueBitmap color;
};

}  // namespace quarry
