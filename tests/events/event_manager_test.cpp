#include "events/event_manager.h"

#include <gtest/gtest.h>

#include "data/model/event_factory.h"
#include "data/model/event_table.h"
#include "events/chunked.h"
#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

class EventManagerTest : public ::testing::Test {
 protected:
  FakeSdk env;

  void record(int count) {
    for (int n = 0; n < count; ++n) EventFactory::shared().create(EventType::appStarted);
  }
  int64_t stored() { return EventTable(*EventFactory::shared().realm()).count(); }
  void replyWith(const std::string& body) { env.http->replyWith(body); }
};

TEST_F(EventManagerTest, EmptyStoreCompletesAtOnceWithoutARequest) {
  env.sdk().setDebugging(true);
  int completions = 0;
  EventManager::logAllEvents([&] { ++completions; });
  EXPECT_EQ(completions, 1);
  EXPECT_TRUE(env.http->requests().empty());
  EXPECT_EQ(env.log->debugLines(), std::vector<std::string>{"No Events to Log..."});
}

TEST_F(EventManagerTest, CompletionRunsPerBatchAndBeforeTheStoreIsCleared) {
  record(21);
  replyWith(R"({"data":{"sdkCreateLog":"OK"}})");
  std::vector<int64_t> storedAtCompletion;
  EventManager::logAllEvents([&] { storedAtCompletion.push_back(stored()); });
  env.time->advance(milliseconds(100));
  EXPECT_EQ(env.http->requests().size(), 2u);
  EXPECT_EQ(storedAtCompletion, (std::vector<int64_t>{21, 0}));
  EXPECT_EQ(stored(), 0);
}

// Anything but a string at data.sdkCreateLog, or no reply at all, means the
// backend did not take the events, so they stay for the next upload.
TEST_F(EventManagerTest, OnlyAStringReplyClearsTheStore) {
  env.sdk().setDebugging(true);
  struct Case {
    const char* reply;
    bool cleared;
  };
  for (Case c : {Case{R"({"data":{"sdkCreateLog":""}})", true},
                 Case{R"({"data":{"sdkCreateLog":"OK"}})", true},
                 Case{R"({"data":{"sdkCreateLog":null}})", false},
                 Case{R"({"data":{"sdkCreateLog":["OK"]}})", false},
                 Case{R"({"data":{"sdkCreateLog":{"ok":true}}})", false},
                 Case{R"({"data":{"sdkCreateLog":1}})", false},
                 Case{R"({"errors":[{"message":"Syntax Error"}]})", false},
                 Case{"this is not json", false}, Case{nullptr, false}}) {
    EventFactory::shared().deleteAllEvents();
    record(3);
    if (c.reply) {
      replyWith(c.reply);
    } else {  // the request itself failed
      env.http->setResponder([](const HttpRequest&) {
        return HttpResponse{.error = "Timeout was reached", .status = 0, .body = {}};
      });
    }
    int completions = 0;
    EventManager::logAllEvents([&] { ++completions; });
    env.time->advance(milliseconds(50));
    std::string name = c.reply ? c.reply : "no reply";
    EXPECT_EQ(completions, 1) << name;
    EXPECT_EQ(stored(), c.cleared ? 0 : 3) << name;
  }
  auto lines = env.log->debugLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Events logged sucessfully..."), 2);
}

TEST_F(EventManagerTest, FirstAcceptedBatchClearsEventsRecordedMeanwhile) {
  record(25);
  int replies = 0;
  env.http->setResponder([&](const HttpRequest&) {
    ++replies;
    return HttpResponse{.error = {},
                        .status = 200,
                        .body = replies == 1 ? R"({"data":{"sdkCreateLog":null}})"
                                             : R"({"data":{"sdkCreateLog":"OK"}})"};
  });
  EventManager::logAllEvents([] {});
  env.time->advance(milliseconds(10));
  record(1);
  EXPECT_EQ(stored(), 26) << "a refused first batch clears nothing";
  env.time->advance(milliseconds(50));
  EXPECT_EQ(stored(), 0);
}

TEST(ChunkedTest, CutsInOrderWithTheRemainderLast) {
  std::vector<int> forty(40);
  for (int n = 0; n < 40; ++n) forty[n] = n;
  auto pieces = chunked(forty, 20);
  ASSERT_EQ(pieces.size(), 2u);
  EXPECT_EQ(pieces[1].front(), 20);
  EXPECT_TRUE(chunked(std::vector<int>{}, 20).empty());
  auto uneven = chunked(std::vector<int>{1, 2, 3, 4, 5}, 2);
  EXPECT_EQ(uneven, (std::vector<std::vector<int>>{{1, 2}, {3, 4}, {5}}));
}

}  // namespace
}  // namespace vicinix
