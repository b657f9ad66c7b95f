#include "tests/fuzz/mutation.h"

#include <cstring>

namespace quarry::test {
namespace {

constexpr std::size_t kWord = 4;

void Change(Bytes& bytes, std::size_t position, Random& random) {
  constexpr std::uint8_t kExtremes[] = {0, 1, 0x7F, 0x80, 0xFF};
  const std::size_t kind = random.Below(16);
  std::uint8_t* const place = bytes.data() + position;
  if (kind == 0) {
    bytes.resize(position);
  } else if (kind == 1) {
    std::memmove(place, bytes.data() + random.Below(bytes.size() - kWord), kWord);
  } else if (kind < 7) {
    std::fill_n(place, kind < 4 ? kWord : 1, kExtremes[random.Below(std::size(kExtremes))]);
  } else {
    *place = static_cast<std::uint8_t>(*place ^ 1u << random.Below(8));
  }
}

}  // namespace

Bytes Damaged(const Model& model, Random& random) {
  Bytes bytes = model.bytes;
  for (std::size_t changes = 1 + random.Below(8); changes > 0 && bytes.size() > 2 * kWord; --changes) {
    const std::size_t end = std::min(model.tablesEnd, bytes.size());
    const bool inTables = !random.OneIn(4) && model.tablesStart + 2 * kWord < end;
    Change(bytes,
           inTables ? model.tablesStart + random.Below(end - model.tablesStart - kWord)
                    : random.Below(bytes.size() - kWord),
           random);
  }
  return bytes;
}

std::wstring Text(const std::vector<std::wstring>& pieces, std::size_t most, Random& random) {
  std::wstring text;
  for (std::size_t count = random.Below(most + 1); count > 0; --count) {
    const std::wstring& piece = random.Of(pieces);
    const std::size_t times = random.OneIn(40) ? 1 + random.Below(700) : 1;
    for (std::size_t time = 0; time < times; ++time) text += piece;
  }
  return text;
}

}  // namespace quarry::test
