#include "capture/CDVDevicesController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QTemporaryDir>
#include <cerrno>
#include <utility>

#include "platform/defaults/Defaults.h"
#include "support/FakeDevice.h"
#include "support/LogCapture.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::FakeDevice;
using testing::ElementsAre;
using testing::IsEmpty;

/// Any window controller: remembers what it was told.
class Window : public DeviceWindowController {
public:
    explicit Window(std::shared_ptr<CDVDevice> device) : mDevice(std::move(device)) {}

    [[nodiscard]] std::shared_ptr<CDVDevice> device() const override { return mDevice; }
    void stopUpdates() override { ++stops; }
    [[nodiscard]] QRect windowFrame() const override { return QRect(QPoint(0, 0), size); }
    void setFrameTopLeftPoint(int x, int y) override { topLeft = QPoint(x, y); }
    void showWindow() override { placeWhenShown = topLeft; }

    QSize size{400, 300};
    QPoint topLeft{-1, -1};
    QPoint placeWhenShown{-2, -2};
    int stops = 0;

private:
    std::shared_ptr<CDVDevice> mDevice;
};

class Environment : public DevicesEnvironment {
public:
    std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) override {
        windows.push_back(std::make_shared<Window>(std::move(device)));
        return windows.back();
    }
    [[nodiscard]] QRect visibleFrame() const override { return screen; }
    void setApplicationIcon(const QString& name) override { icons.push_back(name.toStdString()); }
    void deviceListDidChange() override { ++changes; }

    QRect screen{0, 0, 1280, 800};
    std::vector<std::shared_ptr<Window>> windows;  ///< all ever made
    std::vector<std::string> icons;
    int changes = 0;
};

class CDVDevicesControllerTest : public testing::Test {
protected:
    void SetUp() override { Defaults::standard().reopen(mFolder.filePath(u"defaults.plist"_s)); }
    void TearDown() override {
        environment.windows.clear();
        list.reset();
    }

    /// A device for the list to be made of; its GUIDs count from 1.
    FakeDevice& addDevice() {
        auto device = std::make_unique<FakeDevice>(mFakes.size() + 1);
        mFakes.push_back(device.get());
        mToOffer.push_back(std::move(device));
        return *mFakes.back();
    }
    void makeList() {
        list = std::make_unique<CDVDevicesController>(test::fakeBackends(std::move(mToOffer)),
                                                      environment, clock);
    }
    void makeList(int devices) {
        for (int i = 0; i < devices; ++i) {
            addDevice();
        }
        makeList();
    }
    [[nodiscard]] std::vector<std::uint64_t> guids() const {
        std::vector<std::uint64_t> result;
        for (const auto& entry : list->devices()) {
            result.push_back(entry->device()->deviceGUID());
        }
        return result;
    }
    [[nodiscard]] FakeDevice& fake(std::size_t index) const { return *mFakes[index]; }
    void attach(std::size_t index, bool attached) {
        fake(index).attach(attached);
        gAVCDeviceController->deviceChanged(fake(index));
    }
    void record(int index) const {
        EXPECT_EQ(list->deviceAtIndex(index)->startRecordingWithPreAllocationDuration(1, {}), 0);
    }

    test::LogCapture log;
    test::ManualClock clock;
    Environment environment;
    std::unique_ptr<CDVDevicesController> list;

private:
    const QTemporaryDir mFolder;
    std::vector<FakeDevice*> mFakes;
    std::vector<std::unique_ptr<avc::AVCDevice>> mToOffer;
};

}  // namespace

TEST_F(CDVDevicesControllerTest, eachAttachedDVDeviceHasItsWindow) {
    addDevice().setCapabilities(true, false);
    addDevice().setCapabilities(false, true);
    addDevice().setCapabilities(false, false);
    addDevice().attach(false);
    makeList();
    EXPECT_THAT(guids(), ElementsAre(1, 2));
    EXPECT_EQ(list->countDevices(), 2);
    EXPECT_TRUE(list->hasDVDevice());
    EXPECT_FALSE(list->deviceListHasChanged());
    EXPECT_EQ(environment.windows.size(), 2U);
}

TEST_F(CDVDevicesControllerTest, emptyBusGivesAnEmptyListAndTheIconOfRest) {
    makeList();
    EXPECT_EQ(list->countDevices(), 0);
    EXPECT_FALSE(list->hasDVDevice());
    EXPECT_THAT(environment.icons, ElementsAre("TapedeckStoppedIcon"));
}

