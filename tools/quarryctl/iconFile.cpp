#include "tools/quarryctl/iconFile.h"

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace quarryctl {
namespace {

// Microsoft Learn, "Icons" (ICONDIR, ICONDIRENTRY).
constexpr std::size_t kHeaderSize = 6;
constexpr std::size_t kEntrySize = 16;
constexpr std::int64_t kLargestSide = 256;
constexpr std::uint16_t kIconType = 1;

struct Picture {
  std::int64_t width;
  std::int64_t height;
  std::int64_t depth;
  IconData png;
};

template <typename Number>
void Append(std::string& bytes, Number number) {
  for (std::size_t index = 0; index < sizeof(Number); ++index) {
    bytes += static_cast<char>(number >> (8 * index) & 0xFF);
  }
}

std::vector<Picture> ReadPictures(const QuarryApplicationInfo& application, Library& library) {
  std::vector<Picture> pictures;
  for (const IconRecord& icon : GetIcons(library, application)) {
    if (!icon || icon->Width() > kLargestSide || icon->Height() > kLargestSide) continue;
    IconData png = library.GetIconData(icon->Name());
    if (!png.empty()) pictures.push_back({icon->Width(), icon->Height(), icon->Depth(), std::move(png)});
  }
  return pictures;
}

}  // namespace

std::string FormatIconFile(const QuarryApplicationInfo& application, Library& library) {
  const std::vector<Picture> pictures = ReadPictures(application, library);
  if (pictures.empty()) return {};
  std::string bytes;
  Append<std::uint16_t>(bytes, 0);
  Append(bytes, kIconType);
  Append(bytes, static_cast<std::uint16_t>(pictures.size()));
  std::size_t offset = kHeaderSize + kEntrySize * pictures.size();
  for (const Picture& picture : pictures) {
    // A side of 256 is written as 0, which is what is left of it in a byte.
    Append(bytes, static_cast<std::uint8_t>(picture.width));
    Append(bytes, static_cast<std::uint8_t>(picture.height));
    Append<std::uint16_t>(bytes, 0);
    Append<std::uint16_t>(bytes, 1);
    Append(bytes, static_cast<std::uint16_t>(picture.depth));
    Append(bytes, static_cast<std::uint32_t>(picture.png.size()));
    Append(bytes, static_cast<std::uint32_t>(offset));
    offset += picture.png.size();
  }
  for (const Picture& picture : pictures) bytes += Bytes(picture.png);
  return bytes;
}

}  // namespace quarryctl
