// The files of a recording: free names, or old files put away.

#include <gmock/gmock.h>

#include "recording/RecordingBench.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

constexpr bool kKeep = false;
constexpr bool kErase = true;

class RecordingFileNames : public test::RecordingBench {
protected:
    RecordingFileNames() { makeController(); }

    [[nodiscard]] QString movie(bool erase, const QString& name = u"Name"_s) const {
        return controller().generateSelfContainedFilePathForRecording(name, erase);
    }
    [[nodiscard]] QString reference(bool erase, const QString& name = u"Name"_s) const {
        return controller().generateReferenceFilePathForRecording(name, erase);
    }
    [[nodiscard]] QString raw(bool erase, const QString& name = u"Name"_s) const {
        return controller().generateRawFilePathForRecording(name, path(u"raw/"_s), erase);
    }
};

/// The two kinds of movie follow the same rules in folders of their own.
struct MovieCase {
    const char* folder;
    const char* extension;
    QString (CDVDeviceWindowController::*generate)(const QString&, bool);
};

class MovieFileNames : public RecordingFileNames, public testing::WithParamInterface<MovieCase> {
protected:
    [[nodiscard]] QString file(const QString& name) const {
        return QLatin1String(GetParam().folder) + u'/' + name + QLatin1String(GetParam().extension);
    }
    [[nodiscard]] QString generate(bool erase, const QString& name = u"Name"_s) const {
        return (controller().*GetParam().generate)(name, erase);
    }
};

INSTANTIATE_TEST_SUITE_P(
    Both, MovieFileNames,
    testing::Values(
        MovieCase{"movies", ".mov",
                  &CDVDeviceWindowController::generateSelfContainedFilePathForRecording},
        MovieCase{"reference", ".ref",
                  &CDVDeviceWindowController::generateReferenceFilePathForRecording}));

}  // namespace

TEST_P(MovieFileNames, areTheNameInTheFolderWhenNothingIsThere) {
    EXPECT_EQ(generate(kKeep), path(file(u"Name"_s)));
    EXPECT_EQ(generate(kErase), path(file(u"Name"_s)));
    EXPECT_FALSE(exists(file(u"Name"_s)));
}

TEST_P(MovieFileNames, countUpPastTheFilesThatAreThere) {
    make(file(u"Name"_s));
    EXPECT_EQ(generate(kKeep), path(file(u"Name 1"_s)));
    make(file(u"Name 1"_s));
    make(file(u"Name 3"_s));
    EXPECT_EQ(generate(kKeep), path(file(u"Name 2"_s)));
    EXPECT_EQ(contents(file(u"Name"_s)), "old");
}

TEST_P(MovieFileNames, countPastTen) {
    make(file(u"Name"_s));
    for (int i = 1; i <= 11; ++i) {
        make(file(u"Name %1"_s.arg(i)));
    }
    EXPECT_EQ(generate(kKeep), path(file(u"Name 12"_s)));
}

TEST_P(MovieFileNames, areErasedWhenAskedFor) {
    make(file(u"Name"_s));
    make(file(u"Name 1"_s));
    EXPECT_EQ(generate(kErase), path(file(u"Name"_s)));
    EXPECT_FALSE(exists(file(u"Name"_s)));
    EXPECT_TRUE(exists(file(u"Name 1"_s)));
    EXPECT_TRUE(services.recycled.isEmpty());
}

TEST_P(MovieFileNames, goToTheTrashWhenTheyCannotBeRemoved) {
    makeUnremovable(file(u"Name"_s));
    EXPECT_EQ(generate(kErase), path(file(u"Name"_s)));
    EXPECT_EQ(services.recycled, QStringList{path(file(u"Name"_s))});
}

TEST_P(MovieFileNames, areNullWhenTheOldFileCanNeitherBeRemovedNorMoved) {
    makeUnremovable(file(u"Name"_s));
    services.recycles = false;
    EXPECT_TRUE(generate(kErase).isNull());
    EXPECT_EQ(generate(kKeep), path(file(u"Name 1"_s)));
}

TEST_P(MovieFileNames, keepWhateverTheNameIsMadeOf) {
    for (const auto& name : {u"50 %1 of %2"_s, u"100%"_s, u"Früh \"live\" 📼"_s, u"a.b"_s, u" "_s}) {
        make(file(name));
        EXPECT_EQ(generate(kKeep, name), path(file(name + u" 1"_s))) << name.toStdString();
    }
}

TEST_P(MovieFileNames, haveOneSlashAfterTheRootFolder) {
    controller().settings().setSelfContainedRecordingFolderPath(u"/"_s);
    controller().settings().setReferenceMovieFolderPath(u"/"_s);
    const QString name = u"takebox-no-such-file"_s;
    EXPECT_EQ(generate(kKeep, name), u'/' + name + QLatin1String(GetParam().extension));
}

