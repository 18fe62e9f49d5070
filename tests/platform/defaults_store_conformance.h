#pragma once

// What every DefaultsStore promises, run against each implementation. A
// harness type provides:
//   std::shared_ptr<DefaultsStore> store;
//   std::shared_ptr<DefaultsStore> reopen();  // what a later process would read

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "platform/defaults_store.h"

namespace vicinix::conformance {

using namespace std::chrono;

template <class Harness>
class DefaultsStoreConformance : public ::testing::Test {
 protected:
  Harness harness;
};

TYPED_TEST_SUITE_P(DefaultsStoreConformance);

TYPED_TEST_P(DefaultsStoreConformance, AbsentAndMistypedValuesReadAsDefaults) {
  DefaultsStore& store = *this->harness.store;
  EXPECT_EQ(store.integer("absent"), 0);
  EXPECT_FALSE(store.boolean("absent"));
  EXPECT_EQ(store.string("absent"), std::nullopt);
  EXPECT_EQ(store.date("absent"), std::nullopt);
  EXPECT_TRUE(store.stringArray("absent").empty());

  store.setString("text", "hello");
  store.setInteger("number", 7);
  EXPECT_TRUE(store.stringArray("text").empty());
  EXPECT_EQ(store.date("number"), std::nullopt);
  EXPECT_EQ(store.string("number"), "7");
  EXPECT_TRUE(store.stringArray("number").empty());
}

TYPED_TEST_P(DefaultsStoreConformance, EveryKindOfValueRoundTrips) {
  const Date when = sys_days{2024y / March / 1} + 8h + 15min + 2s + 517123us;
  const std::string awkward = "a & b < c > \"d\" 'e' \xC3\xBC \xF0\x9F\x93\xA1 \t tab";
  const std::vector<std::string> list{"one", "", awkward};
  auto fill = [&](DefaultsStore& store) {
    store.setInteger("negative", -5);
    store.setInteger("max", std::numeric_limits<int64_t>::max());
    store.setInteger("min", std::numeric_limits<int64_t>::min());
    store.set("real", 2.5);
    store.setBool("yes", true);
    store.setBool("no", false);
    store.setString("awkward", awkward);
    store.setString("empty", "");
    store.setStringArray("list", list);
    store.setStringArray("empty list", {});
    store.setDate("when", when);
  };
  auto check = [&](const DefaultsStore& store) {
    EXPECT_EQ(store.integer("negative"), -5);
    EXPECT_EQ(store.integer("max"), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(store.integer("min"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(store.object("real"), DefaultsValue(2.5));
    EXPECT_TRUE(store.boolean("yes"));
    EXPECT_EQ(store.object("no"), DefaultsValue(false));
    EXPECT_EQ(store.string("awkward"), awkward);
    EXPECT_EQ(store.string("empty"), "");
    EXPECT_EQ(store.stringArray("list"), list);
    EXPECT_EQ(store.object("empty list"), DefaultsValue(std::vector<std::string>{}));
  };
  DefaultsStore& store = *this->harness.store;
  fill(store);
  check(store);
  EXPECT_EQ(store.date("when"), when);  // to the microsecond while in memory

  ASSERT_TRUE(store.synchronize());
  auto reopened = this->harness.reopen();
  check(*reopened);
  // Property-list XML keeps dates to the second.
  ASSERT_TRUE(reopened->date("when").has_value());
  EXPECT_EQ(floor<seconds>(*reopened->date("when")), floor<seconds>(when));
  EXPECT_EQ(reopened->snapshot().size(), 11u);
}

TYPED_TEST_P(DefaultsStoreConformance, SetReplacesAndRemoveForgets) {
  DefaultsStore& store = *this->harness.store;
  store.setInteger("key", 1);
  store.setString("key", "replaced");
  store.setBool("gone", true);
  store.remove("gone");
  store.remove("never there");
  EXPECT_EQ(store.snapshot(), (std::map<std::string, DefaultsValue>{{"key", "replaced"}}));

  ASSERT_TRUE(store.synchronize());
  EXPECT_EQ(this->harness.reopen()->snapshot(),
            (std::map<std::string, DefaultsValue>{{"key", "replaced"}}));
}

TYPED_TEST_P(DefaultsStoreConformance, ConcurrentWritersAndSynchronizeLoseNothing) {
  DefaultsStore& store = *this->harness.store;
  std::vector<std::thread> writers;
  for (int t = 0; t < 4; ++t) {
    writers.emplace_back([&, t] {
      for (int i = 0; i < 25; ++i) {
        store.setInteger("t" + std::to_string(t) + "-" + std::to_string(i), i);
        if (i % 10 == 0) store.synchronize();
        (void)store.snapshot();
      }
    });
  }
  for (auto& writer : writers) writer.join();
  ASSERT_TRUE(store.synchronize());
  EXPECT_EQ(this->harness.reopen()->snapshot().size(), 100u);
}

REGISTER_TYPED_TEST_SUITE_P(DefaultsStoreConformance, AbsentAndMistypedValuesReadAsDefaults,
                            EveryKindOfValueRoundTrips, SetReplacesAndRemoveForgets,
                            ConcurrentWritersAndSynchronizeLoseNothing);

}  // namespace vicinix::conformance
