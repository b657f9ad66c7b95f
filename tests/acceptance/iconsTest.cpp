// The icons of applications, as a host gets them: from programs, DLLs and icon files that tell the truth or lie.

#include "quarry/icons/gdiPlus.h"
#include "quarry/icons/hash.h"
#include "quarry/icons/imageHeader.h"

#include "lib/misc/fileBytes.h"

#include "tests/support/hostTest.h"
#include "tests/support/iconImages.h"
#include "tests/support/importTable.h"

#include <cstring>
#include <thread>
#include <tuple>

namespace quarry::test {
namespace {

namespace fs = std::filesystem;
namespace Flat = Gdiplus::DllExports;
using Sizes = std::vector<std::pair<std::int64_t, std::int64_t>>;

/// A decoded PNG file: rows from top to bottom, 0xAARRGGBB.
std::vector<std::uint32_t> DecodePng(const std::wstring& path) {
  UniqueGdiPlus gdiPlus;
  const Gdiplus::GdiplusStartupInput input;
  UniqueGdiPlusBitmap bitmap;
  UINT width = 0;
  UINT height = 0;
  Gdiplus::GdiplusStartup(gdiPlus.put(), &input, nullptr);
  Flat::GdipCreateBitmapFromFile(path.c_str(), bitmap.put());
  Flat::GdipGetImageWidth(bitmap.get(), &width);
  Flat::GdipGetImageHeight(bitmap.get(), &height);
  std::vector<std::uint32_t> pixels(std::size_t{width} * height);
  for (UINT index = 0; index < width * height; ++index) {
    Gdiplus::ARGB color = 0;
    Flat::GdipBitmapGetPixel(bitmap.get(), static_cast<INT>(index % width), static_cast<INT>(index / width), &color);
    if (color >> 24 != 0) pixels[index] = color;  // of a transparent pixel only the transparency counts
  }
  return pixels;
}

std::wstring NameOf(const IconImage& image) {
  return Hash::MD5({reinterpret_cast<const std::uint8_t*>(image.picture.data()), image.picture.size() * 4});
}

bool HasLine(std::wstring_view part) { return HostLog::CountHolding(part) != 0; }

class Icons : public Test {
 protected:
  Icons() { settings_.SetString(L"", L"IconCacheDir", cache_); }

  std::wstring Program(const std::wstring& name, const std::vector<IconImage>& images, int count = -1) const {
    std::wstring path = folder_.CopyFrom(name + L".exe", target_);
    PutIconGroup(path, MAKEINTRESOURCEW(1), images, 1, count);
    return path;
  }
  std::wstring Link(const std::optional<std::wstring>& iconLocation, int index = 0) const {
    return folder_.WriteLink(L"Link.lnk", target_, {.iconLocation = iconLocation, .iconIndex = index});
  }
  static std::vector<IconRecord> IconsOf(const QuarryHost& host, const std::wstring& path) {
    HostLog::Clear();
    const ApplicationRecord app = host.GetApplication(path);
    std::vector<IconRecord> icons;
    for (std::uint64_t index = 0; app != nullptr && index < app->iconCount; ++index) {
      icons.push_back(host.GetApplicationIcon(*app, index));
    }
    return icons;
  }
  static Sizes SizesOf(const QuarryHost& host, const std::wstring& path) {
    Sizes sizes;
    for (const IconRecord& icon : IconsOf(host, path)) {
      sizes.emplace_back(icon ? icon->width : -1, icon ? icon->height : -1);
    }
    return sizes;
  }
  std::wstring PathOf(const IconImage& image) const {
    return Str_FormatWide(L"%s\\%s-%d-%d.png", cache_.c_str(), NameOf(image).c_str(), image.width, image.height);
  }
  Names CacheFiles() const {
    Names names;
    for (const auto& entry : fs::directory_iterator(cache_)) names.push_back(entry.path().filename().wstring());
    return names;
  }

