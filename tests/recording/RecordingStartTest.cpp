// What pressing the record button does besides making files, step by step.

#include "recording/RecordingStart.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::RecordingStart;
using testing::ElementsAre;
using testing::IsEmpty;

}  // namespace

// Nothing to record into

TEST_F(RecordingStart, withoutADestinationIsRefusedAndChangesNothing) {
    makeController();
    device().setShouldCreateReferenceMovie(true);
    device().setShouldCreateSelfContainedMovie(true);
    device().setLoopDuration(7.0);
    want(false, false);
    icons.clear();
    record();
    expectAlert(u"No Recording Destination!"_s,
                u"No destination has been set.\nPlease check your Capture Settings and try "
                "again."_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_TRUE(device().shouldCreateReferenceMovie());
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_EQ(device().loopDuration(), 7.0);
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

TEST_F(RecordingStart, withoutADeviceDoesNothing) {
    CDVDeviceWindowController orphan(nullptr, services);
    orphan.recordButtonPushed();
    orphan.stopButtonPushed();
    orphan.pauseButtonPushed();
    EXPECT_THAT(services.alerts, IsEmpty());
}

// The start time code

TEST_F(RecordingStart, keepsTheTimeCodeOfTheDeviceWhateverTheSource) {
    makeController();
    want(true, false);
    controller().settings().setTimecodeSourceIndex(kTimecodeSourcePreset);
    controller().settings().setPresetTimecode(3723.5);
    deck().sendFrame(test::fakeFrame(true, 25 * 61 + 7));
    record(u"Name"_s);
    EXPECT_EQ(controller().recordStartTimecodeString(), u"00:01:01:07"_s);
    EXPECT_DOUBLE_EQ(controller().recordStartTimecode(), 61.28);
}

TEST_F(RecordingStart, countsTheFramesOfTheKeptTimeCodeAtTheRateOfTheDevice) {
    makeController(kNTSCMode);
    want(true, false);
    deck().sendFrame(test::fakeFrame(false, 30 + 15));
    record(u"Name"_s);
    EXPECT_EQ(controller().recordStartTimecodeString(), u"00:00:01:15"_s);
    EXPECT_DOUBLE_EQ(controller().recordStartTimecode(), 1 + 15 / 29.97);
}

struct SourceCase {
    std::int32_t index;
    const char* startTimeCode;
};
class TimecodeSourceOfStart : public RecordingStart,
                              public testing::WithParamInterface<SourceCase> {};
INSTANTIATE_TEST_SUITE_P(Each, TimecodeSourceOfStart,
                         testing::Values(SourceCase{0, "00:01:01:07"}, SourceCase{1, "09:05:02:12"},
                                         SourceCase{2, "01:02:03:12"}));

TEST_P(TimecodeSourceOfStart, givesTheTimeCodeOfTheMovies) {
    makeController();
    want(true, true);
    controller().settings().setTimecodeSourceIndex(GetParam().index);
    controller().settings().setPresetTimecode(3723.5);
    deck().sendFrame(test::fakeFrame(true, 25 * 61 + 7));
    record(u"Name"_s);
    EXPECT_EQ(text(device().selfContainedMovie()->startTimeCode()), GetParam().startTimeCode);
    EXPECT_EQ(text(controller().currentReferenceMovie()->startTimeCode()),
              GetParam().startTimeCode);
}

// After the start

TEST_F(RecordingStart, leavesStopAndPauseToPush) {
    makeController();
    want(true, false);
    record();
    auto& outlets = controller().outlets();
    EXPECT_FALSE(outlets.recordButton.isEnabled());
    EXPECT_FALSE(outlets.settingsButton.isEnabled());
    EXPECT_TRUE(outlets.stopButton.isEnabled());
    EXPECT_TRUE(outlets.pauseButton.isEnabled());
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon", "TapedeckIcon"));
}

TEST_F(RecordingStart, switchesEachPlayoutSystemAfterTheDeviceHasStartedAndBeforeAllElse) {
    makeController();
    want(true, false);
    prefer(OxaPrefShouldSwitchCastlineKey, 1);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"10.0.0.1"_s, u"studio"_s});
    int calls = 0;
    services.whenSwitched = [&] {
        ++calls;
        EXPECT_TRUE(device().isRecording());
        EXPECT_TRUE(controller().outlets().recordButton.isEnabled());
        EXPECT_FALSE(exists(u"reference/Name.ref"_s));
        EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
    };
    record(u"Name"_s);
    EXPECT_EQ(calls, 2);
    EXPECT_THAT(services.switched,
                ElementsAre(std::pair(u"10.0.0.1"_s, true), std::pair(u"studio"_s, true)));
}

TEST_F(RecordingStart, switchesNothingUnlessToldTo) {
    makeController();
    want(true, false);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"10.0.0.1"_s});
    record();
    EXPECT_THAT(services.switched, IsEmpty());
}

TEST_F(RecordingStart, goesOnWhenAPlayoutSystemCannotBeSwitched) {
    makeController();
    want(true, false);
    prefer(OxaPrefShouldSwitchCastlineKey, true);
    prefer(OxaPrefCastlineAddressesKey, QVariantList{u"a"_s, u"b"_s});
    services.switchResult = -1;
    record();
    EXPECT_EQ(
        log.count("Tapedeck: Could not switch Castline with address a because of an error -1"), 1);
    EXPECT_EQ(services.switched.size(), 2U);
    EXPECT_TRUE(device().isRecording());
    EXPECT_FALSE(controller().outlets().recordButton.isEnabled());
}

