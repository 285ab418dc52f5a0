#include "platform/avc/virtualdeck/VirtualDeck.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <atomic>
#include <cerrno>

#include "FrameCollector.h"
#include "platform/avc/TapeSubunitController.h"
#include "platform/avc/virtualdeck/TestSignal.h"
#include "platform/runloop/WakeUp.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;
using avc::DVStandard;

constexpr const char* kLabel = "NTSC deck 1";

TEST(VirtualDeck, isADeckWithATape) {
    FrameCollector ntsc(u"ntsc"_s);
    EXPECT_TRUE(ntsc.deck().isAttached());
    EXPECT_TRUE(ntsc.deck().isDVTapeDevice());
    EXPECT_FALSE(ntsc.deck().isDVConverter());
    EXPECT_EQ(ntsc.deck().dvMode(), 0x00);
    EXPECT_STREQ(ntsc.deck().deviceName(), "Virtual NTSC deck");
    FrameCollector pal(u"pal,name=Studio,guid=0123456789abcdef"_s);
    EXPECT_EQ(pal.deck().dvMode(), 0x80);
    EXPECT_STREQ(pal.deck().deviceName(), "Studio");
    EXPECT_EQ(pal.deck().guid(), 0x0123456789ABCDEFU);
}

TEST(VirtualDeck, opensForOneUserAtATime) {
    FrameCollector collector(u"pal,cue=yes"_s);
    auto& deck = collector.deck();
    avc::DVReceiverParameters parameters;
    parameters.frameProc = [](std::uint32_t, const std::uint8_t*, std::uint32_t, void*) {
        return avc::kFrameNotKept;
    };
    EXPECT_EQ(deck.CreateDVReceiverForDevicePlug(parameters), nullptr) << "not open";
    EXPECT_EQ(deck.openDevice(nullptr, nullptr), 0);
    EXPECT_EQ(deck.openDevice(nullptr, nullptr), EACCES);
    auto first = deck.CreateDVReceiverForDevicePlug(parameters);
    auto second = deck.CreateDVReceiverForDevicePlug(parameters);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(first->start(), 0);
    EXPECT_EQ(first->start(), 0) << "it runs already";
    EXPECT_EQ(second->start(), EBUSY);
    first->stop();
    first->stop();
    EXPECT_EQ(second->start(), 0);
    second.reset();
    parameters.plug = 1;
    EXPECT_EQ(deck.CreateDVReceiverForDevicePlug(parameters), nullptr) << "no such plug";
    deck.closeDevice();
    deck.closeDevice();
    EXPECT_EQ(deck.openDevice(nullptr, nullptr), 0);
}

TEST(VirtualDeck, sendsWholeFramesInOrderOnItsOwnThread) {
    FrameCollector collector(u"ntsc,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(12));
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(frames[i].message, avc::kFrameReceived);
        EXPECT_TRUE(frames[i].bytes == signalFrame(DVStandard::kNTSC, i, kLabel)) << i;
    }
    EXPECT_EQ(collector.threadName(), "deck-1");
    EXPECT_TRUE(collector.messages().empty());
}

TEST(VirtualDeck, neverSendsAFrameBeforeItsTime) {
    FrameCollector collector(u"pal,speed=4"_s);
    const std::int64_t begun = WakeUp::now();
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(20));
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_GE(frames[i].time - begun, static_cast<std::int64_t>(i) * 10'000'000) << i;
    }
}

TEST(VirtualDeck, takesTurnsInTheBuffersAskedFor) {
    for (const std::uint32_t buffers : {4U, 1U}) {
        FrameCollector collector(u"pal,speed=50"_s);
        ASSERT_EQ(collector.start(buffers), 0);
        ASSERT_TRUE(collector.waitForFrames(10));
        collector.stop();
        EXPECT_EQ(collector.addresses().size(), buffers);
    }
}

TEST(VirtualDeck, overwritesABufferAfterTheCallback) {
    struct Look {
        std::atomic<const std::uint8_t*> last{nullptr};
        std::atomic<int> overwritten{0};
    } look;
    FrameCollector collector(u"pal,speed=50,cue=yes"_s);
    ASSERT_EQ(collector.deck().openDevice(nullptr, nullptr), 0);
    avc::DVReceiverParameters parameters;
    parameters.frameRefCon = &look;
    parameters.frameProc = [](std::uint32_t, const std::uint8_t* data, std::uint32_t length,
                              void* refCon) {
        auto& mine = *static_cast<Look*>(refCon);
        const std::uint8_t* const before = mine.last.exchange(data);
        if (before != nullptr && before[0] == 0xA5 && before[length - 1] == 0xA5) {
            ++mine.overwritten;
        }
        return avc::kFrameNotKept;
    };
    const auto stream = collector.deck().CreateDVReceiverForDevicePlug(parameters);
    ASSERT_EQ(stream->start(), 0);
    EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
    EXPECT_TRUE(waitUntil([&] { return look.overwritten >= 5; }));
}

