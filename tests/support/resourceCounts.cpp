#include "tests/support/resourceCounts.h"

#include <windows.h>

#include <winternl.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

namespace quarry::test {
namespace {

// GetProcessHandleCount and GetGuiResources answer 0 under Wine, so the counts are taken from where these functions
// have theirs. The layouts are the documented ones of the native API (SystemExtendedHandleInformation) and of the GDI
// handle table that a 64-bit process's environment block points to.

struct HandleEntry {
  void* object;
  ULONG_PTR processId;
  ULONG_PTR others[3];
};
struct HandleList {
  ULONG_PTR count;
  ULONG_PTR reserved;
  HandleEntry first;
};

std::ptrdiff_t CountHandles() {
  int extendedHandleInformation = 64;  // not a constant: the enumeration that it becomes one of has no name for it
  constexpr auto kLengthMismatch = static_cast<NTSTATUS>(0xC0000004);
  std::vector<HandleEntry> memory(20'000);
  const auto size = [&] { return static_cast<ULONG>(memory.size() * sizeof(HandleEntry)); };
  while (NtQuerySystemInformation(static_cast<SYSTEM_INFORMATION_CLASS>(extendedHandleInformation), memory.data(),
                                  size(), nullptr) == kLengthMismatch) {
    memory.resize(memory.size() * 2);
  }
  const auto* const list = reinterpret_cast<const HandleList*>(memory.data());
  return std::count_if(&list->first, &list->first + list->count,
                       [](const HandleEntry& entry) { return entry.processId == GetCurrentProcessId(); });
}

std::ptrdiff_t CountGdiObjects() {
  if (const DWORD counted = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS)) return static_cast<int>(counted);
  constexpr std::size_t kTable = 0xF8;
  constexpr std::size_t kEntrySize = 24;
  constexpr std::size_t kType = 14;  // 0 in an entry that is free
  PROCESS_BASIC_INFORMATION process{};
  NtQueryInformationProcess(GetCurrentProcess(), ProcessBasicInformation, &process, sizeof(process), nullptr);
  const std::uint8_t* table = nullptr;
  std::memcpy(&table, reinterpret_cast<const std::uint8_t*>(process.PebBaseAddress) + kTable, sizeof(table));
  MEMORY_BASIC_INFORMATION region{};
  if (table == nullptr || VirtualQuery(table, &region, sizeof(region)) == 0) return 0;
  std::ptrdiff_t live = 0;
  for (std::size_t offset = kType; offset < region.RegionSize; offset += kEntrySize) live += table[offset] != 0 ? 1 : 0;
  return live;
}

std::ptrdiff_t CountBusyBytes(HANDLE heap) {
  if (!HeapLock(heap)) return 0;
  std::ptrdiff_t bytes = 0;
  PROCESS_HEAP_ENTRY entry{};
  while (HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += static_cast<std::ptrdiff_t>(entry.cbData);
  }
  HeapUnlock(heap);
  return bytes;
}

std::ptrdiff_t CountHeapBytes() {
  std::vector<HANDLE> heaps(GetProcessHeaps(0, nullptr) + 8);
  heaps.resize(std::min<std::size_t>(GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data()), heaps.size()));
  return std::transform_reduce(heaps.begin(), heaps.end(), std::ptrdiff_t{0}, std::plus<>(), CountBusyBytes);
}

}  // namespace

ResourceCounts ResourceCounts::Now() { return {CountHandles(), CountGdiObjects(), CountHeapBytes()}; }

ResourceCounts operator-(const ResourceCounts& after, const ResourceCounts& before) {
  return {after.handles - before.handles, after.gdiObjects - before.gdiObjects, after.heapBytes - before.heapBytes};
}

void PrintTo(const ResourceCounts& counts, std::ostream* out) {
  *out << counts.handles << " handles, " << counts.gdiObjects << " GDI objects, " << counts.heapBytes << " bytes";
}

ResourceCounts GrowthOf(const std::function<void()>& operation, int times) {
  for (int run = 0; run < 3; ++run) operation();
  const ResourceCounts before = ResourceCounts::Now();
  for (int run = 0; run < times; ++run) operation();
  return ResourceCounts::Now() - before;
}

int Rounds(int brief, int soak) {
  const char* const wanted = std::getenv("QUARRY_SOAK");
  return wanted != nullptr && *wanted == '1' ? soak : brief;
}

}  // namespace quarry::test
