#include <QElapsedTimer>
#include <QThread>
#include <cerrno>
#include <optional>

#include "FirewireStack.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

class FirewireTape : public FirewireStack {
protected:
    /// A deck that takes commands in the given way.
    void plugDeck(const std::string& settings) {
        firewire("deck " + std::string(kDeckA) + " " + settings);
        startBackend();
        device = waitForDevice(kGuidA);
        ASSERT_NE(device, nullptr);
    }

    /// The result of Play; the main thread must have been free all the time.
    int play() {
        QElapsedTimer timer;
        timer.start();
        result.reset();
        count = 0;
        {
            avc::TapeSubunitController tape(*device);
            tape.Play(avc::kPlayForward, [this](int code) { take(code); });
        }
        EXPECT_LT(timer.elapsed(), limit(140)) << "the main thread has waited";
        EXPECT_TRUE(waitUntil([this] { return result.has_value(); }));
        return result.value_or(-1);
    }

    void take(int code) {
        EXPECT_EQ(QThread::currentThread(), mainThread);
        result = code;
        ++count;
    }

    avc::AVCDevice* device = nullptr;
    std::optional<int> result;
    int count = 0;
    QThread* const mainThread = QThread::currentThread();
};

TEST_F(FirewireTape, playAndStopReachTheDeck) {
    plugDeck("commands=accept");
    EXPECT_EQ(play(), 0);
    EXPECT_EQ(deckStatus(kDeckA)["transport"], "play");
    avc::TapeSubunitController tape(*device);
    tape.Wind(avc::kWindStop, [this](int code) { take(code); });
    EXPECT_TRUE(waitUntil([this] { return count == 2; }));
    EXPECT_EQ(result, 0);
    EXPECT_EQ(deckStatus(kDeckA)["transport"], "stop");
}

TEST_F(FirewireTape, aRefusalIsToldWithItsCode) {
    plugDeck("commands=reject");
    EXPECT_EQ(play(), 0x0A);
}

TEST_F(FirewireTape, aDeviceThatKnowsNoTapeSaysNotImplemented) {
    plugDeck("commands=none tape=no");
    EXPECT_EQ(play(), 0x08);
}

TEST_F(FirewireTape, aDeckThatDoesNotAnswerIsAskedThreeTimes) {
    plugDeck("commands=silent");
    const int before = std::stoi(deckStatus(kDeckA)["commands"]);
    EXPECT_EQ(play(), -ETIMEDOUT);
    EXPECT_EQ(std::stoi(deckStatus(kDeckA)["commands"]) - before, 3);
}

TEST_F(FirewireTape, aLateAnswerIsAnAnswer) {
    plugDeck("commands=late late=250");
    EXPECT_EQ(play(), 0);
}

TEST_F(FirewireTape, anAnswerThatComesAfterAllIsOverChangesNothing) {
    plugDeck("commands=late late=900");
    EXPECT_EQ(play(), -ETIMEDOUT);
    EXPECT_TRUE(waitUntil([] { return deckStatus(kDeckA)["transport"] == "play"; }));
    EXPECT_EQ(count, 1);
    firewire("set " + std::string(kDeckA) + " commands=reject");
    EXPECT_EQ(play(), 0x0A) << "not the old answer";
}

TEST_F(FirewireTape, anInterimAnswerIsWaitedFor) {
    plugDeck("commands=interim late=1200");
    const int before = std::stoi(deckStatus(kDeckA)["commands"]);
    EXPECT_EQ(play(), 0);
    EXPECT_EQ(std::stoi(deckStatus(kDeckA)["commands"]) - before, 1);
}

TEST_F(FirewireTape, theAnswerOfAnotherNodeIsNotTaken) {
    plugDeck("commands=foreign");
    EXPECT_EQ(play(), -ETIMEDOUT);
}

TEST_F(FirewireTape, aBusResetInsteadOfAnAnswerMakesItAskAgain) {
    plugDeck("commands=reset");
    EXPECT_EQ(play(), 0);
    EXPECT_EQ(deckStatus(kDeckA)["transport"], "play");
}

TEST_F(FirewireTape, aConverterThatTakesNoCommandsIsAnError) {
    plugDeck("units=converter");
    EXPECT_LT(play(), 0);
}

TEST_F(FirewireTape, aDeviceThatIsGoneIsToldAtOnce) {
    plugDeck("commands=accept");
    firewire("unplug " + std::string(kDeckA));
    EXPECT_TRUE(waitUntil([this] { return !device->isAttached(); }));
    EXPECT_EQ(play(), -ENODEV);
}

TEST_F(FirewireTape, aDeviceThatGoesMeanwhileIsAnErrorToo) {
    plugDeck("commands=silent");
    avc::TapeSubunitController tape(*device);
    tape.Play(avc::kPlayForward, [this](int code) { take(code); });
    firewire("unplug " + std::string(kDeckA));
    EXPECT_TRUE(waitUntil([this] { return result.has_value(); }));
    EXPECT_LT(result, 0);
    EXPECT_EQ(count, 1);
}

TEST_F(FirewireTape, withoutPermissionTheResultSaysSo) {
    plugDeck("access=no");
    EXPECT_EQ(play(), -EACCES);
}

TEST_F(FirewireTape, theControllerNodeNeedNotBeOpenToUs) {
    firewire("deny 0");
    plugDeck("commands=accept");
    EXPECT_EQ(play(), 0);
    firewire("reset 0 renumber");
    EXPECT_EQ(play(), 0);
}

TEST_F(FirewireTape, resultsAreDeliveredBeforeTheBackendIsGone) {
    plugDeck("commands=silent");
    avc::TapeSubunitController tape(*device);
    tape.Play(avc::kPlayForward, [this](int code) { take(code); });
    tape.Wind(avc::kWindStop, [this](int code) { take(code); });
    QElapsedTimer timer;
    timer.start();
    stopBackend();
    EXPECT_EQ(count, 2);
    EXPECT_LT(timer.elapsed(), limit(1500));
}

}  // namespace
}  // namespace takebox::test
