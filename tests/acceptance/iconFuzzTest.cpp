// Mutated programs and icon files, as a stranger could place them on a host. Run with --files=100 for a short run.

#include "lib/misc/fileBytes.h"

#include "tests/support/iconImages.h"
#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <random>
#include <string_view>

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

int g_files = 10'000;

void IgnoreMessage(std::uint32_t /*level*/, const wchar_t* /*message*/) {}

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
  EXPECT_TRUE(WriteExecutable(path) && PutIconGroup(path, MAKEINTRESOURCEW(1), images, 1));
  const Bytes bytes = ReadWholeFile(path).value_or(Bytes());
  // The tables of the resources end with the group.
  const Bytes group = {0, 0, 1, 0, static_cast<std::uint8_t>(images.size()), 0, 16, 16};
  const auto found = std::search(bytes.begin(), bytes.end(), group.begin(), group.end());
  EXPECT_NE(found, bytes.end());
  const auto position = static_cast<std::size_t>(found - bytes.begin());
  return {bytes, position - std::min<std::size_t>(position, 1024), position + 128};
}

/// Feeds the library with mutated files, every other one a program and an icon file.
class Feeder {
 public:
  explicit Feeder(const std::vector<IconImage>& images)
      : ico_{IcoFile(images), 0, 6 + 16 * images.size() + 40},
        program_(ProgramSource(folder_ / L"source.exe", images)) {
    settings_.SetString(L"", L"IconCacheDir", folder_ / L"cache");
    EXPECT_TRUE(WriteShortcut({linkPath_, folder_ / L"source.exe", {}, {}, {}, folder_ / L"fuzz.ico", 0}));
  }

  /// How many icons the library found in as many mutated files.
  std::uint64_t Feed(int files) {
    QuarryFunctions functions{};
    Library::Instance().Init(IgnoreMessage, 0, &functions);
    std::uint64_t icons = 0;
    for (int file = 0; file < files; ++file) {
      const bool isIco = file % 2 == 0;
      const bool inHeader = file % 8 == 1;
      const Source& source = isIco ? ico_ : program_;
      // Wine keeps an image mapped whose sections cover its own header, so each program has a name of its own.
      const std::wstring name = isIco ? L"fuzz.ico" : L"fuzz" + std::to_wstring(++programs_) + L".exe";
      const Bytes bytes = inHeader ? mutator_.Mutate(source.bytes, 0, 1024)
                                   : mutator_.Mutate(source.bytes, source.tablesStart, source.tablesEnd);
      const std::wstring path = folder_.WriteBytes(name, bytes);
      const ApplicationRecord app(functions.GetApplication((isIco ? linkPath_ : path).c_str()));
      for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index, ++icons) {
        const IconRecord icon(functions.GetApplicationIcon(app.get(), index));
      }
      DeleteFileW(path.c_str());
      if (file % 100 == 0) EmptyCache();
    }
    functions.Exit();
    return icons;
  }

 private:
  // Wine reads a whole folder to find that a file is not in it.
  void EmptyCache() const {
    for (const auto& entry : std::filesystem::directory_iterator(folder_ / L"cache")) {
      std::filesystem::remove(entry);
    }
  }

  const TemporaryFolder folder_{L"quarryFuzz"};
  const RegistryFixture settings_{kSettingsKey};
  const std::wstring linkPath_ = folder_ / L"Fuzz.lnk";
  const Source ico_;
  const Source program_;
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

ResourceGrowth Fuzz(const std::vector<IconImage>& images, int files) {
  Feeder feeder(images);
  feeder.Feed(300);  // the platform keeps what a first use loads
  const ResourceCounts before = ResourceCounts::Now();
  const auto start = std::chrono::steady_clock::now();
  const std::uint64_t icons = feeder.Feed(files);
  const auto spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const ResourceGrowth growth = ResourceCounts::Now() - before;
  std::cout << files << " files, " << icons << " icons, " << spent << " s; growth: " << growth.handles << " handles, "
            << growth.gdiObjects << " GDI objects, " << growth.heapBytes << " bytes\n";
  // The files are not all damaged beyond use.
  EXPECT_GT(icons, static_cast<std::uint64_t>(files) * images.size() / 4);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
  return growth;
}

TEST(IconFuzz, MutatedFilesNeitherCrashNorHangNorLeak) {
  const std::vector<IconImage> images = {MakeImage(16, 16, 4), MakeImage(16, 16, 8), MakeImage(24, 24, 24),
                                         MakeImage(32, 32, 32)};
  EXPECT_LT(Fuzz(images, g_files / 5 * 4).heapBytes, 65536);
}

// Wine (8.0) keeps the memory of a PNG image whose stream breaks off, so only the objects are counted.
TEST(IconFuzz, MutatedPngImagesNeitherCrashNorHangNorLeakObjects) {
  Fuzz({MakeImage(16, 16, 32), PngImage()}, g_files / 5);
}

}  // namespace

void SetFileCount(int files) { g_files = files; }

}  // namespace quarry::test

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  for (int index = 1; index < argc; ++index) {
    const std::string_view argument(argv[index]);
    constexpr std::string_view kFiles = "--files=";
    if (argument.starts_with(kFiles)) quarry::test::SetFileCount(std::atoi(argument.substr(kFiles.size()).data()));
  }
  return RUN_ALL_TESTS();
}
