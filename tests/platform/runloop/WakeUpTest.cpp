#include "platform/runloop/WakeUp.h"

#include <gtest/gtest.h>

#include <thread>

namespace takebox {
namespace {

constexpr std::int64_t kHour = 3'600'000'000'000;
constexpr std::int64_t kMoment = 20'000'000;

TEST(WakeUpTest, sleepsUntilItsTime) {
    WakeUp wakeUp;
    const std::int64_t end = WakeUp::now() + kMoment;
    EXPECT_FALSE(wakeUp.waitUntil(end));
    EXPECT_GE(WakeUp::now(), end);
}

TEST(WakeUpTest, doesNotSleepWhenItsTimeIsPast) {
    WakeUp wakeUp;
    const std::int64_t begin = WakeUp::now();
    EXPECT_FALSE(wakeUp.waitUntil(begin - kHour));
    EXPECT_LT(WakeUp::now() - begin, kHour / 60);
}

TEST(WakeUpTest, aSignalBeforeTheWaitEndsItAtOnce) {
    WakeUp wakeUp;
    wakeUp.signal();
    EXPECT_TRUE(wakeUp.waitUntil(WakeUp::now() + kHour));
    EXPECT_FALSE(wakeUp.waitUntil(WakeUp::now() + kMoment)) << "it was taken";
}

TEST(WakeUpTest, aSignalEndsTheSleepOfAnotherThread) {
    WakeUp wakeUp;
    bool isWoken = false;
    std::thread sleeper([&] {
        isWoken = wakeUp.waitUntil(WakeUp::now() + kHour);
        wakeUp.wait();
    });
    wakeUp.signal();
    wakeUp.signal();
    sleeper.join();
    EXPECT_TRUE(isWoken);
}

}  // namespace
}  // namespace takebox
