#include "remote/PlayoutSwitch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/time.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "ListeningSocket.h"
#include "TestRecorder.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "remote/SocketHandle.h"
#include "support/DescriptorLimit.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;
using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr char kHost[] = "127.0.0.1";

/// A playout system that serves one connection after the other until all expected ones have come.
class PlayoutSystem {
public:
    /// Does what it likes once the command has come.
    using Answer = std::function<void(int connection)>;

    explicit PlayoutSystem(Answer answer, int connections = 1)
        : mSocket(8), mThread([this, answer = std::move(answer), connections] {
              for (int i = 0; i < connections; ++i) {
                  serve(answer);
              }
          }) {}

    [[nodiscard]] std::uint16_t port() const { return mSocket.port(); }

    /// All that has been sent to it; waits for the connections to end.
    std::string received() {
        mThread.join();
        return mReceived;
    }

private:
    void serve(const Answer& answer) {
        const SocketHandle connection(accept(mSocket.get(), nullptr, nullptr));
        receive(connection.get(), 2);
        answer(connection.get());
        shutdown(connection.get(), SHUT_WR);
        receive(connection.get(), SIZE_MAX);
    }

    void receive(int connection, std::size_t count) {
        std::array<char, 100> bytes{};
        for (std::size_t got = 0; got < count;) {
            const ssize_t more = recv(connection, bytes.data(), bytes.size(), 0);
            if (more <= 0) {
                return;
            }
            mReceived.append(bytes.data(), static_cast<std::size_t>(more));
            got += static_cast<std::size_t>(more);
        }
    }

    ListeningSocket mSocket;
    std::string mReceived;
    std::thread mThread;
};

PlayoutSystem::Answer reply(const std::string& text) {
    return [text](int connection) { send(connection, text.data(), text.size(), MSG_NOSIGNAL); };
}

