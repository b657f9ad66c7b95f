#include "tests/support/iconImages.h"

#include "tests/support/versionedExecutable.h"

#include <algorithm>

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

void Append(Bytes& bytes, std::uint32_t value, int size) {
  for (int shift = 0; shift < 8 * size; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::size_t RowSize(int width, int bitCount) {
  return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bitCount) + 31) / 32 * 4;
}

std::uint32_t PaletteColor(unsigned index, unsigned colors) {
  const unsigned level = index * 255 / (colors - 1);
  return level << 16 | (255 - level) << 8 | (level / 2 + 60);
}

std::uint32_t ColorAt(unsigned x, unsigned y, unsigned variant) {
  return ((x * 7 + y) & 0xFF) << 16 | ((y * 5) & 0xFF) << 8 | ((variant * 37 + 90) & 0xFF);
}

/// Appends the row to the image's bytes and puts its pixels into the picture.
void AddRow(IconImage& image, int row, unsigned variant) {
  const auto y = static_cast<unsigned>(row);
  const auto width = static_cast<unsigned>(image.width);
  const auto bits = static_cast<unsigned>(image.bitCount);
  Bytes bytes(RowSize(image.width, image.bitCount));
  for (unsigned x = 0; x < width; ++x) {
    const unsigned colors = 1u << std::min(bits, 8u);
    const unsigned index = (x + y + variant) % colors;
    const std::uint32_t color = bits <= 8 ? PaletteColor(index, colors) : ColorAt(x, y, variant);
    const std::uint32_t halfAlpha = bits == 32 ? 1 + (x * 3 + y * 11) % 254 : 0;
    const std::uint32_t alpha = x < width / 2 ? 255 : halfAlpha;
    image.picture[y * width + x] = alpha == 0 ? 0 : alpha << 24 | color;

    const std::uint32_t stored = bits <= 8 ? index << (8 - bits - x * bits % 8) : alpha << 24 | color;
    for (unsigned byte = 0; byte < std::max(1u, bits / 8); ++byte) {
      bytes[x * bits / 8 + byte] |= static_cast<std::uint8_t>(stored >> 8 * byte);
    }
  }
  image.bytes.insert(image.bytes.end(), bytes.begin(), bytes.end());
}

void AddMaskRow(IconImage& image) {
  Bytes row(RowSize(image.width, 1));
  for (auto x = static_cast<unsigned>(image.width) / 2; x < static_cast<unsigned>(image.width); ++x) {
    row[x / 8] |= static_cast<std::uint8_t>(0x80u >> x % 8);
  }
  image.bytes.insert(image.bytes.end(), row.begin(), row.end());
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

IconImage MakeImage(int width, int height, int bitCount, unsigned variant) {
  IconImage image{width, height, bitCount, {}};
  image.picture.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
  BITMAPINFOHEADER header{};
  header.biSize = sizeof(header);
  header.biWidth = width;
  header.biHeight = 2 * height;  // with the mask
  header.biPlanes = 1;
  header.biBitCount = static_cast<WORD>(bitCount);
  const auto* const start = reinterpret_cast<const std::uint8_t*>(&header);
  image.bytes.assign(start, start + sizeof(header));
  const unsigned colors = bitCount <= 8 ? 1u << bitCount : 0;
  for (unsigned index = 0; index < colors; ++index) Append(image.bytes, PaletteColor(index, colors), 4);
  for (int y = height - 1; y >= 0; --y) AddRow(image, y, variant);
  for (int y = 0; y < height; ++y) AddMaskRow(image);
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
