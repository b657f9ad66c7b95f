#include "lib/misc/noDestructor.h"
#include "lib/misc/osVersion.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/win32uRegistry.h"
#include "lib/string/checkedFormat.h"
#include "lib/string/str.h"

#include "tests/support/registryFixture.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

TEST(Format, FollowsThePlatformsRulesAtAnyLength) {
  EXPECT_EQ(Str_FormatWide(L"%s %hs %ls %I64u %04x", L"wide", "narrow", L"long", 18446744073709551615ULL, 0x4e4),
            L"wide narrow long 18446744073709551615 04e4");
  EXPECT_EQ(Str_FormatWide(L"%s", L""), L"");
  const std::wstring text(100'000, L'\x4e2d');
  EXPECT_EQ(Str_FormatWide(L"<%s>", text.c_str()), L"<" + text + L">");
}

TEST(Format, IsRefusedWhenItDoesNotFitItsArguments) {
  using Text = const wchar_t*;
  using Narrow = const char*;
  EXPECT_TRUE((FormatFits<wchar_t, Text, Text, Narrow>(L"100%% %s %ls %hs%%")));
  EXPECT_TRUE((FormatFits<char, Narrow, Text, Narrow, HWND>("%s %ls %hs %p")));
  EXPECT_TRUE((FormatFits<char, DWORD, HRESULT, std::uint64_t, bool>("%-5.2u %#08lx %I64u%d")));
  EXPECT_FALSE((FormatFits<wchar_t, Narrow>(L"%s")));
  EXPECT_FALSE((FormatFits<char, Text>("%s")));
  EXPECT_FALSE((FormatFits<char, Text>("%p")));
  EXPECT_FALSE((FormatFits<char, std::uint64_t>("%u")));
  EXPECT_FALSE((FormatFits<char, unsigned>("%I64u")));
  EXPECT_FALSE((FormatFits<char, unsigned>("%f")));
  EXPECT_FALSE((FormatFits<char, unsigned>("%%u")));
  EXPECT_FALSE((FormatFits<char, unsigned>("%u %u")));
  EXPECT_FALSE((FormatFits<char, unsigned, unsigned>("%u")));
  EXPECT_FALSE((FormatFits<char>("100%")));
}

TEST(Split, KeepsNonEmptyPiecesUntrimmed) {
  EXPECT_THAT(Str_Split(L";;a;; b ;", L';'), ElementsAre(L"a", L" b "));
  EXPECT_THAT(Str_Split(L"alone", L';'), ElementsAre(L"alone"));
  EXPECT_TRUE(Str_Split(L"", L';').empty());
  EXPECT_TRUE(Str_Split(L";;;", L';').empty());
}

std::vector<int> closed;

void CloseNumber(int number) {
  closed.push_back(number);
  SetLastError(ERROR_INVALID_HANDLE);
}

TEST(UniqueHandle, ClosesEachHandleOnceAndOnlyWhatItHolds) {
  using UniqueNumber = UniqueHandle<int, CloseNumber, -1>;  // 0 is a handle here
  SetLastError(ERROR_FILE_NOT_FOUND);
  {
    UniqueNumber first(0);
    UniqueNumber second(std::move(first));
    EXPECT_FALSE(first);  // NOLINT(bugprone-use-after-move): moved from means empty
    EXPECT_TRUE(second);
    first.attach(1);
    first = std::move(second);
    EXPECT_THAT(closed, ElementsAre(1));
    *first.put() = 2;
    EXPECT_THAT(closed, ElementsAre(1, 0));
    UniqueNumber third(3);
    EXPECT_EQ(third.release(), 3);
  }
  EXPECT_THAT(closed, ElementsAre(1, 0, 2));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_FILE_NOT_FOUND)) << "the error that the owner's user failed with";
}

TEST(OsVersion, PlacesEverySystemInTheRowOfGenerationsAndNamesIt) {
  const std::pair<std::pair<DWORD, DWORD>, int> kGenerations[] = {{{4, 9}, 5},  {{5, 0}, 5},   {{5, 1}, 6},
                                                                  {{5, 2}, 7},  {{6, 0}, 8},   {{6, 1}, 9},
                                                                  {{6, 3}, 11}, {{10, 0}, 12}, {{11, 0}, 12}};
  for (const auto& [version, generation] : kGenerations) {
    EXPECT_EQ(Os_GenerationOf({version.first, version.second, 0, 0, false}), generation);
  }
  EXPECT_THAT(Os_GetGeneration(), testing::AllOf(testing::Ge(kOsGenerationVista), testing::Lt(kOsGenerationUnknown)));
  ASSERT_NE(Os_FindEdition(0x30), nullptr);
  EXPECT_EQ(Os_FindEdition(0x30)->longName, std::wstring(L"Professional"));
  EXPECT_EQ(Os_FindEdition(0xFFFF), nullptr);
  const OsVersion version = Os_GetVersion().value_or(OsVersion());
  EXPECT_NE(Os_Describe().find(Str_FormatWide(L"(%lu.%lu.%lu)", version.major, version.minor, version.build)),
            std::wstring::npos);
}

TEST(RegistryEnumeration, VisitsAllUntilToldToStopAndKeepsTheFirstError) {
  constexpr char kPath[] = "Software\\Quarry foundation test";
  const quarry::test::RegistryFixture key(L"Software\\Quarry foundation test", HKEY_CURRENT_USER);
  key.MakeSubkey(L"\x4e2d\x6587");
  key.MakeSubkey(std::wstring(255, L'n'));
  UniqueRegistryKey subkey;
  RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Quarry foundation test\\plain", 0, std::wstring(1000, L'c').data(), 0,
                  KEY_READ, nullptr, subkey.put(), nullptr);
  std::vector<std::pair<std::string, std::size_t>> visited;
  LSTATUS answer = 100;
  const LSTATUS kept = WinReg_EnumerateSubkeys(HKEY_CURRENT_USER, kPath, [&](const WinRegSubkey& found, bool&) {
    visited.emplace_back(found.name, found.className.size());
    EXPECT_EQ(found.path, kPath);
    return answer++;
  });
  EXPECT_EQ(kept, 100);
  EXPECT_THAT(visited, UnorderedElementsAre(std::pair("plain", 1000), std::pair("\xE4\xB8\xAD\xE6\x96\x87", 0),
                                            std::pair(std::string(255, 'n'), 0)));
  key.SetDword(L"", L"one", 1);
  key.SetDword(L"", L"two", 2);
  int values = 0;
  WinReg_EnumerateValues(HKEY_CURRENT_USER, kPath, 0, [&](const WinRegValue&, bool& proceed) {
    proceed = false;
    return LSTATUS{values++};
  });
  EXPECT_EQ(values, 1);
}

}  // namespace