TEST_F(CDVDevicesControllerTest, deviceIsNamedAsItsRecordAndStreams) {
    addDevice().setName("Röck deck");
    makeList();
    EXPECT_EQ(list->deviceAtIndex(0)->deviceName(), u"Röck deck"_s);
    EXPECT_TRUE(fake(0).isStreaming());
}

TEST_F(CDVDevicesControllerTest, filterPassesEitherOfTheTwoCapabilities) {
    FakeDevice device(1);
    for (const auto& [tape, converter] : {std::pair{false, false}, std::pair{false, true},
                                          std::pair{true, false}, std::pair{true, true}}) {
        device.setCapabilities(tape, converter);
        EXPECT_EQ(CDVDevicesController::filterDevice(device), tape || converter);
    }
}

TEST_F(CDVDevicesControllerTest, accessorsOutsideTheListFindNothing) {
    makeList(2);
    EXPECT_EQ(list->deviceWindowControllerAtIndex(1), environment.windows[1]);
    EXPECT_EQ(list->deviceAtIndex(1)->deviceGUID(), 2U);
    EXPECT_EQ(list->deviceWindowControllerAtIndex(2), nullptr);
    EXPECT_EQ(list->deviceAtIndex(-1), nullptr);
    EXPECT_EQ(list->indexOfDeviceWithGUID(2), 1);
    EXPECT_EQ(list->indexOfDeviceWithGUID(99), -1);
}

// Changes of the bus

TEST_F(CDVDevicesControllerTest, rebuildKeepsTheControllersOfDevicesThatStay) {
    makeList(3);
    const auto before = list->devices();
    list->updateDeviceWindows();
    EXPECT_EQ(list->devices(), before);
    EXPECT_EQ(environment.windows.size(), 3U);
    EXPECT_EQ(environment.changes, 1);  // the first build only
}

TEST_F(CDVDevicesControllerTest, deviceThatGoesAwayIsStoppedAndDropped) {
    makeList(3);
    attach(1, false);
    EXPECT_TRUE(list->deviceListHasChanged());
    list->updateDeviceWindows();
    EXPECT_THAT(guids(), ElementsAre(1, 3));
    EXPECT_EQ(environment.windows[1]->stops, 1);
    EXPECT_EQ(environment.windows[0]->stops, 0);
    EXPECT_EQ(environment.windows[1].use_count(), 1);  // nothing of the list holds it
    EXPECT_EQ(environment.changes, 2);
}

TEST_F(CDVDevicesControllerTest, deviceThatLosesItsDVCapabilityIsDropped) {
    makeList(2);
    fake(0).setCapabilities(false, false);
    list->updateDeviceWindows();
    EXPECT_THAT(guids(), ElementsAre(2));
    EXPECT_EQ(environment.windows[0]->stops, 1);
}

TEST_F(CDVDevicesControllerTest, recordingOfADeviceThatIsDroppedIsToldAsCutOff) {
    class Delegate : public CDVDeviceDelegate {
    public:
        void setPreviewImage(const QImage& /*image*/) override {}
        void deviceDidStopRecording() override { ++stops; }
        int stops = 0;
    } delegate;
    makeList(2);
    const auto first = list->deviceAtIndex(0);
    const auto second = list->deviceAtIndex(1);
    for (const auto& device : {first, second}) {
        device->setDelegate(&delegate);
        device->startRecordingWithPreAllocationDuration(10, {});
        ASSERT_TRUE(device->isRecording());
    }
    fake(0).setCapabilities(false, false);
    list->updateDeviceWindows();
    EXPECT_EQ(delegate.stops, 1) << "it sends no DV any more";
    EXPECT_FALSE(first->isRecording());
    attach(1, false);
    list->updateDeviceWindows();
    EXPECT_EQ(delegate.stops, 2) << "it is gone";
    first->setDelegate(nullptr);
    second->setDelegate(nullptr);
}

TEST_F(CDVDevicesControllerTest, deviceThatReturnsHasItsPlaceAndANewController) {
    makeList(2);
    attach(0, false);
    list->updateDeviceWindows();
    environment.windows.front().reset();  // the last that holds the old one
    attach(0, true);
    list->updateDeviceWindows();
    EXPECT_THAT(guids(), ElementsAre(1, 2));
    EXPECT_EQ(environment.windows.size(), 3U);
    EXPECT_EQ(environment.windows.back()->topLeft, QPoint(0, 800));
    EXPECT_TRUE(fake(0).isStreaming());
}

