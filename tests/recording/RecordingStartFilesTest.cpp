// The files that pressing the record button makes, and their names.

#include <QFileInfo>

#include "recording/RecordingStart.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::RecordingStart;
using testing::IsEmpty;

const QString kFileInUse =
    u"Please make sure the destination reference file is not open in another application."_s;

}  // namespace

// The name

TEST_F(RecordingStart, isNamedByDateAndTimeWhenNamedAutomatically) {
    makeController();
    want(true, true);
    controller().setAutoNameRecordings(true);
    record();
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/2008-03-07 09h05m02s.mov"_s));
    EXPECT_EQ(device().rawCapturePath(), path(u"raw/2008-03-07 09h05m02s/2008-03-07 09h05m02s"_s));
    EXPECT_TRUE(exists(u"reference/2008-03-07 09h05m02s.ref"_s));
}

TEST_F(RecordingStart, takesTheDateAtEachPress) {
    makeController();
    want(false, true);
    controller().setAutoNameRecordings(true);
    record();
    controller().stopButtonPushed();
    services.manualClock.setTime(QDateTime(QDate(2011, 12, 31), QTime(23, 59, 58)));
    record();
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/2011-12-31 23h59m58s.mov"_s));
}

TEST_F(RecordingStart, takesTheTextOfTheFieldEvenWhenItIsNotTheSettings) {
    makeController();
    want(false, true);
    controller().settings().setRecordingName(u"Settings"_s);
    record(u"Typed"_s);
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/Typed.mov"_s));
}

TEST_F(RecordingStart, removesOneExtensionOfATypedName) {
    makeController();
    want(false, true);
    const std::vector<std::pair<QString, QString>> names{{u"Interview.mov"_s, u"Interview"_s},
                                                         {u"Interview.2.mov"_s, u"Interview.2"_s},
                                                         {u"Tape 3. part.x y"_s, u"Tape 3. part"_s},
                                                         {u"Interview"_s, u"Interview"_s},
                                                         {u"Ends."_s, u"Ends."_s}};
    for (const auto& [typed, recorded] : names) {
        record(typed);
        EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/"_s + recorded + u".mov"_s));
        controller().stopButtonPushed();
        finishWriting();
        QFile::remove(path(u"movies/"_s + recorded + u".mov"_s));
    }
}

// The self-contained movie

TEST_F(RecordingStart, ofASelfContainedMovieMakesNoRawFilesAndLeavesTheLoopAlone) {
    makeController();
    want(false, true);
    controller().settings().setMonoTracks(true);
    controller().settings().setLoopRecording(true);
    device().setLoopDuration(7.0);
    device().setShouldCreateReferenceMovie(true);
    record(u"Name"_s);
    EXPECT_TRUE(device().isRecording());
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().monoTracks());
    EXPECT_FALSE(device().shouldCreateReferenceMovie());
    EXPECT_FALSE(device().loopRecording());
    EXPECT_EQ(device().loopDuration(), 7.0);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_FALSE(exists(u"raw/Name"_s));
    EXPECT_FALSE(exists(u"reference/Name.ref"_s));
}

TEST_F(RecordingStart, isRefusedWhenTheSelfContainedMovieCannotBeMade) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    makeUnremovable(u"movies/Name.mov"_s);
    services.recycles = false;
    icons.clear();
    record(u"Name"_s);
    expectAlert(u"Cannot create the self-contained movie!"_s, kFileInUse);
    EXPECT_FALSE(device().isRecording());
    EXPECT_FALSE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().selfContainedCapturePath().isNull());
    EXPECT_FALSE(exists(u"raw/Name"_s));
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

// Raw files and reference movie

TEST_F(RecordingStart, ofAReferenceMovieGivesEachRecordingARawFolderOfItsOwn) {
    makeController();
    want(true, false);
    device().setShouldCreateSelfContainedMovie(true);
    record(u"Name"_s);
    EXPECT_FALSE(device().shouldCreateSelfContainedMovie());
    EXPECT_TRUE(device().shouldCreateReferenceMovie());
    // Complete before the first frame.
    EXPECT_GT(QFileInfo(path(u"reference/Name.ref"_s)).size(), 0);
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 0);
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 2 * 144000);
    EXPECT_EQ(contents(u"raw/Name/Name.aud"_s).size(), 2 * 7680);
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
}

