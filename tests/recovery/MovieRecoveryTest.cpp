#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include "../platform/movietoolbox/MemoryMovieFile.h"
#include "../storage/MovieReaders.h"
#include "../storage/RecordedMovies.h"
#include "recovery/Recovery.h"
#include "support/DVMaterial.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using Kind = RecoveryOutcome::Kind;

constexpr int kFrames = 12;
constexpr int kFrameSize = 144000;

class CutOffMovie : public testing::Test {
protected:
    CutOffMovie() { test::writeFile(path(), mContent); }
    [[nodiscard]] QString path() const { return mFolder.filePath(u"Take.mov"_s); }
    [[nodiscard]] QStringList files() const {
        return QDir(mFolder.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    [[nodiscard]] QString newMovie() const {
        return mFolder.filePath(files().filter(u".part"_s).value(0));
    }
    [[nodiscard]] const QByteArray& content() const { return mContent; }
    void expectAsBefore() const {
        EXPECT_EQ(files(), QStringList{u"Take.mov"_s});
        EXPECT_EQ(test::contentsOf(path()), mContent);
    }
    /// Spoils one byte of the new movie, somewhere in its frames.
    void spoil() const {
        QFile file(newMovie());
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.seek(mContent.size() / 2));
        const char byte = static_cast<char>(~file.peek(1).at(0));
        ASSERT_EQ(file.write(&byte, 1), 1);
    }

private:
    const test::LogCapture mLog;
    const QTemporaryDir mFolder;
    const QByteArray mContent = test::cutOffMovie(kFrames);
};

TEST_F(CutOffMovie, becomesWholeAndIsKept) {
    const auto result = recoverFile(path(), {}, [](auto, auto) { return true; });
    EXPECT_EQ(result.kind, Kind::kRecovered) << result.message.toStdString();
    EXPECT_EQ(result.frames, std::uint64_t{kFrames});
    EXPECT_EQ(files(), (QStringList{u"Take (original).mov"_s, u"Take.mov"_s}));
}

TEST_F(CutOffMovie, staysWhenAnyByteOfTheNewOneIsWrong) {
    bool isSpoilt = false;
    const auto result = recoverFile(path(), {}, [&](std::uint64_t done, std::uint64_t total) {
        if (!isSpoilt && done > total / 2) {  // the first piece has been compared
            isSpoilt = true;
            spoil();
        }
        return true;
    });
    EXPECT_TRUE(isSpoilt);
    EXPECT_EQ(result.kind, Kind::kFailed) << result.message.toStdString();
    expectAsBefore();
}

TEST_F(CutOffMovie, staysWhenCancelledWhileWritingOrComparing) {
    for (const std::uint64_t part : {4, 1}) {
        const auto result = recoverFile(
            path(), {},
            [part](std::uint64_t done, std::uint64_t total) { return done < total / part; });
        EXPECT_EQ(result.kind, Kind::kCancelled) << result.message.toStdString();
        expectAsBefore();
    }
}
TEST_F(CutOffMovie, staysWhenTheNewOneGoesAwayBeforeItIsInPlace) {
    for (const std::uint64_t part : {2, 1}) {  // when it is written, when it is compared
        const auto result = recoverFile(path(), {}, [&](std::uint64_t done, std::uint64_t total) {
            EXPECT_TRUE(done != total / part || QFile::remove(newMovie()));
            return true;
        });
        EXPECT_EQ(result.kind, Kind::kFailed);
        EXPECT_EQ(result.message.toStdString(),
                  "the new movie cannot be written: No such file or directory. The original is as "
                  "it was");
        expectAsBefore();
    }
}

TEST_F(CutOffMovie, staysInAFolderThatTakesNoFile) {
    test::MemoryDisk disk;
    disk.createError = EACCES;
    const test::MemoryDiskForMovies guard(disk);
    const auto result = recoverFile(path(), {}, [](auto, auto) { return true; });
    EXPECT_EQ(result.kind, Kind::kFailed);
    EXPECT_EQ(result.message.toStdString(),
              "the new movie cannot be written: Permission denied. The original is as it was");
    expectAsBefore();
}

TEST_F(CutOffMovie, staysWhenTheNewOneIsNotAsItWasWritten) {
    test::MemoryDisk disk;
    disk.onRealDisk = "none of what is written";
    const test::MemoryDiskForMovies guard(disk);
    const auto result = recoverFile(path(), {}, [](auto, auto) { return true; });
    EXPECT_EQ(result.kind, Kind::kFailed);
    EXPECT_EQ(result.message.toStdString(),
              "the new movie is not as it was written; the original is as it was");
    expectAsBefore();
}

TEST_F(CutOffMovie, staysWhenItCannotBeReadToItsEnd) {
    const auto result = recoverFile(path(), {}, [this](auto, auto) {
        EXPECT_TRUE(QFile::resize(path(), content().size() / 2));
        return true;
    });
    EXPECT_EQ(result.kind, Kind::kUnreadable);
    EXPECT_EQ(result.message.toStdString(), "the recording cannot be read: No data available");
    EXPECT_EQ(files(), QStringList{u"Take.mov"_s});
}

TEST_F(CutOffMovie, staysWhenTheNewOneCannotBeWritten) {
    struct Fault {
        int error;
        Kind kind;
        QString message;
    };
    const QString full = u"the disk is full; make room and try again. The original is as it was"_s;
    const QString fails =
        u"the new movie cannot be written: Input/output error. The original is as it was"_s;
    for (const auto& [error, kind, message] :
         {Fault{ENOSPC, Kind::kNoRoom, full}, Fault{EIO, Kind::kFailed, fails}}) {
        for (const std::uint64_t capacity : {0, 100, 1000000}) {  // from the start, or later
            test::MemoryDisk disk;
            disk.capacity = capacity;
            disk.error = error;
            const test::MemoryDiskForMovies guard(disk);
            const auto result = recoverFile(path(), {}, [](auto, auto) { return true; });
            EXPECT_EQ(result.kind, kind) << capacity;
            EXPECT_EQ(result.message.toStdString(), message.toStdString()) << capacity;
            expectAsBefore();
        }
    }
}

TEST_F(CutOffMovie, isAlsoOneWithAnEndThatPromisesMoreThanIsThere) {
    const auto all = [](auto, auto) { return true; };
    ASSERT_EQ(recoverFile(path(), {}, all).kind, Kind::kRecovered);
    QByteArray whole = test::contentsOf(path());
    constexpr qsizetype kMediaDataAt = 20;
    constexpr qsizetype kGone = 3 * kFrameSize;
    const auto size = qFromBigEndian<std::uint64_t>(whole.constData() + kMediaDataAt + 8);
    whole.remove(kMediaDataAt + static_cast<qsizetype>(size) - kGone, kGone);
    qToBigEndian<std::uint64_t>(size - kGone, whole.data() + kMediaDataAt + 8);
    test::writeFile(path(), whole);
    const auto result = recoverFile(path(), {}, all);
    EXPECT_EQ(result.kind, Kind::kRecovered) << result.message.toStdString();
    EXPECT_EQ(result.frames, std::uint64_t{kFrames - 3});
    EXPECT_EQ(result.original, path().replace(u".mov"_s, u" (original 2).mov"_s));
}

TEST_F(CutOffMovie, isToldToHoldNothingBeforeItsFirstFrame) {
    test::writeFile(path(), content().left(40));
    for (const bool hasRawFiles : {false, true}) {
        const auto result = recoverFile(path(), {}, {});
        EXPECT_EQ(result.kind, Kind::kNothingRecorded) << hasRawFiles;
        EXPECT_EQ(result.message, path() + u" holds not a single whole frame"_s);
        EXPECT_EQ(test::contentsOf(path()), content().left(40));
        for (const QString& extension : {u"dv"_s, u"aud"_s}) {
            test::writeFile(path().replace(u"mov"_s, extension), {});
        }
    }
}

/// Files of a recording of which the self-contained movie was cut off in its first chunk.
TEST(CutOffMovieOfARecording, findsRawFilesThatHaveBeenMovedWithItByItsReferenceMovie) {
    const test::LogCapture log;
    test::RecordedMovies recorded(test::generatedMaterial(true));
    recorded.setNames(u"Take 1"_s, u"raw"_s, u"movies"_s);
    recorded.writeRawFiles(kFrames);
    recorded.makeReferenceMovie(1.0);
    recorded.makeSelfContainedMovie();
    ASSERT_TRUE(QFile::resize(recorded.path(u"mov"_s), 36 + 16 + 2 * kFrameSize));
    recorded.moveFolder();
    const auto result = recoverFile(recorded.path(u"mov"_s), {}, [](auto, auto) { return true; });
    EXPECT_EQ(result.kind, Kind::kRecovered) << result.message.toStdString();
    EXPECT_EQ(result.frames, std::uint64_t{kFrames});
    EXPECT_EQ(test::pictureChecksums(recorded.path(u"mov"_s), kFrames + 1),
              test::pictureChecksums(recorded.path(u"dv"_s), kFrames));
    EXPECT_EQ(test::decodedSound(recorded.path(u"mov"_s)),
              test::contentsOf(recorded.path(u"aud"_s)));
}

}  // namespace
}  // namespace takebox
