#ifndef BIX_CONTAINERS_H_
#define BIX_CONTAINERS_H_

/// The library's containers. They never own their elements.

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "bix/text.h"

namespace bix {

template <class T>
using SVector = std::vector<T>;

/// A doubly linked list of pointers, appended at the tail.
template <class T>
class MList {
 public:
  MList() = default;
  MList(const MList&) = delete;
  MList& operator=(const MList&) = delete;
  ~MList() { RemoveAll(); }

  int GetCount() const { return m_count; }
  bool IsEmpty() const { return m_count == 0; }
  void* GetHeadPosition() const { return m_head; }
  T GetNext(void*& position) const {
    Node* node = static_cast<Node*>(position);
    position = node->next;
    return node->element;
  }
  T GetAt(void* position) const { return static_cast<Node*>(position)->element; }
  void* Find(T element) const {
    for (Node* node = m_head; node != nullptr; node = node->next)
      if (node->element == element) return node;
    return nullptr;
  }

  void* AddTail(T element) {
    Node* node = new Node{nullptr, m_tail, element};
    (m_tail != nullptr ? m_tail->next : m_head) = node;
    m_tail = node;
    ++m_count;
    return node;
  }
  void RemoveAt(void* position) {
    Node* node = static_cast<Node*>(position);
    (node->previous != nullptr ? node->previous->next : m_head) = node->next;
    (node->next != nullptr ? node->next->previous : m_tail) = node->previous;
    delete node;
    --m_count;
  }
  void RemoveAll() {
    for (Node* node = m_head; node != nullptr;) {
      Node* next = node->next;
      delete node;
      node = next;
    }
    m_head = m_tail = nullptr;
    m_count = 0;
  }

 private:
  struct Node {
    Node* next;
    Node* previous;
    T element;
  };
  Node* m_head = nullptr;
  Node* m_tail = nullptr;
  int m_count = 0;
};

/// How a key type of MMap hashes: the whole hash, before it is reduced to a bucket.
template <class K>
struct MMapKey {
  using View = K;
  static K Make(K key) { return key; }
  static std::uint32_t Hash(const K& key) {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(key));
  }
};
template <>
struct MMapKey<unsigned> {
  using View = unsigned;
  static unsigned Make(unsigned key) { return key; }
  static std::uint32_t Hash(unsigned key) { return key; }
};
template <>
struct MMapKey<SString> {
  using View = std::string_view;
  static SString Make(std::string_view key) { return SString(std::string(key)); }
  static std::uint32_t Hash(std::string_view key) {
    std::uint32_t hash = 0;
    for (char byte : key) {
      if (byte == 0) break;
      hash = hash * 33 + static_cast<std::uint32_t>(static_cast<signed char>(byte));
    }
    return hash;
  }
};

/// A hash table with 31 chained buckets, walked bucket by bucket.
template <class K, class V>
class MMap {
 public:
  using KeyView = typename MMapKey<K>::View;

  MMap() = default;
  MMap(const MMap&) = delete;
  MMap& operator=(const MMap&) = delete;
  ~MMap() { RemoveAll(); }

  int GetCount() const { return m_count; }
  bool IsEmpty() const { return m_count == 0; }
  bool Lookup(const KeyView& key, V& value) const {
    if (m_buckets == nullptr) return false;
    const std::uint32_t hash = MMapKey<K>::Hash(key);
    for (Node* node = m_buckets[hash % kBucketCount]; node != nullptr; node = node->next) {
      if (node->hash == hash && node->key == key) {
        value = node->value;
        return true;
      }
    }
    return false;
  }
  void* GetStartPosition() const { return FirstFrom(0); }
  void GetNextAssoc(void*& position, K& key, V& value) const {
    Node* node = static_cast<Node*>(position);
    key = node->key;
    value = node->value;
    position = node->next != nullptr ? node->next : FirstFrom(node->hash % kBucketCount + 1);
  }

  V& operator[](const KeyView& key) {
    if (m_buckets == nullptr) m_buckets = new Node* [kBucketCount] {};
    const std::uint32_t hash = MMapKey<K>::Hash(key);
    Node** link = &m_buckets[hash % kBucketCount];
    for (; *link != nullptr; link = &(*link)->next)
      if ((*link)->hash == hash && (*link)->key == key) return (*link)->value;
    *link = new Node{nullptr, hash, MMapKey<K>::Make(key), V()};
    ++m_count;
    return (*link)->value;
  }
  bool RemoveKey(const KeyView& key) {
    if (m_buckets == nullptr) return false;
    const std::uint32_t hash = MMapKey<K>::Hash(key);
    for (Node** link = &m_buckets[hash % kBucketCount]; *link != nullptr; link = &(*link)->next) {
      Node* node = *link;
      if (node->hash != hash || !(node->key == key)) continue;
      *link = node->next;
      delete node;
      --m_count;
      return true;
    }
    return false;
  }
  void RemoveAll() {
    if (m_buckets == nullptr) return;
    for (std::uint32_t i = 0; i < kBucketCount; ++i) {
      for (Node* node = m_buckets[i]; node != nullptr;) {
        Node* next = node->next;
        delete node;
        node = next;
      }
    }
    delete[] m_buckets;
    m_buckets = nullptr;
    m_count = 0;
  }

 private:
  struct Node {
    Node* next;
    std::uint32_t hash;
    K key;
    V value;
  };
  static constexpr std::uint32_t kBucketCount = 31;

  Node* FirstFrom(std::uint32_t bucket) const {
    if (m_buckets == nullptr) return nullptr;
    for (; bucket < kBucketCount; ++bucket)
      if (m_buckets[bucket] != nullptr) return m_buckets[bucket];
    return nullptr;
  }

  Node** m_buckets = nullptr;
  int m_count = 0;
};

}  // namespace bix

#endif  // BIX_CONTAINERS_H_