TEST_F(RecordingStart, loopsForTheDurationOfTheReferenceMovie) {
    makeController();
    want(true, false);
    controller().settings().setLoopRecording(true);
    controller().settings().setReferenceMovieDuration(42.5);
    controller().settings().setMonoTracks(true);
    record(u"Name"_s);
    EXPECT_TRUE(device().loopRecording());
    EXPECT_EQ(device().loopDuration(), 42.5);
    EXPECT_FALSE(device().monoTracks());  // of the self-contained movie only
}

TEST_F(RecordingStart, isRefusedWhenTheReferenceMovieCannotBeMade) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    controller().settings().setLoopRecording(true);
    make(u"raw/Name/Name.dv"_s);
    make(u"raw/Name/Name.aud5"_s);
    makeUnremovable(u"reference/Name.ref"_s);
    services.recycles = false;
    icons.clear();
    record(u"Name"_s);
    expectAlert(u"Cannot create the reference movie!"_s, kFileInUse);
    EXPECT_FALSE(device().isRecording());
    // So far had it come.
    EXPECT_TRUE(device().shouldCreateSelfContainedMovie());
    EXPECT_EQ(device().selfContainedCapturePath(), path(u"movies/Name.mov"_s));
    EXPECT_FALSE(exists(u"raw/Name/Name.dv"_s));
    EXPECT_FALSE(exists(u"raw/Name/Name.aud5"_s));
    // And no further.
    EXPECT_FALSE(device().shouldCreateReferenceMovie());
    EXPECT_TRUE(device().rawCapturePath().isNull());
    EXPECT_FALSE(device().loopRecording());
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
    expectButtonsOfRest();
    EXPECT_THAT(icons, IsEmpty());
}

TEST_F(RecordingStart, leavesTheRawFolderBehindWhenTheReferenceMovieCannotBeMade) {
    makeController();
    want(true, false);
    prefer(OxaPrefEraseExistingFilesKey, true);
    makeUnremovable(u"reference/Name.ref"_s);
    services.recycles = false;
    record(u"Name"_s);
    EXPECT_EQ(services.alerts.size(), 1U);
    EXPECT_TRUE(QFileInfo(path(u"raw/Name"_s)).isDir());
}

TEST_F(RecordingStart, tellsWhichFoldersCannotBeWritten) {
    makeController();
    want(true, true);
    controller().settings().setRawRecordingFolderPath(u"/nowhere/raw"_s);
    controller().settings().setReferenceMovieFolderPath(u"/nowhere/reference"_s);
    controller().settings().setSelfContainedRecordingFolderPath(u"/nowhere/movies"_s);
    record(u"Name"_s);
    ASSERT_EQ(services.alerts.size(), 1U);
    for (const auto* const folder : {"/nowhere/raw", "/nowhere/reference", "/nowhere/movies"}) {
        EXPECT_TRUE(services.alerts[0].second.contains(QLatin1String(folder))) << folder;
    }
    EXPECT_TRUE(device().isRecording());
}

TEST_F(RecordingStart, isRefusedOnceTheDeviceIsGone) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    make(u"raw/Name/Name.dv"_s);
    deck().attach(false);
    gAVCDeviceController->deviceChanged(deck());
    EXPECT_EQ(gDVDevicesController->indexOfDeviceWithGUID(device().deviceGUID()), -1);
    record(u"Name"_s);
    EXPECT_FALSE(device().isRecording());
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s), "old");
    EXPECT_FALSE(exists(u"movies/Name.mov"_s));
    EXPECT_TRUE(log.containsText("is not connected any more; nothing is recorded"));
}

TEST_F(RecordingStart, makesAFileNameOfAnyRecordingName) {
    makeController();
    want(true, true);
    const std::vector<std::pair<QString, QString>> names{
        {u"Take 1/2"_s, u"Take 1-2"_s},
        {u"../escape"_s, u"Untitled"_s},
        {u""_s, u"Untitled"_s},
        {u".."_s, u"Untitled"_s},
        {QString(300, u'x'), QString(230, u'x')},
        {QString(100, QChar(0x20ac)), QString(76, QChar(0x20ac))},
    };
    for (const auto& [typed, name] : names) {
        record(typed);
        send(1);
        controller().stopButtonPushed();
        finishWriting();
        EXPECT_EQ(contents(u"raw/%1/%1.dv"_s.arg(name)).size(), 144000) << name.toStdString();
        EXPECT_TRUE(exists(u"movies/%1.mov"_s.arg(name)));
        EXPECT_TRUE(exists(u"reference/%1.ref"_s.arg(name)));
        QFile::remove(path(u"raw/%1/%1.dv"_s.arg(name)));
        QFile::remove(path(u"raw/%1/%1.aud"_s.arg(name)));
        QFile::remove(path(u"movies/%1.mov"_s.arg(name)));
        QFile::remove(path(u"reference/%1.ref"_s.arg(name)));
    }
    EXPECT_THAT(services.alerts, IsEmpty());
}

