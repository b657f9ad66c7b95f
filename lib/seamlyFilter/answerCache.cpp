#include "lib/seamlyFilter/answerCache.h"

#include "lib/misc/hashTable.h"
#include "lib/misc/logEntry.h"

#include <utility>

namespace {

struct CacheNode {
  SeamlyFilterMatch match;
  bool used = true;
};

using Cache = HashTable<HWND, CacheNode>;

constexpr std::size_t kBuckets = 1024;

Cache& TheCache() {
  static Cache cache(kBuckets);
  return cache;
}

/// A host runs for months and windows come and go: their handles are many more than the windows of any moment.
void MakeRoom(Cache& cache) {
  while (cache.Count() >= kMaxCachedWindows) {
    cache.RemoveIf([](const HWND&, CacheNode& node) { return !std::exchange(node.used, false); });
  }
}

}  // namespace

std::optional<SeamlyFilterMatch> SeamlyFilterFindInCache(HWND window) {
  CacheNode* const node = TheCache().Find(window);
  if (node == nullptr) return std::nullopt;
  node->used = true;
  return node->match;
}

void SeamlyFilterAddToCache(HWND window, const SeamlyFilterMatch& match) {
  Cache& cache = TheCache();
  MakeRoom(cache);
  switch (cache.Insert(window, CacheNode{match})) {
    case HashTableInsert::Inserted:
      return;
    case HashTableInsert::AlreadyPresent:  // not by SeamlyFilter_FindMatchingRule, which looks here first
      LogEntry(__func__, "'%x' already present in hashtable.\n",
               static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(window)));
      return;
    case HashTableInsert::OutOfMemory:
      LogEntry(__func__, "unable to allocate cache node.\n");
      return;
  }
}

void SeamlyFilterPurgeCache() {
  LogEntry(__func__, "cleaning up the cache hashtable.\n");
  TheCache().Free();
}
