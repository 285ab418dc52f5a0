#include "platform/log/Log.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

namespace takebox {
namespace {

TEST(Log, writesWhatReceiveThreadsHandOverBeforeTheNextLine) {
    test::LogCapture log;
    logFromReceiveThread("frame %d", 7);
    pollfd news{receiveThreadLogDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&news, 1, 0), 1);
    logMessage("stopped");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{"frame 7", "stopped"}));
    EXPECT_EQ(poll(&news, 1, 0), 0);
}

TEST(Log, keepsAMessageOnOneLineWhateverItsNamesHold) {
    test::LogCapture log;
    logFromReceiveThread("Deck: lost at %s", "1\r2");
    logMessage("recording \"%s\" ended", "x\ny \x1b[2J\tB\xC3\xA4nd\x7f");
    logMessage("recording \"%s\" ended",
               "\xC2\x9B"
               "2J\xC2\x85z\xC2\xA0\xC3\x9B");
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "Deck: lost at 1 2", "recording \"x y  [2J B\xC3\xA4nd \" ended",
                               "recording \"  2J  z\xC2\xA0\xC3\x9B\" ended"}));
}

TEST(Log, cutsTheLinesOfReceiveThreadsOnly) {
    test::LogCapture log;
    const std::string longLine(1000, 'x');
    logFromReceiveThread("%s", longLine.c_str());
    logMessage("%s", longLine.c_str());
    EXPECT_EQ(log.lines(), (std::vector<std::string>{std::string(200, 'x'), longLine}));
}

TEST(Log, countsTheLinesThatFindNoRoom) {
    test::LogCapture log;
    for (int i = 0; i < 1030; ++i) {
        logFromReceiveThread("line %d", i);
    }
    const auto lines = log.lines();
    ASSERT_EQ(lines.size(), 1025U);
    EXPECT_EQ(lines[1023], "line 1023");
    EXPECT_EQ(lines[1024], "6 log lines were lost");
    logFromReceiveThread("again");
    EXPECT_EQ(log.lines().back(), "again") << "there is room now";
}

TEST(Log, keepsEachLineOfThreadsThatWriteAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kLines = 20000;
    test::LogCapture log;
    std::atomic<int> running{kThreads};
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread, &running] {
            for (int line = 0; line < kLines; ++line) {
                logFromReceiveThread("%d %d", thread, line);
            }
            --running;
        });
    }
    while (running > 0) {
        drainReceiveThreadLog();
    }
    threads.clear();
    std::array<int, kThreads> next{};
    long long kept = 0;
    long long lost = 0;
    for (const std::string& line : log.lines()) {
        int thread = 0;
        int number = 0;
        if (line.ends_with(" log lines were lost")) {
            lost += std::stoll(line);
        } else {
            ASSERT_EQ(std::sscanf(line.c_str(), "%d %d", &thread, &number), 2) << line;
            ASSERT_GE(number, next.at(static_cast<std::size_t>(thread))) << "in their order";
            next.at(static_cast<std::size_t>(thread)) = number + 1;
            ++kept;
        }
    }
    EXPECT_EQ(kept + lost, kThreads * kLines);
}

}  // namespace
}  // namespace takebox
