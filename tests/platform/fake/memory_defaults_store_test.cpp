#include "platform/fake/memory_defaults_store.h"

#include <gtest/gtest.h>

#include "platform/defaults_store_conformance.h"

namespace vicinix::conformance {
namespace {

// Memory is all there is: a "later process" reads the same store.
struct MemoryDefaultsHarness {
  std::shared_ptr<DefaultsStore> store = std::make_shared<MemoryDefaultsStore>();
  std::shared_ptr<DefaultsStore> reopen() { return store; }
};

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Memory, DefaultsStoreConformance, MemoryDefaultsHarness);

}  // namespace vicinix::conformance
