#include <QFile>
#include <algorithm>
#include <cerrno>
#include <iostream>
#include <tuple>

#include "FirewireStack.h"
#include "support/Samples.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

class FirewireCapture : public FirewireStack {};

class FirewireCaptureOfAll : public FirewireStack,
                             public testing::WithParamInterface<std::tuple<bool, int>> {};

INSTANTIATE_TEST_SUITE_P(Standard, FirewireCaptureOfAll,
                         testing::Combine(testing::Bool(), testing::Values(1, 8)),
                         [](const auto& which) {
                             return std::string(std::get<0>(which.param) ? "PAL" : "NTSC") +
                                    (std::get<1>(which.param) == 1 ? "AtPace" : "EightTimes");
                         });

const std::string kA = kDeckA;
const std::string kB = kDeckB;

std::string source(bool pal, int frames) {
    return std::string(" source=") + (pal ? "pal:50" : "ntsc:50") +
           " frames=" + std::to_string(frames);
}

TEST_P(FirewireCaptureOfAll, framesArriveByteForByte) {
    const auto [pal, speed] = GetParam();
    const std::size_t count = speed == 1 ? 60 : 480;
    firewire("deck " + std::string(kDeckA) + " source=" + (pal ? "pal" : "ntsc") +
             ":40 speed=" + std::to_string(speed) + " frames=" + std::to_string(count));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->dvMode(), pal ? 0x80 : 0x00);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() >= count; }));
    EXPECT_EQ(capture.frameMessages(), std::string(count, '0'));
    EXPECT_TRUE(capture.frames() == sentFrames(pal, count, 40)) << "frames differ";
    EXPECT_EQ(capture.allocations(), 0);
}

TEST_F(FirewireCapture, aSampleFileArrivesByteForByte) {
    const QString file = samplesFolder() + QStringLiteral("/real_ntsc_48k_16b_2ch_locked_8f.dv");
    if (!QFile::exists(file)) {
        std::cout << "samples are absent\n";
        return;
    }
    firewire("deck " + kA + " frames=8 source=" + file.toStdString());
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 8; }));
    QFile original(file);
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    QByteArray received;
    for (const auto& frame : capture->frames()) {
        received.append(reinterpret_cast<const char*>(frame.data()),
                        static_cast<qsizetype>(frame.size()));
    }
    EXPECT_TRUE(received == original.readAll());
}

TEST_F(FirewireCapture, aDeviceThatRefusesConnectionsIsHeardOnTheBroadcastChannel) {
    firewire("deck " + kA + " plugs=no broadcast=no source=pal:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(waitUntil([&] { return log.containsText("does not accept a connection"); }));
    EXPECT_TRUE(waitUntil([&] { return capture->problem() == avc::StreamProblem::kRefused; }));
    firewire("set " + kA + " broadcast=yes");
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 10; }));
    EXPECT_EQ(capture->problem(), avc::StreamProblem::kNone);
}

TEST_F(FirewireCapture, refusedBandwidthIsLoggedAndDoneWithout) {
    firewire("bandwidth 0 0");
    firewire("deck " + kA + " source=pal:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 10; }));
    EXPECT_TRUE(log.containsText("No FireWire bandwidth could be reserved for Nordlicht DV-100"));
    EXPECT_EQ(deckStatus(kDeckA)["connections"], "1");
}

TEST_F(FirewireCapture, aChannelInUseIsToldAndTriedAgain) {
    firewire("occupy 0 63");
    firewire("deck " + kA + " broadcast=yes source=pal:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(waitUntil([&] { return log.containsText("channel 63 is in use on this card"); }));
    EXPECT_EQ(capture->problem(), avc::StreamProblem::kChannelInUse);
    firewire("free 0 63");
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 10; }));
    EXPECT_EQ(capture->problem(), avc::StreamProblem::kNone);
    EXPECT_EQ(log.count("Nordlicht DV-100 cannot be received: channel 63 is in use on this card"),
              1);
}