TEST_F(RecordingStart, runsTheScriptAfterItsDelay) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, true);
    prefer(OxaPrefStartRecordingScriptDelayKey, qint64{3});
    record();
    services.manualClock.advance(2.99);
    EXPECT_THAT(services.actions, IsEmpty());
    services.manualClock.advance(0.02);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
    services.manualClock.advance(60.0);
    EXPECT_EQ(services.actions.size(), 1);
}

TEST_F(RecordingStart, runsTheScriptAfterAPartOfASecond) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, true);
    prefer(OxaPrefStartRecordingScriptDelayKey, 1.5);
    record();
    services.manualClock.advance(1.49);
    EXPECT_THAT(services.actions, IsEmpty());
    services.manualClock.advance(0.02);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
}

TEST_F(RecordingStart, doesNotWaitForAScriptWithoutDelayEither) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, qint64{1});
    record();
    EXPECT_THAT(services.actions, IsEmpty());
    services.manualClock.advance(0.0);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
}

TEST_F(RecordingStart, runsTheScriptEvenWhenTheDeviceIsGoneByThen) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStartRecordingScriptKey, true);
    prefer(OxaPrefStartRecordingScriptDelayKey, 5);
    record();
    deck().attach(false);
    gDVDevicesController->updateDeviceWindows();
    services.manualClock.advance(5.0);
    EXPECT_THAT(services.actions, ElementsAre(u"Start Recording"_s));
}

TEST_F(RecordingStart, runsNoScriptUnlessToldTo) {
    makeController();
    want(true, false);
    prefer(OxaPrefLaunchStopRecordingScriptKey, true);
    record();
    controller().stopButtonPushed();
    services.manualClock.advance(60.0);
    EXPECT_THAT(services.actions, IsEmpty());
}

TEST_F(RecordingStart, withoutAStreamStillWritesTheReferenceMovie) {
    addDeck().hasReceiver = false;
    makeControllers();
    want(true, false);
    record(u"Name"_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_TRUE(exists(u"reference/Name.ref"_s));
    EXPECT_THAT(icons, ElementsAre("TapedeckStoppedIcon"));
}

// The reference movie

struct StandardCase {
    std::uint8_t dvMode;
    bool isPAL;
    std::uint32_t frameSize;
    std::int32_t timeScale;
};
class ReferenceMovieOfStart : public RecordingStart,
                              public testing::WithParamInterface<StandardCase> {};
INSTANTIATE_TEST_SUITE_P(Each, ReferenceMovieOfStart,
                         testing::Values(StandardCase{0x80, true, 144000, 2500},
                                         StandardCase{0x00, false, 120000, 2997}));

TEST_P(ReferenceMovieOfStart, hasTheMeasuresOfItsStandard) {
    makeController(GetParam().dvMode);
    want(true, false);
    controller().settings().setReferenceMovieDuration(12.0);
    controller().settings().setMonoTracks(true);
    record(u"Name"_s);
    const auto movie = controller().currentReferenceMovie();
    ASSERT_NE(movie, nullptr);
    EXPECT_EQ(movie->isPAL(), GetParam().isPAL);
    EXPECT_EQ(movie->videoFrameSize(), GetParam().frameSize);
    EXPECT_EQ(movie->videoTimeScale(), GetParam().timeScale);
    EXPECT_EQ(movie->duration(), 12.0);
    EXPECT_FALSE(movie->dropFrame());
    EXPECT_TRUE(movie->monoTracks());
    EXPECT_EQ(movie->movieFilePath(), path(u"reference/Name.ref"_s));
    EXPECT_EQ(movie->videoFilePath(), path(u"raw/Name/Name.dv"_s));
    EXPECT_EQ(movie->audioFilePathForTrackIndex(0), path(u"raw/Name/Name.aud"_s));
    EXPECT_EQ(movie->audioChunkSizeForTrackIndex(0), 96000U);
    EXPECT_EQ(movie->audioTimeScaleForTrackIndex(0), 48000);
    EXPECT_EQ(movie->audioTracksCount(), 1);
    EXPECT_EQ(movie->aiffHeaderSize(), 0);
    for (const char* const kind : {"vide", "soun", "tmcd"}) {
        EXPECT_TRUE(contents(u"reference/Name.ref"_s).contains(kind)) << kind;
    }
}

TEST_F(RecordingStart, makesANewReferenceMovieEachTime) {
    makeController();
    want(true, false);
    record(u"Name"_s);
    const auto first = controller().currentReferenceMovie();
    controller().stopButtonPushed();
    want(false, true);
    record(u"Name"_s);
    EXPECT_EQ(controller().currentReferenceMovie(), first);  // none wanted, none made
    controller().stopButtonPushed();
    want(true, false);
    record(u"Name"_s);
    EXPECT_NE(controller().currentReferenceMovie(), first);
    EXPECT_EQ(controller().currentReferenceMovie()->movieFilePath(),
              path(u"reference/Name 1.ref"_s));
}

}  // namespace takebox
