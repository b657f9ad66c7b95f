#include "tests/support/iconImages.h"

#include "tests/support/versionedExecutable.h"

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Append(Bytes& bytes, std::uint32_t value, int size) {
  for (int shift = 0; shift < 8 * size; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::uint32_t PaletteColor(unsigned index) { return index << 16 | (255 - index) << 8 | (index / 2 + 60); }

std::uint32_t ColorAt(unsigned x, unsigned y, unsigned variant) {
  return ((x * 7 + y) & 0xFF) << 16 | ((y * 5) & 0xFF) << 8 | ((variant * 37 + 90) & 0xFF);
}

Bytes DirectoryHeader(const std::vector<IconImage>& images, int count) {
  Bytes bytes = {0, 0, 1, 0};
  Append(bytes, count < 0 ? static_cast<std::uint32_t>(images.size()) : static_cast<std::uint32_t>(count), 2);
  return bytes;
}

/// An entry of a directory, which ends with the image's place: an offset of 4 bytes or a number of 2.
void AppendEntry(Bytes& bytes, const IconImage& image, std::size_t place, int placeSize) {
  Append(bytes, static_cast<std::uint32_t>(image.width), 1);  // 256 becomes 0
  Append(bytes, static_cast<std::uint32_t>(image.height), 1);
  Append(bytes, 1 << 16, 4);
  Append(bytes, static_cast<std::uint32_t>(image.bitCount), 2);
  Append(bytes, static_cast<std::uint32_t>(image.bytes.size()), 4);
  Append(bytes, static_cast<std::uint32_t>(place), placeSize);
}

}  // namespace

IconImage MakeImage(unsigned width, unsigned height, int bitCount, unsigned variant) {
  IconImage image{static_cast<int>(width), static_cast<int>(height), bitCount, {}};
  Append(image.bytes, sizeof(BITMAPINFOHEADER), 4);
  Append(image.bytes, width, 4);
  Append(image.bytes, 2 * height, 4);  // with the mask
  Append(image.bytes, static_cast<std::uint32_t>(bitCount) << 16 | 1, 4);
  image.bytes.resize(sizeof(BITMAPINFOHEADER));
  for (unsigned index = 0; bitCount == 8 && index < 256; ++index) Append(image.bytes, PaletteColor(index), 4);
  image.picture.resize(std::size_t{width} * height);
  for (unsigned y = height; y-- > 0;) {
    for (unsigned x = 0; x < width; ++x) {
      const unsigned index = (x + y + variant) % 256;
      const std::uint32_t color = bitCount == 8 ? PaletteColor(index) : ColorAt(x, y, variant);
      const std::uint32_t halfAlpha = bitCount == 32 ? 1 + (x * 3 + y * 11) % 254 : 0;
      const std::uint32_t alpha = x < width / 2 ? 255 : halfAlpha;
      image.picture[y * width + x] = alpha == 0 ? 0 : alpha << 24 | color;
      Append(image.bytes, bitCount == 8 ? index : alpha << 24 | color, bitCount / 8);
    }
    image.bytes.resize((image.bytes.size() + 3) / 4 * 4);
  }
  Bytes maskRow((width + 31) / 32 * 4);
  for (unsigned x = width / 2; x < width; ++x) maskRow[x / 8] |= static_cast<std::uint8_t>(0x80u >> x % 8);
  for (unsigned y = 0; y < height; ++y) image.bytes.insert(image.bytes.end(), maskRow.begin(), maskRow.end());
  return image;
}

std::vector<std::uint8_t> IcoFile(const std::vector<IconImage>& images, int count) {
  Bytes bytes = DirectoryHeader(images, count);
  std::size_t offset = bytes.size() + 16 * images.size();
  for (const IconImage& image : images) {
    AppendEntry(bytes, image, offset, 4);
    offset += image.bytes.size();
  }
  for (const IconImage& image : images) bytes.insert(bytes.end(), image.bytes.begin(), image.bytes.end());
  return bytes;
}

void PutIconGroup(const std::wstring& path, LPCWSTR name, const std::vector<IconImage>& images, int firstId,
                  int count) {
  Bytes group = DirectoryHeader(images, count);
  for (int id = firstId; const IconImage& image : images) {
    const bool isNew = !image.bytes.empty();
    AppendEntry(group, image, static_cast<std::size_t>(isNew ? id : firstId), 2);
    if (isNew) PutResource(path, RT_ICON, MAKEINTRESOURCEW(id++), image.bytes);
  }
  PutResource(path, RT_GROUP_ICON, name, group);
}

}  // namespace quarry::test
