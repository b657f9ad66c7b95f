// Mutated programs and icon files, as a stranger could place them on a host.

#include "lib/misc/fileBytes.h"

#include "tests/support/hostTest.h"
#include "tests/support/iconImages.h"

#include <cstring>
#include <iostream>

namespace quarry::test {
namespace {

class Mutator {
 public:
  /// One to eight changes, most of them between `start` and `end`, where the tables are.
  Bytes Mutate(Bytes bytes, std::size_t start, std::size_t end) {
    for (std::size_t changes = 1 + Below(8); changes > 0 && bytes.size() > 8; --changes) {
      const bool inTables = Below(4) != 0 && start + 8 < std::min(end, bytes.size());
      const std::size_t position =
          inTables ? start + Below(std::min(end, bytes.size()) - start - 4) : Below(bytes.size() - 4);
      Change(bytes, position);
    }
    return bytes;
  }

 private:
  std::size_t Below(std::size_t limit) { return engine_() % limit; }

  /// A cut end, a block from elsewhere, extreme words and bytes, or a flipped bit.
  void Change(Bytes& bytes, std::size_t position) {
    constexpr std::uint8_t kExtremes[] = {0, 1, 0x7F, 0x80, 0xFF};
    const std::size_t kind = Below(16);
    std::uint8_t* const place = bytes.data() + position;
    if (kind == 0) {
      bytes.resize(position);
    } else if (kind == 1) {
      std::memmove(place, bytes.data() + Below(bytes.size() - 4), 4);
    } else if (kind < 7) {
      std::fill_n(place, kind < 4 ? 4 : 1, kExtremes[Below(5)]);
    } else {
      *place = static_cast<std::uint8_t>(*place ^ 1u << Below(8));
    }
  }

  std::mt19937 engine_{20261122};
};

/// A file to be mutated, and where its tables are.
struct Source {
  Bytes bytes;
  std::size_t tablesStart;
  std::size_t tablesEnd;
};

Source ProgramSource(const std::wstring& path, const std::vector<IconImage>& images) {
  PutIconGroup(path, MAKEINTRESOURCEW(1), images);
  const Bytes bytes = ReadWholeFile(path).value_or(Bytes());
  // The tables of the resources end with the group.
  const Bytes group = {0, 0, 1, 0, static_cast<std::uint8_t>(images.size()), 0, 16, 16};
  const auto found = std::search(bytes.begin(), bytes.end(), group.begin(), group.end());
  EXPECT_NE(found, bytes.end());
  const auto position = static_cast<std::size_t>(found - bytes.begin());
  return {bytes, position - std::min<std::size_t>(position, 1024), position + 128};
}

/// Feeds the library with mutated files, every other one a program and an icon file.
class IconFuzz : public Test {
 protected:
  /// What so many files leave behind.
  ResourceCounts Fuzz(const std::vector<IconImage>& images, int files) {
    settings_.SetString(L"", L"IconCacheDir", folder_ / L"cache");
    const std::wstring program = folder_.CopyFrom(L"source.exe", FixtureProgram(L"emptyApp"));
    folder_.WriteLink(L"Fuzz.lnk", program, {.iconLocation = folder_ / L"fuzz.ico"});
    sources_[0] = {IcoFile(images), 0, 6 + 16 * images.size() + 40};
    sources_[1] = ProgramSource(program, images);
    Feed(100);  // the platform keeps what a first use loads
    const ResourceCounts before = ResourceCounts::Now();
    const std::uint64_t icons = Feed(files);
    const ResourceCounts growth = ResourceCounts::Now() - before;
    std::cout << files << " files, " << icons << " icons; growth: " << PrintToString(growth) << '\n';
    // The files are not all damaged beyond use.
    EXPECT_GT(icons, static_cast<std::uint64_t>(files) * images.size() / 4);
    return growth;
  }

 private:
  /// How many icons the library found in as many mutated files.
  std::uint64_t Feed(int files) {
    const QuarryHost host(false, nullptr);
    std::uint64_t icons = 0;
    for (int file = 0; file < files; ++file) {
      const bool isProgram = file % 2 != 0;
      const bool inHeader = file % 8 == 1;
      const Source& source = sources_[isProgram ? 1 : 0];
      // Wine keeps an image mapped whose sections cover its own header, so each program has a name of its own.
      const std::wstring name = isProgram ? L"fuzz" + std::to_wstring(++programs_) + L".exe" : L"fuzz.ico";
      const std::wstring path =
          folder_.WriteBytes(name, inHeader ? mutator_.Mutate(source.bytes, 0, 1024)
                                            : mutator_.Mutate(source.bytes, source.tablesStart, source.tablesEnd));
      const ApplicationRecord app = host.GetApplication(isProgram ? path : folder_ / L"Fuzz.lnk");
      for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index, ++icons) {
        host.GetApplicationIcon(*app, index);
      }
      DeleteFileW(path.c_str());
      // Wine reads a whole folder to find that a file is not in it.
      if (file % 100 == 0) std::filesystem::remove_all(folder_ / L"cache"), folder_.MakeFolder(L"cache");
    }
    return icons;
  }

  const TemporaryFolder folder_{L"quarryFuzz"};
  const RegistryFixture settings_{kSettingsKey};
  Source sources_[2];
  Mutator mutator_;
  int programs_ = 0;
};

// A small picture of the newer kind, with a real stream inside.
IconImage PngImage() {
  return {256, 256, 32, {0x89, 'P',  'N',  'G',  '\r', '\n', 0x1A, '\n', 0,   0,   0,    13,   'I',  'H',
                         'D',  'R',  0,    0,    0,    1,    0,    0,    0,   1,   8,    6,    0,    0,
                         0,    0x1F, 0x15, 0xC4, 0x89, 0,    0,    0,    13,  'I', 'D',  'A',  'T',  0x78,
                         0x9C, 0x63, 0xF8, 0xCF, 0xC0, 0xF0, 0x1F, 0,    5,   0,   1,    0xFF, 0x89, 0x99,
                         0x3D, 0x1D, 0,    0,    0,    0,    'I',  'E',  'N', 'D', 0xAE, 0x42, 0x60, 0x82}};
}

TEST_F(IconFuzz, MutatedFilesNeitherCrashNorHangNorLeak) {
  const std::vector<IconImage> images = {MakeImage(16, 16, 8), MakeImage(16, 16, 24), MakeImage(24, 24, 8),
                                         MakeImage(32, 32, 32)};
  const ResourceCounts growth = Fuzz(images, Rounds(400, 8'000));
  EXPECT_EQ(growth, (ResourceCounts{0, 0, growth.heapBytes}));
  EXPECT_LT(growth.heapBytes, 65536);
}

// Wine (8.0) keeps the memory of a PNG image whose stream breaks off, so only the objects are counted.
TEST_F(IconFuzz, MutatedPngImagesNeitherCrashNorHangNorLeakObjects) {
  const ResourceCounts growth = Fuzz({MakeImage(16, 16, 32), PngImage()}, Rounds(100, 2'000));
  EXPECT_EQ(growth, (ResourceCounts{0, 0, growth.heapBytes}));
}

}  // namespace
}  // namespace quarry::test