TEST_F(CDVDevicesControllerTest, deviceThatWasAwayForAMomentOnlyStreamsAgain) {
    makeList(2);
    environment.windows.erase(environment.windows.begin());
    const std::weak_ptr<DeviceWindowController> before = list->deviceWindowControllerAtIndex(0);
    attach(0, false);
    attach(0, true);
    clock.advance(1.0);
    EXPECT_THAT(guids(), ElementsAre(1, 2));
    EXPECT_TRUE(before.expired());
    EXPECT_EQ(fake(0).streamsMade, 2);
    EXPECT_TRUE(fake(0).isOpen);
    EXPECT_TRUE(fake(0).isStreaming());
    EXPECT_EQ(fake(1).streamsMade, 1);
    EXPECT_EQ(environment.changes, 2);
    list->updateDeviceWindows();
    EXPECT_EQ(fake(0).streamsMade, 2);
}

TEST_F(CDVDevicesControllerTest, deviceOfTheOtherStandardIsMadeAgain) {
    makeList(2);
    environment.windows.clear();
    fake(0).setMode(0x00);
    gAVCDeviceController->deviceChanged(fake(0));
    clock.advance(1.0);
    EXPECT_THAT(guids(), ElementsAre(1, 2));
    EXPECT_EQ(list->deviceAtIndex(0)->standard(), kStandardNTSC);
    EXPECT_TRUE(fake(0).isStreaming());
    EXPECT_EQ(fake(0).receiver.dvMode, 0x00);
    fake(0).sendFrame(test::fakeFrame(false, 1));
    EXPECT_EQ(list->deviceAtIndex(0)->receivedFrames(), 1U);
    EXPECT_EQ(fake(1).streamsMade, 1);
    EXPECT_EQ(environment.windows.size(), 1U);
    EXPECT_EQ(environment.changes, 2);
}

TEST_F(CDVDevicesControllerTest, recordingDeviceOfTheOtherStandardIsMadeAgainWhenItEnds) {
    makeList(1);
    environment.windows.clear();
    record(0);
    fake(0).setMode(0x78);
    gAVCDeviceController->deviceChanged(fake(0));
    clock.advance(5.0);
    EXPECT_TRUE(list->deviceAtIndex(0)->isRecording());
    EXPECT_EQ(fake(0).streamsMade, 1);
    list->deviceAtIndex(0)->stopRecording(false);
    clock.advance(1.0);
    EXPECT_EQ(list->deviceAtIndex(0)->standard(), kStandardNTSC);
    EXPECT_EQ(fake(0).streamsMade, 2);
    EXPECT_FALSE(list->deviceListHasChanged());
}

TEST_F(CDVDevicesControllerTest, deviceThatWasRefusedIsOpenedWhenItHasChanged) {
    addDevice().openResult = EACCES;
    addDevice();
    makeList();
    EXPECT_EQ(list->deviceAtIndex(0)->openError(), EACCES);
    EXPECT_EQ(list->deviceAtIndex(1)->openError(), 0);
    clock.advance(5.0);
    EXPECT_EQ(log.count("Cannot open device (err = 13)"), 1) << "not without a reason";
    fake(0).openResult = 0;
    gAVCDeviceController->deviceChanged(fake(0));
    clock.advance(1.0);
    EXPECT_TRUE(fake(0).isStreaming());
    EXPECT_TRUE(list->deviceAtIndex(0)->hasStream());
    EXPECT_EQ(list->deviceAtIndex(0)->openError(), 0);
    gAVCDeviceController->deviceChanged(fake(0));
    gAVCDeviceController->deviceChanged(fake(1));
    clock.advance(1.0);
    EXPECT_EQ(fake(0).streamsMade, 1);
    EXPECT_EQ(fake(1).streamsMade, 1);
    EXPECT_EQ(environment.windows.size(), 2U);
}

TEST_F(CDVDevicesControllerTest, changeIsNoticedWithinASecond) {
    makeList(2);
    attach(0, false);
    EXPECT_EQ(list->countDevices(), 2);
    clock.advance(1.0);
    EXPECT_EQ(list->countDevices(), 1);
    EXPECT_FALSE(list->deviceListHasChanged());
}

TEST_F(CDVDevicesControllerTest, withoutReportOfAChangeTheListIsNotRebuilt) {
    makeList(2);
    fake(0).attach(false);
    clock.advance(10.0);
    EXPECT_EQ(list->countDevices(), 2);
    list->deviceListUpdateTimer();  // asks nothing
    EXPECT_EQ(list->countDevices(), 1);
}

