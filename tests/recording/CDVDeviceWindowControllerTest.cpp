// Stop, pause, scripting, time code and the settings that others change; what a start does is in
// RecordingStartTest.cpp.

#include "recording/CDVDeviceWindowController.h"

#include <gmock/gmock.h>
#include <sys/statvfs.h>

#include <QSignalSpy>

#include "capture/PreferenceKeys.h"
#include "platform/avc/TapeSubunitController.h"
#include "platform/defaults/Defaults.h"
#include "recording/RecordingBench.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

class CDVDeviceWindowControllerTest : public test::RecordingBench {
protected:
    void startRecording() {
        makeController();
        want(true, false);
        controller().setReferenceMovieDuration(1);  // no warning on a disk that is nearly full
        controller().recordButtonPushed();
    }
    static void prefer(const QString& key, const QVariant& value) {
        Defaults::standard().setObject(key, value);
    }
    [[nodiscard]] QVariantMap stored() const {
        return Defaults::standard()
            .objectForKey(u"Device Settings "_s + controller().guid())
            .toMap();
    }
    [[nodiscard]] TimeCodeRecord converted(double seconds) const {
        TimeCodeRecord timeCode;
        controller().time(seconds, timeCode);
        return timeCode;
    }
    static void expectTimeCode(const TimeCodeRecord& timeCode, int hours, int minutes, int seconds,
                               int frames) {
        EXPECT_EQ(timeCode.hours, hours);
        EXPECT_EQ(timeCode.minutes, minutes);
        EXPECT_EQ(timeCode.seconds, seconds);
        EXPECT_EQ(timeCode.frames, frames);
    }
};

}  // namespace

// Stop

TEST_F(CDVDeviceWindowControllerTest, stopPutsTheButtonsAndTheIconBack) {
    startRecording();
    icons.clear();
    controller().stopButtonPushed();
    EXPECT_FALSE(device().isRecording());
    auto& outlets = controller().outlets();
    EXPECT_TRUE(outlets.recordButton.isEnabled());
    EXPECT_TRUE(outlets.settingsButton.isEnabled());
    EXPECT_FALSE(outlets.stopButton.isEnabled());
    EXPECT_FALSE(outlets.pauseButton.isEnabled());
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
}

TEST_F(CDVDeviceWindowControllerTest, tapeRunsAndStopsWithTheRecordingWhenToldTo) {
    prefer(OxaPrefStartStopVTRKey, true);
    startRecording();
    controller().stopButtonPushed();
    EXPECT_THAT(deck().tapeCommands,
                ElementsAre(std::pair<int, int>(avc::kOpcodePlay, avc::kPlayForward),
                            std::pair<int, int>(avc::kOpcodeWind, avc::kWindStop)));
}

TEST_F(CDVDeviceWindowControllerTest, tapeIsLeftRunningWhenToldTo) {
    prefer(OxaPrefStartStopVTRKey, true);
    startRecording();
    deck().tapeCommands.clear();
    prefer(OxaPrefStartStopVTRKey, false);
    controller().stopButtonPushed();
    EXPECT_FALSE(device().isRecording());
    EXPECT_THAT(deck().tapeCommands, IsEmpty());
}

TEST_F(CDVDeviceWindowControllerTest, stopSwitchesNoPlayoutAndRunsNoScript) {
    prefer(OxaPrefShouldSwitchCastlineKey, true);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"a"_s});
    prefer(OxaPrefLaunchStopRecordingScriptKey, true);
    startRecording();
    services.switched.clear();
    controller().stopButtonPushed();
    services.manualClock.advance(60.0);
    EXPECT_THAT(services.switched, IsEmpty());
    EXPECT_THAT(services.actions, IsEmpty());
}

