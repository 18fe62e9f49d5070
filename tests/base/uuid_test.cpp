#include "base/uuid.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>

namespace vicinix {
namespace {

TEST(UuidTest, CanonicalUpperCaseVersionFourAndUnique) {
  const std::regex canonical("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}");
  std::set<std::string> seen;
  for (int n = 0; n < 1000; ++n) {
    std::string id = makeUuidString();
    EXPECT_TRUE(std::regex_match(id, canonical)) << id;
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace vicinix
