#include <QElapsedTimer>
#include <algorithm>
#include <cerrno>

#include "FirewireStack.h"
#include "platform/avc/ieee1394/IEEE1394Backend.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

std::string deck(const char* guid, const std::string& settings = "") {
    return std::string("deck ") + guid + " " + settings;
}

class FirewireDevices : public FirewireStack {};

TEST(FirewireWithoutBus, startsAtOnceAndSaysSoOnce) {
    LogCapture log;
    std::unique_ptr<avc::AVCDeviceController> controller;
    QElapsedTimer timer;
    timer.start();
    avc::AVCBackends backends;
    backends.push_back(std::make_unique<avc::IEEE1394Backend>());
    avc::CreateAVCDeviceController(controller, std::move(backends), nullptr, nullptr);
    EXPECT_EQ(controller->deviceCount(), 0);
    avc::DestroyAVCDeviceController(controller);
    EXPECT_LT(timer.elapsed(), limit(1000));
    EXPECT_EQ(log.count("No FireWire controller found, or its driver (firewire-ohci) is not "
                        "loaded. Virtual decks can be used."),
              1);
    EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(FirewireDevices, aControllerAloneIsNoDeviceAndNoReasonToComplain) {
    startBackend();
    EXPECT_EQ(controller->deviceCount(), 0);
    EXPECT_TRUE(log.lines().empty());
}

TEST_F(FirewireDevices, aDeckIsListedWithWhatItSaysOfItself) {
    firewire(deck(kDeckA, "vendor=Nordlicht model=DV-500_Pro source=ntsc:1"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_STREQ(device->deviceName(), "Nordlicht DV-500 Pro");
    EXPECT_EQ(device->guid(), kGuidA);
    EXPECT_EQ(device->dvMode(), 0x00);
    EXPECT_TRUE(device->isDVTapeDevice());
    EXPECT_FALSE(device->isDVConverter());
    EXPECT_EQ(controller->deviceCount(), 1);
    EXPECT_EQ(notifications(), 1);
}

TEST_F(FirewireDevices, aCameraWithoutTapeIsAConverter) {
    firewire(deck(kDeckA, "tape=no"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_FALSE(device->isDVTapeDevice());
    EXPECT_TRUE(device->isDVConverter());
    EXPECT_EQ(device->dvMode(), 0x80);
}

TEST_F(FirewireDevices, severalDevicesOnSeveralCardsAreAllListed) {
    firewire("card 1");
    firewire(deck(kDeckA, "card=0 model=A"));
    firewire(deck(kDeckB, "card=1 model=B"));
    firewire(deck(kDeckC, "card=1 model=C units=camera"));
    startBackend();
    ASSERT_NE(waitForDevice(kGuidA), nullptr);
    ASSERT_NE(waitForDevice(kGuidB), nullptr);
    EXPECT_EQ(controller->deviceCount(), 2) << "a machine-vision camera is not ours";
}

TEST_F(FirewireDevices, namesThatTheKernelDoesNotFindAreReadFromTheROM) {
    firewire(deck(kDeckA, "names=rom vendor=Altgeraet model=TRV-9"));
    firewire(deck(kDeckB, "names=none"));
    startBackend();
    auto* const named = waitForDevice(kGuidA);
    ASSERT_NE(named, nullptr);
    EXPECT_STREQ(named->deviceName(), "Altgeraet TRV-9");
    auto* const nameless = waitForDevice(kGuidB);
    ASSERT_NE(nameless, nullptr);
    EXPECT_STREQ(nameless->deviceName(), "DV device 08004601020304bb");
}

TEST_F(FirewireDevices, aLongNameIsCutTo79Bytes) {
    firewire(deck(kDeckA, "vendor=" + std::string(60, 'v') + " model=" + std::string(60, 'm')));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(std::string(device->deviceName()), std::string(60, 'v') + " " + std::string(18, 'm'));
}

TEST_F(FirewireDevices, aLongNameIsNotCutWithinALetter) {
    std::string letters;
    for (int i = 0; i < 40; ++i) {
        letters += "ü";
    }
    firewire("deck " + std::string(kDeckA) + " source=pal:1 model=" + letters);
    startBackend();
    const auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(std::string(device->deviceName()), "Nordlicht " + letters.substr(0, 68));
}

TEST_F(FirewireDevices, aModelWithoutAMakerIsAName) {
    firewire("deck " + std::string(kDeckA) + " source=pal:1 vendor= model=DV-7");
    startBackend();
    const auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_STREQ(device->deviceName(), "DV-7");
}

TEST_F(FirewireDevices, oneWhoseFileCannotBeOpenedIsShownAndTheLogSaysWhy) {
    firewire("deck " + std::string(kDeckA) + " source=pal:1 access=gone");
    startBackend();
    const auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(waitUntil([&] { return log.containsText("Cannot open Nordlicht DV-100"); }));
    EXPECT_TRUE(device->isAttached());
}

TEST_F(FirewireDevices, oneThatIsPluggedInIsThereWithinTwoSeconds) {
    startBackend();
    QElapsedTimer timer;
    timer.start();
    firewire(deck(kDeckA));
    ASSERT_NE(waitForDevice(kGuidA), nullptr);
    EXPECT_LT(timer.elapsed(), limit(2000));
}

TEST_F(FirewireDevices, oneThatNeverAnswersIsThereWithinTwoSecondsAllTheSame) {
    startBackend();
    QElapsedTimer timer;
    timer.start();
    firewire(deck(kDeckA, "answers=no silent=yes"));
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_LT(timer.elapsed(), limit(2000));
    EXPECT_TRUE(device->isDVConverter() || device->isDVTapeDevice());
}

TEST_F(FirewireDevices, oneThatDoesNotAnswerIsListenedTo) {
    firewire(deck(kDeckA, "units=converter source=ntsc:5 broadcast=yes"));
    firewire(deck(kDeckB, "answers=none source=ntsc:5"));
    startBackend();
    for (const auto guid : {kGuidA, kGuidB}) {
        auto* const device = waitForDevice(guid);
        ASSERT_NE(device, nullptr);
        EXPECT_TRUE(device->isDVConverter());
        EXPECT_EQ(device->dvMode(), 0x00);
    }
    EXPECT_EQ(deckStatus(kDeckB)["connections"], "0") << "the connection was given back";
}

TEST_F(FirewireDevices, oneThatKnowsTheQuestionOfItsTapeOnlyIsAskedThat) {
    firewire(deck(kDeckA, "mute=18,31 silent=yes source=ntsc:1"));
    firewire(deck(kDeckB, "mute=18 tape=no silent=yes source=ntsc:1 answers=none"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(waitUntil([&] { return device->dvMode() == 0x00; }));
    EXPECT_TRUE(device->isDVTapeDevice());
    auto* const other = waitForDevice(kGuidB);
    ASSERT_NE(other, nullptr);
    EXPECT_TRUE(waitUntil([&] { return other->isDVConverter(); }));
}

TEST_F(FirewireDevices, signalsThatCannotBeRecordedClearBothFlags) {
    firewire(deck(kDeckA, "format=hdv"));
    firewire(deck(kDeckB, "format=sdl"));
    startBackend();
    for (const auto guid : {kGuidA, kGuidB}) {
        auto* const device = waitForDevice(guid);
        ASSERT_NE(device, nullptr);
        EXPECT_FALSE(device->isDVTapeDevice());
        EXPECT_FALSE(device->isDVConverter());
    }
    EXPECT_TRUE(log.containsText("does not send DV at 25 Mbit/s"));
}

TEST_F(FirewireDevices, aCamcorderSwitchedFromHDVToDVBecomesUsable) {
    firewire(deck(kDeckA, "format=hdv"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    firewire("set " + std::string(kDeckA) + " format=dv");
    firewire("change " + std::string(kDeckA));
    EXPECT_TRUE(waitUntil([&] { return device->isDVTapeDevice(); }));
}

TEST_F(FirewireDevices, theStreamTellsTheModeOfOneThatDidNotSay) {
    firewire(deck(kDeckA, "answers=no silent=yes source=ntsc:5"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->dvMode(), 0x80);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    const int before = notifications();
    firewire("set " + std::string(kDeckA) + " silent=no");
    EXPECT_TRUE(waitUntil([&] { return device->dvMode() == 0x00; }));
    EXPECT_GT(notifications(), before);
    firewire("set " + std::string(kDeckA) + " source=pal:5");
    EXPECT_TRUE(waitUntil([&] { return device->dvMode() == 0x80; }));
}

TEST_F(FirewireDevices, theStreamIsBelievedWhateverTheDeviceAnswers) {
    firewire(deck(kDeckA, "source=ntsc:5"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() > 10; }));
    firewire("set " + std::string(kDeckA) + " says=pal");
    firewire("change " + std::string(kDeckA));
    EXPECT_TRUE(waitUntil([&] { return log.containsText("sends DV, 525/60"); }));
    EXPECT_EQ(device->dvMode(), 0x00);
}

TEST_F(FirewireDevices, aSignalInTheStreamThatCannotBeRecordedClearsBothFlags) {
    firewire(deck(kDeckA, "silent=yes"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    EXPECT_TRUE(device->isDVTapeDevice());
    firewire("set " + std::string(kDeckA) + " format=sdl silent=no");
    EXPECT_TRUE(waitUntil([&] { return !device->isDVTapeDevice() && !device->isDVConverter(); }));
    EXPECT_TRUE(log.containsText("does not send DV at 25 Mbit/s"));
}

TEST_F(FirewireDevices, aTapeThatGoesOverToAnotherFormatKeepsItsDevice) {
    firewire(deck(kDeckA));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() > 2; }));
    const auto timesTold = [&] {
        const auto lines = log.lines();
        return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.find("nothing can be recorded") != std::string::npos;
        });
    };
    firewire("set " + std::string(kDeckA) + " format=hdv");
    EXPECT_TRUE(waitUntil([&] { return timesTold() == 1; }));
    EXPECT_EQ(capture.problem(), avc::StreamProblem::kOtherSignal);
    const std::size_t reached = capture.frameCount();
    firewire("set " + std::string(kDeckA) + " format=dv");
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() > reached + 2; }));
    EXPECT_EQ(capture.problem(), avc::StreamProblem::kNone);
    EXPECT_TRUE(device->isDVTapeDevice());
    firewire("set " + std::string(kDeckA) + " format=sdl");
    EXPECT_TRUE(waitUntil([&] { return timesTold() == 2; })) << "told at each change";
    EXPECT_EQ(capture.problem(), avc::StreamProblem::kOtherSignal);
}

TEST_F(FirewireDevices, oneThatGoesAndComesBackKeepsItsRecord) {
    firewire(deck(kDeckA));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    firewire("unplug " + std::string(kDeckA));
    EXPECT_TRUE(waitUntil([&] { return !device->isAttached(); }));
    EXPECT_EQ(capture.closeRequests(), 1);
    EXPECT_EQ(device->openDevice(nullptr, nullptr), ENODEV);

    const int before = notifications();
    firewire("plug " + std::string(kDeckA) + " fw=7");
    ASSERT_EQ(waitForDevice(kGuidA), device);
    EXPECT_GT(notifications(), before);
    EXPECT_EQ(controller->deviceCount(), 1);
    EXPECT_EQ(capture.closeRequests(), 1) << "asked to close once";
}

TEST_F(FirewireDevices, allOfACardGoTogether) {
    firewire(deck(kDeckA));
    firewire(deck(kDeckB));
    startBackend();
    auto* const first = waitForDevice(kGuidA);
    auto* const second = waitForDevice(kGuidB);
    firewire("uncard 0");
    EXPECT_TRUE(waitUntil([&] { return !first->isAttached() && !second->isAttached(); }));
}

TEST_F(FirewireDevices, withoutPermissionItIsShownAndTheLogSaysWhatToDo) {
    firewire(deck(kDeckA, "access=no model=DV-100"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(device->isDVTapeDevice());
    EXPECT_EQ(device->openDevice(nullptr, nullptr), EACCES);
    EXPECT_EQ(log.count("No permission to use Nordlicht DV-100 (/dev/fw1). Add yourself to the "
                        "group video or install the udev rule."),
              1);

    firewire("set " + std::string(kDeckA) + " access=yes");
    firewire("change " + std::string(kDeckA));
    Capture capture(*device);
    ASSERT_EQ(capture.start(), 0);
    EXPECT_TRUE(waitUntil([&] { return capture.frameCount() > 2; }));
}

TEST_F(FirewireDevices, isAskedAsSoonAsThereIsPermission) {
    firewire(deck(kDeckA, "access=no source=ntsc:5"));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_TRUE(waitUntil([&] { return log.containsText("No permission"); }));
    EXPECT_EQ(device->dvMode(), 0x80);
    const int before = notifications();
    firewire("set " + std::string(kDeckA) + " access=yes");  // of which the system tells nothing
    EXPECT_TRUE(waitUntil([&] { return device->dvMode() == 0x00; }));
    EXPECT_GT(notifications(), before);
}

TEST_F(FirewireDevices, isOpenedByOneUserAtATime) {
    firewire(deck(kDeckA));
    startBackend();
    auto* const device = waitForDevice(kGuidA);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->openDevice(nullptr, nullptr), 0);
    EXPECT_EQ(device->openDevice(nullptr, nullptr), EBUSY);
    device->closeDevice();
    device->closeDevice();
    EXPECT_EQ(device->openDevice(nullptr, nullptr), 0);
    device->closeDevice();
    EXPECT_EQ(device->CreateDVReceiverForDevicePlug({}), nullptr) << "not open";
}

TEST_F(FirewireDevices, theBackendEndsWhileDevicesAreBeingAsked) {
    for (int i = 0; i < 3; ++i) {
        firewire(deck(kDeckA, "answers=no silent=yes"));
        QElapsedTimer timer;
        timer.start();
        startBackend();
        stopBackend();
        EXPECT_LT(timer.elapsed(), limit(1000));
        firewire("unplug " + std::string(kDeckA));
    }
}

}  // namespace
}  // namespace takebox::test