TEST_F(CDVDeviceWindowControllerTest, deviceThatEndsItsRecordingItselfIsShownAsStopped) {
    startRecording();
    send(30);
    icons.clear();
    EXPECT_THAT(services.warnings, IsEmpty());
    deck().sendDeviceMessage(avc::kDeviceCloseRequest);
    EXPECT_FALSE(device().isRecording());
    ASSERT_EQ(services.warnings.size(), 1U);
    EXPECT_EQ(services.warnings[0].first, u"Recording cut off!"_s);
    for (const QString& part :
         {controller().deviceName(), u"“Untitled”"_s, u"00:00:01:05, 30 frames, 0 lost"_s}) {
        EXPECT_TRUE(services.warnings[0].second.contains(part)) << qPrintable(part);
    }
    EXPECT_TRUE(controller().outlets().recordButton.isEnabled());
    EXPECT_FALSE(controller().outlets().stopButton.isEnabled());
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
}

TEST_F(CDVDeviceWindowControllerTest, recordPressedTwiceEndsTheFirstRecordingAndMakesASecond) {
    startRecording();
    send(3);
    controller().recordButtonPushed();
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Untitled/Untitled.dv"_s).size(), 3 * 144000);
    EXPECT_EQ(contents(u"raw/Untitled/Untitled 1.dv"_s).size(), 2 * 144000);
}

// Pause

TEST_F(CDVDeviceWindowControllerTest, pausePassesTheStateOfItsButton) {
    startRecording();
    icons.clear();
    send(2);
    controller().outlets().pauseButton.setState(true);
    controller().pauseButtonPushed();
    EXPECT_TRUE(device().isPaused());
    send(5);
    controller().outlets().pauseButton.setState(false);
    controller().pauseButtonPushed();
    EXPECT_FALSE(device().isPaused());
    send(1);
    EXPECT_FALSE(controller().outlets().recordButton.isEnabled());
    EXPECT_TRUE(controller().outlets().stopButton.isEnabled());
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Untitled/Untitled.dv"_s).size(), 3 * 144000);
    EXPECT_EQ(contents(u"raw/Untitled/Untitled.aud"_s).size(), 3 * 7680);
    EXPECT_THAT(icons, ElementsAre("TapedeckPausedIcon", "TapedeckIcon", "TapedeckStoppedIcon"));
}

TEST_F(CDVDeviceWindowControllerTest, pauseWithoutARecordingHoldsNothing) {
    makeController();
    controller().outlets().pauseButton.setState(true);
    controller().pauseButtonPushed();
    EXPECT_FALSE(device().isPaused());
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
}

TEST_F(CDVDeviceWindowControllerTest, recordingStoppedWhilePausedDoesNotStartPaused) {
    startRecording();
    controller().outlets().pauseButton.setState(true);
    controller().pauseButtonPushed();
    controller().stopButtonPushed();
    controller().recordButtonPushed();
    EXPECT_FALSE(device().isPaused());
    EXPECT_FALSE(controller().outlets().pauseButton.state());
}

TEST_F(CDVDeviceWindowControllerTest, twoDecksArePausedAndStoppedEachOnItsOwn) {
    addDeck(kPALMode);
    addDeck(kNTSCMode);
    makeControllers();
    for (std::size_t i = 0; i < 2; ++i) {
        controller(i).settings().setRecordingName(u"Deck %1"_s.arg(i));
        controller(i).setRecordingName(u"Deck %1"_s.arg(i));
        controller(i).recordButtonPushed();
    }
    send(4, 0);
    controller(0).outlets().pauseButton.setState(true);
    controller(0).pauseButtonPushed();
    send(4, 0);
    send(5, 1);
    controller(0).stopButtonPushed();
    send(1, 1);
    EXPECT_TRUE(device(1).isRecording());
    controller(1).stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Deck 0/Deck 0.dv"_s).size(), 4 * 144000);
    EXPECT_EQ(contents(u"raw/Deck 1/Deck 1.dv"_s).size(), 6 * 120000);
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon", "TapedeckIcon", "TapedeckStoppedIcon"));
}

