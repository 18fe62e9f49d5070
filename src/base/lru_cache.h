#pragma once

#include <cstddef>
#include <functional>
#include <list>
#include <optional>
#include <unordered_map>
#include <utility>

namespace vicinix {

// A map that forgets its least recently used entries once the entries' costs
// add up to more than its capacity. Each entry's cost is given when it is put
// in (a row counts 1, a picture its bytes). An entry that costs more than the
// whole capacity is not kept. Not thread-safe: the owner serialises access.
template <class Key, class Value, class Hash = std::hash<Key>>
class LruCache {
 public:
  explicit LruCache(size_t capacity) : capacity_(capacity) {}

  // The value, now the most recently used; null when absent. Valid until the
  // next put() or erase().
  Value* find(const Key& key) {
    auto found = index_.find(key);
    if (found == index_.end()) return nullptr;
    entries_.splice(entries_.begin(), entries_, found->second);
    return &found->second->value;
  }

  // Puts `value` in place of any entry with the same key.
  void put(const Key& key, Value value, size_t cost) {
    erase(key);
    if (cost > capacity_) return;
    entries_.push_front({key, std::move(value), cost});
    index_.emplace(key, entries_.begin());
    used_ += cost;
    while (used_ > capacity_) {
      used_ -= entries_.back().cost;
      index_.erase(entries_.back().key);
      entries_.pop_back();
    }
  }

  void erase(const Key& key) {
    auto found = index_.find(key);
    if (found == index_.end()) return;
    used_ -= found->second->cost;
    entries_.erase(found->second);
    index_.erase(found);
  }

  void clear() {
    entries_.clear();
    index_.clear();
    used_ = 0;
  }

  size_t size() const { return entries_.size(); }
  // The costs of the entries kept, added up.
  size_t cost() const { return used_; }
  size_t capacity() const { return capacity_; }

 private:
  struct Entry {
    Key key;
    Value value;
    size_t cost;
  };

  size_t capacity_;
  size_t used_ = 0;
  std::list<Entry> entries_;
  std::unordered_map<Key, typename std::list<Entry>::iterator, Hash> index_;
};

}  // namespace vicinix
