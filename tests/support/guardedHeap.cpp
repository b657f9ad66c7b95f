#include "tests/support/guardedHeap.h"

#include "lib/misc/noDestructor.h"

#include "tests/support/importTable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <deque>
#include <limits>
#include <string_view>

namespace quarry::test {
namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kAlignment = 16;
constexpr std::size_t kPages = std::size_t{1} << 25;  // of the address space: 128 GB
constexpr int kFresh = 0xCD;
constexpr std::uint8_t kPadding = 0xFD;

[[noreturn]] void End(const char* reason) {
  std::fprintf(stderr, "guarded heap: %s\n", reason);
  std::fflush(stderr);
  TerminateProcess(GetCurrentProcess(), 3);
  std::abort();
}

/// The run time's own functions, behind all replaced imports.
template <typename Function>
Function* Genuine(const char* name) {
  return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"msvcrt.dll"), name)));
}

/// Not the standard library's, which allocates at its first use.
class Lock {
 public:
  explicit Lock(SRWLOCK& lock) : lock_(lock) { AcquireSRWLockExclusive(&lock_); }
  ~Lock() { ReleaseSRWLockExclusive(&lock_); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  SRWLOCK& lock_;
};

/// Hands out pages one after the other. Knows the size of each block by the number of its first page.
class GuardedHeap {
 public:
  GuardedHeap()
      : pages_(static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kPages * kPage, MEM_RESERVE, PAGE_NOACCESS))),
        sizes_(static_cast<std::size_t*>(
            VirtualAlloc(nullptr, kPages * sizeof(std::size_t), MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE))) {
    if (pages_ == nullptr || sizes_ == nullptr) End("no address space");
  }

  bool Holds(const void* block) const {
    return block >= pages_ && static_cast<const std::uint8_t*>(block) < pages_ + kPages * kPage;
  }

  void* Allocate(std::size_t size) {
    if (size > kPage * kPages / 2) return nullptr;
    const std::size_t padded = std::max((size + kAlignment - 1) / kAlignment * kAlignment, kAlignment);
    const std::size_t count = (padded + kPage - 1) / kPage;
    const Lock lock(lock_);
    if (next_ + count + 1 > kPages) End("address space used up");
    std::uint8_t* const start = pages_ + next_ * kPage;
    if (VirtualAlloc(start, count * kPage, MEM_COMMIT, PAGE_READWRITE) == nullptr) return nullptr;
    std::uint8_t* const block = start + count * kPage - padded;
    std::memset(block, kFresh, size);
    std::memset(block + size, kPadding, padded - size);
    sizes_[next_] = size + 1;
    next_ += count + 1;
    return block;
  }

  std::size_t SizeOf(void* block) const {
    const std::size_t size = sizes_[PageOf(block)];
    if (size == 0) End("freed twice, or never allocated");
    return size - 1;
  }

  void Free(void* block) {
    const Lock lock(lock_);
    const std::size_t size = SizeOf(block);
    const std::size_t page = PageOf(block);
    const std::size_t offset = static_cast<std::size_t>(static_cast<std::uint8_t*>(block) - pages_) % kPage;
    const std::size_t count = (offset + size + kPage - 1) / kPage;
    const std::uint8_t* const end = pages_ + (page + std::max<std::size_t>(count, 1)) * kPage;
    if (!std::all_of(static_cast<std::uint8_t*>(block) + size, const_cast<std::uint8_t*>(end),
                     [](std::uint8_t byte) { return byte == kPadding; })) {
      End("written behind the end of a block");
    }
    sizes_[page] = 0;
    VirtualFree(pages_ + page * kPage, static_cast<std::size_t>(end - pages_) - page * kPage, MEM_DECOMMIT);
  }

 private:
  std::size_t PageOf(const void* block) const {
    return static_cast<std::size_t>(static_cast<const std::uint8_t*>(block) - pages_) / kPage;
  }

  std::uint8_t* pages_;
  std::size_t* sizes_;
  std::size_t next_ = 0;
  SRWLOCK lock_ = SRWLOCK_INIT;
};

// Made before the first replaced call, and never destroyed: the run time frees until the process ends.
GuardedHeap* heap = nullptr;
void (*genuineFree)(void*) = nullptr;
std::size_t (*genuineSize)(void*) = nullptr;

void* Malloc(std::size_t size) { return heap->Allocate(size); }

void Free(void* block) {
  // Blocks from before, and those that the run time itself allocated.
  if (!heap->Holds(block)) return genuineFree(block);
  heap->Free(block);
}

void* Calloc(std::size_t count, std::size_t size) {
  if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) return nullptr;
  void* const block = Malloc(count * size);
  return block == nullptr ? nullptr : std::memset(block, 0, count * size);
}

void* Realloc(void* block, std::size_t size) {
  if (block == nullptr) return Malloc(size);
  void* const moved = Malloc(size);
  if (moved == nullptr) return nullptr;
  std::memcpy(moved, block, std::min(size, heap->Holds(block) ? heap->SizeOf(block) : genuineSize(block)));
  Free(block);
  return moved;
}

wchar_t* WideDuplicate(const wchar_t* text) {
  const std::size_t bytes = (std::wcslen(text) + 1) * sizeof(wchar_t);
  void* const copy = Malloc(bytes);
  return static_cast<wchar_t*>(copy == nullptr ? nullptr : std::memcpy(copy, text, bytes));
}

char* Duplicate(const char* text) {
  const std::size_t bytes = std::strlen(text) + 1;
  void* const copy = Malloc(bytes);
  return static_cast<char*>(copy == nullptr ? nullptr : std::memcpy(copy, text, bytes));
}

}  // namespace

void GuardHeapOf(HMODULE module) {
  const char* const wanted = std::getenv("QUARRY_GUARDED_HEAP");
  if (wanted == nullptr || std::string_view(wanted) != "1") return;
  // Never put back either: what was allocated here is freed to the end.
  static NoDestructor<std::deque<ReplacedImport>> replaced;
  if (heap == nullptr) {
    genuineFree = Genuine<void(void*)>("free");
    genuineSize = Genuine<std::size_t(void*)>("_msize");
    heap = new GuardedHeap;
  }
  const std::pair<std::string_view, void*> kFunctions[] = {
      {"malloc", reinterpret_cast<void*>(Malloc)},         {"calloc", reinterpret_cast<void*>(Calloc)},
      {"realloc", reinterpret_cast<void*>(Realloc)},       {"free", reinterpret_cast<void*>(Free)},
      {"_wcsdup", reinterpret_cast<void*>(WideDuplicate)}, {"_strdup", reinterpret_cast<void*>(Duplicate)}};
  for (const Import& import : ImportsOf(module)) {
    for (const auto& [name, function] : kFunctions) {
      if (import.function == name) replaced.get().emplace_back(import.slot, function);
    }
  }
}

}  // namespace quarry::test
