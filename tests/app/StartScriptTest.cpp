#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include "RunningRecorder.h"
#include "app/CActionsManager.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "storage/WriterThreads.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::RunningRecorder;
using test::waitUntil;

TEST(StartScript, runsAfterTheDelayWhenARecordingHasStarted) {
    RunningRecorder recorder;
    const QString sign = recorder.filePath(u"sign"_s);
    recorder.putAction(u"Start Recording.scpt"_s,
                       "local file = assert(io.open('" + sign.toUtf8() +
                           "', 'w')) "
                           "for _, deck in ipairs(takebox.decks) do "
                           "file:write(deck.name, ' ', tostring(deck.recording), '\\n') end "
                           "file:close()");
    Defaults::standard().setObject(OxaPrefLaunchStartRecordingScriptKey, true);
    Defaults::standard().setObject(OxaPrefStartRecordingScriptDelayKey, 3);
    QElapsedTimer timer;
    timer.start();
    recorder.deck(0).recordButtonPushed();
    EXPECT_FALSE(recorder.deck(0).outlets().recordButton.isEnabled());
    ASSERT_TRUE(waitUntil([&sign] { return QFileInfo(sign).size() > 0; }));
    EXPECT_GE(timer.elapsed(), 2900);
    EXPECT_LT(timer.elapsed(), 10000);
    recorder.deck(0).stopButtonPushed();
    QFile file(sign);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "Studio true\nField false\n");
}

TEST(StartScript, doesNotRunWithoutThePreference) {
    RunningRecorder recorder;
    test::LogCapture log;
    recorder.putAction(u"Start Recording.lua"_s, "takebox.log('the script ran')");
    recorder.deck(0).recordButtonPushed();
    ASSERT_TRUE(waitUntil([&recorder] { return recorder.deck(0).recordedFrames() > 25; }));
    EXPECT_EQ(log.count("the script ran"), 0);
}

/// Scripts that go wrong, and whether they come to their end.
struct Mischief {
    const char* name;
    const char* text;
    bool succeeds;
};

class ScriptMischief : public ::testing::TestWithParam<Mischief> {};

TEST_P(ScriptMischief, leavesTheRecordingWhole) {
    RunningRecorder recorder;
    recorder.putAction(u"Mischief.lua"_s, GetParam().text);
    recorder.deck(0).recordButtonPushed();
    ASSERT_TRUE(waitUntil([&recorder] { return recorder.deck(0).recordedFrames() > 5; }));
    const QString dvPath = recorder.filePath(u"Show 0/Show 0.dv"_s);
    const auto sizeBefore = QFileInfo(dvPath).size();
    EXPECT_EQ(gActionsManager->executeActionWithName(u"Mischief"_s), GetParam().succeeds);
    EXPECT_TRUE(recorder.deck(0).device()->isRecording());
    const auto framesAfter = recorder.deck(0).recordedFrames();
    ASSERT_TRUE(waitUntil([&] { return recorder.deck(0).recordedFrames() > framesAfter + 5; }));
    recorder.deck(0).stopButtonPushed();
    WriterThreads::waitUntilFinished();
    const RecordingReport report = recorder.deck(0).device()->recordingReport();
    EXPECT_TRUE(report.losses().isEmpty()) << qPrintable(report.losses().join(u", "_s));
    EXPECT_EQ(QFileInfo(dvPath).size(), static_cast<qint64>(report.frames) * 144000);
    EXPECT_GT(QFileInfo(dvPath).size(), sizeBefore);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ScriptMischief,
    ::testing::Values(
        Mischief{"fails", "error('on purpose')", false},
        Mischief{"takesTwoSeconds", "local t = os.time() while os.time() < t + 2 do end", true},
        Mischief{"waitsForACommand", "os.execute('sleep 2')", true},
        Mischief{"exhaustsMemory", "local t = {} while true do t[#t + 1] = ('x'):rep(#t) end",
                 false},
        Mischief{"exhaustsTheStack", "local function f() return 1 + f() end f()", false},
        Mischief{"deletesItself",
                 "os.execute('rm -r \"' .. (os.getenv('XDG_DATA_HOME') or "
                 "os.getenv('HOME') .. '/.local/share') .. '/takebox\"')",
                 true},
        Mischief{"exits", "os.exit(1)", false}),
    [](const auto& kind) { return std::string(kind.param.name); });

TEST(ScriptCommands, startPauseAndStopTheDeck) {
    RunningRecorder recorder;
    recorder.putAction(u"Control.lua"_s,
                       "local deck = takebox.decks[2] "
                       "deck.recordingName = 'By Script' deck:start() assert(deck.recording) "
                       "deck:pause() assert(deck.paused) deck:resume() assert(not deck.paused)");
    recorder.putAction(u"End.lua"_s,
                       "takebox.decks[2]:stop() assert(not takebox.decks[2].recording)");
    test::LogCapture log;
    EXPECT_TRUE(gActionsManager->executeActionWithName(u"Control"_s));
    EXPECT_TRUE(
        log.containsText("STARTED RECORDING because we received an AppleScript command to record"));
    EXPECT_TRUE(recorder.deck(1).device()->isRecording());
    EXPECT_FALSE(recorder.deck(0).device()->isRecording());
    EXPECT_TRUE(gActionsManager->executeActionWithName(u"End"_s));
    EXPECT_TRUE(log.containsText("STOPPED because we received an AppleScript command to stop"));
    EXPECT_TRUE(QFileInfo::exists(recorder.filePath(u"By Script.ref"_s)));
}

TEST(ScriptCommands, withoutADeckOnesOfTheApplicationGoToTheFirst) {
    RunningRecorder recorder;
    recorder.application().handleStartRecording();
    EXPECT_TRUE(recorder.deck(0).device()->isRecording());
    EXPECT_FALSE(recorder.deck(1).device()->isRecording());
    recorder.application().handlePauseRecording();  // passes on the button as it stands: off
    EXPECT_FALSE(recorder.deck(0).device()->isPaused());
    recorder.deck(0).outlets().pauseButton.setState(true);
    recorder.application().handlePauseRecording();
    EXPECT_TRUE(recorder.deck(0).device()->isPaused());
    recorder.application().handleStopRecording();
    EXPECT_FALSE(recorder.deck(0).device()->isRecording());
}

}  // namespace
}  // namespace takebox