// Scripting

TEST_F(CDVDeviceWindowControllerTest, scriptsStartAndStopWithALineInTheLog) {
    makeController();
    want(true, false);
    controller().handleStartRecording();
    EXPECT_TRUE(device().isRecording());
    EXPECT_EQ(log.count("STARTED RECORDING because we received an AppleScript command to record"),
              1);
    controller().handleStopRecording();
    EXPECT_FALSE(device().isRecording());
    EXPECT_EQ(log.count("STOPPED because we received an AppleScript command to stop"), 1);
}

TEST_F(CDVDeviceWindowControllerTest, scriptsPauseByTheButtonAsItStandsAndSayNothing) {
    startRecording();
    log.clear();
    controller().handlePauseRecording();
    EXPECT_FALSE(device().isPaused());
    controller().outlets().pauseButton.setState(true);
    controller().handlePauseRecording();
    EXPECT_TRUE(device().isPaused());
    controller().handlePauseRecording();
    EXPECT_TRUE(device().isPaused());
    EXPECT_THAT(log.lines(), IsEmpty());
}

// Time code

TEST_F(CDVDeviceWindowControllerTest, secondsBecomeTimeCodeOfTheDevicesRate) {
    makeController(kPALMode);
    expectTimeCode(converted(3723.5), 1, 2, 3, 12);
    expectTimeCode(converted(0.0), 0, 0, 0, 0);
    expectTimeCode(converted(0.999), 0, 0, 0, 24);
    expectTimeCode(converted(59.96), 0, 0, 59, 24);
    expectTimeCode(converted(86399.0), 23, 59, 59, 0);
    expectTimeCode(converted(100.0 * 3600), 100, 0, 0, 0);
    expectTimeCode(converted(257.0 * 3600 + 61), 1, 1, 1, 0);
}

TEST_F(CDVDeviceWindowControllerTest, secondsBecomeTimeCodeOfNTSC) {
    makeController(kNTSCMode);
    expectTimeCode(converted(3723.5), 1, 2, 3, 14);
    expectTimeCode(converted(1.999), 0, 0, 1, 29);
}

TEST_F(CDVDeviceWindowControllerTest, timeOfDayComesFromTheClock) {
    makeController(kPALMode);
    services.manualClock.setTime(QDateTime(QDate(2024, 6, 3), QTime(23, 59, 58, 990)));
    TimeCodeRecord timeCode;
    controller().realtimeTimecode(timeCode);
    expectTimeCode(timeCode, 23, 59, 58, 24);
    EXPECT_NEAR(controller().realtimeTime(), 86398.99, 1e-6);
}

TEST_F(CDVDeviceWindowControllerTest, timeOfDayCountsTheFramesOfTheDevice) {
    makeController(kNTSCMode);
    services.manualClock.setTime(QDateTime(QDate(2024, 6, 3), QTime(23, 59, 58, 990)));
    TimeCodeRecord timeCode;
    controller().realtimeTimecode(timeCode);
    expectTimeCode(timeCode, 23, 59, 58, 29);
}

TEST_F(CDVDeviceWindowControllerTest, timeCodeShownFollowsItsSource) {
    makeController(kPALMode);
    deck().sendFrame(test::fakeFrame(true, 25 * 61 + 5));
    auto& settings = controller().settings();
    settings.setPresetTimecode(3723.5);
    settings.setTimecodeSourceIndex(kTimecodeSourceDevice);
    EXPECT_EQ(controller().deviceTimecodeString(), u"00:01:01:05"_s);
    EXPECT_NEAR(controller().deviceTimecode(), 61.2, 1e-9);
    settings.setTimecodeSourceIndex(kTimecodeSourceTimeOfDay);
    EXPECT_EQ(controller().deviceTimecodeString(), u"09:05:02:12"_s);
    EXPECT_NEAR(controller().deviceTimecode(), 32702.5, 1e-9);
    settings.setTimecodeSourceIndex(kTimecodeSourcePreset);
    EXPECT_EQ(controller().deviceTimecodeString(), u"01:02:03:12"_s);
    EXPECT_EQ(controller().deviceTimecode(), 3723.5);
    settings.setTimecodeSourceIndex(7);
    EXPECT_EQ(controller().deviceTimecodeString(), u"00:00:00:00"_s);
    EXPECT_EQ(controller().deviceTimecode(), 0.0);
}

