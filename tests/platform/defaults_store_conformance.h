#pragma once

// What every DefaultsStore promises, run against each implementation. A
// harness type provides:
//   std::shared_ptr<DefaultsStore> store;
//   std::shared_ptr<DefaultsStore> reopen();  // what a later process would read

#include <gtest/gtest.h>

#include <chrono>
#include <limits>
#include <string>
#include <vector>

#include "platform/defaults_store.h"

namespace vicinix::conformance {

using namespace std::chrono;

template <class Harness>
class DefaultsStoreConformance : public ::testing::Test {
 protected:
  Harness harness;
  DefaultsStore& store = *harness.store;
};

TYPED_TEST_SUITE_P(DefaultsStoreConformance);

TYPED_TEST_P(DefaultsStoreConformance, AbsentAndMistypedValuesReadAsDefaults) {
  this->store.setString("text", "hello");
  this->store.setInteger("number", 7);
  for (const char* key : {"absent", "text", "number"}) {
    EXPECT_TRUE(this->store.stringArray(key).empty()) << key;
    EXPECT_EQ(this->store.date(key), std::nullopt) << key;
  }
  EXPECT_EQ(this->store.integer("absent"), 0);
  EXPECT_FALSE(this->store.boolean("absent"));
  EXPECT_EQ(this->store.string("absent"), std::nullopt);
  EXPECT_EQ(this->store.string("number"), "7");
}

TYPED_TEST_P(DefaultsStoreConformance, ValuesOfEveryKindReachALaterStore) {
  const std::string awkward = "a & b < c > \"d\" 'e' \xC3\xBC \xF0\x9F\x93\xA1 \t tab";
  const std::vector<std::string> list{"one", "", awkward};
  const std::map<std::string, DefaultsValue> values = {{"negative", int64_t{-5}},
                                                       {"max", std::numeric_limits<int64_t>::max()},
                                                       {"real", 2.5},
                                                       {"yes", true},
                                                       {"no", false},
                                                       {"awkward", awkward},
                                                       {"empty", std::string()},
                                                       {"list", list},
                                                       {"empty list", std::vector<std::string>{}}};
  const Date when = sys_days{2024y / March / 1} + 8h + 15min + 2s + 517123us;
  this->store.setBool("removed", true);
  this->store.setString("negative", "replaced");
  for (const auto& [key, value] : values) this->store.set(key, value);
  this->store.remove("removed");
  this->store.setDate("when", when);
  EXPECT_EQ(this->store.date("when"), when);  // to the microsecond while in memory
  ASSERT_TRUE(this->store.synchronize());

  auto later = this->harness.reopen();
  EXPECT_EQ(later->integer("negative"), -5);
  EXPECT_EQ(later->stringArray("list"), list);
  // Property-list XML keeps dates to the second.
  ASSERT_TRUE(later->date("when").has_value());
  EXPECT_EQ(floor<seconds>(*later->date("when")), floor<seconds>(when));
  auto snapshot = later->snapshot();
  snapshot.erase("when");
  EXPECT_EQ(snapshot, values);
}

REGISTER_TYPED_TEST_SUITE_P(DefaultsStoreConformance, AbsentAndMistypedValuesReadAsDefaults,
                            ValuesOfEveryKindReachALaterStore);

}  // namespace vicinix::conformance
