#include "quarry/icons/hash.h"

#include "lib/misc/versionBlock.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace quarry;

using Bytes = std::vector<std::uint8_t>;

/// One node of a version resource: header, key, value and children, each aligned to four bytes.
Bytes Node(const std::wstring& key, std::uint16_t type, const Bytes& value, const std::vector<Bytes>& children) {
  Bytes node(6);
  const auto append = [&node](const Bytes& bytes) {
    node.resize((node.size() + 3) & ~std::size_t{3});
    std::copy(bytes.begin(), bytes.end(), std::back_inserter(node));
  };
  for (const wchar_t* character = key.c_str(); character <= key.c_str() + key.size(); ++character) {
    node.push_back(static_cast<std::uint8_t>(*character & 0xFF));
    node.push_back(static_cast<std::uint8_t>(*character >> 8));
  }
  append(value);
  for (const Bytes& child : children) append(child);
  const auto length = static_cast<std::uint16_t>(node.size());
  const auto valueLength = static_cast<std::uint16_t>(type == 1 ? value.size() / 2 : value.size());
  std::memcpy(node.data(), &length, 2);
  std::memcpy(node.data() + 2, &valueLength, 2);
  std::memcpy(node.data() + 4, &type, 2);
  return node;
}

Bytes TextValue(const std::wstring& text) {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
  return {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
}

Bytes VersionResource() {
  const Bytes name = Node(L"ProductName", 1, TextValue(L"Example Editor"), {});
  const Bytes company = Node(L"CompanyName", 1, TextValue(L"Example Corp"), {});
  const Bytes table = Node(L"040904e4", 1, {}, {name, company});
  return Node(L"VS_VERSION_INFO", 0, Bytes(sizeof(VS_FIXEDFILEINFO)), {Node(L"StringFileInfo", 1, {}, {table})});
}

std::wstring ProductName(const Bytes& resource) {
  return QueryVersionString(VersionBlock(resource), L"040904e4", L"ProductName");
}

TEST(VersionBlock, FindsStringsAndCutsThemAtTheResourcesEnd) {
  const Bytes whole = VersionResource();
  EXPECT_EQ(ProductName(whole), L"Example Editor");
  EXPECT_EQ(QueryVersionString(VersionBlock(whole), L"040904e4", L"Comments"), L"");

  Bytes lying = whole;  // the string's own length reaches far behind the resource
  const auto text = TextValue(L"Example Corp");
  const auto found = std::search(lying.begin(), lying.end(), text.begin(), text.end());
  ASSERT_NE(found, lying.end());
  lying.erase(found + 10, lying.end());
  EXPECT_EQ(QueryVersionString(VersionBlock(lying), L"040904e4", L"CompanyName"), L"Examp");
  EXPECT_EQ(ProductName({}), L"");
}

TEST(VersionBlock, SurvivesLyingLengths) {
  const Bytes whole = VersionResource();
  std::mt19937 random(20261122);
  for (int round = 0; round < 20'000; ++round) {
    Bytes mutated = whole;
    for (unsigned change = random() % 4; change < 5; ++change) {
      mutated[random() % mutated.size()] = static_cast<std::uint8_t>(random() % 3 == 0 ? 0xFF : random());
    }
    mutated.resize(1 + random() % mutated.size());
    // Whatever comes back lies within the resource.
    ASSERT_LE(ProductName(mutated).size(), mutated.size() / sizeof(wchar_t));
  }
  Bytes endless(whole);
  std::fill(endless.begin(), endless.begin() + 4, std::uint8_t{0xFF});
  endless.resize(300'000, 0xFF);
  EXPECT_EQ(ProductName(endless).find(L'\0'), std::wstring::npos);
}

TEST(Hash, IsLowerCaseMd5OfAnyLength) {
  EXPECT_EQ(Hash::MD5({}), L"d41d8cd98f00b204e9800998ecf8427e");
  const Bytes abc = {'a', 'b', 'c'};
  EXPECT_EQ(Hash::MD5(abc), L"900150983cd24fb0d6963f7d28e17f72");
  EXPECT_EQ(Hash::MD5(Bytes(1'000'000, 'a')), L"7707d6ae4e027c70eea2a935c2296f21");
  Hash::ReleaseProvider();
  EXPECT_EQ(Hash::MD5(abc), L"900150983cd24fb0d6963f7d28e17f72");
  Hash::ReleaseProvider();
}

}  // namespace
