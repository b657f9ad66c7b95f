// The icons of applications, as a host gets them: from programs, DLLs and icon files that tell the truth or lie.

#include "quarry/icons/gdiPlus.h"
#include "quarry/icons/hash.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/platformHandles.h"
#include "lib/string/str.h"

#include "tests/support/iconImages.h"
#include "tests/support/processOutput.h"
#include "tests/support/quarryHost.h"
#include "tests/support/registryFixture.h"
#include "tests/support/resourceCounts.h"
#include "tests/support/shortcut.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/versionedExecutable.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <thread>

namespace quarry::test {
namespace {

namespace fs = std::filesystem;
namespace Flat = Gdiplus::DllExports;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;
using Sizes = std::vector<std::pair<int, int>>;

/// A decoded PNG file: rows from top to bottom, 0xAARRGGBB.
std::vector<std::uint32_t> DecodePng(const std::wstring& path) {
  UniqueGdiPlus gdiPlus;
  const Gdiplus::GdiplusStartupInput input;
  if (Gdiplus::GdiplusStartup(gdiPlus.put(), &input, nullptr) != Gdiplus::Ok) return {};
  UniqueGdiPlusBitmap bitmap;
  if (Flat::GdipCreateBitmapFromFile(path.c_str(), bitmap.put()) != Gdiplus::Ok) return {};
  UINT width = 0;
  UINT height = 0;
  Flat::GdipGetImageWidth(bitmap.get(), &width);
  Flat::GdipGetImageHeight(bitmap.get(), &height);
  std::vector<std::uint32_t> pixels;
  for (UINT index = 0; index < width * height; ++index) {
    Gdiplus::ARGB color = 0;
    Flat::GdipBitmapGetPixel(bitmap.get(), static_cast<INT>(index % width), static_cast<INT>(index / width), &color);
    pixels.push_back(color);
  }
  return pixels;
}

std::wstring NameOf(const IconImage& image) {
  const std::vector<std::uint32_t> picture = PictureOf(image);
  return Hash::MD5({reinterpret_cast<const std::uint8_t*>(picture.data()), picture.size() * 4});
}

IconImage Lying(IconImage image, std::size_t offset, std::uint8_t value) {
  image.bytes[offset] = value;
  return image;
}

bool HasLine(std::wstring_view part) { return !HostLog::Holding(part).empty(); }

class Icons : public testing::Test {
 protected:
  Icons() { settings_.SetString(L"", L"IconCacheDir", cache_); }

  std::wstring Program(const std::wstring& name, const std::vector<IconImage>& images, int count = -1) const {
    std::wstring path = folder_ / (name + L".exe");
    EXPECT_TRUE(WriteExecutable(path));
    EXPECT_TRUE(images.empty() || PutIconGroup(path, MAKEINTRESOURCEW(1), images, 1, count));
    return path;
  }
  std::wstring Link(const std::wstring& iconLocation, int index = 0) const {
    const Shortcut shortcut{folder_ / L"Link.lnk", target_, {}, {}, {}, iconLocation, index};
    EXPECT_TRUE(WriteShortcut(shortcut));
    return shortcut.linkPath;
  }
  std::vector<IconRecord> IconsOf(const QuarryHost& host, const std::wstring& path) const {
    HostLog::Clear();
    const ApplicationRecord app = host.GetApplication(path);
    std::vector<IconRecord> icons;
    for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index) {
      icons.push_back(host.GetApplicationIcon(*app, index));
    }
    return icons;
  }
  Sizes SizesOf(const QuarryHost& host, const std::wstring& path) const {
    Sizes sizes;
    for (const IconRecord& icon : IconsOf(host, path)) {
      sizes.emplace_back(icon ? static_cast<int>(icon->width) : -1, icon ? static_cast<int>(icon->height) : -1);
    }
    return sizes;
  }
  std::vector<std::wstring> CacheFiles() const {
    std::vector<std::wstring> names;
    for (const auto& entry : fs::directory_iterator(cache_)) names.push_back(entry.path().filename().wstring());
    return names;
  }

