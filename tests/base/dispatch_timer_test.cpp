#include "base/dispatch_timer.h"

#include <gtest/gtest.h>

#include "platform/fake/fake_sdk.h"

namespace vicinix {
namespace {

using std::chrono::milliseconds;

class DispatchTimerTest : public ::testing::Test {
 protected:
  FakeSdk env;
  std::shared_ptr<DispatchQueue> queue = env.time->makeSerialQueue("timer-test");
  std::vector<Duration> firings;

  DispatchTimer::Block record() {
    return [this](DispatchTimer&) { firings.push_back(env.time->elapsed()); };
  }
};

TEST_F(DispatchTimerTest, ZeroDelayFiresOnceWhenTheQueueRunsAndIsThenSpent) {
  auto timer = DispatchTimer::scheduledDispatchTimer(0, queue, record());
  EXPECT_TRUE(firings.empty());
  env.time->runUntilIdle();
  EXPECT_TRUE(timer->isCancelled());
  timer->reschedule();
  env.time->advance(milliseconds(100));
  EXPECT_EQ(firings, std::vector<Duration>{Duration::zero()});
}

TEST_F(DispatchTimerTest, RescheduleMovesTheSingleFiringToTheLaterDeadline) {
  auto timer = DispatchTimer::scheduledDispatchTimer(15, queue, record());
  env.time->advance(milliseconds(10000));
  timer->reschedule();
  env.time->advance(milliseconds(3000));
  timer->reschedule();
  env.time->advance(milliseconds(60000));
  EXPECT_EQ(firings, std::vector<Duration>{milliseconds(28000)});
}

TEST_F(DispatchTimerTest, CancelledTimerNeverRunsItsBlock) {
  auto timer = DispatchTimer::scheduledDispatchTimer(1, queue, record());
  env.time->advance(milliseconds(999));
  timer->cancel();
  env.time->advance(milliseconds(5000));
  EXPECT_TRUE(firings.empty());
  timer->reschedule();
  env.time->advance(milliseconds(5000));
  EXPECT_TRUE(firings.empty()) << "a cancelled timer cannot be brought back";
}

TEST_F(DispatchTimerTest, UnscheduledAndSuspendedTimersWait) {
  DispatchTimer idle(0.5, queue, record());
  env.time->advance(milliseconds(2000));
  EXPECT_TRUE(firings.empty()) << "created timers do not start by themselves";

  auto timer = DispatchTimer::scheduledDispatchTimer(1, queue, record());
  timer->suspend();
  env.time->advance(milliseconds(3000));
  EXPECT_TRUE(firings.empty());
  timer->resume();
  env.time->runUntilIdle();
  EXPECT_EQ(firings, std::vector<Duration>{milliseconds(5000)}) << "overdue fires on resume";

  // A wall clock set an hour ahead while it waited leaves the deadline alone.
  timer = DispatchTimer::scheduledDispatchTimer(2, queue, record());
  timer->suspend();
  env.time->setNow(env.time->now() + std::chrono::hours(1));
  timer->resume();
  env.time->advance(milliseconds(3000));
  EXPECT_EQ(firings, (std::vector<Duration>{milliseconds(5000), milliseconds(7000)}));
}

TEST_F(DispatchTimerTest, BlockMayReleaseItsOwnTimer) {
  std::unique_ptr<DispatchTimer> timer;
  bool ran = false;
  timer = DispatchTimer::scheduledDispatchTimer(1, queue, [&](DispatchTimer& self) {
    EXPECT_EQ(&self, timer.get());
    timer.reset();
    ran = true;
  });
  env.time->advance(milliseconds(1000));
  EXPECT_TRUE(ran);
}

}  // namespace
}  // namespace vicinix
