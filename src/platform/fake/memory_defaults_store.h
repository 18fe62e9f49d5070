#pragma once

#include <mutex>

#include "platform/defaults_store.h"

namespace vicinix {

// Settings kept in memory only; counts synchronize() calls for tests.
class MemoryDefaultsStore final : public DefaultsStore {
 public:
  std::optional<DefaultsValue> object(const std::string& key) const override;
  void set(const std::string& key, DefaultsValue value) override;
  void remove(const std::string& key) override;
  std::map<std::string, DefaultsValue> snapshot() const override;
  bool synchronize() override;

  int synchronizeCount() const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, DefaultsValue> values_;
  int synchronizeCount_ = 0;
};

}  // namespace vicinix
