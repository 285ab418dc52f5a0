#include <gtest/gtest.h>

#include <vector>

#include "platform/runloop/Clock.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

struct SystemClockTest : ::testing::Test {
    Clock& clock = Clock::system();
    std::vector<Clock::Timer> timers;

    ~SystemClockTest() override {
        for (const Clock::Timer timer : timers) {
            clock.cancel(timer);
        }
    }
};

TEST_F(SystemClockTest, runsAnActionOnce) {
    int runs = 0;
    int later = 0;
    clock.callLater(0.001, [&] { ++runs; });
    clock.callLater(0.02, [&] { ++later; });
    ASSERT_TRUE(test::waitUntil([&] { return later == 1; }));
    EXPECT_EQ(runs, 1);
}

TEST_F(SystemClockTest, runsActionsOfOneIntervalTogether) {
    int first = 0;
    int second = 0;
    timers.push_back(clock.callEvery(0.005, [&] { ++first; }));
    ASSERT_TRUE(test::waitUntil([&] { return first == 2; }));
    timers.push_back(clock.callEvery(0.005, [&] { ++second; }));
    const int before = first;
    ASSERT_TRUE(test::waitUntil([&] { return second >= 3; }));
    EXPECT_EQ(first - before, second);
}

TEST_F(SystemClockTest, letsActionsCancelThemselvesAndOthers) {
    int own = 0;
    int other = 0;
    int last = 0;
    timers.resize(3);
    timers[0] = clock.callEvery(0.003, [&] {
        ++own;
        clock.cancel(timers[1]);
        clock.cancel(timers[0]);
    });
    timers[1] = clock.callEvery(0.003, [&] { ++other; });
    timers[2] = clock.callEvery(0.003, [&] { ++last; });
    ASSERT_TRUE(test::waitUntil([&] { return last == 3; }));
    EXPECT_EQ(own, 1);
    EXPECT_EQ(other, 0);
}

TEST_F(SystemClockTest, beginsAgainAfterTheLastActionIsCancelled) {
    int runs = 0;
    Clock::Timer only = 0;
    only = clock.callEvery(0.002, [&] {
        ++runs;
        clock.cancel(only);
        timers.push_back(clock.callEvery(0.002, [&] { ++runs; }));
    });
    EXPECT_TRUE(test::waitUntil([&] { return runs >= 4; }));
}

}  // namespace
}  // namespace takebox
