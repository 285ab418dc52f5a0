#include <gtest/gtest.h>

#include <cerrno>

#include "FrameCollector.h"
#include "platform/avc/TapeSubunitController.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;
using avc::DVStandard;

constexpr const char* kLabel = "NTSC deck 1";

TEST(VirtualDeckFault, comesAtItsFrameAndSparesTheOthers) {
    FrameCollector collector(
        u"ntsc,speed=20,fault=short@2:5000,fault=missing@6,fault=incomplete@4,"
        u"fault=overrun@8:77,fault=overrun@9:3,fault=interrupt@10:250"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(14));
    collector.stop();
    const auto frames = collector.frames();
    for (std::size_t i = 0; i < frames.size(); ++i) {
        const QByteArray whole = signalFrame(DVStandard::kNTSC, i, kLabel);
        const QByteArray expected = i == 2 ? whole.first(5000) : i == 6 ? QByteArray() : whole;
        EXPECT_TRUE(frames[i].bytes == expected) << i;
        EXPECT_EQ(frames[i].message, i == 4   ? avc::kFrameIncomplete
                                     : i == 6 ? avc::kFramesMissing
                                              : avc::kFrameReceived);
    }
    const auto messages = collector.messages();
    ASSERT_EQ(messages.size(), 3U);
    EXPECT_EQ(messages[0].message, avc::kReceiverOverrun);
    EXPECT_EQ(messages[0].parameter1, 77U);
    EXPECT_EQ(messages[0].parameter2, 0U) << "no frame is missing on this tape";
    EXPECT_EQ(messages[1].parameter1, 3U);
    EXPECT_EQ(messages[2].message, avc::kStreamInterrupted);
    EXPECT_EQ(messages[2].parameter1, 250U);
    EXPECT_EQ(messages[2].parameter2, avc::kNoData);
}

TEST(VirtualDeckFault, comesOnRequestWithTheNextFrame) {
    FrameCollector collector(u"pal,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    const auto comes = [&](auto isIt) {
        return waitUntil([&] {
            const auto frames = collector.frames();
            return std::any_of(frames.begin(), frames.end(), isIt);
        });
    };
    using Frame = FrameCollector::Frame;
    collector.deck().injectShortFrame(139999);
    EXPECT_TRUE(comes([](const Frame& frame) { return frame.bytes.size() == 139999; }));
    collector.deck().injectFrameMessage(avc::kFrameIncomplete);
    EXPECT_TRUE(comes([](const Frame& frame) { return frame.message == avc::kFrameIncomplete; }));
    collector.deck().injectFrameMessage(avc::kFramesMissing);
    EXPECT_TRUE(comes([](const Frame& frame) { return frame.message == avc::kFramesMissing; }));
    collector.deck().injectReceiverMessage(avc::kStreamInterrupted, 300);
    EXPECT_TRUE(waitUntil([&] { return collector.messages().size() == 1; }));
    collector.deck().injectReceiverMessage(avc::kReceiverOverrun, 12);
    EXPECT_TRUE(waitUntil([&] { return collector.messages().size() == 2; }));
    EXPECT_EQ(collector.messages()[1].parameter1, 12U);
}

TEST(VirtualDeckFault, asksItsUserToClose) {
    FrameCollector collector(u"pal,speed=20,fault=close@3"_s);
    ASSERT_EQ(collector.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return collector.closeRequests == 1; }));
    EXPECT_TRUE(collector.waitForFrames(collector.frameCount() + 2)) << "it still sends";
    collector.deck().requestClose();
    EXPECT_TRUE(waitUntil([&] { return collector.closeRequests == 2; }));
    EXPECT_TRUE(collector.deck().isAttached());
    collector.stop();
    collector.deck().requestClose();
    collector.deck().reappear();
    collector.command(avc::kOpcodePlay, avc::kPlayForward);
    EXPECT_EQ(collector.closeRequests, 2) << "nobody has it open";
}

TEST(VirtualDeckFault, leavesTheBusAndReturnsForANewStream) {
    FrameCollector collector(u"ntsc,speed=20"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(3));
    EXPECT_EQ(collector.deviceChanges, 1) << "when it was found";
    bool wasAttached = false;
    collector.onCloseRequest = [&] { wasAttached = collector.deck().isAttached(); };
    collector.deck().disappear();
    EXPECT_TRUE(waitUntil([&] { return collector.deviceChanges == 2; }));
    EXPECT_TRUE(wasAttached) << "the request comes first";
    EXPECT_EQ(collector.closeRequests, 1);
    EXPECT_FALSE(collector.deck().isAttached());
    EXPECT_EQ(collector.command(avc::kOpcodePlay, avc::kPlayForward), -ENODEV);
    collector.stop();
    const std::size_t before = collector.frameCount();
    EXPECT_EQ(collector.start(), ENODEV);

    collector.deck().reappear();
    EXPECT_TRUE(waitUntil([&] { return collector.deviceChanges == 3; }));
    EXPECT_TRUE(collector.deck().isAttached());
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(before + 2));
    EXPECT_TRUE(collector.frames()[before].bytes == signalFrame(DVStandard::kNTSC, before, kLabel));
}

TEST(VirtualDeckFault, silencesTheOldStreamForGood) {
    FrameCollector collector(u"ntsc,speed=20,fault=vanish@5:4"_s);
    ASSERT_EQ(collector.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return collector.deviceChanges == 3; })) << "gone and back";
    EXPECT_TRUE(collector.deck().isAttached());
    EXPECT_EQ(collector.closeRequests, 1);
    EXPECT_EQ(collector.frameCount(), 5U);
    collector.stop();
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(12));
    EXPECT_EQ(collector.closeRequests, 1) << "it comes once";
    EXPECT_TRUE(collector.frames()[5].bytes == signalFrame(DVStandard::kNTSC, 5, kLabel));
}

TEST(VirtualDeckFault, leavesTheDeckAsTheLastOneSays) {
    FrameCollector collector(u"ntsc,cue=yes"_s);
    ASSERT_EQ(collector.start(), 0);
    collector.deck().disappear();
    collector.deck().reappear();
    EXPECT_TRUE(waitUntil([&] { return collector.deviceChanges == 3; })) << "gone and back";
    EXPECT_TRUE(collector.deck().isAttached());
    EXPECT_EQ(collector.closeRequests, 1);
    collector.deck().reappear();
    collector.deck().disappear();
    EXPECT_TRUE(waitUntil([&] { return collector.deviceChanges == 4; }));
    EXPECT_FALSE(collector.deck().isAttached());
}

TEST(VirtualDeckFault, isForgottenWithTheDeck) {
    FrameCollector collector(u"ntsc,speed=20,fault=vanish@1:1"_s);
    ASSERT_EQ(collector.start(), 0);
    ASSERT_TRUE(collector.waitForFrames(1));
    collector.deck().requestClose();
    collector.deck().reappear();
    // Its news still wait in the event loop when the collector takes the deck down.
}

}  // namespace
}  // namespace takebox::test