TEST_F(CDVDeviceWindowControllerTest, diskTimeIsThatOfTheFolderRecordedInto) {
    makeController();
    want(true, false);
    auto& settings = controller().settings();
    constexpr double kMinute = 60;  // what other programs write meanwhile
    settings.setRawRecordingFolderPath(path(u"."_s));
    struct statvfs disk {};
    ASSERT_EQ(statvfs(qPrintable(settings.rawRecordingFolderPath()), &disk), 0);
    const double before = static_cast<double>(disk.f_bavail * disk.f_frsize);
    controller().updateRemainingSpace();
    EXPECT_NEAR(controller().outlets().remainingDiskTimeField.doubleValue(), before / 3792000,
                kMinute);
    settings.setRawRecordingFolderPath(path(u"Gone"_s) + u"/away"_s);
    controller().updateRemainingSpace();
    EXPECT_EQ(controller().outlets().remainingDiskTimeField.doubleValue(), 0);
}

TEST_F(CDVDeviceWindowControllerTest, diskTimeCountsWholeSecondsOfRecording) {
    EXPECT_EQ(CDVDeviceWindowController::secondsOfRecordingIn(0), 0);
    EXPECT_EQ(CDVDeviceWindowController::secondsOfRecordingIn(3791999), 0);
    EXPECT_EQ(CDVDeviceWindowController::secondsOfRecordingIn(3792000), 1);
    EXPECT_EQ(CDVDeviceWindowController::secondsOfRecordingIn(qint64{3792000} * 86400 - 1), 86399);
}

TEST_F(CDVDeviceWindowControllerTest, diskTimeIsThatOfTheRawFilesBeforeThatOfTheMovie) {
    makeController();
    auto& settings = controller().settings();
    auto& left = controller().outlets().remainingDiskTimeField;
    const QString nowhere = path(u"Gone"_s) + u"/away"_s;
    settings.setRawRecordingFolderPath(path(u"."_s));
    settings.setSelfContainedRecordingFolderPath(nowhere);
    want(true, true);
    controller().updateRemainingSpace();
    EXPECT_GT(left.doubleValue(), 0);
    want(false, true);
    controller().updateRemainingSpace();
    EXPECT_EQ(left.doubleValue(), 0);
    settings.setRawRecordingFolderPath(nowhere);
    settings.setSelfContainedRecordingFolderPath(path(u"."_s));
    controller().updateRemainingSpace();
    EXPECT_GT(left.doubleValue(), 0);
}

TEST_F(CDVDeviceWindowControllerTest, diskTimeStaysWhereNothingIsToBeRecorded) {
    makeController();
    want(false, false);
    auto& left = controller().outlets().remainingDiskTimeField;
    left.setDoubleValue(77);
    services.manualClock.advance(2.0);
    EXPECT_EQ(left.doubleValue(), 77) << "no movie is wanted";
    want(true, false);
    controller().settings().setRawRecordingFolderPath(u""_s);
    services.manualClock.advance(2.0);
    EXPECT_EQ(left.doubleValue(), 77) << "there is no folder";
    controller().settings().setRawRecordingFolderPath(path(u"."_s));
    services.manualClock.advance(1.0);
    EXPECT_NE(left.doubleValue(), 77);
}

