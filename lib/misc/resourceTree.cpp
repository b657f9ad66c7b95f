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
constexpr std::uint32_t kPage = 0x1000;
// More than any program has, and little enough to be walked at once: tables can name one another over and over.
constexpr std::size_t kMostEntries = 200'000;

/// The start of a file, where nearly every program has all of its headers, and what is asked for behind it.
class HeaderBytes {
 public:
  explicit HeaderBytes(HANDLE file)
      : file_(file), front_(ReadFileAt(file, 0, kPage).value_or(std::vector<std::uint8_t>())) {}

  /// Fewer bytes only when the file ends before.
  std::vector<std::uint8_t> Read(std::uint64_t offset, std::size_t size) const {
    if (offset <= front_.size() && size <= front_.size() - offset) {
      const auto start = front_.begin() + static_cast<std::ptrdiff_t>(offset);
      return {start, start + static_cast<std::ptrdiff_t>(size)};
    }
    return ReadFileAt(file_, offset, size).value_or(std::vector<std::uint8_t>());
  }
  template <typename T>
  std::optional<T> At(std::uint64_t offset) const {
    const std::vector<std::uint8_t> bytes = Read(offset, sizeof(T));
    T value{};
    if (bytes.size() < sizeof(T)) return std::nullopt;
    std::memcpy(&value, bytes.data(), sizeof(T));
    return value;
  }

 private:
  HANDLE file_;
  std::vector<std::uint8_t> front_;
};

/// The section's bytes from the root of the resources on, as far as the file has them; more of them are read when they
/// are asked for.
class ResourceSection {
 public:
  ResourceSection(HANDLE file, const IMAGE_SECTION_HEADER& section, std::uint32_t root)
      : file_(file),
        start_(std::uint64_t{section.PointerToRawData} + (root - section.VirtualAddress)),
        root_(root),
        size_(MappedSize(section) - std::min<std::uint64_t>(root - section.VirtualAddress, MappedSize(section))) {}

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
  /// The bytes of the file that are mapped: whole pages of the virtual size, where there is one.
  static std::uint64_t MappedSize(const IMAGE_SECTION_HEADER& section) {
    const std::uint64_t pages = (std::uint64_t{section.Misc.VirtualSize} + kPage - 1) / kPage * kPage;
    return pages == 0 ? section.SizeOfRawData : std::min<std::uint64_t>(section.SizeOfRawData, pages);
  }
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

/// What is needed of a program's headers.
struct Headers {
  std::uint32_t resources;         ///< address of the root; 0 for none
  std::uint32_t sectionAlignment;  ///< bytes
  std::uint64_t firstSection;      ///< offset of its header
  std::uint16_t sectionCount;
};

std::optional<Headers> ReadHeaders(const HeaderBytes& bytes) {
  const auto dos = bytes.At<IMAGE_DOS_HEADER>(0);
  if (!dos || dos->e_magic != IMAGE_DOS_SIGNATURE) return std::nullopt;
  const auto start = static_cast<std::uint32_t>(dos->e_lfanew);
  // The two layouts of the optional header differ in where their directories stand.
  const auto headers = bytes.At<IMAGE_NT_HEADERS64>(start);
  const auto headers32 = bytes.At<IMAGE_NT_HEADERS32>(start);
  if (!headers || !headers32 || headers->Signature != IMAGE_NT_SIGNATURE) return std::nullopt;
  const bool is64 = headers->OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC;
  const IMAGE_DATA_DIRECTORY& directory =
      (is64 ? headers->OptionalHeader.DataDirectory
            : headers32->OptionalHeader.DataDirectory)[IMAGE_DIRECTORY_ENTRY_RESOURCE];
  return Headers{
      directory.VirtualAddress, headers->OptionalHeader.SectionAlignment,
      std::uint64_t{start} + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers->FileHeader.SizeOfOptionalHeader,
      headers->FileHeader.NumberOfSections};
}

std::vector<IMAGE_SECTION_HEADER> ReadSections(const HeaderBytes& bytes, const Headers& headers) {
  std::vector<IMAGE_SECTION_HEADER> sections(headers.sectionCount);
  const std::size_t size = sections.size() * sizeof(IMAGE_SECTION_HEADER);
  const std::vector<std::uint8_t> table = bytes.Read(headers.firstSection, size);
  if (table.size() < size) return {};
  std::memcpy(sections.data(), table.data(), size);
  return sections;
}

bool Holds(const IMAGE_SECTION_HEADER& section, std::uint32_t address) {
  return address >= section.VirtualAddress &&
         address - section.VirtualAddress < std::max<std::uint32_t>(section.Misc.VirtualSize, section.SizeOfRawData);
}

/// Whether what lies in the file is what the platform maps: it rounds the place in the file down, maps sections of
/// less than a page as they lie in the file, and maps no more than the virtual size's pages.
bool IsMappedAsItLies(const IMAGE_SECTION_HEADER& section, const Headers& headers) {
  constexpr std::uint32_t kSector = 0x200;
  if (headers.sectionAlignment < kPage) return section.PointerToRawData == section.VirtualAddress;
  return section.PointerToRawData % kSector == 0 && section.VirtualAddress % kPage == 0;
}

/// The section that holds the root of the resources, and no other. Nothing when it is not where the platform sees it.
std::optional<ResourceSection> FindResources(HANDLE file, const std::vector<IMAGE_SECTION_HEADER>& sections,
                                             const Headers& headers) {
  const auto holdsRoot = [&](const IMAGE_SECTION_HEADER& section) { return Holds(section, headers.resources); };
  const auto found = std::find_if(sections.begin(), sections.end(), holdsRoot);
  if (found == sections.end() || !IsMappedAsItLies(*found, headers)) return std::nullopt;
  const bool isAlone = std::none_of(sections.begin(), sections.end(), [&](const IMAGE_SECTION_HEADER& section) {
    return &section != &*found && (Holds(section, found->VirtualAddress) || Holds(*found, section.VirtualAddress));
  });
  if (!isAlone) return std::nullopt;
  return ResourceSection(file, *found, headers.resources);
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
  const HeaderBytes bytes(file);
  const std::optional<Headers> headers = ReadHeaders(bytes);
  if (!headers || headers->resources == 0) return true;
  std::optional<ResourceSection> section = FindResources(file, ReadSections(bytes, *headers), *headers);
  if (!section) return false;
  return std::all_of(types.begin(), types.end(), [&](WORD type) {
    TypeWalk walk(*section, type);
    return walk.EachEntry(0, [&](const IMAGE_RESOURCE_DIRECTORY_ENTRY& entry) {
      const bool isAskedFor = entry.Name == type && (entry.OffsetToData & kHighBit) != 0;
      return !isAskedFor || walk.IsSound(entry.OffsetToData & ~kHighBit);
    });
  });
}
