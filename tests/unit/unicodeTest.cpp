#include "lib/unicode/unicode.h"

#include "lib/misc/codeset.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>

using namespace std::string_literals;

TEST(Unicode, ConvertsBothWaysAndReplacesIllFormedParts) {
  const std::pair<std::string, std::wstring> kBothWays[] = {{"", L""},
                                                            {"a\0b"s, L"a\0b"s},
                                                            {"\xC3\xA9\xE2\x82\xAC", L"\u00E9\u20AC"},
                                                            {"\xF0\x9F\x98\x80", L"\xD83D\xDE00"},
                                                            {"\xEF\xBB\xBFx", L"\uFEFFx"}};
  for (const auto& [utf8, wide] : kBothWays) {
    EXPECT_EQ(Unicode_WideFromUtf8(utf8), wide);
    EXPECT_EQ(Unicode_Utf8FromWide(wide), utf8);
  }
  EXPECT_EQ(Unicode_WideFromUtf8("a\xFFz"), L"a\uFFFDz");                  // never a lead byte
  EXPECT_EQ(Unicode_WideFromUtf8("\xE2\x82"), L"\uFFFD");                  // cut short
  EXPECT_EQ(Unicode_WideFromUtf8("\xED\xA0\x80"), L"\uFFFD\uFFFD\uFFFD");  // encoded surrogate
  EXPECT_EQ(Unicode_Utf8FromWide(L"\xDE00\xD83D"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(Unicode_WideFromUtf8({}), L"");
  EXPECT_EQ(Unicode_Utf8FromWide(std::wstring(100000, L'\u20AC')).size(), 300000u);
}

TEST(Unicode, ComparesFoldedTextsInCodePointOrder) {
  const struct {
    std::wstring left;
    std::wstring right;
    int sign;
  } kCases[] = {
      {L"", L"a", -1},
      {L"ab", L"ABC", -1},
      {L"_", L"A", -1},  // compared as "a", which comes after
      {L"STRASSE", L"stra\u00DFe", 0},
      {L"stra\u00DFe", L"strasz", -1},
      {L"K", L"\u212A", 0},   // Kelvin sign
      {L"I", L"\u0131", -1},  // dotless i is a letter of its own
      {L"\u0130", L"i\u0307", 0},
      {L"\uFF41", L"\xD801\xDC00", -1},  // surrogates sort after all of the basic plane
      {L"\xD801\xDC00", L"\xD801\xDC28", 0},
  };
  const auto sign = [](int value) { return (value > 0) - (value < 0); };
  for (const auto& each : kCases) {
    const std::string left = Unicode_Utf8FromWide(each.left);
    const std::string right = Unicode_Utf8FromWide(each.right);
    SCOPED_TRACE(testing::Message() << left << " " << right);
    EXPECT_EQ(sign(Unicode_CompareIgnoreCase(each.left, each.right)), each.sign);
    EXPECT_EQ(sign(Unicode_CompareIgnoreCase(right, left)), -each.sign);
    EXPECT_EQ(Unicode_EqualIgnoreCase(each.left, each.right), each.sign == 0);
    EXPECT_EQ(Unicode_EqualIgnoreCase(left, right), each.sign == 0);
    EXPECT_EQ(Unicode_FoldCase(left) == Unicode_FoldCase(right), each.sign == 0);
  }
  EXPECT_EQ(Unicode_FoldCase(L"\u00DF\u0130I"), L"ssi\u0307i");
  EXPECT_LT(Unicode_CompareIgnoreCase(std::wstring_view(), L"a"), 0);
  const std::map<std::wstring, int, Unicode_LessIgnoreCase> names = {{L"\u00C4pfel", 1}};
  EXPECT_TRUE(names.contains(std::wstring_view(L"\u00E4PFEL")));
}

TEST(Codeset, ConvertsByTableAndGivesNothingForWhatHasNoCounterpart) {
  EXPECT_EQ(Codeset_ToUtf8("\x83\x65\x83\x58", "shift_jis"), "\xE3\x83\x86\xE3\x82\xB9");
  EXPECT_EQ(Codeset_FromUtf8("\xE3\x83\x86\xE3\x82\xB9", "shift_jis"), "\x83\x65\x83\x58");
  EXPECT_EQ(Codeset_ToUtf8("\x80", "Windows 1252"), "\xE2\x82\xAC");
  EXPECT_EQ(Codeset_ToUtf8("\x83", "shift_jis"), std::nullopt);  // lead byte alone
  EXPECT_EQ(Codeset_FromUtf8("\xD0\x96", "windows-1252"), std::nullopt);
  EXPECT_EQ(Codeset_FromUtf8("a\xFFz", "windows-1252"), std::nullopt);
  // The alias table knows EBCDIC, but no table of it is linked in; an empty name must not mean the system's.
  for (const char* name : {"no-such-set", "ibm-1047", "", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(Codeset_IsSupported(name));
    EXPECT_EQ(Codeset_ToUtf8("a", name), std::nullopt);
  }
}
