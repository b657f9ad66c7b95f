#include "tests/support/iconImages.h"

#include "tests/support/versionedExecutable.h"

#include <algorithm>

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kHeaderSize = 40;  // BITMAPINFOHEADER
constexpr std::size_t kPaletteEntry = 4;

void Append(Bytes& bytes, std::uint32_t value, int size) {
  for (int shift = 0; shift < 8 * size; shift += 8) bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

std::size_t ColorsIn(int bitCount) { return bitCount <= 8 ? std::size_t{1} << bitCount : 0; }
std::size_t RowSize(int width, int bitCount) {
  return (static_cast<std::size_t>(width) * static_cast<std::size_t>(bitCount) + 31) / 32 * 4;
}

std::uint32_t PaletteColor(std::size_t index, std::size_t colors) {
  const auto level = static_cast<std::uint32_t>(index * 255 / (colors - 1));
  return level << 16 | (255 - level) << 8 | (level / 2 + 60);
}

std::uint32_t ColorAt(int x, int y, unsigned variant) {
  const auto red = static_cast<std::uint32_t>(x * 7 + y) & 0xFF;
  const auto green = static_cast<std::uint32_t>(y * 5) & 0xFF;
  return red << 16 | green << 8 | ((variant * 37 + 90) & 0xFF);
}

std::uint32_t AlphaAt(int x, int y, int width) {
  return x < width / 2 ? 255u : static_cast<std::uint32_t>(1 + (x * 3 + y * 11) % 254);
}

void AppendRow(Bytes& bytes, const IconImage& image, int y, unsigned variant) {
  Bytes row(RowSize(image.width, image.bitCount));
  const int bits = image.bitCount;
  for (int x = 0; x < image.width; ++x) {
    const std::size_t bit = static_cast<std::size_t>(x) * static_cast<std::size_t>(bits);
    if (bits <= 8) {
      const auto index = static_cast<unsigned>(x + y + static_cast<int>(variant)) % (1u << bits);
      row[bit / 8] = static_cast<std::uint8_t>(row[bit / 8] | index << (8 - bits - static_cast<int>(bit % 8)));
      continue;
    }
    const std::uint32_t color = ColorAt(x, y, variant) | AlphaAt(x, y, image.width) << 24;
    for (int byte = 0; byte < bits / 8; ++byte) {
      row[bit / 8 + static_cast<std::size_t>(byte)] = static_cast<std::uint8_t>(color >> (8 * byte));
    }
  }
  bytes.insert(bytes.end(), row.begin(), row.end());
}

void AppendMaskRow(Bytes& bytes, int width) {
  Bytes row(RowSize(width, 1));
  for (int x = width / 2; x < width; ++x) {
    auto& byte = row[static_cast<std::size_t>(x) / 8];
    byte = static_cast<std::uint8_t>(byte | 0x80u >> (x % 8));
  }
  bytes.insert(bytes.end(), row.begin(), row.end());
}

std::uint32_t ReadPixel(const IconImage& image, const std::uint8_t* row, int x) {
  const std::size_t bit = static_cast<std::size_t>(x) * static_cast<std::size_t>(image.bitCount);
  const std::uint8_t* const at = row + bit / 8;
  if (image.bitCount == 32)
    return static_cast<std::uint32_t>(at[0] | at[1] << 8 | at[2] << 16) | static_cast<std::uint32_t>(at[3]) << 24;
  if (x >= image.width / 2) return 0;
  if (image.bitCount == 24) return 0xFF000000u | static_cast<std::uint32_t>(at[0] | at[1] << 8 | at[2] << 16);
  const auto index = static_cast<std::size_t>(*at >> (8 - image.bitCount - static_cast<int>(bit % 8))) &
                     (ColorsIn(image.bitCount) - 1);
  return 0xFF000000u | PaletteColor(index, ColorsIn(image.bitCount));
}

/// The part of a directory entry that files and groups have in common.
void AppendEntry(Bytes& bytes, const IconImage& image) {
  Append(bytes, static_cast<std::uint32_t>(image.width), 1);  // 256 becomes 0
  Append(bytes, static_cast<std::uint32_t>(image.height), 1);
  Append(bytes, 0, 2);
  Append(bytes, 1, 2);
  Append(bytes, static_cast<std::uint32_t>(image.bitCount), 2);
  Append(bytes, static_cast<std::uint32_t>(image.bytes.size()), 4);
}

Bytes DirectoryHeader(std::span<const IconImage> images, int count) {
  Bytes bytes;
  Append(bytes, 0, 2);
  Append(bytes, 1, 2);
  Append(bytes, count < 0 ? static_cast<std::uint32_t>(images.size()) : static_cast<std::uint32_t>(count), 2);
  return bytes;
}

}  // namespace

IconImage MakeImage(int width, int height, int bitCount, unsigned variant) {
  IconImage image{width, height, bitCount, {}};
  Append(image.bytes, kHeaderSize, 4);
  Append(image.bytes, static_cast<std::uint32_t>(width), 4);
  Append(image.bytes, static_cast<std::uint32_t>(2 * height), 4);  // with the mask
  Append(image.bytes, 1, 2);
  Append(image.bytes, static_cast<std::uint32_t>(bitCount), 2);
  image.bytes.resize(kHeaderSize);
  const std::size_t colors = ColorsIn(bitCount);
  for (std::size_t index = 0; index < colors; ++index) Append(image.bytes, PaletteColor(index, colors), kPaletteEntry);
  for (int y = height - 1; y >= 0; --y) AppendRow(image.bytes, image, y, variant);
  for (int y = 0; y < height; ++y) AppendMaskRow(image.bytes, width);
  return image;
}

std::vector<std::uint32_t> PictureOf(const IconImage& image) {
  const std::size_t rowSize = RowSize(image.width, image.bitCount);
  const std::uint8_t* const rows = image.bytes.data() + kHeaderSize + kPaletteEntry * ColorsIn(image.bitCount);
  std::vector<std::uint32_t> picture;
  for (int y = image.height - 1; y >= 0; --y) {
    for (int x = 0; x < image.width; ++x) {
      picture.push_back(ReadPixel(image, rows + rowSize * static_cast<std::size_t>(y), x));
    }
  }
  return picture;
}

std::vector<std::uint8_t> IcoFile(std::span<const IconImage> images, int count) {
  Bytes bytes = DirectoryHeader(images, count);
  std::size_t offset = bytes.size() + 16 * images.size();
  for (const IconImage& image : images) {
    AppendEntry(bytes, image);
    Append(bytes, static_cast<std::uint32_t>(offset), 4);
    offset += image.bytes.size();
  }
  for (const IconImage& image : images) bytes.insert(bytes.end(), image.bytes.begin(), image.bytes.end());
  return bytes;
}

bool PutIconGroup(const std::wstring& path, LPCWSTR name, std::span<const IconImage> images, int firstId, int count) {
  Bytes group = DirectoryHeader(images, count);
  bool done = true;
  for (int id = firstId; const IconImage& image : images) {
    AppendEntry(group, image);
    Append(group, static_cast<std::uint32_t>(id), 2);
    done = done && PutResource(path, RT_ICON, MAKEINTRESOURCEW(id++), image.bytes);
  }
  return done && PutResource(path, RT_GROUP_ICON, name, group);
}

}  // namespace quarry::test