TEST(VirtualDeck, answersOnlyPlayAndStop) {
    FrameCollector collector(u"pal,cue=yes"_s);
    EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
    EXPECT_EQ(collector.command(avc::kOpcodeWind, avc::kWindStop), 0);
    EXPECT_EQ(collector.command(avc::kOpcodePlay, 0x65), 0x08);
    EXPECT_EQ(collector.command(avc::kOpcodeWind, 0x65), 0x08);
    EXPECT_EQ(collector.command(0xC2, avc::kPlayForward), 0x08);
}

TEST(VirtualDeck, answersAfterItsTransportControllerIsGone) {
    FrameCollector collector(u"pal,cue=yes"_s);
    int answers = 0;
    {
        avc::TapeSubunitController transport(collector.deck());
        transport.Play(avc::kPlayForward, [&](int result) { answers += result == 0 ? 1 : 100; });
        transport.Wind(avc::kWindStop, {});
    }
    EXPECT_TRUE(waitUntil([&] { return answers != 0; }));
    EXPECT_EQ(answers, 1);
}

TEST(VirtualDeck, waitsInCueUntilItIsToldToPlay) {
    QTemporaryDir folder;
    const QString tape = writeTape(folder.path(), DVStandard::kNTSC, 6);
    FrameCollector collector(tape + u",cue=yes,loop=no,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    EXPECT_EQ(collector.command(avc::kOpcodeWind, avc::kWindStop), 0) << "changes nothing";
    EXPECT_EQ(collector.frameCount(), 0U);
    EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
    ASSERT_TRUE(collector.waitForFrames(6));
    collector.stop();
    QByteArray received;
    for (const auto& frame : collector.frames()) {
        received += frame.bytes;
    }
    QFile file(tape);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(received == file.readAll());
}

TEST(VirtualDeck, showsAStillWhenStoppedAndGoesOnWithTheNextFrame) {
    FrameCollector collector(u"ntsc,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(3));
    EXPECT_EQ(collector.command(avc::kOpcodeWind, avc::kWindStop), 0);
    // Two of the same bytes: the command has arrived.
    ASSERT_TRUE(waitUntil([&] {
        const auto frames = collector.frames();
        return frames[frames.size() - 2].bytes == frames.back().bytes;
    }));
    ASSERT_TRUE(collector.waitForFrames(collector.frameCount() + 5));
    EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
    ASSERT_TRUE(waitUntil([&] {
        const auto frames = collector.frames();
        return frames[frames.size() - 2].bytes != frames.back().bytes;
    }));
    ASSERT_TRUE(collector.waitForFrames(collector.frameCount() + 3));
    collector.stop();
    const auto frames = collector.frames();
    std::uint64_t number = 0;
    int stills = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        const bool isStill = frames[i].bytes == frames[i - 1].bytes;
        number += isStill ? 0 : 1;
        stills += isStill ? 1 : 0;
        EXPECT_TRUE(frames[i].bytes == signalFrame(DVStandard::kNTSC, number, kLabel)) << i;
    }
    EXPECT_GE(stills, 5);
}

TEST(VirtualDeck, goesOnWithoutAHiccupWhenToldToPlayWhilePlaying) {
    FrameCollector collector(u"ntsc,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    for (std::size_t count = 2; count < 12; count += 2) {
        ASSERT_TRUE(collector.waitForFrames(count));
        EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
    }
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_TRUE(frames[i].bytes == signalFrame(DVStandard::kNTSC, i, kLabel)) << i;
    }
}

TEST(VirtualDeck, endsWithItsTapeAndBeginsAgainOnPlay) {
    QTemporaryDir folder;
    FrameCollector collector(writeTape(folder.path(), DVStandard::kPAL, 3) +
                             u",loop=no,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(3));
    // Play has no effect before the deck has come to the end, which it does a frame time later.
    ASSERT_TRUE(waitUntil([&] {
        EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
        return collector.frameCount() > 3;
    }));
    ASSERT_TRUE(collector.waitForFrames(6));
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_TRUE(frames[i].bytes == signalFrame(DVStandard::kPAL, i % 3, "")) << i;
    }
    EXPECT_TRUE(collector.messages().empty());
}

