#include "events/event_manager.h"

#include <gtest/gtest.h>

#include "data/model/event_factory.h"
#include "data/model/event_table.h"
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
  env.http->replyWith(R"({"data":{"sdkCreateLog":"OK"}})");
  std::vector<int64_t> storedAtCompletion;
  EventManager::logAllEvents([&] { storedAtCompletion.push_back(stored()); });
  env.time->advance(milliseconds(100));
  EXPECT_EQ(env.http->requests().size(), 2u);
  EXPECT_EQ(storedAtCompletion, (std::vector<int64_t>{21, 0}));
  EXPECT_EQ(stored(), 0);
}

// Only a string at data.sdkCreateLog, even an empty one, means the backend
// took the events; anything else, or no reply, leaves them for next time.
TEST_F(EventManagerTest, OnlyAStringReplyClearsTheStore) {
  env.sdk().setDebugging(true);
  for (const char* reply : {R"({"data":{"sdkCreateLog":""}})", R"({"data":{"sdkCreateLog":null}})",
                            R"({"data":{"sdkCreateLog":["OK"]}})", R"({"data":{"sdkCreateLog":1}})",
                            R"({"errors":[{"message":"Syntax Error"}]})", "this is not json", ""}) {
    EventFactory::shared().deleteAllEvents();
    record(3);
    if (*reply) {
      env.http->replyWith(reply);
    } else {  // the request itself failed
      env.http->setResponder([](const HttpRequest&) {
        return HttpResponse{.error = "Timeout was reached", .status = 0, .body = {}};
      });
    }
    int completions = 0;
    EventManager::logAllEvents([&] { ++completions; });
    env.time->advance(milliseconds(50));
    EXPECT_EQ(completions, 1) << reply;
    EXPECT_EQ(stored(), reply == std::string(R"({"data":{"sdkCreateLog":""}})") ? 0 : 3) << reply;
  }
  auto lines = env.log->debugLines();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), "Events logged sucessfully..."), 1);
}

// An accepted batch deletes every event the upload read, those of a refused
// batch included, but never one recorded after the read: it was not sent.
TEST_F(EventManagerTest, AnAcceptedUploadDeletesWhatItReadAndNothingRecordedSince) {
  record(25);
  int replies = 0;
  env.http->setResponder([&](const HttpRequest&) {
    return HttpResponse{.error = {},
                        .status = 200,
                        .body = ++replies == 1 ? R"({"data":{"sdkCreateLog":null}})"
                                               : R"({"data":{"sdkCreateLog":"OK"}})"};
  });
  EventManager::logAllEvents([] {});
  EventFactory::shared().create(EventType::notification, "c1");  // during the upload
  env.time->advance(milliseconds(50));
  auto left = EventTable(*EventFactory::shared().realm()).all();
  ASSERT_EQ(left.size(), 1u);
  EXPECT_EQ(left[0].campaignId, "c1");
}

}  // namespace
}  // namespace vicinix