  const TemporaryFolder folder_{L"quarryIcons"};
  const std::wstring target_ = folder_.CopyFrom(L"target.exe", FixtureProgram(L"emptyApp"));
  const std::wstring cache_ = folder_ / L"deep\\cache";
  const RegistryFixture settings_{kSettingsKey};
};

TEST_F(Icons, AnApplicationHasTheBestImageOfEachSizeWithItsPixels) {
  const IconImage small = MakeImage(16, 16, 32);
  const IconImage medium = MakeImage(32, 32, 32);
  const IconImage large = MakeImage(256, 256, 32);
  const IconImage first = MakeImage(48, 48, 32, 1);
  const std::vector<IconImage> images = {
      MakeImage(16, 16, 4), MakeImage(16, 16, 8), medium, first, MakeImage(48, 48, 32, 2), small, large};
  const QuarryHost host;
  const std::vector<IconRecord> icons = IconsOf(host, Program(L"seven", images));
  EXPECT_EQ(HostLog::Count(3, L"Found 7 icons in the executable\n"), 1u);
  EXPECT_EQ(HostLog::Count(3, L"Found icon 256 x 256 x 32\n"), 1u);
  EXPECT_EQ(HostLog::Count(3, L"Miner found 7 icons\n"), 1u);
  EXPECT_EQ(HostLog::Count(3, L"Reduced to 4 uniquely sized icons\n"), 1u);
  ASSERT_THAT(icons, SizeIs(4));
  const IconImage* const expected[] = {&medium, &first, &small, &large};
  for (std::size_t index = 0; index < 4; ++index) {
    SCOPED_TRACE(index);
    const IconImage& image = *expected[index];
    ASSERT_NE(icons[index], nullptr);
    EXPECT_EQ(icons[index]->width, image.width);
    EXPECT_EQ(icons[index]->height, image.height);
    EXPECT_EQ(icons[index]->depth, 24);
    EXPECT_EQ(icons[index]->name, NameOf(image));
    EXPECT_EQ(icons[index]->path, cache_ + L'\\' + NameOf(image) + L'-' + std::to_wstring(image.width) + L'-' +
                                      std::to_wstring(image.height) + L".png");
    EXPECT_EQ(DecodePng(icons[index]->path), PictureOf(image));
    EXPECT_EQ(HostLog::Count(3, std::wstring(L"Saved PNG file ") + icons[index]->path + L'\n'), 1u);
    EXPECT_EQ(HostLog::Count(3, std::wstring(L"IconBoss: cached icon ") + icons[index]->name + L'\n'), 1u);
  }
}

TEST_F(Icons, ImagesWithoutAlphaKeepColorsAndMask) {
  const QuarryHost host;
  for (const int bitCount : {4, 8, 24}) {
    SCOPED_TRACE(bitCount);
    const IconImage image = MakeImage(32, 32, bitCount);
    const std::vector<IconRecord> icons = IconsOf(host, Program(L"bits" + std::to_wstring(bitCount), {image}));
    ASSERT_THAT(icons, SizeIs(1));
    ASSERT_NE(icons[0], nullptr);
    std::vector<std::uint32_t> pixels = DecodePng(icons[0]->path);
    // Of a transparent pixel only the transparency counts.
    for (std::uint32_t& pixel : pixels) pixel = (pixel >> 24) == 0 ? 0 : pixel;
    EXPECT_EQ(pixels, PictureOf(image));
  }
}

TEST_F(Icons, ThePictureOfTwoProgramsIsStoredOnceAndReadBackLater) {
  const IconImage image = MakeImage(32, 32, 32);
  const std::wstring name = NameOf(image);
  const std::wstring path = cache_ + L'\\' + name + L"-32-32.png";
  const std::wstring first = Program(L"one", {image});
  const std::wstring second = Program(L"two", {image});
  {
    const QuarryHost host;
    EXPECT_EQ(HostLog::Count(2, L"No icons in cache folder " + cache_ + L'\n'), 1u);
    EXPECT_EQ(SizesOf(host, first), (Sizes{{32, 32}}));
    EXPECT_EQ(SizesOf(host, second), (Sizes{{32, 32}}));
    EXPECT_EQ(HostLog::Count(3, L"Found existing PNG file " + path + L'\n'), 1u);
    EXPECT_EQ(HostLog::Count(3, L"IconBoss: using cached icon " + name + L'\n'), 1u);
    EXPECT_THAT(CacheFiles(), ElementsAre(name + L"-32-32.png"));
  }
  const QuarryHost host;
  EXPECT_EQ(HostLog::Count(2, L"Read 1 icons from cache folder " + cache_ + L'\n'), 1u);
  const IconRecord icon(host->GetIcon(name.c_str()));
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(icon->path, path);
  EXPECT_EQ(host->GetIcon(L"0123"), nullptr);

  void* data = nullptr;
  std::uint64_t size = 7;
  ASSERT_EQ(host->GetIconData(name.c_str(), &data, &size), 1);
  const auto* const bytes = static_cast<const std::uint8_t*>(data);
  EXPECT_EQ(Bytes(bytes, bytes + size), ReadWholeFile(path));
  host->FreeIconData(data);
  data = nullptr;
  EXPECT_EQ(host->GetIconData(L"0123", &data, &size), 0);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(HostLog::Count(0, L"Unknown icon 0123\n"), 1u);
  fs::remove(path);
  EXPECT_EQ(host->GetIconData(name.c_str(), &data, &size), 0);
  EXPECT_EQ(HostLog::Count(0, L"Failed to read icon file " + path + L'\n'), 1u);
  EXPECT_EQ(data, nullptr);
  // A file that went away comes back with the next request.
  EXPECT_EQ(SizesOf(host, second), (Sizes{{32, 32}}));
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(Icons, IconFilesAreReadByTheirDirectory) {
  const std::vector<IconImage> two = {MakeImage(16, 16, 32), MakeImage(24, 24, 8)};
  const std::vector<IconImage> hundred(100, MakeImage(16, 16, 4));
  Bytes cut = IcoFile(two);
  cut.resize(30);
  Bytes otherType = IcoFile(two);
  otherType[2] = 2;
  const struct {
    std::wstring file;
    Bytes bytes;
    Sizes sizes;
    std::wstring line;
  } kCases[] = {
      {L"two.ico", IcoFile(two), {{16, 16}, {24, 24}}, L"Found 2 icons in the icon file\n"},
      {L"two", IcoFile(two), {{16, 16}, {24, 24}}, L"two appears to be ICO format\n"},
      {L"text", {'t', 'e', 'x', 't'}, {}, L"text - EXE assumed\n"},
      {L"two.ICO", IcoFile(two), {}, L"Don't know how to mine icons from ICO file\n"},
      {L"hundred.ico", IcoFile(hundred), {{16, 16}}, L"Miner found 100 icons\n"},
      {L"more.ico", IcoFile(hundred, 101), {}, L"more.ico contains corrupt icon directory (not an ico file?)\n"},
      {L"cursor.ico", otherType, {}, L"cursor.ico contains corrupt icon directory (not an ico file?)\n"},
      {L"none.ico", IcoFile(two, 0), {}, L"Failed to initialize IconMiner\n"},
      {L"short.ico", {0, 0, 1, 0, 1, 0}, {}, L"Failed to read icon directory from "},
      {L"cut.ico", cut, {}, L"ReadFile failed err="},
      {L"empty.ico", {}, {}, L"Failed to read icon directory from "},
      // 256 pixels are 0 in the directory of a file and left out.
      {L"large.ico", IcoFile(std::vector{MakeImage(256, 256, 32), two[0]}), {{16, 16}}, L"Reduced to 1 uniquely"},
      // An image that is not where the directory says leaves its size out.
      {L"nowhere.ico", IcoFile(two, 3), {{16, 16}, {24, 24}}, L"Found 3 icons in the icon file\n"},
  };
  const QuarryHost host;
  for (const auto& [file, bytes, sizes, line] : kCases) {
    SCOPED_TRACE(fs::path(file).string());
    const std::wstring path = folder_.WriteBytes(file, bytes);
    EXPECT_EQ(SizesOf(host, Link(path)), sizes);
    EXPECT_TRUE(HasLine(line));
    EXPECT_EQ(HasLine(L"No IconMiner, therefore no icons for " + path), sizes.empty());
  }
  EXPECT_THAT(SizesOf(host, Link(folder_ / L"gone.ico")), IsEmpty());
  EXPECT_EQ(HostLog::Count(0, L"Failed to load file, error 2\n"), 1u);
}

TEST_F(Icons, AnIndexPicksTheGroupByPositionOrByNumber) {
  const std::wstring module = folder_ / L"groups.dll";
  ASSERT_TRUE(WriteExecutable(module));
  ASSERT_TRUE(PutIconGroup(module, MAKEINTRESOURCEW(7), std::vector{MakeImage(17, 17, 32)}, 20));
  ASSERT_TRUE(PutIconGroup(module, MAKEINTRESOURCEW(5), std::vector{MakeImage(15, 15, 32)}, 10));
  ASSERT_TRUE(PutIconGroup(module, L"NAMED", std::vector{MakeImage(30, 30, 32)}, 30));
  // Enumeration has names before numbers (PE Format, "The .rsrc Section").
  const std::pair<int, int> kCases[] = {{0, 30},      {1, 15}, {2, 17}, {-5, 15},     {-7, 17},
                                        {-65541, 15}, {3, 0},  {-6, 0}, {INT_MAX, 0}, {INT_MIN, 0}};
  const QuarryHost host;
  for (const auto& [index, size] : kCases) {
    SCOPED_TRACE(index);
    EXPECT_EQ(SizesOf(host, Link(module, index)), size == 0 ? Sizes() : (Sizes{{size, size}}));
    EXPECT_EQ(HasLine(L"Failed to find RT_GROUP_ICON resource in " + module), size == 0);
  }
}

TEST_F(Icons, AShortcutTellsWhereItsIconsAre) {
  const std::wstring icon = folder_.WriteBytes(L"own.ico", IcoFile(std::vector{MakeImage(20, 20, 32)}));
  const std::wstring other = folder_.WriteBytes(L"inner.ico", IcoFile(std::vector{MakeImage(40, 40, 32)}));
  SetEnvironmentVariableW(L"QUARRY_TEST_ICONS", folder_.Path().c_str());
  const QuarryHost host;
  EXPECT_EQ(SizesOf(host, Link(L"%QUARRY_TEST_ICONS%\\own.ico", 4)), (Sizes{{20, 20}}));
  EXPECT_EQ(HostLog::Count(2, L"Shortcut \"Link.lnk\": attempting to get icons\n"), 1u);
  EXPECT_EQ(HostLog::Count(2, L"Shortcut \"Link.lnk\": icons are in \"" + icon + L"\", index 4\n"), 1u);
  EXPECT_EQ(HostLog::Count(2, L"Shortcut \"Link.lnk\": extracted 1 icons from icon file\n"), 1u);

  // The inner link is loaded into the same shell object; the outer one's icon counts.
  const Shortcut outer{folder_ / L"Outer.lnk", Link(other), {}, {}, {}, icon, 0};
  ASSERT_TRUE(WriteShortcut(outer));
  EXPECT_EQ(SizesOf(host, outer.linkPath), (Sizes{{20, 20}}));
  EXPECT_FALSE(HasLine(L"inner.ico"));
  HostLog::Clear();
  EXPECT_EQ(host->VerifyApplication(outer.linkPath.c_str()), 1);
  EXPECT_FALSE(HasLine(L"icons"));
  SetEnvironmentVariableW(L"QUARRY_TEST_ICONS", nullptr);
}

TEST_F(Icons, AScriptHasTheIconOfItsKind) {
  const QuarryHost host;
  const std::vector<IconRecord> icons = IconsOf(host, folder_.WriteText(L"a.cmd", L"rem"));
  ASSERT_THAT(icons, SizeIs(1));
  ASSERT_NE(icons[0], nullptr);
  EXPECT_THAT(DecodePng(icons[0]->path), SizeIs(static_cast<std::size_t>(icons[0]->width * icons[0]->height)));
  // The second of a kind costs nothing: the shell is not asked again.
  const std::vector<IconRecord> again = IconsOf(host, folder_.WriteText(L"b.cmd", L"rem"));
  ASSERT_THAT(again, SizeIs(1));
  EXPECT_STREQ(again[0]->name, icons[0]->name);
  EXPECT_FALSE(HasLine(L"PNG file"));
}

TEST_F(Icons, AGroupThatLiesAboutItsCountEndsWithTheModule) {
  const QuarryHost host;
  const IconImage image = MakeImage(16, 16, 32);
  EXPECT_THAT(SizesOf(host, Program(L"many", {image}, 0xFFFF)), IsEmpty());
  EXPECT_EQ(HostLog::Count(3, L"Found 65535 icons in the executable\n"), 1u);
  EXPECT_EQ(HostLog::Count(3, L"Found icon 16 x 16 x 32\n"), 1u);
  EXPECT_LT(HostLog::Holding(L"Found icon ").size(), 65535u);
  EXPECT_EQ(HostLog::Count(0, L"Failed to load 16x16 icon, error = 13\n"), 1u);  // ERROR_INVALID_DATA
}

// Where in the module the icon's entry of the resource tables gives its size.
std::optional<std::size_t> SizeFieldOf(const Bytes& module, std::uint32_t size) {
  for (std::size_t offset = 0; offset + 16 <= module.size(); offset += 4) {
    std::uint32_t entry[4];
    std::memcpy(entry, module.data() + offset, sizeof(entry));
    if (entry[0] != 0 && entry[1] == size && entry[3] == 0) return offset + 4;
  }
  return std::nullopt;
}

TEST_F(Icons, AnImageThatLiesAboutItsSizeLeavesOutItsSizeOnly) {
  const IconImage image = MakeImage(20, 20, 32);
  const std::wstring path = Program(L"size", {image, MakeImage(32, 32, 32)});
  Bytes module = ReadWholeFile(path).value_or(Bytes());
  const auto field = SizeFieldOf(module, static_cast<std::uint32_t>(image.bytes.size()));
  ASSERT_TRUE(field.has_value());
  module[*field + 3] = 0x7F;
  folder_.WriteBytes(L"size.exe", module);
  const QuarryHost host;
  EXPECT_EQ(SizesOf(host, path), (Sizes{{32, 32}}));
  EXPECT_EQ(HostLog::Count(0, L"Failed to load 20x20 icon, error = 13\n"), 1u);

  IconImage broken = MakeImage(256, 256, 32);
  broken.bytes = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13, 'I', 'H', 'D', 'R', 0xFF, 0xFF, 0xFF, 0xFF};
  IconImage cut = MakeImage(24, 24, 32);
  cut.bytes.resize(200);
  const IconImage huge = Lying(Lying(MakeImage(28, 28, 32), 6, 0xFF), 10, 0xFF);  // in the header's width and height
  EXPECT_EQ(SizesOf(host, Program(L"broken", {broken, cut, huge, MakeImage(16, 16, 32)})), (Sizes{{16, 16}}));
  EXPECT_THAT(HostLog::Holding(L" icon, error = "), SizeIs(3));
}

TEST_F(Icons, AProgramThatCannotBeReadHasNoIcons) {
  const QuarryHost host;
  EXPECT_THAT(SizesOf(host, Program(L"bare", {})), IsEmpty());
  EXPECT_TRUE(HasLine(L"Failed to find RT_GROUP_ICON resource in "));
  const std::wstring path = Program(L"locked", {MakeImage(16, 16, 32)});
  const UniqueFile lock(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  ASSERT_TRUE(lock);
  EXPECT_THAT(SizesOf(host, path), IsEmpty());
  EXPECT_EQ(HostLog::Count(1, L"No IconMiner, therefore no icons for " + path + L'\n'), 1u);
}

TEST_F(Icons, OnlyWellNamedFilesOfTheFolderAreReadBack) {
  const std::wstring digits(63, L'a');
  const std::wstring good[] = {L"abc-16-24.png", digits + L"-1-2.png", L"abd-1-2x-3.png", L"abc-99-99.PNG"};
  const std::wstring bad[] = {L"abc-x-16.png", L"ABC-16-16.png", digits + L"a-1-2.png", L"-1-2.png", L"ab--1-2.png"};
  for (const std::wstring& name : good) folder_.WriteBytes(L"deep\\cache\\" + name, Bytes{1});
  for (const std::wstring& name : bad) folder_.WriteBytes(L"deep\\cache\\" + name, Bytes{1});
  folder_.MakeFolder(L"deep\\cache\\ace-1-1.png");
  folder_.WriteBytes(L"deep\\cache\\ade-1-1.png.tmp", Bytes{1});
  const QuarryHost host;
  for (const std::wstring& name : bad) {
    EXPECT_EQ(HostLog::Count(1, L"Badly formed PNG file name in " + cache_ + L": " + name + L" (skipped)\n"), 1u);
  }
  EXPECT_EQ(HostLog::Count(2, L"Read 3 icons from cache folder " + cache_ + L'\n'), 1u);
  const IconRecord icon(host->GetIcon(L"abd"));
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(icon->width, 1);
  EXPECT_EQ(icon->height, 2);
  EXPECT_NE(IconRecord(host->GetIcon(digits.c_str())), nullptr);
  EXPECT_EQ(IconRecord(host->GetIcon(L"ace")), nullptr);
}

TEST_F(Icons, AFolderThatCannotBeMadeGivesWayToTheDefault) {
  const std::wstring file = folder_.WriteText(L"file", L"");
  for (const std::wstring& folder : {file + L"\\below", std::wstring(L"\\\\quarry.invalid\\share\\icons")}) {
    settings_.SetString(L"", L"IconCacheDir", folder);
    const QuarryHost host;
    EXPECT_TRUE(HasLine(L"Invalid PNG cache folder \"" + folder + L"\", error "));
    EXPECT_EQ(HostLog::Count(3, L"Using PNG cache folder \"C:\\ProgramData\\Velkor\\Velkor Quarry\\IconCache\"\n"), 1u);
  }
  // With a file in the default folder's place there is no icon cache, and all else works.
  const fs::path vendor = L"C:\\ProgramData\\Velkor";
  const fs::path saved = L"C:\\ProgramData\\VelkorSaved";
  fs::rename(vendor, saved);
  fs::copy_file(file, vendor);
  {
    const QuarryHost host;
    EXPECT_EQ(HostLog::Count(0, L"Unable to create any PNG cache folder!\n"), 1u);
    const ApplicationRecord app = host.GetApplication(Program(L"iconless", {MakeImage(16, 16, 32)}));
    ASSERT_NE(app, nullptr);
    EXPECT_EQ(app->iconCount, 0u);
    EXPECT_EQ(host->GetIcon(L"abc"), nullptr);
  }
  fs::remove(vendor);
  fs::rename(saved, vendor);
}

TEST_F(Icons, AnIconThatCannotBeStoredIsAnEmptyEntry) {
  const std::wstring path = Program(L"unstored", {MakeImage(16, 16, 32), MakeImage(32, 32, 4)});
  const QuarryHost host;
  fs::remove_all(cache_);
  EXPECT_EQ(SizesOf(host, path), (Sizes{{-1, -1}, {-1, -1}}));
  EXPECT_THAT(HostLog::Holding(L"Failed to save PNG file " + cache_), SizeIs(2));
  fs::create_directories(cache_);
  EXPECT_EQ(SizesOf(host, path), (Sizes{{16, 16}, {32, 32}}));
}

TEST_F(Icons, NoPathLeavesAnythingBehind) {
  std::vector<std::wstring> paths = {Program(L"good", {MakeImage(16, 16, 32), MakeImage(32, 32, 8)}),
                                     Program(L"bare", {}), Program(L"lie", {MakeImage(16, 16, 32)}, 0xFFFF),
                                     folder_.WriteText(L"a.cmd", L"rem"), folder_ / L"missing.exe"};
  IconImage cut = MakeImage(24, 24, 32);
  cut.bytes.resize(200);
  paths.push_back(Program(L"cut", {cut}));
  const std::wstring link = Link(folder_.WriteBytes(L"two.ico", IcoFile(std::vector{MakeImage(16, 16, 4), cut})));
  const QuarryHost host;
  for (const bool stored : {true, false}) {
    SCOPED_TRACE(stored);
    if (!stored) fs::remove_all(cache_);
    const ResourceGrowth growth = GrowthOf([&] {
      for (const std::wstring& path : paths) IconsOf(host, path);
      IconsOf(host, link);
      HostLog::Clear();
    });
    EXPECT_EQ(growth.handles, 0);
    EXPECT_EQ(growth.gdiObjects, 0);
    EXPECT_LT(growth.heapBytes, 4096);
  }
}

TEST_F(Icons, TwoProcessesFillOneFolderTogether) {
  std::vector<IconImage> images;
  for (int size = 8; size < 48; ++size) images.push_back(MakeImage(size, size, 32));
  const std::wstring path = Program(L"shared", images);
  const std::wstring tool = (BinFolder() / L"quarryctl.exe").wstring();
  std::optional<ProcessOutput> outputs[3];
  std::vector<std::thread> threads;
  for (auto& output : outputs) threads.emplace_back([&] { output = RunProgram(tool, {L"app", path}); });
  for (std::thread& thread : threads) thread.join();
  for (const auto& output : outputs) {
    ASSERT_TRUE(output.has_value());
    EXPECT_EQ(output->exitCode, 0u);
    EXPECT_EQ(output->err, "");
  }
  ASSERT_THAT(CacheFiles(), SizeIs(images.size()));
  for (const IconImage& image : images) {
    const std::wstring size = std::to_wstring(image.width);
    const std::wstring file =
        Str_FormatWide(L"%s\\%s-%s-%s.png", cache_.c_str(), NameOf(image).c_str(), size.c_str(), size.c_str());
    EXPECT_EQ(DecodePng(file), PictureOf(image));
  }
}

TEST_F(Icons, RealModulesAreWrittenInTheFirstPassOnly) {
  constexpr std::size_t kModules = 300;
  std::vector<std::wstring> modules;
  for (const wchar_t* const extension : {L".exe", L".cpl", L".dll"}) {
    for (const auto& entry : fs::directory_iterator(L"C:\\windows\\system32")) {
      if (entry.path().extension() == extension && modules.size() < kModules) modules.push_back(entry.path().wstring());
    }
  }
  const QuarryHost host;
  std::size_t icons[2] = {};
  for (int pass = 0; pass < 2; ++pass) {
    std::chrono::steady_clock::duration spent{};
    std::size_t written = 0;
    for (const std::wstring& module : modules) {
      const std::wstring path = module.ends_with(L".exe") ? module : Link(module);
      HostLog::Clear();
      const auto start = std::chrono::steady_clock::now();
      const ApplicationRecord app = host.GetApplication(path);
      const auto end = std::chrono::steady_clock::now();
      if (app == nullptr || app->iconCount == 0) continue;
      spent += end - start;
      icons[pass] += app->iconCount;
      written += HostLog::Holding(L"Creating new PNG file").size();
    }
    std::cout << modules.size() << " modules, " << icons[pass] << " icons, " << written << " written, "
              << std::chrono::duration<double, std::milli>(spent).count() / static_cast<double>(icons[pass])
              << " ms per icon\n";
    EXPECT_EQ(written, pass == 0 ? CacheFiles().size() : 0u);
  }
  EXPECT_GT(icons[0], 40u);
  EXPECT_EQ(icons[0], icons[1]);
}

}  // namespace
}  // namespace quarry::test
