#include "tests/support/resourceCounts.h"

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

namespace quarry::test {
namespace {

// GetProcessHandleCount and GetGuiResources answer 0 under Wine, so the counts are taken from where these functions
// have theirs. The layouts are the documented ones of the native API (SystemExtendedHandleInformation) and of the GDI
// handle table that the process environment block points to.
constexpr ULONG kExtendedHandleInformation = 64;
constexpr LONG kLengthMismatch = static_cast<LONG>(0xC0000004);

struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR handle;
  ULONG grantedAccess;
  USHORT creatorBackTraceIndex;
  USHORT objectTypeIndex;
  ULONG attributes;
  ULONG reserved;
};
struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry first;
};

struct GdiEntry {
  std::uint64_t object;
  std::uint32_t owner;
  std::uint16_t unique;
  std::uint8_t type;
  std::uint8_t flags;
  std::uint64_t userPointer;
};
constexpr std::size_t kGdiTableOffset = 0xF8;  // in the process environment block of a 64-bit process

template <typename Function>
Function* NativeFunction(const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
}

std::vector<std::uint8_t> QueryHandleList() {
  static auto* const query = NativeFunction<LONG WINAPI(ULONG, void*, ULONG, ULONG*)>("NtQuerySystemInformation");
  std::vector<std::uint8_t> list(1 << 20);
  while (query(kExtendedHandleInformation, list.data(), static_cast<ULONG>(list.size()), nullptr) == kLengthMismatch) {
    list.resize(list.size() * 2);
  }
  return list;
}

std::size_t CountHandles() {
  const std::vector<std::uint8_t> list = QueryHandleList();
  ULONG_PTR count = 0;
  std::memcpy(&count, list.data(), sizeof(count));
  std::size_t own = 0;
  for (ULONG_PTR index = 0; index < count; ++index) {
    HandleEntry entry{};
    std::memcpy(&entry, list.data() + offsetof(HandleList, first) + index * sizeof(entry), sizeof(entry));
    if (entry.processId == GetCurrentProcessId()) ++own;
  }
  return own;
}

const std::uint8_t* ProcessEnvironmentBlock() {
  static auto* const query =
      NativeFunction<LONG WINAPI(HANDLE, ULONG, void*, ULONG, ULONG*)>("NtQueryInformationProcess");
  constexpr ULONG kBasicInformation = 0;
  PROCESS_BASIC_INFORMATION information{};
  query(GetCurrentProcess(), kBasicInformation, &information, sizeof(information), nullptr);
  return reinterpret_cast<const std::uint8_t*>(information.PebBaseAddress);
}

std::size_t CountGdiObjects() {
  const DWORD counted = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS);
  if (counted != 0) return counted;
  const auto* const table = *reinterpret_cast<const std::uint8_t* const*>(ProcessEnvironmentBlock() + kGdiTableOffset);
  MEMORY_BASIC_INFORMATION region{};
  if (table == nullptr || VirtualQuery(table, &region, sizeof(region)) == 0) return 0;
  std::size_t live = 0;
  for (std::size_t offset = 0; offset + sizeof(GdiEntry) <= region.RegionSize; offset += sizeof(GdiEntry)) {
    GdiEntry entry{};
    std::memcpy(&entry, table + offset, sizeof(entry));
    if (entry.type != 0) ++live;
  }
  return live;
}

std::size_t CountBusyBytes(HANDLE heap) {
  if (!HeapLock(heap)) return 0;
  std::size_t bytes = 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
  }
  HeapUnlock(heap);
  return bytes;
}

std::size_t CountHeapBytes() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr) + 8);
  heaps.resize(std::min<std::size_t>(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()), heaps.size()));
  return std::transform_reduce(heaps.begin(), heaps.end(), std::size_t{0}, std::plus<>(), CountBusyBytes);
}

std::ptrdiff_t Difference(std::size_t after, std::size_t before) {
  return static_cast<std::ptrdiff_t>(after) - static_cast<std::ptrdiff_t>(before);
}

}  // namespace

ResourceCounts ResourceCounts::Now() { return {CountHandles(), CountGdiObjects(), CountHeapBytes()}; }

ResourceGrowth operator-(const ResourceCounts& after, const ResourceCounts& before) {
  return {Difference(after.handles, before.handles), Difference(after.gdiObjects, before.gdiObjects),
          Difference(after.heapBytes, before.heapBytes)};
}

ResourceGrowth GrowthOf(const std::function<void()>& operation, int times) {
  operation();
  operation();
  const ResourceCounts before = ResourceCounts::Now();
  for (int run = 0; run < times; ++run) operation();
  return ResourceCounts::Now() - before;
}

}  // namespace quarry::test