void resetConnection(int connection) {
    // Closes for good; the caller's own close() then fails, which nobody minds.
    const linger now{1, 0};
    setsockopt(connection, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    const SocketHandle nothing(socket(AF_INET, SOCK_STREAM, 0));
    dup2(nothing.get(), connection);
}

std::string printed(const std::function<void()>& action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// A port on which nobody listens.
std::uint16_t refusingPort() {
    return ListeningSocket(1).port();
}

TEST(TCPSwitch, sendsTwoBytesAndPrintsTheReply) {
    PlayoutSystem system(reply("OK done"));
    EXPECT_EQ(printed([&] { EXPECT_EQ(TCPSwitch(kHost, true, system.port()), 0); }),
              "successfully sent 2 bytes\nReceived 7 bytes:\n OK done\n");
    EXPECT_EQ(system.received(), "\x53\x4C");
}

TEST(TCPSwitch, sendsTheOtherCommandForOff) {
    PlayoutSystem system(reply("OK"));
    printed([&] { EXPECT_EQ(TCPSwitch("localhost", false, system.port()), 0); });
    EXPECT_EQ(system.received(), "SB");
}

TEST(TCPSwitch, succeedsWhateverTheReply) {
    PlayoutSystem system(reply("NO"));
    printed([&] { EXPECT_EQ(TCPSwitch(kHost, true, system.port()), 0); });
    system.received();
}

TEST(TCPSwitch, printsAtMost255BytesOfTheReply) {
    PlayoutSystem system(reply(std::string(300, 'x')));
    EXPECT_EQ(printed([&] { EXPECT_EQ(TCPSwitch(kHost, true, system.port()), 0); }),
              "successfully sent 2 bytes\nReceived 255 bytes:\n " + std::string(255, 'x') + "\n");
    system.received();
}

TEST(TCPSwitch, succeedsWhenTheConnectionIsReset) {
    PlayoutSystem system(resetConnection);
    EXPECT_EQ(printed([&] { EXPECT_EQ(TCPSwitch(kHost, true, system.port()), 0); }),
              "successfully sent 2 bytes\nread error");
    system.received();
}

TEST(TCPSwitch, failsWithoutAWordWhenTheConnectionIsRefused) {
    EXPECT_EQ(printed([] { EXPECT_EQ(TCPSwitch(kHost, true, refusingPort()), -1); }), "");
}

TEST(TCPSwitch, failsWhenTheAddressCannotBeResolved) {
    EXPECT_EQ(printed([] { EXPECT_EQ(TCPSwitch("", true), -1); }),
              "error resolving server address\n");
}

TEST(TCPSwitch, failsWithoutASocket) {
    EXPECT_EQ(printed([] {
                  const DescriptorLimit none(nextDescriptor());
                  EXPECT_EQ(TCPSwitch(kHost, true, 1), -1);
              }),
              "socket error");
}

TEST(TCPSwitch, waitsForASilentSystemUntilItClosesTheConnection) {
    std::promise<void> commandCame;
    std::promise<void> mayClose;
    PlayoutSystem system([&](int /*connection*/) {
        commandCame.set_value();
        mayClose.get_future().wait();
    });
    const std::string output = printed([&] {
        auto result =
            std::async(std::launch::async, [&] { return TCPSwitch(kHost, true, system.port()); });
        commandCame.get_future().wait();
        EXPECT_EQ(result.wait_for(milliseconds(0)), std::future_status::timeout);
        mayClose.set_value();
        EXPECT_EQ(result.get(), 0);
    });
    EXPECT_EQ(output, "successfully sent 2 bytes\n");
    system.received();
}

/// Sends the signal to the calling thread, as to one that has it blocked, while a silent system
/// keeps it waiting.
void callWhileToldToEnd(int number, const std::function<void(std::uint16_t port)>& call) {
    sigset_t signals;
    sigset_t before;
    sigemptyset(&signals);
    sigaddset(&signals, number);
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    const pthread_t caller = pthread_self();
    std::promise<void> mayClose;
    PlayoutSystem system([&](int /*connection*/) {
        pthread_kill(caller, number);
        mayClose.get_future().wait_for(std::chrono::seconds(60));
    });
    const auto start = SteadyClock::now();
    call(system.port());
    EXPECT_LT(SteadyClock::now() - start, std::chrono::seconds(30)) << number;
    mayClose.set_value();
    system.received();
    const timespec now{};
    EXPECT_EQ(sigtimedwait(&signals, nullptr, &now), number) << "left for who ends the program";
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(TCPSwitch, waitsNoLongerWhenTheProgramIsToEnd) {
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        LogCapture log;
        EXPECT_EQ(printed([number] {
                      callWhileToldToEnd(number, [](std::uint16_t port) {
                          EXPECT_EQ(TCPSwitch(kHost, true, port), 0);
                      });
                  }),
                  "successfully sent 2 bytes\n");
        EXPECT_EQ(log.count("Not waiting for the playout system: the program is to end"), 1);
    }
}

class PresenceReply : public ::testing::TestWithParam<std::pair<std::string, int>> {};

TEST_P(PresenceReply, decides) {
    PlayoutSystem system(reply(GetParam().first));
    printed([&] { EXPECT_EQ(TCPCheckIfPresent(kHost, system.port()), GetParam().second); });
    EXPECT_EQ(system.received(), "AT");
}

// No reply makes a system absent: it took the command.
INSTANTIATE_TEST_SUITE_P(TCPCheckIfPresent, PresenceReply,
                         ::testing::Values(std::pair("OK", 1), std::pair("NO", 1),
                                           std::pair("xK", 1), std::pair("N", 1),
                                           std::pair("", 1)));

TEST(TCPCheckIfPresent, printsTheReplyAsItCame) {
    PlayoutSystem system(reply("NK"));
    EXPECT_EQ(printed([&] { EXPECT_EQ(TCPCheckIfPresent(kHost, system.port()), 1); }),
              "Received 2 bytes:\n NK\n");
    system.received();
}

TEST(TCPCheckIfPresent, findsNothingWhenTheReplyCannotBeRead) {
    PlayoutSystem system(resetConnection);
    EXPECT_EQ(printed([&] { EXPECT_EQ(TCPCheckIfPresent(kHost, system.port()), 0); }),
              "read error");
    system.received();
}

TEST(TCPCheckIfPresent, findsNothingWhenTheConnectionIsRefused) {
    EXPECT_EQ(TCPCheckIfPresent(kHost, refusingPort()), 0);
}

/// Threads that wait in system calls, as the recorder's do, and count what interrupts them.
class WaitingThreads {
public:
    WaitingThreads() {
        for (int i = 0; i < 4; ++i) {
            mThreads.emplace_back([this](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    const timespec shortly{0, 2'000'000};
                    if (nanosleep(&shortly, nullptr) != 0) {
                        ++mInterruptions;
                    }
                }
            });
        }
    }
    [[nodiscard]] int interruptions() const { return mInterruptions; }

private:
    std::atomic<int> mInterruptions{0};
    std::vector<std::jthread> mThreads;
};

/// SIGALRM as the recorder has it, blocked before any thread starts; or not at all.
class AlarmMask {
public:
    explicit AlarmMask(int how) {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(how, &alarm, &mBefore);
    }
    ~AlarmMask() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    AlarmMask(const AlarmMask&) = delete;
    AlarmMask& operator=(const AlarmMask&) = delete;

    static bool isBlocked() {
        sigset_t now;
        pthread_sigmask(SIG_BLOCK, nullptr, &now);
        return sigismember(&now, SIGALRM) == 1;
    }

private:
    sigset_t mBefore{};
};

void connectToSilentAddress() {
    const SilentAddress silent;
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    const bool wasBlocked = AlarmMask::isBlocked();
    const auto start = SteadyClock::now();
    const int result = switch_connect_with_timeout(descriptor, silent.socketThere().address(),
                                                   ListeningSocket::length(), 2);
    const int error = errno;
    const auto time = SteadyClock::now() - start;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(error, ETIMEDOUT);
    EXPECT_GE(time, milliseconds(1900));
    EXPECT_LT(time, milliseconds(20000));  // the system itself would take minutes
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
    EXPECT_EQ(AlarmMask::isBlocked(), wasBlocked);
    itimerval left{};
    getitimer(ITIMER_REAL, &left);
    EXPECT_FALSE(timerisset(&left.it_value));
}

TEST(SwitchConnectWithTimeout, timesOutInAProcessWithManyThreads) {
    const AlarmMask mask(SIG_BLOCK);
    const WaitingThreads threads;
    connectToSilentAddress();
    EXPECT_EQ(threads.interruptions(), 0);
}

TEST(SwitchConnectWithTimeout, timesOutWhenTheSignalWasNotBlocked) {
    const AlarmMask mask(SIG_UNBLOCK);
    connectToSilentAddress();
}

TEST(SwitchConnectWithTimeout, timesOutForTheWholeSwitch) {
    const SilentAddress silent;
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(TCPSwitch(kHost, true, silent.socketThere().port()), -1);
                  EXPECT_EQ(errno, ETIMEDOUT);
              }),
              "");
}

