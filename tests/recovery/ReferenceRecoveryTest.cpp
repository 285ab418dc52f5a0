#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <cerrno>

#include "../platform/movietoolbox/MemoryMovieFile.h"
#include "../storage/MovieReaders.h"
#include "../storage/RecordedMovies.h"
#include "recovery/Recovery.h"
#include "storage/WriterThreads.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;
using Kind = RecoveryOutcome::Kind;

constexpr int kFrames = 10;  // in the raw files
constexpr double kSeconds = 2.0;
constexpr int kFrameSize = 144000;

/// A reference movie that promises more than its raw files hold.
class ReferenceMovie : public testing::Test {
protected:
    ReferenceMovie() {
        mRecorded.setNames(u"Take 1"_s, u"raw"_s, u"movies"_s);
        mRecorded.writeRawFiles(kFrames);
        mRecorded.makeReferenceMovie(kSeconds);
        mBefore = contentsOf(path(u"ref"_s));
    }
    ~ReferenceMovie() override { WriterThreads::waitUntilFinished(); }
    [[nodiscard]] QString path(const QString& extension) const { return mRecorded.path(extension); }
    [[nodiscard]] RecoveryOutcome recover() const { return recoverFile(path(u"ref"_s), {}, {}); }
    void expectRecovered() const {
        const auto result = recover();
        EXPECT_EQ(result.kind, Kind::kRecovered) << result.message.toStdString();
        EXPECT_EQ(result.frames, std::uint64_t{kFrames});
        EXPECT_EQ(pictureChecksums(path(u"ref"_s), kFrames + 1),
                  pictureChecksums(path(u"dv"_s), kFrames));
    }
    /// The movie stays, and the operator is told so with these words.
    void expectRefused(Kind kind, const QString& message) const {
        const auto result = recover();
        EXPECT_EQ(result.kind, kind);
        EXPECT_EQ(result.message.toStdString(), message.toStdString());
        EXPECT_EQ(contentsOf(path(u"ref"_s)), mBefore);
        EXPECT_EQ(QFileInfo(path(u"ref"_s)).dir().entryList(QDir::Files | QDir::Hidden).size(), 1);
    }
    void rewrite(const QByteArray& content) {
        mBefore = content;
        writeFile(path(u"ref"_s), content);
    }

    LogCapture log;
    RecordedMovies mRecorded{generatedMaterial(true)};
    QByteArray mBefore;
};

TEST_F(ReferenceMovie, fitsRawFilesThatHaveBeenMovedWithIt) {
    mRecorded.moveFolder();
    expectRecovered();
}

TEST_F(ReferenceMovie, staysAndNamesTheRawFileThatIsGone) {
    for (const QString& extension : {u"aud"_s, u"dv"_s}) {
        ASSERT_TRUE(QFile::remove(path(extension)));
        expectRefused(Kind::kUnreadable,
                      path(extension) + u" cannot be read: No such file or directory"_s);
    }
}

TEST_F(ReferenceMovie, staysWhenItsRawFilesHoldNoWholeFrame) {
    ASSERT_TRUE(QFile::resize(path(u"dv"_s), kFrameSize - 1));
    expectRefused(Kind::kNothingRecorded,
                  u"the raw files of %1 hold not a single whole frame"_s.arg(path(u"ref"_s)));
}

TEST_F(ReferenceMovie, isNoneOfOursWithoutSound) {
    rewrite(QByteArray(mBefore).replace("soun", "text"));
    expectRefused(Kind::kNotAMovie, path(u"ref"_s) + u" is no movie of this program"_s);
}

TEST_F(ReferenceMovie, staysOnADiskThatIsFull) {
    MemoryDisk disk;
    disk.capacity = 0;
    const MemoryDiskForMovies guard(disk);
    expectRefused(Kind::kNoRoom,
                  u"the disk is full; make room and try again. The original is as it was"_s);
}

TEST_F(ReferenceMovie, staysOnADiskThatFails) {
    for (const std::uint64_t capacity : {0, 100}) {  // from the start, in the middle
        MemoryDisk disk;
        disk.capacity = capacity;
        disk.error = EIO;
        const MemoryDiskForMovies guard(disk);
        expectRefused(Kind::kFailed,
                      u"the new movie cannot be written: Input/output error. The original is as it "
                      "was"_s);
    }
}

TEST_F(ReferenceMovie, staysInAFolderThatTakesNoFile) {
    MemoryDisk disk;
    disk.createError = EROFS;
    const MemoryDiskForMovies guard(disk);
    expectRefused(Kind::kFailed,
                  u"the new movie cannot be written: Read-only file system. The original is as it "
                  "was"_s);
}

TEST_F(ReferenceMovie, staysWhenTheNewOneIsNotAsItWasWritten) {
    MemoryDisk disk;
    disk.onRealDisk = "none of what is written";
    const MemoryDiskForMovies guard(disk);
    expectRefused(Kind::kFailed,
                  u"the new movie is not as it was written; the original is as it was"_s);
}

TEST_F(ReferenceMovie, staysWhenItsNameLeavesNoRoomForASecondOne) {
    const QString old = path(u"ref"_s);
    mRecorded.setNames(QString(246, u'x'), u"raw"_s, u"movies"_s);
    ASSERT_TRUE(QFile::rename(old, path(u"ref"_s)));
    expectRefused(Kind::kFailed,
                  u"the new movie cannot be written: File name too long. The original is as it "
                  "was"_s);
}

}  // namespace
}  // namespace takebox::test
