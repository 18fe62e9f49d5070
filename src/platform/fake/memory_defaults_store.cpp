#include "platform/fake/memory_defaults_store.h"

namespace vicinix {

std::optional<DefaultsValue> MemoryDefaultsStore::object(const std::string& key) const {
  std::lock_guard lock(mutex_);
  auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

void MemoryDefaultsStore::set(const std::string& key, DefaultsValue value) {
  std::lock_guard lock(mutex_);
  values_[key] = std::move(value);
}

void MemoryDefaultsStore::remove(const std::string& key) {
  std::lock_guard lock(mutex_);
  values_.erase(key);
}

std::map<std::string, DefaultsValue> MemoryDefaultsStore::snapshot() const {
  std::lock_guard lock(mutex_);
  return values_;
}

bool MemoryDefaultsStore::synchronize() {
  std::lock_guard lock(mutex_);
  ++synchronizeCount_;
  return true;
}

int MemoryDefaultsStore::synchronizeCount() const {
  std::lock_guard lock(mutex_);
  return synchronizeCount_;
}

}  // namespace vicinix