TEST_F(RecordingStart, keepsEveryMovieOfStartsAndStopsInQuickSuccession) {
    makeController();
    want(false, true);
    for (int i = 0; i < 20; ++i) {
        record(u"Name"_s);
        controller().stopButtonPushed();
    }
    finishWriting();
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_TRUE(exists(u"movies/Name 19.mov"_s));
}

TEST_F(RecordingStart, keepsOldFilesUnlessToldToErase) {
    makeController();
    want(true, true);
    for (int i = 0; i < 2; ++i) {
        record(u"Name"_s);
        send(i + 1);
        controller().stopButtonPushed();
        finishWriting();
    }
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 1 * 144000);
    EXPECT_EQ(contents(u"raw/Name/Name 1.dv"_s).size(), 2 * 144000);
    EXPECT_TRUE(exists(u"reference/Name 1.ref"_s));
    EXPECT_TRUE(exists(u"movies/Name 1.mov"_s));
}

TEST_F(RecordingStart, erasesOldFilesWhenToldTo) {
    makeController();
    want(true, true);
    prefer(OxaPrefEraseExistingFilesKey, true);
    for (int i = 3; i > 0; --i) {
        record(u"Name"_s);
        send(i);
        controller().stopButtonPushed();
        finishWriting();
    }
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 144000);
    EXPECT_EQ(contents(u"raw/Name/Name.aud"_s).size(), 7680);
    EXPECT_FALSE(exists(u"raw/Name/Name 1.dv"_s));
    EXPECT_FALSE(exists(u"reference/Name 1.ref"_s));
    EXPECT_FALSE(exists(u"movies/Name 1.mov"_s));
}

TEST_F(RecordingStart, whereAFileIsInTheWayOfTheRawFolderStillRecordsTheMovie) {
    makeController();
    want(true, true);
    make(u"raw/Name"_s);
    record(u"Name"_s);
    EXPECT_TRUE(device().isRecording());
    EXPECT_TRUE(log.containsText("Cannot open " + path(u"raw/Name/Name.dv"_s).toStdString()));
    expectAlert(
        u"Not everything is recorded!"_s,
        u"These cannot be written: the raw files in %1.\nPlease check your Capture Settings "
        "and try again."_s.arg(path(u"raw"_s)));
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Name"_s), "old");
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_FALSE(device().recordingReport().losses().isEmpty());
}

TEST_F(RecordingStart, whereNoFileCanBeMadeSaysThatNothingIsRecorded) {
    makeController();
    want(true, true);
    const QString nowhere = path(u"file"_s) + u"/nowhere"_s;
    make(u"file"_s);
    controller().setRawRecordingFolderPath(nowhere);
    controller().setReferenceMovieFolderPath(nowhere);
    controller().setSelfContainedRecordingFolderPath(nowhere);
    record(u"Name"_s);
    ASSERT_FALSE(services.alerts.empty());
    EXPECT_EQ(services.alerts.back().first, u"Nothing is recorded!"_s);
    controller().stopButtonPushed();
}

TEST_F(RecordingStart, withoutAUsableRawNameStillRecordsTheMovieAndMakesNoStrayFile) {
    makeController();
    want(true, true);
    make(u"raw/Name/Name.vid"_s);
    const QString here = QDir::currentPath();
    ASSERT_TRUE(QDir::setCurrent(path(u"here/"_s)));
    record(u"Name"_s);
    send(2);
    controller().stopButtonPushed();
    finishWriting();
    ASSERT_TRUE(QDir::setCurrent(here));
    EXPECT_EQ(services.alerts.size(), 1U);
    EXPECT_TRUE(exists(u"movies/Name.mov"_s));
    EXPECT_EQ(
        QDir(path(u"here/"_s)).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
        QStringList());
    EXPECT_EQ(contents(u"raw/Name/Name.vid"_s), "old");
    EXPECT_FALSE(device().recordingReport().losses().isEmpty());
}

}  // namespace takebox
