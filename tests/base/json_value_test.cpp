#include "base/json_value.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "platform/fake/exchange_driver.h"

namespace vicinix {
namespace {

TEST(JsonValueTest, MissingOrMistypedValuesReadAsDefaults) {
  auto reply = JsonValue::parse(R"({"data":{"n":"12","s":5,"b":1,"a":{"x":1},"o":[1]}})");
  auto data = reply["data"];
  EXPECT_EQ(data["n"].int64(), 0) << "a numeric string is not a number";
  EXPECT_EQ(data["s"].string(), "");
  EXPECT_FALSE(data["b"].boolean()) << "1 is not a Boolean";
  EXPECT_TRUE(data["a"].array().empty());
  EXPECT_FALSE(data["o"].isObject());
  EXPECT_TRUE(data["missing"]["deeper"][3].isNull());
  EXPECT_EQ(reply[0].string(), "") << "indexing an object";
}

TEST(JsonValueTest, NumbersAreTruncatedAndSaturated) {
  auto value = JsonValue::parse(
      R"([3600.9, -2.7, 1e300, -1e300, 18446744073709551615, 9223372036854775807])");
  EXPECT_EQ(value[0].int64(), 3600);
  EXPECT_EQ(value[1].int64(), -2);
  EXPECT_EQ(value[2].int64(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(value[3].int64(), std::numeric_limits<int64_t>::min());
  EXPECT_EQ(value[4].int64(), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(value[5].int64(), std::numeric_limits<int64_t>::max());
}

TEST(JsonValueTest, BytesThatAreNotJsonGiveNull) {
  for (const char* bytes : {"", "this is not json", "{\"a\":", "[1,2", "\xff\xfe"}) {
    EXPECT_TRUE(JsonValue::parse(bytes).isNull()) << bytes;
  }
}

// A reply nested 60,000 arrays deep once killed the host at every start:
// printing it for a diagnostic recursed once per level. Past the bound a
// reply is not JSON, and every handler takes its no-reply path.
TEST(JsonValueTest, DeepNestingIsNotJsonAndNoHandlerFallsOverIt) {
  auto nested = [](size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_TRUE(JsonValue::parse(nested(JsonValue::kMaxDepth)).isArray());
  EXPECT_TRUE(JsonValue::parse(nested(JsonValue::kMaxDepth + 1)).isNull());
  std::string text(300, '[');
  EXPECT_EQ(JsonValue::parse(R"([")" + text + R"(\""])")[0].string(), text + "\"")
      << "brackets inside strings do not count";

  FakeSdk env;
  ExchangeDriver driver(env);
  using Exchange = ExchangeDriver::Exchange;
  for (bool debugging : {false, true}) {
    env.sdk().setDebugging(debugging);
    for (Exchange exchange :
         {Exchange::configuration, Exchange::sdkConfiguration, Exchange::pullNotifications,
          Exchange::campaignRefresh, Exchange::eventUpload}) {
      driver.run(exchange, R"({"data":)" + nested(60000) + "}");
    }
  }
  EXPECT_EQ(env.http->requests().size(), 12u) << "each exchange asked, configure twice";
}

TEST(JsonValueTest, ChildrenOutliveTheirParentValue) {
  JsonValue child;
  {
    auto parent = JsonValue::parse(R"({"a":{"b":"kept"}})");
    child = parent["a"]["b"];
  }
  EXPECT_EQ(child.string(), "kept");
}

}  // namespace
}  // namespace vicinix