TEST_F(CDVDeviceWindowControllerTest, startTimeCodeOfADeviceWithoutARateIsNothing) {
    const CDVDeviceWindowController orphan(nullptr, services);
    EXPECT_EQ(orphan.recordStartTimecode(), 0.0);
    EXPECT_EQ(orphan.recordStartTimecodeString(), u"00:00:00:00"_s);
}

// Settings that others change

TEST_F(CDVDeviceWindowControllerTest, recordingNameGoesIntoItsField) {
    makeController();
    controller().setRecordingName(u"Show"_s);
    EXPECT_EQ(controller().recordingName(), u"Show"_s);
    EXPECT_EQ(controller().outlets().recordingNameField.stringValue(), u"Show"_s);
}

TEST_F(CDVDeviceWindowControllerTest, automaticNamingGoesIntoItsCheckBoxAndHidesTheName) {
    makeController();
    controller().setRecordingName(u"Show"_s);
    auto& outlets = controller().outlets();
    controller().setAutoNameRecordings(true);
    EXPECT_TRUE(controller().autoNameRecordings());
    EXPECT_TRUE(outlets.autoCheckBox.state());
    EXPECT_EQ(outlets.recordingNameField.stringValue(), u"<<auto>>"_s);
    EXPECT_FALSE(outlets.recordingNameField.isEnabled());
    controller().setAutoNameRecordings(false);
    EXPECT_FALSE(outlets.autoCheckBox.state());
    EXPECT_EQ(outlets.recordingNameField.stringValue(), u"Show"_s);
    EXPECT_TRUE(outlets.recordingNameField.isEnabled());
}

TEST_F(CDVDeviceWindowControllerTest, loopingGoesIntoItsCheckBox) {
    makeController();
    controller().setLoopRecording(true);
    EXPECT_TRUE(controller().loopRecording());
    EXPECT_TRUE(controller().outlets().loopRecordingCheckBox.state());
}

TEST_F(CDVDeviceWindowControllerTest, eachChangeIsOnTheDiskInTheSameTurn) {
    makeController();
    const QSignalSpy changes(&controller(), &CDVDeviceWindowController::settingsChanged);
    controller().setRecordingName(u"Show"_s);
    controller().setAutoNameRecordings(true);
    controller().setLoopRecording(true);
    controller().setCreateReferenceMovie(false);
    controller().setCreateSelfContainedMovie(true);
    controller().setReferenceMovieDuration(77.5);
    controller().setReferenceMovieFolderPath(u"/a"_s);
    controller().setSelfContainedRecordingFolderPath(u"/b"_s);
    controller().setRawRecordingFolderPath(u"/c"_s);
    EXPECT_EQ(changes.size(), 9);
    services.manualClock.advance(0.0);
    Defaults::standard().reopen(Defaults::standard().path());
    const QVariantMap entry = stored();
    EXPECT_EQ(entry.value(u"Recording Name"_s), u"Show"_s);
    EXPECT_EQ(entry.value(u"Auto Name Recordings"_s), true);
    EXPECT_EQ(entry.value(u"Loop Recording"_s), true);
    EXPECT_EQ(entry.value(u"Create Reference Movie"_s), false);
    EXPECT_EQ(entry.value(u"Create Self-Contained Movie"_s), true);
    EXPECT_EQ(entry.value(u"Reference Movie Duration"_s), 77.5);
    EXPECT_EQ(entry.value(u"Reference Movie Folder Path"_s), u"/a"_s);
    EXPECT_EQ(entry.value(u"Self-Contained Recording Folder Path"_s), u"/b"_s);
    EXPECT_EQ(entry.value(u"Raw Recording Folder Path"_s), u"/c"_s);
}

TEST_F(CDVDeviceWindowControllerTest, deviceIsKnownByItsGUIDAndTheNameOfItsSettings) {
    addDeck().setName("From the bus");
    makeControllers();
    EXPECT_EQ(controller().guid(), u"0000000000000001"_s);
    EXPECT_EQ(controller().deviceName(), u"From the bus"_s);
    EXPECT_EQ(controller().outlets().windowTitle.stringValue(), u"From the bus"_s);
}

