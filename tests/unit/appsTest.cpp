#include "quarry/icons/hash.h"

#include "lib/misc/versionBlock.h"

#include "tests/support/hostTest.h"

namespace quarry::test {
namespace {

constexpr wchar_t kKey[] = L"040904e4";

std::wstring StringOf(const Bytes& resource, const std::wstring& key = L"ProductName") {
  return QueryVersionString(VersionBlock(resource), kKey, key);
}

TEST(VersionBlock, FindsStringsWithinTheResourceWhateverItsLengthsSay) {
  const Bytes whole = VersionResourceBytes(
      {false, {}, {{kKey, {{L"ProductName", L"Example Editor"}, {L"CompanyName", L"Example Corp"}}}}});
  EXPECT_EQ(StringOf(whole), L"Example Editor");
  EXPECT_EQ(StringOf(whole, L"Comments"), L"");
  EXPECT_EQ(StringOf({}), L"");
  Bytes cut = whole;  // the string's own length reaches behind the resource
  cut.resize(cut.size() - sizeof(L" Corp"));
  EXPECT_EQ(StringOf(cut, L"CompanyName"), L"Example");

  std::mt19937 random(20261122);
  for (int round = 0; round < Rounds(2'000, 200'000); ++round) {
    Bytes mutated = whole;
    for (unsigned change = random() % 4; change < 5; ++change) {
      mutated[random() % mutated.size()] = static_cast<std::uint8_t>(random() % 3 == 0 ? 0xFF : random());
    }
    mutated.resize(1 + random() % mutated.size());
    const std::wstring text = StringOf(mutated);
    mutated.push_back(0);  // a character that was cut in two is filled with a zero
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    ASSERT_NE(std::search(mutated.begin(), mutated.end(), bytes, bytes + text.size() * sizeof(wchar_t)), mutated.end())
        << round;
  }
  Bytes endless(whole);
  std::fill_n(endless.begin(), 4, std::uint8_t{0xFF});
  endless.resize(300'000, 0xFF);
  EXPECT_EQ(StringOf(endless).find(L'\0'), std::wstring::npos);
}

TEST(Hash, IsLowerCaseMd5OfAnyLength) {
  EXPECT_EQ(Hash::MD5({}), L"d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(Hash::MD5(Bytes(1'000'000, 'a')), L"7707d6ae4e027c70eea2a935c2296f21");
  Hash::ReleaseProvider();
  EXPECT_EQ(Hash::MD5(Bytes{'a', 'b', 'c'}), L"900150983cd24fb0d6963f7d28e17f72");
  Hash::ReleaseProvider();
}

}  // namespace
}  // namespace quarry::test