TEST(SwitchConnectWithTimeout, restoresTheHandler) {
    const ListeningSocket listening(8);
    const SignalHandler before = Switch_Signal(SIGALRM, SIG_IGN);
    const SocketHandle descriptor(socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_EQ(switch_connect_with_timeout(descriptor.get(), listening.address(),
                                          ListeningSocket::length(), 2),
              0);
    EXPECT_EQ(Switch_Signal(SIGALRM, before), SIG_IGN);
}

TEST(SwitchConnectWithTimeout, reportsTheErrorOfARefusedConnection) {
    const std::uint16_t port = refusingPort();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int descriptor = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(switch_connect_with_timeout(descriptor, reinterpret_cast<sockaddr*>(&address),
                                          sizeof address, 2),
              -1);
    EXPECT_EQ(errno, ECONNREFUSED);
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST(SwitchConnectWithTimeout, replacesAnAlarmThatWasSet) {
    const ListeningSocket listening(8);
    const SocketHandle descriptor(socket(AF_INET, SOCK_STREAM, 0));
    alarm(1000);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(switch_connect_with_timeout(descriptor.get(), listening.address(),
                                                        ListeningSocket::length(), 2),
                            0);
              }),
              "switch_connect_with_timeout: alarm was already set\n");
    EXPECT_EQ(alarm(0), 0U);
}

void handleNothing(int /*signal*/) {}

TEST(SwitchSignal, restartsCallsExceptForTheAlarm) {
    struct sigaction action {};
    const SignalHandler before = Switch_Signal(SIGUSR1, handleNothing);
    sigaction(SIGUSR1, nullptr, &action);
    EXPECT_EQ(action.sa_flags & SA_RESTART, SA_RESTART);
    EXPECT_EQ(Switch_Signal(SIGUSR1, before), handleNothing);

    const SignalHandler alarmBefore = Switch_Signal(SIGALRM, handleNothing);
    sigaction(SIGALRM, nullptr, &action);
    EXPECT_EQ(action.sa_flags & SA_RESTART, 0);
    Switch_Signal(SIGALRM, alarmBefore);
}

TEST(SwitchSignal, reportsASignalThatCannotBeHandled) {
    EXPECT_EQ(Switch_Signal(SIGKILL, handleNothing), SIG_ERR);
}

TEST(CastlineSwitch, switchesEverySystemAndLogsThoseThatFail) {
    LogCapture log;
    TestRecorder recorder({u"pal"_s});
    PlayoutSystem system(reply("OK"), 2);
    recorder.setPlayoutPort(system.port());
    // The system listens on the first address only.
    Defaults::standard().setObject(OxaPrefCastlineAddressesKey,
                                   QVariantList{u"127.0.0.1"_s, u"127.0.0.2"_s, u"localhost"_s});
    printed([&] { recorder.controller(0).castlineSwitch(true); });
    EXPECT_EQ(system.received(), "SLSL");
    EXPECT_EQ(log.count("Tapedeck: Could not switch Castline with address 127.0.0.2 because of an "
                        "error -1"),
              1);
    EXPECT_FALSE(log.containsText("address 127.0.0.1"));
}

TEST(CastlineSwitch, sendsAndLogsNothingForAnEmptyList) {
    LogCapture log;
    TestRecorder recorder({u"pal"_s});
    log.clear();
    Defaults::standard().setObject(OxaPrefCastlineAddressesKey, QVariantList());
    EXPECT_EQ(printed([&] { recorder.controller(0).castlineSwitch(true); }), "");
    EXPECT_FALSE(log.containsText("Castline"));
}

}  // namespace
}  // namespace takebox::test
