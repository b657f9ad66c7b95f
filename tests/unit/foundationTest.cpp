#include "lib/misc/noDestructor.h"
#include "lib/misc/osVersion.h"
#include "lib/misc/platformHandles.h"
#include "lib/misc/win32uRegistry.h"
#include "lib/string/checkedFormat.h"
#include "lib/string/str.h"

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

TEST(OsVersion, PlacesEverySystemInTheRowOfGenerations) {
  const auto generation = [](DWORD major, DWORD minor) { return Os_GenerationOf({major, minor, 0, 0, false}); };
  EXPECT_EQ(generation(5, 0), kOsGenerationWindows2000);
  EXPECT_EQ(generation(5, 1), 6);
  EXPECT_EQ(generation(5, 2), 7);
  EXPECT_EQ(generation(6, 0), kOsGenerationVista);
  EXPECT_EQ(generation(6, 1), 9);
  EXPECT_EQ(generation(6, 3), 11);
  EXPECT_EQ(generation(10, 0), 12);
  EXPECT_EQ(generation(11, 0), 12);
  EXPECT_GE(Os_GetGeneration(), kOsGenerationVista);
  EXPECT_NE(Os_GetGeneration(), kOsGenerationUnknown);
}

TEST(OsVersion, NamesEditionsAndTheSystemAtHand) {
  ASSERT_NE(Os_FindEdition(0x30), nullptr);
  EXPECT_STREQ(Os_FindEdition(0x30)->shortName, L"Pro");
  EXPECT_STREQ(Os_FindEdition(0x30)->longName, L"Professional");
  EXPECT_EQ(Os_FindEdition(0xFFFF), nullptr);
  const auto version = Os_GetVersion();
  ASSERT_TRUE(version);
  const std::wstring number = Str_FormatWide(L"(%lu.%lu.%lu)", version->major, version->minor, version->build);
  EXPECT_NE(Os_Describe().find(number), std::wstring::npos);
}

class RegistryEnumeration : public testing::Test {
 protected:
  void SetUp() override {
    RegDeleteTreeW(HKEY_CURRENT_USER, kPath);
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, key_.put(), nullptr),
              ERROR_SUCCESS);
  }
  void TearDown() override { RegDeleteTreeW(HKEY_CURRENT_USER, kPath); }

  void AddSubkey(const std::wstring& name, std::wstring className) {
    UniqueRegistryKey subkey;
    ASSERT_EQ(RegCreateKeyExW(key_.get(), name.c_str(), 0, className.data(), 0, KEY_ALL_ACCESS, nullptr, subkey.put(),
                              nullptr),
              ERROR_SUCCESS);
  }

  static constexpr wchar_t kPath[] = L"Software\\Quarry foundation test";
  static constexpr char kPathUtf8[] = "Software\\Quarry foundation test";
  UniqueRegistryKey key_;
};

TEST_F(RegistryEnumeration, VisitsEverySubkeyAndKeepsTheFirstError) {
  AddSubkey(L"plain", L"");
  AddSubkey(L"\x4e2d\x6587", L"");
  AddSubkey(std::wstring(255, L'n'), std::wstring(1000, L'c'));
  std::vector<std::string> names;
  std::size_t classLength = 0;
  LSTATUS answer = 100;
  const LSTATUS kept = WinReg_EnumerateSubkeys(HKEY_CURRENT_USER, kPathUtf8, [&](const WinRegSubkey& subkey, bool&) {
    names.push_back(subkey.name);
    classLength = std::max(classLength, subkey.className.size());
    EXPECT_EQ(subkey.path, kPathUtf8);
    return answer++;
  });
  EXPECT_EQ(kept, 100);
  EXPECT_EQ(classLength, 1000U);
  EXPECT_THAT(names, UnorderedElementsAre("plain", "\xE4\xB8\xAD\xE6\x96\x87", std::string(255, 'n')));
}

TEST_F(RegistryEnumeration, VisitsValuesOfEveryTypeUntilToldToStop) {
  const std::wstring longName(16'000, L'v');
  const DWORD number = 7;
  RegSetValueExW(key_.get(), L"", 0, REG_SZ, nullptr, 0);
  RegSetValueExW(key_.get(), L"n\xe4me", 0, REG_NONE, nullptr, 0);
  RegSetValueExW(key_.get(), longName.c_str(), 0, REG_DWORD, reinterpret_cast<const BYTE*>(&number), sizeof(number));
  std::vector<std::pair<std::string, DWORD>> values;
  const auto collect = [&](const WinRegValue& value, bool&) {
    values.emplace_back(value.name, value.type);
    return LSTATUS{ERROR_SUCCESS};
  };
  EXPECT_EQ(WinReg_EnumerateValues(HKEY_CURRENT_USER, kPathUtf8, 0, collect), ERROR_SUCCESS);
  EXPECT_THAT(values, UnorderedElementsAre(std::pair("", REG_SZ), std::pair("n\xC3\xA4me", REG_NONE),
                                           std::pair(std::string(16'000, 'v'), REG_DWORD)));
  int calls = 0;
  WinReg_EnumerateValues(HKEY_CURRENT_USER, kPathUtf8, 0, [&](const WinRegValue&, bool& proceed) {
    ++calls;
    proceed = false;
    return LSTATUS{ERROR_SUCCESS};
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(WinReg_EnumerateValues(HKEY_CURRENT_USER, "Software\\Quarry no such key", 0, collect),
            ERROR_FILE_NOT_FOUND);
}

}  // namespace
