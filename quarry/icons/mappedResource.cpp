#include "quarry/icons/mappedResource.h"

#include <algorithm>
#include <optional>
#include <span>

namespace quarry {

namespace {

bool IsReadable(const MEMORY_BASIC_INFORMATION& region) {
  constexpr DWORD kUnreadable = PAGE_NOACCESS | PAGE_GUARD | PAGE_EXECUTE;
  return region.State == MEM_COMMIT && region.Type != MEM_PRIVATE && (region.Protect & kUnreadable) == 0;
}

std::optional<MEMORY_BASIC_INFORMATION> ReadableRegionAt(const void* address) {
  MEMORY_BASIC_INFORMATION region{};
  if (VirtualQuery(address, &region, sizeof(region)) == 0 || !IsReadable(region)) return std::nullopt;
  return region;
}

const std::uint8_t* EndOf(const MEMORY_BASIC_INFORMATION& region) {
  return static_cast<const std::uint8_t*>(region.BaseAddress) + region.RegionSize;
}

/// What can be read from `address` on within the one mapping of a file that holds it.
std::span<const std::uint8_t> MappedFrom(const void* address) {
  const auto first = ReadableRegionAt(address);
  if (!first) return {};
  const std::uint8_t* end = EndOf(*first);
  for (auto next = ReadableRegionAt(end); next && next->AllocationBase == first->AllocationBase;
       next = ReadableRegionAt(end)) {
    end = EndOf(*next);
  }
  return {static_cast<const std::uint8_t*>(address), end};
}

bool AreInOneMapping(const void* left, const void* right) {
  const auto leftRegion = ReadableRegionAt(left);
  const auto rightRegion = ReadableRegionAt(right);
  return leftRegion && rightRegion && leftRegion->AllocationBase == rightRegion->AllocationBase;
}

// A resource's handle is the address of its entry in the module's tables (PE Format, "Resource Data Entry"). The
// platform reads the entry and adds the offset in it without looking where either leads. The mapping is the entry's and
// not the module's: the system's own modules keep their icons in files beside them.
std::span<const std::uint8_t> MappedBytesOf(HMODULE module, HRSRC resource) {
  if (MappedFrom(resource).size() < sizeof(IMAGE_RESOURCE_DATA_ENTRY)) return {};
  const HGLOBAL loaded = LoadResource(module, resource);
  const void* const bytes = loaded != nullptr ? LockResource(loaded) : nullptr;
  if (bytes == nullptr || !AreInOneMapping(resource, bytes)) return {};
  return MappedFrom(bytes);
}

/// Through the system, for which a page that cannot be read is a failure and no exception (Microsoft Learn,
/// ReadProcessMemory).
std::vector<std::uint8_t> Copy(std::span<const std::uint8_t> mapped) {
  std::vector<std::uint8_t> bytes(mapped.size());
  SIZE_T count = 0;
  const BOOL isRead = ReadProcessMemory(GetCurrentProcess(), mapped.data(), bytes.data(), bytes.size(), &count);
  return isRead != FALSE && count == bytes.size() ? bytes : std::vector<std::uint8_t>();
}

}  // namespace

std::vector<std::uint8_t> CopyResourceStart(HMODULE module, HRSRC resource, std::size_t limit) {
  const std::span<const std::uint8_t> mapped = MappedBytesOf(module, resource);
  return Copy(mapped.first(std::min(mapped.size(), limit)));
}

std::vector<std::uint8_t> CopyResource(HMODULE module, HRSRC resource, std::size_t limit) {
  const std::span<const std::uint8_t> mapped = MappedBytesOf(module, resource);
  if (mapped.empty()) return {};
  const DWORD size = SizeofResource(module, resource);
  return size <= std::min(mapped.size(), limit) ? Copy(mapped.first(size)) : std::vector<std::uint8_t>();
}

}  // namespace quarry
