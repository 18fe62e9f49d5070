#include "platform/linux/service_uuid.h"

#include <gtest/gtest.h>

namespace vicinix {
namespace {

TEST(ServiceUUID, ReadsEveryFormAndWritesEachSidesForm) {
  struct Case {
    const char* text;
    const char* full;
    const char* shortForm;
    std::optional<uint16_t> uuid16;
  };
  for (const Case& c : {
           Case{"FEAA", "0000feaa-0000-1000-8000-00805f9b34fb", "FEAA", 0xfeaa},
           Case{"0000FEAA-0000-1000-8000-00805F9B34FB", "0000feaa-0000-1000-8000-00805f9b34fb",
                "FEAA", 0xfeaa},
           Case{"0000feaa", "0000feaa-0000-1000-8000-00805f9b34fb", "FEAA", 0xfeaa},
           Case{"1234abcd", "1234abcd-0000-1000-8000-00805f9b34fb", "1234ABCD", std::nullopt},
           // Not the base UUID, though its first bytes look 16-bit.
           Case{"0000feaa-0000-1000-8000-00805f9b34fc", "0000feaa-0000-1000-8000-00805f9b34fc",
                "0000FEAA-0000-1000-8000-00805F9B34FC", std::nullopt},
       }) {
    auto uuid = ServiceUUID::parse(c.text);
    ASSERT_TRUE(uuid) << c.text;
    EXPECT_EQ(uuid->fullText(), c.full) << c.text;
    EXPECT_EQ(uuid->shortText(), c.shortForm) << c.text;
    EXPECT_EQ(uuid->uuid16(), c.uuid16) << c.text;
  }
  EXPECT_EQ(ServiceUUID::from16(0xfeaa), ServiceUUID::parse("FEAA"));
}

TEST(ServiceUUID, RefusesWhatIsNoUUID) {
  for (const char* text :
       {"", "FEA", "FEAAA", "FEAG", "0000feaa-0000-1000-8000-00805f9b34f",
        "0000feaa00000-1000-8000-00805f9b34fb", "0000feaa-0000-1000-8000-00805f9b34fbb"}) {
    EXPECT_FALSE(ServiceUUID::parse(text)) << text;
  }
}

}  // namespace
}  // namespace vicinix