TEST(VirtualDeck, playsALoopWithoutAGap) {
    QTemporaryDir folder;
    FrameCollector collector(writeTape(folder.path(), DVStandard::kPAL, 3) + u",speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(8));
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_TRUE(frames[i].bytes == signalFrame(DVStandard::kPAL, i % 3, "")) << i;
    }
}

TEST(VirtualDeck, goesOnWhereItStoodInItsNextStream) {
    FrameCollector collector(u"ntsc,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(3));
    collector.stop();
    const std::size_t before = collector.frameCount();
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(before + 2));
    collector.stop();
    EXPECT_TRUE(collector.frames()[before].bytes == signalFrame(DVStandard::kNTSC, before, kLabel));
}

TEST(VirtualDeck, stopsAtOnceHoweverSlowItPlays) {
    FrameCollector collector(u"pal,speed=0.001"_s);  // a frame in 40 seconds
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(1));
    const std::int64_t before = WakeUp::now();
    collector.stop();
    EXPECT_LT(WakeUp::now() - before, 20'000'000'000);
    EXPECT_EQ(collector.frameCount(), 1U);
}

/// At its third frame the host is away for a second, of which a receiver's ring bridges 0.6.
void receiveLate(FrameCollector& collector) {
    collector.onFrame = [](std::size_t number) {
        const std::int64_t until = WakeUp::now() + (number == 2 ? 1'000'000'000 : 0);
        while (WakeUp::now() < until) {
        }
    };
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(waitUntil([&] { return !collector.messages().empty(); }));
}

TEST(VirtualDeck, losesWhatALateHostHasNoRoomForAndTellsIt) {
    FrameCollector collector(u"pal"_s);
    receiveLate(collector);
    ASSERT_TRUE(collector.waitForFrames(10));
    collector.stop();
    const auto frames = collector.frames();
    const auto messages = collector.messages();
    ASSERT_EQ(frames[3].message, avc::kFramesMissing);
    EXPECT_TRUE(frames[3].bytes.isEmpty());
    EXPECT_EQ(messages[0].message, avc::kReceiverOverrun);
    EXPECT_EQ(messages[0].parameter2, 0U) << "the frames have been told";
    EXPECT_EQ(messages[0].parameter1 % 320, 0U) << "whole frames of 320 cycles";
    const std::uint64_t lost = messages[0].parameter1 / 320;
    EXPECT_GE(lost, 9U);
    EXPECT_EQ(frames[3].length, lost);
    EXPECT_TRUE(frames[2].bytes == signalFrame(DVStandard::kPAL, 2, "PAL deck 1"));
    EXPECT_TRUE(frames[4].bytes == signalFrame(DVStandard::kPAL, 3 + lost, "PAL deck 1"));
    EXPECT_TRUE(frames[5].bytes == signalFrame(DVStandard::kPAL, 4 + lost, "PAL deck 1"));
}

TEST(VirtualDeck, losesFramesOfALoopAcrossItsPoint) {
    QTemporaryDir folder;
    FrameCollector collector(writeTape(folder.path(), DVStandard::kPAL, 7));
    receiveLate(collector);
    ASSERT_TRUE(collector.waitForFrames(6));
    collector.stop();
    const auto frames = collector.frames();
    ASSERT_EQ(frames[3].message, avc::kFramesMissing);
    EXPECT_TRUE(frames[4].bytes == signalFrame(DVStandard::kPAL, (3 + frames[3].length) % 7, ""));
}

TEST(VirtualDeck, losesNoMoreThanThereIsOnTheTape) {
    QTemporaryDir folder;
    FrameCollector collector(writeTape(folder.path(), DVStandard::kPAL, 5) + u",loop=no"_s);
    receiveLate(collector);
    // The deck stands at the end: it begins anew.
    ASSERT_TRUE(waitUntil([&] {
        EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), 0);
        return collector.frameCount() > 4;
    }));
    collector.stop();
    const auto frames = collector.frames();
    ASSERT_EQ(frames[3].message, avc::kFramesMissing);
    EXPECT_EQ(frames[3].length, 2U);
    EXPECT_TRUE(frames[4].bytes == signalFrame(DVStandard::kPAL, 0, ""));
}

}  // namespace
}  // namespace takebox::test