TEST_F(CDVDevicesControllerTest, missingRecordLeavesEverythingAsItWas) {
    makeList(2);
    attach(0, false);
    auto late = std::make_unique<FakeDevice>(77);
    gAVCDeviceController->addDevice(nullptr);
    gAVCDeviceController->addDevice(std::move(late));
    record(1);
    list->updateDeviceWindows();
    EXPECT_THAT(guids(), ElementsAre(1, 2));
    EXPECT_TRUE(list->deviceListHasChanged());
    EXPECT_THAT(environment.icons, ElementsAre("TapedeckStoppedIcon"));
    EXPECT_EQ(environment.changes, 1);
    EXPECT_EQ(list->indexOfDeviceWithGUID(77), -1);
}

TEST_F(CDVDevicesControllerTest, endLetsGoOfEveryDeviceAndTimer) {
    makeList(2);
    const std::weak_ptr<CDVDevice> device = list->deviceAtIndex(0);
    environment.windows.clear();
    list.reset();
    EXPECT_TRUE(device.expired());
    EXPECT_EQ(gAVCDeviceController, nullptr);
    EXPECT_EQ(clock.pendingTimers(), 0U);
}

// Places of the windows

TEST_F(CDVDevicesControllerTest, windowsFillRowsFromTheTopLeft) {
    makeList(5);
    ASSERT_EQ(environment.windows.size(), 5U);
    EXPECT_EQ(environment.windows[0]->topLeft, QPoint(0, 800));
    EXPECT_EQ(environment.windows[1]->topLeft, QPoint(400, 800));
    EXPECT_EQ(environment.windows[2]->topLeft, QPoint(800, 800));
    EXPECT_EQ(environment.windows[3]->topLeft, QPoint(0, 500));
    EXPECT_EQ(environment.windows[4]->topLeft, QPoint(400, 500));
}

TEST_F(CDVDevicesControllerTest, windowIsPlacedBeforeItIsShown) {
    makeList(2);
    EXPECT_EQ(environment.windows[1]->placeWhenShown, QPoint(400, 800));
}

TEST_F(CDVDevicesControllerTest, placeFollowsTheRecordNotTheList) {
    addDevice().attach(false);
    addDevice();
    makeList();
    EXPECT_THAT(guids(), ElementsAre(2));
    EXPECT_EQ(environment.windows[0]->topLeft, QPoint(400, 800));
}

TEST_F(CDVDevicesControllerTest, originOfTheScreenCountsUpwardsOnly) {
    environment.screen = QRect(1920, 48, 1280, 752);
    makeList(2);
    EXPECT_EQ(environment.windows[0]->topLeft, QPoint(0, 800));
    EXPECT_EQ(environment.windows[1]->topLeft, QPoint(400, 800));
}

TEST_F(CDVDevicesControllerTest, withoutAScreenWindowsAreNotPlaced) {
    environment.screen = QRect();
    makeList(1);
    EXPECT_EQ(environment.windows[0]->topLeft, QPoint(-1, -1));
}

// The icon

TEST_F(CDVDevicesControllerTest, iconFollowsTheRecordings) {
    makeList(1);
    list->updateApplicationIcon();
    record(0);
    list->updateApplicationIcon();
    list->deviceAtIndex(0)->pauseRecording(true);
    list->updateApplicationIcon();
    list->deviceAtIndex(0)->pauseRecording(false);
    list->updateApplicationIcon();
    list->updateApplicationIcon();
    list->deviceAtIndex(0)->stopRecording(false);
    list->updateApplicationIcon();
    EXPECT_THAT(environment.icons,
                ElementsAre("TapedeckStoppedIcon", "TapedeckIcon", "TapedeckPausedIcon",
                            "TapedeckIcon", "TapedeckStoppedIcon"));
}

TEST_F(CDVDevicesControllerTest, laterDeviceDecidesTheIcon) {
    makeList(3);
    environment.icons.clear();
    record(0);
    record(1);
    list->deviceAtIndex(0)->pauseRecording(true);
    list->updateApplicationIcon();
    EXPECT_THAT(environment.icons, ElementsAre("TapedeckIcon"));
    list->deviceAtIndex(0)->pauseRecording(false);
    list->deviceAtIndex(1)->pauseRecording(true);
    list->updateApplicationIcon();
    EXPECT_THAT(environment.icons, ElementsAre("TapedeckIcon", "TapedeckPausedIcon"));
}

TEST_F(CDVDevicesControllerTest, recordingDeviceThatGoesAwayTakesItsIconWithIt) {
    makeList(2);
    record(0);
    list->updateApplicationIcon();
    attach(0, false);
    environment.icons.clear();
    list->updateDeviceWindows();
    EXPECT_THAT(environment.icons, ElementsAre("TapedeckStoppedIcon"));
}

}  // namespace takebox
