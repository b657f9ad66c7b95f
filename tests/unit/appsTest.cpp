#include "quarry/apps/linkFile.h"
#include "quarry/icons/hash.h"

#include "lib/misc/fileBytes.h"
#include "lib/misc/resourceTree.h"
#include "lib/misc/versionBlock.h"

#include "tests/support/hostTest.h"

#include <cstring>

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

/// A shortcut file of just its header and what `flags` say follows.
Bytes LinkOf(std::uint8_t flags, const Bytes& rest) {
  Bytes link(0x4C);
  const Bytes start = {0x4C, 0, 0, 0, 0x01, 0x14, 0x02, 0, 0, 0, 0, 0, 0xC0, 0, 0, 0, 0, 0, 0, 0x46, flags};
  std::copy(start.begin(), start.end(), link.begin());
  link.insert(link.end(), rest.begin(), rest.end());
  return link;
}

TEST(Link, IsSoundWhenItsSizesAndOffsetsStayInside) {
  Bytes texts(2 + 2 * 260);
  texts[0] = 0x04;
  texts[1] = 0x01;
  Bytes info(0x30);
  info[0x00] = 0x30;
  info[0x08] = 3;     // a volume and a network
  info[0x0C] = 0x1C;  // the volume, with a size and a label of its own
  info[0x10] = 0x2F;  // path
  info[0x14] = 0x1C;  // network
  info[0x18] = 0x2F;  // rest of the path
  info[0x1C] = 0x12;
  info[0x28] = 0x10;
  const Bytes list = {6, 0, 4, 0, 'a', 'b', 0, 0};
  const struct {
    Bytes link;
    std::vector<std::pair<std::size_t, std::uint8_t>> damages;
  } kLinks[] = {{LinkOf(0, {}), {{0, 0x4D}, {4, 0}}},
                {LinkOf(0x01, list), {{0x4C, 7}, {0x4C, 3}, {0x4C, 4}, {0x4E, 1}, {0x4E, 5}}},
                {LinkOf(0x02, info),
                 {{0x4C, 0x31},
                  {0x4C, 0x1B},
                  {0x4F, 0x80},
                  {0x58, 0x21},
                  {0x5C, 0x30},
                  {0x60, 0x30},
                  {0x64, 0x30},
                  {0x68, 0x15},
                  {0x6B, 1},
                  {0x74, 0x12}}},
                {LinkOf(0x88, texts), {{0x4C, 0x05}}},
                {LinkOf(0x90, texts), {{0x4C, 0x05}}}};
  for (const auto& [link, damages] : kLinks) {
    EXPECT_TRUE(IsSoundLink(link)) << int{link[0x14]};
    EXPECT_FALSE(IsSoundLink(std::span(link).first(link.size() - 1))) << int{link[0x14]};
    for (const auto& [offset, value] : damages) {
      Bytes damaged = link;
      damaged[offset] = value;
      damaged.resize(damaged.size() + (link[0x14] >= 0x80 ? 8 : 0));  // so that only the count is too large
      EXPECT_FALSE(IsSoundLink(damaged)) << int{link[0x14]} << ' ' << offset;
    }
  }
}

TEST(ResourceTree, IsSoundWhenItsTablesStayInTheirSection) {
  const TemporaryFolder folder;
  const std::wstring program = folder.CopyFrom(L"a.exe", FixtureProgram(L"emptyApp"));
  PutVersion(program, {true, {{0x0409, 0x04e4}}, {{kKey, {{L"ProductName", L"Example"}}}}});
  const Bytes whole = ReadWholeFile(program).value_or(Bytes());
  const auto isSound = [&](const Bytes& bytes) {
    const UniqueFile file = OpenDiskFile(folder.WriteBytes(L"b.exe", bytes), FILE_SHARE_READ);
    return IsSoundResourceTree(file.get(), {LOWORD(RT_VERSION)});
  };
  EXPECT_TRUE(isSound(whole));
  EXPECT_TRUE(isSound({}));
  EXPECT_TRUE(isSound(Bytes(whole.begin(), whole.begin() + 0x100)));  // the platform says what it thinks of it

  const auto number = [&](std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, whole.data() + offset, sizeof(value));
    return value;
  };
  const auto headerOf = [&](const std::string& name) {
    return static_cast<std::size_t>(std::search(whole.begin(), whole.end(), name.begin(), name.end()) - whole.begin());
  };
  const std::size_t header = headerOf(".rsrc");
  const std::size_t root = number(header + 20);
  std::size_t type = root + 16;  // its entry in the root
  while (number(type) != LOWORD(RT_VERSION)) type += 8;
  const std::size_t names = root + (number(type + 4) & 0xFFFF);
  const std::size_t languages = root + (number(names + 20) & 0xFFFF);
  const std::size_t content = root + number(languages + 20);
  for (const auto& [offset, value] : {std::pair(root + 14, std::uint32_t{0xFFFF}),  // more types than there is room for
                                      {type + 4, 0x80FFFFF0},
                                      {names + 12, 0xFFFFFFFF},
                                      {names + 16, 0x80FFFFF0},
                                      {names + 20, 0x80FFFFF0},
                                      {languages + 12, 0xFFFFFFFF},
                                      {languages + 20, 0x00FFFFF0},
                                      {content, 0},
                                      {content + 4, 0x00FFFFFF}}) {
    Bytes damaged = whole;
    std::memcpy(damaged.data() + offset, &value, sizeof(value));
    EXPECT_FALSE(isSound(damaged)) << offset - root;
  }
  // What the platform maps there is not what lies there, or nothing.
  constexpr std::uint32_t kShift = 16;  // the tables are whole, but not where a sector begins
  Bytes larger = whole;
  larger.insert(larger.begin() + static_cast<std::ptrdiff_t>(root), kShift, 0);
  larger.resize(root + 0x3000);
  const std::size_t directory = number(0x3C) + 24 + 112 + std::size_t{8} * IMAGE_DIRECTORY_ENTRY_RESOURCE;
  const auto place = static_cast<std::uint32_t>(root);
  const struct {
    std::vector<std::pair<std::size_t, std::uint32_t>> fields;
    bool sound;
  } kHeaders[] = {{{{directory, 0}}, true},
                  {{{directory, 0x7FFFFFF0}}, false},
                  {{{header + 20, place + kShift}}, false},
                  {{{header + 16, 0x3000}, {header + 8, 0x3000}, {directory, number(header + 12) + 0x2000}}, true},
                  {{{header + 16, 0x3000}, {header + 8, 0x1001}, {directory, number(header + 12) + 0x2000}}, false},
                  {{{header + 16, 0x3000},
                    {header + 8, 0x3000},
                    {directory, number(header + 12) + kShift},
                    {headerOf(".reloc") + 12, number(header + 12) + 0x1000}},
                   false},
                  {{{directory, number(header + 12) + kShift}}, true}};
  for (const auto& [fields, sound] : kHeaders) {
    Bytes damaged = larger;
    for (const auto& [offset, value] : fields) std::memcpy(damaged.data() + offset, &value, sizeof(value));
    EXPECT_EQ(isSound(damaged), sound) << fields[0].first << ' ' << fields[0].second;
  }
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
