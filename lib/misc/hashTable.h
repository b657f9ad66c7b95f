#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <new>
#include <utility>

enum class HashTableInsert { Inserted, AlreadyPresent, OutOfMemory };

/// A table of chained buckets for keys that std::hash knows. It never throws: what it cannot allocate, it reports. Its
/// memory is there from the first insertion to Free.
template <typename Key, typename Value>
class HashTable {
 public:
  /// The number of buckets is `minimumBuckets`, rounded up to a power of two, and never changes.
  explicit HashTable(std::size_t minimumBuckets) noexcept {
    while ((std::size_t{1} << bucketBits_) < minimumBuckets) ++bucketBits_;
  }
  HashTable(const HashTable&) = delete;
  HashTable& operator=(const HashTable&) = delete;
  ~HashTable() { Free(); }

  std::size_t Count() const noexcept { return count_; }

  /// A key that is present keeps its value.
  HashTableInsert Insert(const Key& key, const Value& value) noexcept {
    if (Find(key) != nullptr) return HashTableInsert::AlreadyPresent;
    if (buckets_ == nullptr) buckets_.reset(new (std::nothrow) Link[std::size_t{1} << bucketBits_]);
    Link node(new (std::nothrow) Node{key, value, nullptr});
    if (buckets_ == nullptr || node == nullptr) return HashTableInsert::OutOfMemory;
    Link& bucket = buckets_[BucketOf(key)];
    node->next = std::move(bucket);
    bucket = std::move(node);
    ++count_;
    return HashTableInsert::Inserted;
  }

  /// The key's value, valid until it is removed; null for an unknown key.
  Value* Find(const Key& key) noexcept {
    if (buckets_ == nullptr) return nullptr;
    Node* node = buckets_[BucketOf(key)].get();
    while (node != nullptr && !(node->key == key)) node = node->next.get();
    return node == nullptr ? nullptr : &node->value;
  }

  /// Calls `visit(key, value)` for each entry, in no order, and removes those for which it answers true.
  template <typename Visit>
  void RemoveIf(const Visit& visit) {
    for (std::size_t index = 0; buckets_ != nullptr && index < std::size_t{1} << bucketBits_; ++index) {
      Link* link = &buckets_[index];
      while (*link != nullptr) {
        if (visit(std::as_const((*link)->key), (*link)->value)) {
          Unlink(*link);
        } else {
          link = &(*link)->next;
        }
      }
    }
  }

  /// Removes all entries and gives the memory back.
  void Free() noexcept {
    RemoveIf([](const Key&, Value&) { return true; });
    buckets_.reset();
  }

 private:
  struct Node;
  using Link = std::unique_ptr<Node>;
  struct Node {
    Key key;
    Value value;
    Link next;
  };

  void Unlink(Link& link) noexcept {
    link = std::move(link->next);
    --count_;
  }

  std::size_t BucketOf(const Key& key) const noexcept {
    if (bucketBits_ == 0) return 0;  // the shift below would be as wide as the number
    // Handles differ in their low bits only and std::hash may be the identity: 2^64 divided by the golden ratio spreads
    // them over the product's high bits.
    const std::uint64_t product = static_cast<std::uint64_t>(std::hash<Key>{}(key)) * 0x9E3779B97F4A7C15U;
    return static_cast<std::size_t>(product >> (64 - bucketBits_));
  }

  unsigned bucketBits_ = 0;
  std::size_t count_ = 0;
  std::unique_ptr<Link[]> buckets_;
};