TEST_F(CDVDeviceWindowControllerTest, automaticNamingThatWasStoredLeavesTheNameInItsField) {
    prefer(u"Device Settings 0000000000000001"_s,
           QVariantMap{{u"Auto Name Recordings"_s, true}, {u"Recording Name"_s, u"Show"_s}});
    makeController();
    auto& outlets = controller().outlets();
    EXPECT_TRUE(outlets.autoCheckBox.state());
    EXPECT_EQ(outlets.recordingNameField.stringValue(), u"Show"_s);
    EXPECT_TRUE(outlets.recordingNameField.isEnabled());
    want(false, true);
    controller().recordButtonPushed();
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/2008-03-07 09h05m02s.mov"_s));
}

TEST_F(CDVDeviceWindowControllerTest, nameThatTheUserGaveHoldsOverTheOneOfTheBus) {
    prefer(u"Device Settings 0000000000000001"_s, QVariantMap{{u"Device Name"_s, u"Studio B"_s}});
    addDeck().setName("From the bus");
    makeControllers();
    EXPECT_EQ(controller().deviceName(), u"Studio B"_s);
    EXPECT_EQ(controller().outlets().windowTitle.stringValue(), u"Studio B"_s);
}

TEST_F(CDVDeviceWindowControllerTest, deviceThatReturnsHasItsSettingsBack) {
    makeController();
    controller().setRecordingName(u"Show"_s);
    controller().setCreateSelfContainedMovie(true);
    controller().settings().setTimecodeSourceIndex(kTimecodeSourcePreset);  // saved by its end
    deck().attach(false);
    gDVDevicesController->updateDeviceWindows();
    ASSERT_EQ(gDVDevicesController->countDevices(), 0);
    deck().attach(true);
    gDVDevicesController->updateDeviceWindows();
    EXPECT_EQ(controller().recordingName(), u"Show"_s);
    EXPECT_EQ(controller().outlets().recordingNameField.stringValue(), u"Show"_s);
    EXPECT_TRUE(controller().createSelfContainedMovie());
    EXPECT_EQ(controller().settings().timecodeSourceIndex(), kTimecodeSourcePreset);
    EXPECT_TRUE(controller().outlets().recordButton.isEnabled());
}

TEST_F(CDVDeviceWindowControllerTest, deviceThatVanishesWhileRecordingLeavesItsFilesComplete) {
    startRecording();
    send(4);
    deck().attach(false);
    gDVDevicesController->updateDeviceWindows();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Untitled/Untitled.dv"_s).size(), 4 * 144000);
    EXPECT_EQ(contents(u"raw/Untitled/Untitled.aud"_s).size(), 4 * 7680);
    EXPECT_EQ(icons.back(), "TapedeckStoppedIcon");
}

TEST_F(CDVDeviceWindowControllerTest, recordedTimeIsThatOfTheDevice) {
    startRecording();
    send(30);
    EXPECT_EQ(controller().recordedFrames(), 30U);
    EXPECT_EQ(controller().recordedTimecode(), u"00:00:01:05"_s);
    EXPECT_DOUBLE_EQ(controller().recordedTime(), 1.2);
}

TEST_F(CDVDeviceWindowControllerTest, titleIsHeldForScripts) {
    makeController();
    EXPECT_TRUE(controller().quickTimeTitle().isNull());
    controller().setQuickTimeTitle(u"Title"_s);
    EXPECT_EQ(controller().quickTimeTitle(), u"Title"_s);
}

TEST_F(CDVDeviceWindowControllerTest, endForgetsItsTimers) {
    makeController();
    controller().setRecordingName(u"Show"_s);
    gDVDevicesController.reset();
    EXPECT_EQ(services.manualClock.pendingTimers(), 0U);
}

}  // namespace takebox
