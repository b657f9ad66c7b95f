#include "lib/misc/resourceTree.h"

#include "lib/misc/fileBytes.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <vector>

// The layouts are those of Microsoft Learn, "PE Format".

namespace {

constexpr std::uint32_t kHighBit = 0x80000000;
// More than any program has, and little enough to be walked at once: tables can name one another over and over.
constexpr std::size_t kMostEntries = 200'000;

template <typename T>
std::optional<T> ReadAt(HANDLE file, std::uint64_t offset) {
  const auto bytes = ReadFileAt(file, offset, sizeof(T));
  T value{};
  if (!bytes || bytes->size() < sizeof(T)) return std::nullopt;
  std::memcpy(&value, bytes->data(), sizeof(T));
  return value;
}

/// The section's bytes from the root of the resources on, as far as the file has them; more of them are read when they
/// are asked for.
class ResourceSection {
 public:
  ResourceSection(HANDLE file, const IMAGE_SECTION_HEADER& section, std::uint32_t root)
      : file_(file),
        start_(std::uint64_t{section.PointerToRawData} + (root - section.VirtualAddress)),
        root_(root),
        size_(section.SizeOfRawData - std::min(root - section.VirtualAddress, section.SizeOfRawData)) {}

  /// What lies at `offset` from the root; nothing when it reaches beyond.
  template <typename T>
  std::optional<T> At(std::size_t offset) {
    T value{};
    if (!Holds(offset, sizeof(T))) return std::nullopt;
    std::memcpy(&value, bytes_.data() + offset, sizeof(T));
    return value;
  }
  bool Holds(std::size_t offset, std::size_t size) {
    if (offset > size_ || size > size_ - offset) return false;
    if (offset + size > bytes_.size()) Read(offset + size);
    return offset + size <= bytes_.size();
  }
  /// The same for content, which is named by its address.
  bool HoldsAddress(std::uint32_t address, std::size_t size) const {
    return address >= root_ && address - root_ <= size_ && size <= size_ - (address - root_);
  }

 private:
  /// The tables stand at the front of nearly every section.
  void Read(std::size_t needed) {
    constexpr std::size_t kFront = std::size_t{64} << 10;
    bytes_ = ReadFileAt(file_, start_, needed <= kFront ? std::min(kFront, size_) : size_)
                 .value_or(std::vector<std::uint8_t>());
  }

  HANDLE file_;
  std::uint64_t start_;
  std::uint32_t root_;
  std::size_t size_;
  std::vector<std::uint8_t> bytes_;
};

std::optional<ResourceSection> FindResources(HANDLE file) {
  const auto dos = ReadAt<IMAGE_DOS_HEADER>(file, 0);
  if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE) return std::nullopt;
  const auto start = static_cast<std::uint32_t>(dos->e_lfanew);
  // The two layouts of the optional header differ in where their directories stand.
  const auto headers = ReadAt<IMAGE_NT_HEADERS64>(file, start);
  const auto headers32 = ReadAt<IMAGE_NT_HEADERS32>(file, start);
  if (!headers || !headers32 || headers->Signature != IMAGE_NT_SIGNATURE) return std::nullopt;
  const bool is64 = headers->OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC;
  const std::uint32_t root = (is64 ? headers->OptionalHeader.DataDirectory
                                   : headers32->OptionalHeader.DataDirectory)[IMAGE_DIRECTORY_ENTRY_RESOURCE]
                                 .VirtualAddress;
  const std::uint64_t sections =
      std::uint64_t{start} + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers->FileHeader.SizeOfOptionalHeader;
  for (std::uint64_t index = 0; root != 0 && index < headers->FileHeader.NumberOfSections; ++index) {
    const auto section = ReadAt<IMAGE_SECTION_HEADER>(file, sections + index * sizeof(IMAGE_SECTION_HEADER));
    if (!section) break;
    const std::uint32_t size = std::max<std::uint32_t>(section->Misc.VirtualSize, section->SizeOfRawData);
    if (root >= section->VirtualAddress && root - section->VirtualAddress < size) {
      return ResourceSection(file, *section, root);
    }
  }
  return std::nullopt;
}

/// Walks the tables below one type: names, languages, places of content.
class TypeWalk {
 public:
  TypeWalk(ResourceSection& section, WORD type) : section_(section), type_(type) {}

  bool IsSound(std::uint32_t names) {
    return EachEntry(names, [this](const IMAGE_RESOURCE_DIRECTORY_ENTRY& entry) {
      if ((entry.Name & kHighBit) != 0 && !IsSoundName(entry.Name & ~kHighBit)) return false;
      return (entry.OffsetToData & kHighBit) == 0 || AreSoundLanguages(entry.OffsetToData & ~kHighBit);
    });
  }

  /// Calls `visit` for each entry of the table at `offset` until it answers false. False when the table or one of its
  /// entries does not hold.
  template <typename Visit>
  bool EachEntry(std::uint32_t offset, const Visit& visit) {
    const auto table = section_.At<IMAGE_RESOURCE_DIRECTORY>(offset);
    if (!table) return false;
    const std::size_t count = std::size_t{table->NumberOfNamedEntries} + table->NumberOfIdEntries;
    for (std::size_t index = 0; index < count; ++index) {
      const auto entry = section_.At<IMAGE_RESOURCE_DIRECTORY_ENTRY>(offset + sizeof(IMAGE_RESOURCE_DIRECTORY) +
                                                                     index * sizeof(IMAGE_RESOURCE_DIRECTORY_ENTRY));
      if (!entry || ++entries_ > kMostEntries || !visit(*entry)) return false;
    }
    return true;
  }

 private:
  bool IsSoundName(std::uint32_t offset) {
    const auto length = section_.At<std::uint16_t>(offset);
    return length && section_.Holds(offset + sizeof(std::uint16_t), *length * sizeof(wchar_t));
  }

  bool AreSoundLanguages(std::uint32_t offset) {
    return EachEntry(offset, [this](const IMAGE_RESOURCE_DIRECTORY_ENTRY& entry) {
      if ((entry.OffsetToData & kHighBit) != 0) return true;  // a table where the platform looks for content
      const auto content = section_.At<IMAGE_RESOURCE_DATA_ENTRY>(entry.OffsetToData);
      const bool isVersion = MAKEINTRESOURCEW(type_) == RT_VERSION;
      return content && (!isVersion || section_.HoldsAddress(content->OffsetToData, content->Size));
    });
  }

  ResourceSection& section_;
  WORD type_;
  std::size_t entries_ = 0;
};

}  // namespace

bool IsSoundResourceTree(HANDLE file, std::initializer_list<WORD> types) {
  std::optional<ResourceSection> section = FindResources(file);
  if (!section) return true;
  return std::all_of(types.begin(), types.end(), [&](WORD type) {
    TypeWalk walk(*section, type);
    return walk.EachEntry(0, [&](const IMAGE_RESOURCE_DIRECTORY_ENTRY& entry) {
      const bool isAskedFor = entry.Name == type && (entry.OffsetToData & kHighBit) != 0;
      return !isAskedFor || walk.IsSound(entry.OffsetToData & ~kHighBit);
    });
  });
}