TEST_F(RecordingFileNames, ofEachKindCountOnTheirOwn) {
    make(u"movies/Name.mov"_s);
    make(u"movies/Name 1.mov"_s);
    make(u"raw/Name.dv"_s);
    EXPECT_EQ(movie(kKeep), path(u"movies/Name 2.mov"_s));
    EXPECT_EQ(raw(kKeep), path(u"raw/Name 1"_s));
    EXPECT_EQ(reference(kKeep), path(u"reference/Name.ref"_s));
}

// Raw files

TEST_F(RecordingFileNames, rawFilesTakeTheNameWhenNothingIsThere) {
    EXPECT_EQ(raw(kKeep), path(u"raw/Name"_s));
    EXPECT_EQ(raw(kErase), path(u"raw/Name"_s));
}

TEST_F(RecordingFileNames, rawFilesCountUpPastEitherOfTheTwo) {
    make(u"raw/Name.dv"_s);
    make(u"raw/Name 1.aud"_s);
    make(u"raw/Name 2.dv"_s);
    make(u"raw/Name 2.aud"_s);
    make(u"raw/Name 3.aud0"_s);  // not one of the two
    EXPECT_EQ(raw(kKeep), path(u"raw/Name 3"_s));
}

TEST_F(RecordingFileNames, erasingRemovesTheVideoAndTheSixteenTracksButNotTheSound) {
    make(u"raw/Name.dv"_s);
    make(u"raw/Name.aud"_s);
    make(u"raw/Name.aud16"_s);
    make(u"raw/Name 1.dv"_s);
    for (int i = 0; i < 16; ++i) {
        make(u"raw/Name.aud%1"_s.arg(i));
    }
    EXPECT_EQ(raw(kErase), path(u"raw/Name"_s));
    EXPECT_FALSE(exists(u"raw/Name.dv"_s));
    for (int i = 0; i < 16; ++i) {
        EXPECT_FALSE(exists(u"raw/Name.aud%1"_s.arg(i))) << i;
    }
    EXPECT_TRUE(exists(u"raw/Name.aud"_s));
    EXPECT_TRUE(exists(u"raw/Name.aud16"_s));
    EXPECT_TRUE(exists(u"raw/Name 1.dv"_s));
    EXPECT_TRUE(services.recycled.isEmpty());
}

TEST_F(RecordingFileNames, videoThatCannotBeRemovedPutsTheOneOfTheOlderNameAway) {
    makeUnremovable(u"raw/Name.dv"_s);
    make(u"raw/Name.vid"_s);
    EXPECT_EQ(raw(kErase), path(u"raw/Name"_s));
    EXPECT_EQ(services.recycled, QStringList{path(u"raw/Name.vid"_s)});
    EXPECT_TRUE(exists(u"raw/Name.dv"_s));
}

TEST_F(RecordingFileNames, trackThatCannotBeRemovedIsPutAwayItself) {
    makeUnremovable(u"raw/Name.aud3"_s);
    EXPECT_EQ(raw(kErase), path(u"raw/Name"_s));
    EXPECT_EQ(services.recycled, QStringList{path(u"raw/Name.aud3"_s)});
}

TEST_F(RecordingFileNames, videoOfTheOlderNameIsInTheWay) {
    make(u"raw/Name.vid"_s);
    EXPECT_TRUE(raw(kKeep).isNull());
    EXPECT_TRUE(raw(kErase).isNull());
    EXPECT_EQ(contents(u"raw/Name.vid"_s), "old");
    EXPECT_TRUE(services.recycled.isEmpty());
}

TEST_F(RecordingFileNames, videoOfTheOlderNameIsLookedForBesideTheNameFound) {
    make(u"raw/Name.dv"_s);
    make(u"raw/Name.vid"_s);
    EXPECT_EQ(raw(kKeep), path(u"raw/Name 1"_s));
    make(u"raw/Name 1.vid"_s);
    EXPECT_TRUE(raw(kKeep).isNull());
}

// What a device is recording into is not taken by another one.

TEST_F(RecordingFileNames, filesOfARunningRecordingAreNotErased) {
    want(true, true);
    controller().setRecordingName(u"Name"_s);
    controller().recordButtonPushed();
    send(3);
    EXPECT_EQ(movie(kErase), path(u"movies/Name 1.mov"_s));
    EXPECT_EQ(reference(kErase), path(u"reference/Name 1.ref"_s));
    EXPECT_EQ(controller().generateRawFilePathForRecording(u"Name"_s, path(u"raw/Name/"_s), kErase),
              path(u"raw/Name/Name 1"_s));
    controller().stopButtonPushed();
    finishWriting();
    EXPECT_EQ(contents(u"raw/Name/Name.dv"_s).size(), 3 * 144000);
    EXPECT_EQ(movie(kErase), path(u"movies/Name.mov"_s));
}

}  // namespace takebox