  const TemporaryFolder folder_{L"quarryIcons"};
  const std::wstring target_ = folder_.CopyFrom(L"target.exe", FixtureProgram(L"emptyApp"));
  const std::wstring cache_ = folder_ / L"deep\\cache";
  const RegistryFixture settings_{kSettingsKey};
};

TEST_F(Icons, AnApplicationHasTheBestImageOfEachSizeWithItsPixels) {
  const IconImage large = MakeImage(256, 256, 32);
  const std::vector<IconImage> best = {MakeImage(32, 32, 32), MakeImage(48, 48, 32, 1), MakeImage(16, 16, 32), large,
                                       // without alpha: colours and mask
                                       MakeImage(40, 40, 8), MakeImage(30, 30, 24), MakeImage(16, 24, 24),
                                       MakeImage(24, 16, 8)};
  std::vector<IconImage> images = best;
  images.insert(images.begin() + 2, MakeImage(48, 48, 32, 2));
  images.insert(images.begin(), {MakeImage(16, 16, 8), MakeImage(16, 16, 24)});
  const QuarryHost host;
  const std::vector<IconRecord> icons = IconsOf(host, Program(L"eleven", images));
  for (const wchar_t* const line : {L"Found 11 icons in the executable\n", L"Found icon 256 x 256 x 32\n",
                                    L"Miner found 11 icons\n", L"Reduced to 8 uniquely sized icons\n"}) {
    EXPECT_EQ(HostLog::Count(3, line), 1u);
  }
  ASSERT_THAT(icons, SizeIs(best.size()));
  for (std::size_t index = 0; const IconImage& image : best) {
    SCOPED_TRACE(index);
    const IconRecord& icon = icons[index++];
    ASSERT_NE(icon, nullptr);
    EXPECT_THAT((std::array{icon->width, icon->height, icon->depth}), ElementsAre(image.width, image.height, 24));
    EXPECT_EQ(DecodePng(icon->path), image.picture);
    if (image.bitCount < 32) continue;  // the name is that of the pixels before they had a mask
    EXPECT_EQ(icon->name, NameOf(image));
    EXPECT_EQ(icon->path, PathOf(image));
    EXPECT_EQ(HostLog::Count(3, L"Saved PNG file " + PathOf(image) + L'\n'), 1u);
    EXPECT_EQ(HostLog::Count(3, L"IconBoss: cached icon " + NameOf(image) + L'\n'), 1u);
  }
  // The same picture, stored in the icon as a PNG.
  const std::wstring newer = Program(L"newer", {{256, 256, 32, ReadWholeFile(PathOf(large)).value_or(Bytes())}});
  EXPECT_EQ(SizesOf(host, newer), (Sizes{{256, 256}}));
  EXPECT_EQ(HostLog::Count(3, L"Found existing PNG file " + PathOf(large) + L'\n'), 1u);
}

TEST_F(Icons, ThePictureOfTwoProgramsIsStoredOnceAndReadBackLater) {
  const IconImage image = MakeImage(32, 32, 32);
  const std::wstring name = NameOf(image);
  const std::wstring path = PathOf(image);
  const std::wstring programs[] = {Program(L"one", {image}), Program(L"two", {image})};
  {
    const QuarryHost host;
    EXPECT_EQ(HostLog::Count(2, L"No icons in cache folder " + cache_ + L'\n'), 1u);
    for (const std::wstring& program : programs) EXPECT_EQ(SizesOf(host, program), (Sizes{{32, 32}}));
    EXPECT_EQ(HostLog::Count(3, L"Found existing PNG file " + path + L'\n'), 1u);
    EXPECT_EQ(HostLog::Count(3, L"IconBoss: using cached icon " + name + L'\n'), 1u);
    EXPECT_THAT(CacheFiles(), ElementsAre(name + L"-32-32.png"));
  }
  settings_.SetString(L"", L"IconCacheDir", cache_ + L'\\');
  const QuarryHost host;
  EXPECT_TRUE(HasLine(L"Read 1 icons from cache folder " + cache_));
  const IconRecord icon(host->GetIcon(name.c_str()));
  ASSERT_NE(icon, nullptr);
  EXPECT_EQ(icon->path, path);

  EXPECT_EQ(host.GetIconData(name), ReadWholeFile(path));
  fs::remove(path);
  EXPECT_THAT(host.GetIconData(name), IsEmpty());
  EXPECT_EQ(HostLog::Count(0, L"Failed to read icon file " + path + L'\n'), 1u);
  // A file that went away comes back with the next request.
  EXPECT_EQ(SizesOf(host, programs[0]), (Sizes{{32, 32}}));
  EXPECT_TRUE(fs::exists(path));
}

TEST_F(Icons, FilesAreReadByTheirKindAndTheirDirectory) {
  const std::vector<IconImage> two = {MakeImage(16, 16, 32), MakeImage(24, 24, 8)};
  const std::vector<IconImage> hundred(100, MakeImage(16, 16, 8));
  const Bytes whole = IcoFile(two);
  const auto with = [&whole](std::size_t offset, std::uint8_t value) {
    Bytes changed = whole;
    changed[offset] = value;
    return changed;
  };
  const struct {
    std::wstring file;
    Bytes bytes;
    Sizes sizes;
    std::wstring line;
  } kCases[] = {
      {L"two.ico", whole, {{16, 16}, {24, 24}}, L"Found 2 icons in the icon file\n"},
      {L"two", whole, {{16, 16}, {24, 24}}, L"two appears to be ICO format\n"},
      {L"three", {0, 0, 1}, {}, L"three - EXE assumed\n"},
      {L"panel.cpl", ReadWholeFile(Program(L"two", two)).value_or(Bytes()), {{16, 16}, {24, 24}}, L"Found 2 icons in"},
      {L"two.ICO", whole, {}, L"Don't know how to mine icons from ICO file\n"},
      {L"hundred.ico", IcoFile(hundred), {{16, 16}}, L"Miner found 100 icons\n"},
      {L"more.ico", IcoFile(hundred, 101), {}, L"more.ico contains corrupt icon directory (not an ico file?)\n"},
      {L"cursor.ico", with(2, 2), {}, L"cursor.ico contains corrupt icon directory (not an ico file?)\n"},
      {L"start.ico", with(1, 1), {}, L"start.ico contains corrupt icon directory (not an ico file?)\n"},
      {L"none.ico", IcoFile(two, 0), {}, L"Failed to initialize IconMiner\n"},
      {L"short.ico", {0, 0, 1, 0, 1, 0}, {}, L"Failed to read icon directory from "},
      {L"cut.ico", Bytes(whole.begin(), whole.begin() + 30), {}, L"ReadFile failed err="},
      // The second image's size falls below 256 bytes: ERROR_INVALID_DATA.
      {L"size.ico", with(6 + 16 + 9, 0), {{16, 16}}, L"Failed to load 24x24 icon, error = 13\n"},
      // 256 pixels are 0 in the directory of a file and left out.
      {L"large.ico", IcoFile({MakeImage(256, 256, 32), two[0]}), {{16, 16}}, L"Reduced to 1 uniquely"},
      {L"wide.ico", IcoFile({MakeImage(256, 16, 8), two[0], MakeImage(16, 256, 8)}), {{16, 16}}, L"Reduced to 1 uniq"},
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
  // The platform looks for a library behind a name without extension, and along the search path without a folder.
  folder_.CopyFrom(L"plain.dll", folder_ / L"panel.cpl");
  EXPECT_EQ(SizesOf(host, Link(folder_ / L"plain")), (Sizes{{16, 16}, {24, 24}}));
  Bytes damaged = ReadWholeFile(folder_ / L"plain.dll").value_or(Bytes());
  std::memset(damaged.data() + damaged[0x3C] + 24 + 112 + 16, 0x7F, 4);  // the place of the resources
  folder_.WriteBytes(L"quarryDamaged.dll", damaged);
  const std::wstring searchPath = _wgetenv(L"PATH");
  SetEnvironmentVariableW(L"PATH", folder_.Path().c_str());
  EXPECT_THAT(SizesOf(host, Link(L"quarryDamaged.dll")), IsEmpty());
  SetEnvironmentVariableW(L"PATH", searchPath.c_str());
  EXPECT_TRUE(HasLine(L"RT_GROUP_ICON resource in quarryDamaged.dll, error = 1813\n"));
  EXPECT_THAT(SizesOf(host, Link(folder_ / L"gone.ico")), IsEmpty());
  EXPECT_EQ(HostLog::Count(0, L"Failed to load file, error 2\n"), 1u);
}

TEST(ImageHeader, IsTakenWithinItsBounds) {
  constexpr DWORD kMasks = BI_BITFIELDS;
  const struct {
    BITMAPINFOHEADER header;  // size, width, height of picture and mask, planes, bits, compression, 3 unused, colours
    std::uint64_t size;
    bool plausible;
  } kBitmaps[] = {
      {{40, 16, 32, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, 40 + 1024, true},
      {{40, 16, 32, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, 39 + 1024, false},
      {{39, 16, 32, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, 9999, false},
      {{124, 16, 32, 1, 32, kMasks, 0, 0, 0, 0, 0}, 124 + 1024, true},
      {{125, 16, 32, 1, 32, kMasks, 0, 0, 0, 0, 0}, 9999, false},
      {{40, 16, 32, 1, 32, kMasks, 0, 0, 0, 0, 0}, 40 + 12 + 1024, true},
      {{40, 16, 32, 1, 32, kMasks, 0, 0, 0, 0, 0}, 39 + 12 + 1024, false},
      {{40, 16, 32, 1, 8, BI_RLE8, 0, 0, 0, 0, 0}, 9999, false},
      {{40, 1024, 2048, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 40 + 8 + 1024 * 128, true},
      {{40, 1024, 2048, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 39 + 8 + 1024 * 128, false},
      {{40, 1025, 2048, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 9'999'999, false},
      {{40, 1024, 2050, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 9'999'999, false},
      {{40, 0, 2, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 9999, false},
      {{40, 1, 1, 1, 1, BI_RGB, 0, 0, 0, 0, 0}, 9999, false},
      {{40, 1, 2, 1, 2, BI_RGB, 0, 0, 0, 0, 0}, 9999, false},
      {{40, 3, 2, 1, 4, BI_RGB, 0, 0, 0, 0, 0}, 40 + 16 * 4 + 4, true},
      {{40, 3, 2, 1, 8, BI_RGB, 0, 0, 0, 0, 0}, 40 + 256 * 4 + 4, true},
      {{40, 3, 2, 1, 8, BI_RGB, 0, 0, 0, 16, 0}, 40 + 16 * 4 + 4, true},
      {{40, 3, 2, 1, 8, BI_RGB, 0, 0, 0, 17, 0}, 40 + 16 * 4 + 4, false},
      {{40, 2, 2, 1, 16, BI_RGB, 0, 0, 0, 1'000'000, 0}, 9999, false},
  };
  for (const auto& [header, size, plausible] : kBitmaps) {
    const auto* const start = reinterpret_cast<const std::uint8_t*>(&header);
    EXPECT_EQ(IsPlausibleImage({start, sizeof(header)}, size), plausible) << PrintToString(header) << size;
    EXPECT_FALSE(IsPlausibleImage({start, sizeof(header) - 1}, size));
  }
  const Bytes png = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n', 0, 0, 0, 13,
                     'I',  'H', 'D', 'R', 0,    0,    4,    0,    0, 0, 4, 0};
  EXPECT_TRUE(IsPlausibleImage(png, 24));
  EXPECT_FALSE(IsPlausibleImage({png.data(), 23}, 23));
  for (const std::size_t high : {18U, 22U}) {  // of both numbers the byte that is 4
    for (const auto& [byte, value] : {std::pair(high - 2, 1), {high + 1, 1}, {high, 0}}) {
      Bytes other = png;
      other[byte] = static_cast<std::uint8_t>(value);
      EXPECT_FALSE(IsPlausibleImage(other, 24)) << byte;
    }
  }
}

TEST_F(Icons, APipeAndAProgramThatIsLockedHaveNone) {
  const std::wstring path = Program(L"locked", {MakeImage(16, 16, 32)});
  const UniqueFile lock(CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
  std::deque<UniqueFile> pipes;  // whoever opens one for reading waits for a writer that never comes
  for (const wchar_t* const name : {L"\\\\.\\pipe\\quarryTest.ico", L"\\\\.\\pipe\\quarryTest"}) {
    pipes.emplace_back(CreateNamedPipeW(name, PIPE_ACCESS_DUPLEX, 0, 1, 64, 64, 0, nullptr));
    ASSERT_TRUE(pipes.back());
  }
  const QuarryHost host;
  for (const auto& [source, line] :
       {std::pair<std::wstring, std::wstring>(L"\\\\.\\pipe\\quarryTest.ico", L"Failed to load file, error 66\n"),
        {L"\\\\.\\pipe\\quarryTest", L"EXE assumed\n"},
        {path, L"Failed to find RT_GROUP_ICON resource in " + path}}) {
    EXPECT_THAT(SizesOf(host, Link(source)), IsEmpty());
    EXPECT_TRUE(HasLine(line));
  }
}

constexpr wchar_t kDeadServer[] = L"\\\\quarry.invalid\\";
std::size_t g_opened = 0;  // files of the server that is down
ULONGLONG g_clock = 0;

TEST_F(Icons, AServerThatDoesNotAnswerIsAskedOnceInACall) {
  const HMODULE library = Library::Instance().Module();
  const ReplacedImport clock(
      library, "KERNEL32.dll", "GetTickCount64", +[]() -> ULONGLONG { return g_clock += 2000; });
  const ReplacedImport open(
      library, "KERNEL32.dll", "CreateFileW",
      +[](LPCWSTR path, DWORD access, DWORD share, LPSECURITY_ATTRIBUTES security, DWORD creation, DWORD flags,
          HANDLE pattern) -> HANDLE {
        g_opened += std::wstring_view(path).starts_with(kDeadServer) ? 1 : 0;
        return CreateFileW(path, access, share, security, creation, flags, pattern);
      });
  const ReplacedImport version(
      library, "VERSION.dll", "GetFileVersionInfoSizeW", +[](LPCWSTR path, LPDWORD handle) -> DWORD {
        EXPECT_FALSE(std::wstring_view(path).starts_with(kDeadServer));
        return GetFileVersionInfoSizeW(path, handle);
      });
  const QuarryHost host;
  for (std::size_t call = 1; call <= 2; ++call) {
    EXPECT_THAT(SizesOf(host, L"\\\\quarry.invalid\\share\\a.exe"), IsEmpty());
    EXPECT_EQ(g_opened, call);
    EXPECT_TRUE(HasLine(L"Failed to find RT_GROUP_ICON resource in \\\\quarry.invalid\\share\\a.exe, error = 18"));
  }
  folder_.WriteLink(L"menu\\1.lnk", target_, {.iconLocation = L"\\\\quarry.invalid\\share\\a.ico"});
  folder_.WriteLink(L"menu\\2.lnk", L"\\\\quarry.invalid\\share\\a.exe");
  host.Scan(folder_.WriteText(L"menu.ini", L"[A]\r\nRoot=" + (folder_ / L"menu") + L"\r\nIncludes=*.lnk\r\n"));
  EXPECT_EQ(HostLog::CountHolding(L"2.lnk\": target unresolvable\n"), 1u);
}

std::wstring g_source;       // what is being mined
int g_readsUntilFailed = 0;  // of the mapping

void ExpectHeld() {
  const UniqueFile writer(CreateFileW(g_source.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_SHARING_VIOLATION));
}

TEST_F(Icons, AProgramIsHeldWhileItIsMinedAndMayFailToBeRead) {
  g_source = Program(L"held", {MakeImage(16, 16, 32), MakeImage(24, 24, 32)});
  const ReplacedImport unread(
      Library::Instance().Module(), "KERNEL32.dll", "ReadProcessMemory",
      +[](HANDLE process, LPCVOID from, LPVOID into, SIZE_T size, SIZE_T* count) -> BOOL {
        ExpectHeld();
        return g_readsUntilFailed-- != 0 ? ReadProcessMemory(process, from, into, size, count) : FALSE;
      });
  const ReplacedImport version(
      Library::Instance().Module(), "VERSION.dll", "GetFileVersionInfoSizeW", +[](LPCWSTR path, LPDWORD handle) {
        ExpectHeld();
        return GetFileVersionInfoSizeW(path, handle);
      });
  const std::pair<Sizes, std::wstring> kReads[] = {{{}, L"RT_GROUP_ICON resource in " + g_source + L", error = 13\n"},
                                                   {{{24, 24}}, L"Failed to load 16x16 icon, error = 13\n"},
                                                   {{{16, 16}}, L"Failed to load 24x24 icon, error = 13\n"},
                                                   {{{16, 16}, {24, 24}}, L"Miner found 2 icons\n"}};
  const QuarryHost host;
  for (int reads = 0; const auto& [sizes, line] : kReads) {
    g_readsUntilFailed = reads++;
    EXPECT_EQ(SizesOf(host, g_source), sizes);
    EXPECT_TRUE(HasLine(line)) << reads;
  }
}

TEST_F(Icons, AnIndexPicksTheGroupByPositionOrByNumber) {
  const std::wstring module = folder_.CopyFrom(L"groups.dll", target_);
  PutIconGroup(module, MAKEINTRESOURCEW(7), {MakeImage(17, 17, 32)}, 20);
  PutIconGroup(module, MAKEINTRESOURCEW(5), {MakeImage(15, 15, 32)}, 10);
  PutIconGroup(module, L"NAMED", {MakeImage(30, 30, 32)}, 30);
  // Enumeration has names before numbers (PE Format, "The .rsrc Section").
  const std::pair<int, int> kCases[] = {{0, 30}, {1, 15}, {2, 17}, {-5, 15}, {-65541, 15}, {3, 0}, {INT_MIN, 0}};
  const QuarryHost host;
  for (const auto& [index, size] : kCases) {
    SCOPED_TRACE(index);
    EXPECT_EQ(SizesOf(host, Link(module, index)), size == 0 ? Sizes() : (Sizes{{size, size}}));
    EXPECT_EQ(HasLine(L"Failed to find RT_GROUP_ICON resource in " + module), size == 0);
  }
}

TEST_F(Icons, AShortcutTellsWhereItsIconsAre) {
  const std::wstring icon = folder_.WriteBytes(L"own.ico", IcoFile({MakeImage(20, 20, 32)}));
  const std::wstring other = folder_.WriteBytes(L"inner.ico", IcoFile({MakeImage(40, 40, 32)}));
  const auto saidOnce = [](const std::wstring& text) {
    return HostLog::Count(2, L"Shortcut \"Link.lnk\": " + text + L'\n') == 1;
  };
  SetEnvironmentVariableW(L"QUARRY_TEST_ICONS", folder_.Path().c_str());
  const QuarryHost host;
  EXPECT_EQ(SizesOf(host, Link(L"%QUARRY_TEST_ICONS%\\own.ico", 4)), (Sizes{{20, 20}}));
  EXPECT_TRUE(saidOnce(L"attempting to get icons"));
  EXPECT_TRUE(saidOnce(L"icons are in \"" + icon + L"\", index 4"));
  EXPECT_TRUE(saidOnce(L"extracted 1 icons from icon file"));
  SetEnvironmentVariableW(L"QUARRY_TEST_ICONS", nullptr);

  PutIconGroup(target_, MAKEINTRESOURCEW(1), {MakeImage(17, 17, 32)});
  EXPECT_EQ(SizesOf(host, Link(L"")), (Sizes{{17, 17}}));
  EXPECT_TRUE(saidOnce(L"no icon file"));
  EXPECT_TRUE(saidOnce(L"getting icons from target \"" + target_ + L'"'));
  EXPECT_TRUE(saidOnce(L"extracted 1 icons from target"));

  // The inner link is loaded into the same shell object; the outer one's icon counts.
  const std::wstring outer = folder_.WriteLink(L"Outer.lnk", Link(other), {.iconLocation = icon});
  EXPECT_EQ(SizesOf(host, outer), (Sizes{{20, 20}}));
  EXPECT_FALSE(HasLine(L"inner.ico"));
  HostLog::Clear();
  EXPECT_EQ(host->VerifyApplication(outer.c_str()), 1);
  EXPECT_FALSE(HasLine(L"icons"));
}

TEST_F(Icons, AScriptHasTheIconOfItsKindForWhichTheShellIsAskedOnce) {
  const QuarryHost host;
  const std::vector<IconRecord> icons = IconsOf(host, folder_.WriteText(L"a.cmd", L"rem"));
  EXPECT_TRUE(HasLine(L"Saved PNG file"));
  const std::vector<IconRecord> again = IconsOf(host, folder_.WriteText(L"b.cmd", L"rem"));
  EXPECT_FALSE(HasLine(L"PNG file"));
  ASSERT_TRUE(icons.size() == 1 && icons[0] != nullptr && again.size() == 1 && again[0] != nullptr);
  EXPECT_STREQ(again[0]->name, icons[0]->name);
  EXPECT_THAT(DecodePng(icons[0]->path), SizeIs(static_cast<std::size_t>(icons[0]->width * icons[0]->height)));
}

TEST_F(Icons, AGroupOf65535EntriesIsMinedWithinBounds) {
  const IconImage image = MakeImage(16, 16, 32);
  std::vector<IconImage> sizes(0xFFFF);
  for (int index = 1; index < 0xFFFF; ++index)
    sizes[static_cast<std::size_t>(index)] = {index % 256, index / 256, 32, {}};
  sizes[0] = MakeImage(256, 256, 32);
  std::vector<IconImage> same(0xFFFF, IconImage{16, 16, 32, {}});
  same[0] = image;
  const struct {
    const wchar_t* name;
    std::vector<IconImage> images;
    std::size_t icons;
    std::wstring line;
  } kCases[] = {
      {L"lie", {image}, 0, L"Failed to load 16x16 icon, error = 13\n"},
      {L"same", same, 1, L"Reduced to 1 uniquely sized icons\n"},
      {L"sizes", sizes, 100, L"sizes.exe, only the first 100 are taken\n"},
  };
  const QuarryHost host;
  for (const auto& [name, images, icons, line] : kCases) {
    EXPECT_THAT(SizesOf(host, Program(name, images, 0xFFFF)), SizeIs(icons)) << name;
    EXPECT_EQ(HostLog::Count(3, L"Found 65535 icons in the executable\n"), 1u);
    EXPECT_EQ(HostLog::CountHolding(L"Found icon ") < 0xFFFF, images.size() == 1);
    EXPECT_TRUE(HasLine(line));
  }
}

TEST_F(Icons, AnImageThatLiesAboutItsSizeLeavesOutItsSizeOnly) {
  IconImage huge = MakeImage(28, 28, 32);
  huge.bytes[6] = huge.bytes[10] = 0xFF;  // in the header's width and height
  const std::wstring path = Program(L"lies", {huge, MakeImage(20, 20, 32), MakeImage(16, 16, 32)});
  Bytes module = ReadWholeFile(path).value_or(Bytes());
  // The end of an entry in the tables of the resources: the size of the image of 20 pixels and two fields of zeros.
  const Bytes size = {0xB8, 0x06, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  const auto field = std::search(module.begin(), module.end(), size.begin(), size.end());
  ASSERT_NE(field, module.end());
  field[3] = 0x7F;
  folder_.WriteBytes(L"lies.exe", module);
  const QuarryHost host;
  EXPECT_EQ(SizesOf(host, path), (Sizes{{16, 16}}));
  EXPECT_EQ(HostLog::CountHolding(L" icon, error = 13\n"), 2u);
}

TEST_F(Icons, OnlyWellNamedFilesOfTheFolderAreReadBack) {
  const std::wstring digits(63, L'a');
  const Names good = {L"abc-16-24.png", L"abc-99-99.PNG", digits + L"-1-2.png", L"abd-1-2x-3.png"};
  const Names bad = {L"abc-x-16.png", L"ABC-16-16.png", digits + L"a-1-2.png", L"-1-2.png", L"ab--1-2.png"};
  for (const Names& names : {good, bad}) {
    for (const std::wstring& name : names) folder_.WriteBytes(L"deep\\cache\\" + name, {});
  }
  folder_.MakeFolder(L"deep\\cache\\ace-1-1.png");
  folder_.WriteBytes(L"deep\\cache\\ade-1-1.png.tmp", {});
  const QuarryHost host;
  for (const std::wstring& name : bad) {
    EXPECT_EQ(HostLog::Count(1, L"Badly formed PNG file name in " + cache_ + L": " + name + L" (skipped)\n"), 1u);
  }
  EXPECT_EQ(HostLog::Count(2, L"Read 3 icons from cache folder " + cache_ + L'\n'), 1u);
  const Names files = CacheFiles();
  const bool is16First =
      std::find(files.begin(), files.end(), good[0]) < std::find(files.begin(), files.end(), good[1]);
  const std::pair<std::wstring, Sizes> kRecords[] = {
      {L"abc", is16First ? Sizes{{16, 24}} : Sizes{{99, 99}}}, {L"abd", {{1, 2}}}, {digits, {{1, 2}}}, {L"ace", {}}};
  for (const auto& [name, size] : kRecords) {
    const IconRecord icon(host->GetIcon(name.c_str()));
    EXPECT_EQ(icon ? (Sizes{{icon->width, icon->height}}) : Sizes(), size);
    EXPECT_THAT(host.GetIconData(name), IsEmpty());
  }
  EXPECT_FALSE(HasLine(L"Failed to read icon file "));
}

TEST_F(Icons, AFolderThatCannotBeMadeOrTrustedGivesWayToTheDefault) {
  const std::wstring file = folder_.WriteText(L"file", L"");
  const TemporaryFolder links(L"quarryLinks");  // goes before the link's target
  folder_.WriteText(L"target\\file", L"");      // keeps Wine from removing the target in the place of the link
  ASSERT_TRUE(links.LinkFolder(L"link", folder_ / L"target"));
  const std::tuple<std::wstring, std::wstring, std::wstring> kCases[] = {
      {file + L"\\below", L"Invalid", L""},
      {file, L"Invalid", L", error 267\n"},
      {L"\\\\quarry.invalid\\share\\icons", L"Invalid", L""},
      {folder_.MakeOpenFolder(L"open"), L"Untrusted", L": others than administrators may write to it\n"},
      {links / L"link", L"Untrusted", L": it is a reparse point\n"},
  };
  for (const auto& [folder, what, end] : kCases) {
    settings_.SetString(L"", L"IconCacheDir", folder);
    const QuarryHost host;
    const std::vector<LogLine> lines =
        HostLog::Holding(Str_FormatWide(L"%s PNG cache folder \"%s\", ", what.c_str(), folder.c_str()));
    ASSERT_THAT(lines, SizeIs(1)) << fs::path(folder);
    EXPECT_TRUE(lines[0].level == 0 && lines[0].text.ends_with(end)) << fs::path(lines[0].text);
    EXPECT_EQ(HostLog::Count(3, L"Using PNG cache folder \"C:\\ProgramData\\Velkor\\Velkor Quarry\\IconCache\"\n"), 1u);
  }
  // With a file in the default folder's place there is no icon cache, and all else works.
  const fs::path vendor = L"C:\\ProgramData\\Velkor";
  const fs::path saved = folder_ / L"saved";
  fs::rename(vendor, saved);
  fs::create_directory(vendor);
  OpenToEveryone(vendor);
  {
    const QuarryHost host;
    EXPECT_TRUE(HasLine(L"Untrusted PNG cache folder \"C:\\ProgramData\\Velkor\", owner "));
    EXPECT_TRUE(fs::is_empty(vendor));
  }
  fs::remove(vendor);
  fs::copy_file(file, vendor);
  const QuarryHost host;
  fs::remove(vendor);
  fs::rename(saved, vendor);
  EXPECT_EQ(HostLog::Count(0, L"Unable to create any PNG cache folder!\n"), 1u);
  EXPECT_NE(host.GetApplication(target_), nullptr);
  EXPECT_THAT(SizesOf(host, Program(L"iconless", {MakeImage(16, 16, 32)})), IsEmpty());
  EXPECT_EQ(host->GetIcon(L"abc"), nullptr);
}

TEST_F(Icons, AnIconThatCannotBeStoredIsAnEmptyEntryAndLeavesNothingBehind) {
  const std::wstring path = Program(L"unstored", {MakeImage(16, 16, 32), MakeImage(32, 32, 8)});
  // Gone, and read-only (a folder of the kernel's own).
  for (const std::wstring& folder : {cache_, std::wstring(L"Z:\\proc\\tty")}) {
    SCOPED_TRACE(fs::path(folder).string());
    settings_.SetString(L"", L"IconCacheDir", folder);
    const QuarryHost host;
    EXPECT_EQ(HostLog::Count(2, L"No icons in cache folder " + folder + L'\n'), 1u);
    if (folder == cache_) fs::remove_all(cache_);
    EXPECT_EQ(SizesOf(host, path), (Sizes{{-1, -1}, {-1, -1}}));
    EXPECT_EQ(HostLog::CountHolding(L"Failed to save PNG file " + folder), 2u);
    const auto mine = [&] {
      IconsOf(host, path);
      HostLog::Clear();
    };
    EXPECT_EQ(GrowthOf(mine), ResourceCounts());
  }
}

bool g_elevated = true;
bool g_links = false;
Names g_made;

BOOL WINAPI Token(HANDLE token, TOKEN_INFORMATION_CLASS what, void* data, DWORD size, DWORD* needed) {
  const BOOL result = GetTokenInformation(token, what, data, size, needed);
  if (what == TokenElevation && !g_elevated) static_cast<TOKEN_ELEVATION*>(data)->TokenIsElevated = 0;
  return result;
}

// Wine shows no links to files.
BOOL WINAPI FileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* information) {
  const BOOL result = GetFileInformationByHandle(file, information);
  if (g_links) information->dwFileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
  return result;
}

HANDLE WINAPI Open(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security, DWORD how, DWORD flags,
                   HANDLE templateFile) {
  if ((access & GENERIC_WRITE) != 0)
    g_made.push_back(std::wstring(how == CREATE_NEW ? L"" : L"no new file: ").append(path));
  return CreateFileW(path, access, share, security, how, flags, templateFile);
}

TEST_F(Icons, WhatOthersCanWriteToIsServedToNobodyByAProcessWithMoreRights) {
  const HMODULE library = Library::Instance().Module();
  const ReplacedImport token(library, "ADVAPI32.dll", "GetTokenInformation", Token);
  const ReplacedImport information(library, "KERNEL32.dll", "GetFileInformationByHandle", FileInformation);
  const std::vector<std::uint8_t> bytes = {1};
  const std::wstring planted = folder_.WriteBytes(L"deep\\cache\\abc-1-1.png", bytes);
  const std::wstring later = folder_.WriteBytes(L"deep\\cache\\abd-1-1.png", bytes);
  OpenToEveryone(planted);
  {
    const QuarryHost host;
    EXPECT_THAT(HostLog::Holding(L"Untrusted PNG file " + planted + L", owner "),
                ElementsAre(Field(&LogLine::level, 1)));
    EXPECT_EQ(host->GetIcon(L"abc"), nullptr);
    EXPECT_EQ(host.GetIconData(L"abd"), bytes);
    g_links = true;
    EXPECT_THAT(host.GetIconData(L"abd"), IsEmpty());
    g_links = false;
    EXPECT_EQ(HostLog::Count(0, L"Failed to read icon file " + later + L'\n'), 1u);
    OpenToEveryone(later);
    EXPECT_THAT(host.GetIconData(L"abd"), IsEmpty());
    EXPECT_EQ(HostLog::CountHolding(L"Untrusted PNG file " + later), 1u);
  }
  g_elevated = false;
  OpenToEveryone(cache_);
  const QuarryHost host;
  g_elevated = true;
  EXPECT_EQ(host.GetIconData(L"abc"), bytes);
  EXPECT_EQ(host.GetIconData(L"abd"), bytes);
  EXPECT_FALSE(HasLine(L"Untrusted"));
}

BOOL WINAPI RefuseName(HANDLE file, FILE_INFO_BY_HANDLE_CLASS what, void* data, DWORD size) {
  return what == FileRenameInfo ? FALSE : SetFileInformationByHandle(file, what, data, size);
}

TEST_F(Icons, AFileIsMadeUnderANameThatNobodyCanGuess) {
  const QuarryHost host;
  {
    const ReplacedImport move(Library::Instance().Module(), "KERNEL32.dll", "SetFileInformationByHandle", RefuseName);
    EXPECT_EQ(SizesOf(host, Program(L"one", {MakeImage(16, 16, 32)})), (Sizes{{-1, -1}}));
    EXPECT_THAT(CacheFiles(), IsEmpty());
  }
  const ReplacedImport open(Library::Instance().Module(), "KERNEL32.dll", "CreateFileW", Open);
  EXPECT_THAT(IconsOf(host, Program(L"two", {MakeImage(16, 16, 32), MakeImage(32, 32, 32)})), SizeIs(2));
  ASSERT_THAT(g_made, SizeIs(2));
  const std::wstring start = cache_ + L"\\~";
  for (const std::wstring& name : g_made) EXPECT_TRUE(name.starts_with(start) && name.ends_with(L".tmp"));
  // Nothing of the process or the clock is in both names.
  std::size_t same = 0;
  for (std::size_t at = start.size(); at < start.size() + 32; ++at) same += g_made[0][at] == g_made[1][at] ? 1 : 0;
  EXPECT_LT(same, 16u);
  EXPECT_THAT(CacheFiles(), SizeIs(2));
}

std::vector<IconImage> ManyImages() {
  std::vector<IconImage> images;
  for (unsigned size = 8; size < 48; ++size) images.push_back(MakeImage(size, size, 32));
  return images;
}

/// True for a file of another name.
bool IsWholePng(const fs::path& path) {
  if (path.extension() != L".png") return true;

  constexpr std::uint8_t kEnd[] = {'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
  const Bytes bytes = ReadWholeFile(path.wstring()).value_or(Bytes());
  return bytes.size() > std::size(kEnd) && std::equal(std::begin(kEnd), std::end(kEnd), bytes.end() - std::size(kEnd));
}

TEST_F(Icons, TwoProcessesFillOneFolderTogether) {
  const Names arguments = {L"app", Program(L"shared", ManyImages())};
  ProcessOutput outputs[3];
  {
    std::vector<std::jthread> runs;
    for (auto& output : outputs) runs.emplace_back([&] { output = RunProgram(L"quarryctl", arguments); });
  }
  for (const ProcessOutput& output : outputs) EXPECT_EQ(output.err, "");
  ASSERT_THAT(CacheFiles(), SizeIs(ManyImages().size()));
  for (const IconImage& image : ManyImages()) EXPECT_EQ(DecodePng(PathOf(image)), image.picture);
}

TEST_F(Icons, AProcessThatIsKilledWhileItWritesLeavesWholePicturesOnly) {
  std::wstring command =
      L"\"" + (BinFolder() / L"quarryctl.exe").wstring() + L"\" app \"" + Program(L"killed", ManyImages()) + L'"';
  int cut = 0;
  for (int round = 0; round < Rounds(3, 200); ++round) {
    fs::remove_all(cache_);
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION information{};
    ASSERT_TRUE(CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                               &startup, &information));
    const UniqueKernelHandle thread(information.hThread);
    const UniqueKernelHandle process(information.hProcess);
    for (int look = 0; look < 2'000 && (!fs::exists(cache_) || CacheFiles().empty()); ++look) Sleep(5);
    Sleep(static_cast<DWORD>(round % 25));
    TerminateProcess(process.get(), 1);
    WaitForSingleObject(process.get(), INFINITE);
    for (const std::wstring& file : CacheFiles()) EXPECT_TRUE(IsWholePng(cache_ + L'\\' + file)) << round;
    cut += CacheFiles().size() < ManyImages().size() ? 1 : 0;
  }
  EXPECT_GT(cut, 0);
}

// On a small file system that the run was given, in QUARRY_SMALL_DISK.
TEST_F(Icons, AFullDiskKeepsWholePicturesOnly) {
  const wchar_t* const disk = _wgetenv(L"QUARRY_SMALL_DISK");
  if (disk == nullptr) GTEST_SKIP() << "no small disk is mounted";
  const std::wstring cache = std::wstring(disk) + L"\\icons";
  settings_.SetString(L"", L"IconCacheDir", cache);
  const QuarryHost host;
  const Sizes sizes = SizesOf(host, Program(L"many", ManyImages()));
  EXPECT_THAT(sizes, Contains(std::pair(-1, -1)));
  std::ptrdiff_t whole = 0;
  for (const auto& file : fs::directory_iterator(cache)) {
    EXPECT_TRUE(IsWholePng(file)) << file.path();
    whole += file.path().extension() == L".png" ? 1 : 0;
  }
  EXPECT_EQ(whole, std::count_if(sizes.begin(), sizes.end(), [](const auto& size) { return size.first > 0; }));
}

}  // namespace
}  // namespace quarry::test
