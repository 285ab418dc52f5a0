// What a deck's window says when there is no picture.

#include <gtest/gtest.h>

#include <cerrno>

#include "WindowFixture.h"
#include "display/widgets/PreviewView.h"

namespace takebox {
namespace {

class TapedeckSignalTest : public test::WindowFixture {};

TEST_F(TapedeckSignalTest, saysWhenFramesHaveStopped) {
    openWindow();
    auto& preview = control<PreviewView>("previewView");
    EXPECT_TRUE(test::waitUntil([&preview] { return !preview.notice().isEmpty(); }));
    EXPECT_EQ(preview.notice(), QStringLiteral("No signal"));
    EXPECT_FALSE(control<QWidget>("leftVuMeter").isEnabled());
    EXPECT_FALSE(control<QWidget>("rightVuMeter").isEnabled());
    EXPECT_TRUE(test::waitUntil([&] {
        sendFrames(1);
        return preview.notice().isEmpty();
    }));
    EXPECT_TRUE(control<QWidget>("leftVuMeter").isEnabled());
    EXPECT_TRUE(control<QWidget>("rightVuMeter").isEnabled());
    EXPECT_TRUE(test::waitUntil([&preview] { return !preview.notice().isEmpty(); }));
}

TEST_F(TapedeckSignalTest, saysWhatToDoForADeckThatMayNotBeOpened) {
    openResult = EACCES;
    openWindow();
    deck->setFile("/dev/fw3");
    const auto& preview = control<PreviewView>("previewView");
    EXPECT_TRUE(test::waitUntil([&] { return !preview.notice().isEmpty(); }));
    EXPECT_EQ(preview.accessibleDescription(),
              QStringLiteral("No signal. No permission to use Studio A (/dev/fw3). Add yourself to "
                             "the group video or install the udev rule."));
    deck->openResult = 0;
    controller->device()->retryPreview();
    sendFrames(1);
    EXPECT_TRUE(test::waitUntil([&] { return preview.notice().isEmpty(); }));
}

TEST_F(TapedeckSignalTest, saysWhatKeepsAStreamFromReceiving) {
    openWindow();
    const auto& preview = control<PreviewView>("previewView");
    const auto says = [&](avc::StreamProblem problem, const char* text) {
        deck->streamProblem = problem;
        EXPECT_TRUE(test::waitUntil([&] {
            return preview.accessibleDescription().contains(QLatin1String(text));
        })) << qPrintable(preview.accessibleDescription());
    };
    says(avc::StreamProblem::kNone, "Press Play on the deck");
    says(avc::StreamProblem::kOtherSignal, "a signal that cannot be recorded, such as HDV");
    says(avc::StreamProblem::kChannelInUse, "Another receiver uses the deck's channel");
    says(avc::StreamProblem::kRefused, "The deck accepts no connection");
    says(avc::StreamProblem::kNotReceived, "The deck cannot be received");
}

TEST_F(TapedeckSignalTest, saysWhatToLookAtWhenADeckCannotBeOpened) {
    openResult = EBUSY;
    openWindow();
    const auto& preview = control<PreviewView>("previewView");
    EXPECT_TRUE(test::waitUntil([&] { return !preview.notice().isEmpty(); }));
    EXPECT_EQ(preview.accessibleDescription(),
              QStringLiteral("No signal. The deck cannot be opened. Check its cable and power, and "
                             "whether another program uses it."));
}

}  // namespace
}  // namespace takebox
