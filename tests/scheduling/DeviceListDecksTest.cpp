#include "scheduling/DeviceListDecks.h"

#include <gtest/gtest.h>

#include "recording/CDVDeviceWindowController.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

/// A program without windows, devices, playout systems and scripts.
class NoServices final : public RecordingServices {
public:
    Clock& clock() override { return mClock; }
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController&) override {
        return nullptr;
    }
    void showCriticalAlert(const QString&, const QString&) override {}
    std::int32_t switchPlayout(const QString&, bool) override { return -1; }
    bool executeActionWithName(const QString&) override { return false; }
    void editScheduledEvents() override {}
    bool recycle(const QString&) override { return false; }

private:
    test::ManualClock mClock;
};

TEST(WindowControllerDeck, passesSettingsOnToItsController) {
    NoServices services;
    const auto controller = std::make_shared<CDVDeviceWindowController>(nullptr, services);
    WindowControllerDeck deck(controller);
    deck.setAutoNameRecordings(false);
    deck.setRecordingName(QStringLiteral("News"));
    deck.setReferenceMovieFolderPath(QStringLiteral("/ref"));
    deck.setSelfContainedRecordingFolderPath(QStringLiteral("/mov"));
    deck.setRawRecordingFolderPath(QStringLiteral("/raw"));
    deck.setCreateReferenceMovie(true);
    deck.setCreateSelfContainedMovie(true);
    deck.setReferenceMovieDuration(61);
    EXPECT_EQ(controller->recordingName(), QStringLiteral("News"));
    EXPECT_EQ(controller->referenceMovieDuration(), 61);
    EXPECT_EQ(deck.recordingName(), QStringLiteral("News"));
    EXPECT_EQ(deck.referenceMovieFolderPath(), QStringLiteral("/ref"));
    EXPECT_EQ(deck.selfContainedRecordingFolderPath(), QStringLiteral("/mov"));
    EXPECT_EQ(deck.rawRecordingFolderPath(), QStringLiteral("/raw"));
    EXPECT_TRUE(deck.createReferenceMovie());
    EXPECT_TRUE(deck.createSelfContainedMovie());
    EXPECT_EQ(deck.deviceGUID(), 0U);
}

TEST(WindowControllerDeck, doesNothingForAControllerThatHasGone) {
    NoServices services;
    auto controller = std::make_shared<CDVDeviceWindowController>(nullptr, services);
    const std::weak_ptr<CDVDeviceWindowController> watched = controller;
    WindowControllerDeck deck(controller);
    controller.reset();
    EXPECT_TRUE(watched.expired()) << "the deck must not keep it on the screen";
    deck.setRecordingName(QStringLiteral("News"));
    deck.setAutoNameRecordings(true);
    deck.setReferenceMovieDuration(1);
    deck.recordButtonPushed();
    deck.stopButtonPushed();
    EXPECT_EQ(deck.recordingName(), QString());
    EXPECT_EQ(deck.deviceName(), QString());
    EXPECT_EQ(deck.guid(), QString());
    EXPECT_EQ(deck.deviceGUID(), 0U);
    EXPECT_FALSE(deck.createReferenceMovie());
}

TEST(DeviceListDecks, areNoneWithoutADeviceList) {
    gDVDevicesController.reset();
    const DeviceListDecks decks;
    EXPECT_EQ(decks.countDevices(), 0);
    EXPECT_EQ(decks.indexOfDeviceWithGUID(1), -1);
    EXPECT_FALSE(decks.isRecording(0));
    ASSERT_NE(decks.deckAtIndex(0), nullptr);
    decks.deckAtIndex(0)->stopButtonPushed();
}

}  // namespace
}  // namespace takebox