TEST_F(FirewireCapture, packetsOfAnotherDeckOnTheSameChannelAreLeftOut) {
    firewire("deck " + kA + " broadcast=yes source=pal:50");
    firewire("deck " + kB + " broadcast=yes source=ntsc:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    ASSERT_TRUE(waitUntil([&] { return capture->frameCount() >= 50; }));
    EXPECT_GT(std::stoi(deckStatus(kDeckB)["frames"]), 40) << "the other one does send";
    const auto frames = capture->frames();
    EXPECT_TRUE(frames == sentFrames(true, frames.size(), 50));
}

TEST_F(FirewireCapture, aDeviceThatDoesNotKnowItsNumberIsReceivedOnItsOwnChannel) {
    firewire("deck " + kA + " sid=63 source=pal:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 10; }));
    EXPECT_TRUE(log.containsText("under another node number"));
}

TEST_F(FirewireCapture, twoDecksOnTwoCardsAndTwoOnOneAreIndependent) {
    firewire("card 1");
    firewire("deck " + kA + " source=pal:50");
    firewire("deck " + kB + " source=ntsc:50");
    firewire("deck " + std::string(kDeckC) + " card=1 source=pal:50");
    startBackend();
    std::vector<std::unique_ptr<Capture>> captures;
    for (const auto guid : {kGuidA, kGuidB, kGuidC}) {
        auto* const device = waitForDevice(guid);
        ASSERT_NE(device, nullptr);
        captures.push_back(std::make_unique<Capture>(*device));
        ASSERT_EQ(captures.back()->start(), 0);
    }
    // One of them goes: the others must not miss a frame of it.
    ASSERT_TRUE(waitUntil([&] { return captures[0]->frameCount() >= 20; }));
    firewire("unplug " + kA);
    for (const std::size_t i : {1U, 2U}) {
        EXPECT_TRUE(waitUntil([&] { return captures[i]->frameCount() >= 80; }));
        const auto frames = captures[i]->frames();
        EXPECT_TRUE(frames == sentFrames(i == 2, frames.size(), 50)) << "capture " << i;
    }
}

TEST_F(FirewireCapture, theControllerNodeNeedNotBeOpenToUs) {
    firewire("deny 0");
    firewire("deck " + kA + source(true, 100));
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    for (std::size_t i = 1; i <= 3; ++i) {
        ASSERT_TRUE(waitUntil([&] { return capture->frameCount() >= i * 20; }));
        firewire("reset 0 renumber");
    }
    EXPECT_TRUE(waitUntil([&] { return capture->frameCount() >= 100; }));
    EXPECT_TRUE(capture->frames() == sentFrames(true, 100, 50));
    EXPECT_EQ(deckStatus(kDeckA)["connections"], "1");
}

TEST_F(FirewireCapture, aDeckThatHasNotBegunToPlayIsNoInterruption) {
    firewire("deck " + kA + " roll=yes source=pal:50");
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    ASSERT_TRUE(waitUntil([] { return deckStatus(kDeckA)["connections"] == "1"; }));
    EXPECT_EQ(capture.frameCount(), 0U);
    avc::TapeSubunitController tape(*device);
    tape.Play(avc::kPlayForward, [](int code) { EXPECT_EQ(code, 0); });
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() >= 10; }));
    EXPECT_TRUE(capture.messages().empty());
}

TEST_F(FirewireCapture, canBeStoppedAndStartedAgainAndAgain) {
    firewire("deck " + kA + " source=pal:50");
    const auto capture = startCapture(kGuidA);
    ASSERT_NE(capture, nullptr);
    for (int i = 0; i < 5; ++i) {
        const auto before = capture->frameCount();
        ASSERT_TRUE(waitUntil([&] { return capture->frameCount() >= before + 3; }));
        capture->stop();
        capture->stop();
        const auto after = capture->frameCount();
        EXPECT_TRUE(waitUntil([] { return deckStatus(kDeckA)["connections"] == "0"; }));
        EXPECT_EQ(capture->frameCount(), after) << "no callback after stop";
        ASSERT_EQ(capture->startAgain(), 0);
    }
}

}  // namespace
}  // namespace takebox::test
