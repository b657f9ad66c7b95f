// Mutated programs and icon files, as a stranger could place them on a host. Run with --files=10000 for a long run.

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
#include <iostream>
#include <random>
#include <string_view>

namespace quarry::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr unsigned kSeed = 20261122;
int g_files = 2'000;
std::uint64_t g_messages = 0;
std::uint64_t g_icons = 0;

void CountMessage(std::uint32_t /*level*/, const wchar_t* /*message*/) { ++g_messages; }

class Mutator {
 public:
  explicit Mutator(unsigned seed) : engine_(seed) {}

  /// One to eight changes: flipped bits, extreme bytes and words, a block that comes from elsewhere, a cut end. Most
  /// hit `start`..`end`, where the tables are.
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

  void Change(Bytes& bytes, std::size_t position) {
    constexpr std::uint8_t kExtremes[] = {0, 1, 0x7F, 0x80, 0xFF};
    switch (Below(16)) {
      case 0:
        bytes.resize(position);
        return;
      case 1:
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(Below(bytes.size() - 4)), 4,
                    bytes.begin() + static_cast<std::ptrdiff_t>(position));
        return;
      case 2:
      case 3:
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(position), 4, kExtremes[Below(5)]);
        return;
      case 4:
      case 5:
      case 6:
        bytes[position] = kExtremes[Below(5)];
        return;
      default:
        bytes[position] = static_cast<std::uint8_t>(bytes[position] ^ 1u << Below(8));
    }
  }

  std::mt19937 engine_;
};

struct Source {
  Bytes bytes;
  std::size_t tablesStart = 0;
  std::size_t tablesEnd = 0;
};

/// Feeds the library with mutated files, every other one a program and an icon file, until it has seen `files`.
class Feeder {
 public:
  explicit Feeder(const std::vector<IconImage>& images) {
    settings_.SetString(L"", L"IconCacheDir", folder_ / L"cache");
    ico_.bytes = IcoFile(images);
    ico_.tablesEnd = 6 + 16 * images.size() + 40;
    const std::wstring program = folder_ / L"source.exe";
    EXPECT_TRUE(WriteExecutable(program) && PutIconGroup(program, MAKEINTRESOURCEW(1), images, 1));
    program_.bytes = ReadWholeFile(program).value_or(Bytes());
    // The resources come last; what the linker left of debug information is of no interest.
    const Bytes group = {0, 0, 1, 0, static_cast<std::uint8_t>(images.size()), 0, 16, 16};
    const auto found = std::search(program_.bytes.begin(), program_.bytes.end(), group.begin(), group.end());
    EXPECT_NE(found, program_.bytes.end());
    const auto groupStart = static_cast<std::size_t>(found - program_.bytes.begin());
    program_.tablesStart = groupStart - std::min<std::size_t>(groupStart, 1024);
    program_.tablesEnd = std::min(groupStart + 128, program_.bytes.size());
    EXPECT_TRUE(WriteShortcut({linkPath_,
                               folder_.CopyFrom(L"target.exe", FixtureProgram(L"emptyApp")),
                               {},
                               {},
                               {},
                               folder_ / L"fuzz.ico",
                               0}));
  }

  void Feed(int files) {
    QuarryFunctions functions{};
    Library::Instance().Init(CountMessage, 0, &functions);
    for (int file = 0; file < files; ++file) {
      const bool isIco = file % 2 == 0;
      const Source& source = isIco ? ico_ : program_;
      // The header too is a table.
      const std::size_t start = !isIco && file % 8 == 1 ? 0 : source.tablesStart;
      const std::size_t end = !isIco && file % 8 == 1 ? 1024 : source.tablesEnd;
      // Wine keeps an image mapped whose sections cover its own header, so each program has a name of its own.
      const std::wstring name = isIco ? L"fuzz.ico" : L"fuzz" + std::to_wstring(++programs_) + L".exe";
      const std::wstring path = folder_.WriteBytes(name, mutator_.Mutate(source.bytes, start, end));
      const ApplicationRecord app(functions.GetApplication((isIco ? linkPath_ : path).c_str()));
      for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index, ++g_icons) {
        const IconRecord icon(functions.GetApplicationIcon(app.get(), index));
      }
      DeleteFileW(path.c_str());
    }
    functions.Exit();
  }

 private:
  const TemporaryFolder folder_{L"quarryFuzz"};
  const RegistryFixture settings_{kSettingsKey};
  const std::wstring linkPath_ = folder_ / L"Fuzz.lnk";
  Source ico_;
  Source program_;
  Mutator mutator_{kSeed};
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
  g_icons = 0;
  g_messages = 0;
  feeder.Feed(files);
  const auto spent = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const ResourceGrowth growth = ResourceCounts::Now() - before;
  std::cout << files << " files, " << g_icons << " icons, " << g_messages << " messages, " << spent
            << " s; growth: " << growth.handles << " handles, " << growth.gdiObjects << " GDI objects, "
            << growth.heapBytes << " bytes\n";
  EXPECT_GT(g_icons, static_cast<std::uint64_t>(files) / 4);  // the files are not all damaged beyond use
  return growth;
}

TEST(IconFuzz, MutatedFilesNeitherCrashNorHangNorLeak) {
  const ResourceGrowth growth =
      Fuzz({MakeImage(16, 16, 4), MakeImage(16, 16, 8), MakeImage(24, 24, 24), MakeImage(32, 32, 32)}, g_files / 5 * 4);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
  EXPECT_LT(growth.heapBytes, 65536);
}

// Wine (8.0) keeps the memory of a PNG image whose stream breaks off, so only the objects are counted.
TEST(IconFuzz, MutatedPngImagesNeitherCrashNorHangNorLeakObjects) {
  const ResourceGrowth growth = Fuzz({MakeImage(16, 16, 32), PngImage()}, g_files / 5);
  EXPECT_EQ(growth.handles, 0);
  EXPECT_EQ(growth.gdiObjects, 0);
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
