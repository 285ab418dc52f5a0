#include "storage/BufferedFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <numeric>
#include <thread>
#include <vector>

#include "platform/log/Log.h"
#include "storage/WriterThreads.h"
#include "support/DiskCalls.h"
#include "support/FileSizeLimit.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {

/// Looks into a file that is never written.
class BufferedFilePeer {
public:
    static void occupyAllChunks(BufferedFile& file) {
        for (auto& chunk : file._chunks) {
            const std::uint8_t byte = 0;
            chunk->copyBuffer(&byte, 1, 1);
        }
    }
};

namespace {

using Bytes = std::vector<std::uint8_t>;

const std::string kUnderrun1 = "Dropped frame (buffer underrun 1).";
const std::string kUnderrun2 = "Dropped video frame (buffer underrun 2).";

Bytes block(std::size_t size, int number) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<std::uint8_t>(number * 37));
    return bytes;
}

void append(BufferedFile& file, const Bytes& bytes, bool reset = false) {
    file.appendBlock(bytes.data(), static_cast<std::uint32_t>(bytes.size()), reset);
}

Bytes contentsOf(const QString& path) {
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray all = file.readAll();
    return {all.begin(), all.end()};
}

class BufferedFileTest : public testing::Test {
protected:
    [[nodiscard]] QString path(const char* name = "a.dv") const {
        return folder.filePath(QString::fromLatin1(name));
    }
    static void closeAndWait(BufferedFile& file) {
        file.close();
        WriterThreads::waitUntilFinished();
        EXPECT_FALSE(file.isOpen());
    }

    QTemporaryDir folder;
    test::LogCapture log;
};

/// A disk that takes data only when told to: a pipe.
class StalledDisk {
public:
    explicit StalledDisk(const QString& path) {
        EXPECT_EQ(mkfifo(path.toUtf8().constData(), 0600), 0);
        mReader = ::open(path.toUtf8().constData(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
        EXPECT_GE(mReader, 0);
    }
    ~StalledDisk() { ::close(mReader); }
    StalledDisk(const StalledDisk&) = delete;
    StalledDisk& operator=(const StalledDisk&) = delete;

    Bytes take(std::size_t count) {
        Bytes bytes;
        EXPECT_TRUE(test::waitUntil([&] {
            std::array<std::uint8_t, 4096> part{};
            const ssize_t result =
                ::read(mReader, part.data(), std::min(part.size(), count - bytes.size()));
            if (result > 0) {
                bytes.insert(bytes.end(), part.begin(), part.begin() + result);
            }
            return bytes.size() == count;
        }));
        return bytes;
    }

private:
    int mReader;
};

TEST_F(BufferedFileTest, writesBlocksInOrderAndThePartlyFilledLastChunk) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 1000, 10);
    EXPECT_EQ(file->blockSize(), 1000U);
    EXPECT_EQ(file->bufferSize(), 10000U);
    ASSERT_EQ(file->openForWriting(true), 0);
    EXPECT_TRUE(file->isOpen());
    Bytes expected;
    for (int i = 0; i < 35; ++i) {  // three and a half chunks
        const Bytes bytes = block(1000, i);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
        append(*file, bytes);
    }
    closeAndWait(*file);
    EXPECT_EQ(contentsOf(path()), expected);
    EXPECT_EQ(file->writtenBytes(), expected.size());
    EXPECT_EQ(file->appendedBlocks(), 35U);
    EXPECT_EQ(file->droppedBlocks(), 0U);
    EXPECT_EQ(file->writeError(), 0);
    struct stat status {};
    ASSERT_EQ(stat(path().toUtf8().constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0664U);
}

TEST_F(BufferedFileTest, writesAChunkOnlyWhenABlockDidNotFit) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 120000, 10);
    ASSERT_EQ(file->openForWriting(true), 0);
    for (int i = 0; i < 10; ++i) {
        append(*file, block(120000, i));
    }
    EXPECT_EQ(file->writtenBytes(), 0U);  // exactly filled is not full
    append(*file, block(120000, 10));
    EXPECT_TRUE(test::waitUntil([&] { return file->writtenBytes() == 1200000; }));
    closeAndWait(*file);
    EXPECT_EQ(file->writtenBytes(), 1320000U);
}

TEST_F(BufferedFileTest, dropsBlocksWhileEveryChunkWaitsForTheDiskAndGoesOnAfterwards) {
    StalledDisk disk(path());
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 12000, 10);
    ASSERT_EQ(file->openForWriting(false), 0);
    Bytes expected;
    const auto keep = [&](const Bytes& bytes) {
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    };
    for (int i = 0; i < 60; ++i) {
        append(*file, block(12000, i));
        keep(block(12000, i));
    }
    EXPECT_EQ(log.lines().size(), 0U);
    append(*file, block(12000, 60));
    append(*file, block(12000, 61));
    EXPECT_EQ(log.count(kUnderrun2), 2);
    EXPECT_EQ(file->droppedBlocks(), 2U);

    Bytes written = disk.take(120000);
    // One chunk is free as soon as the writer has got it off its hands.
    int number = 62;
    EXPECT_TRUE(test::waitUntil([&] {
        const auto dropped = file->droppedBlocks();
        append(*file, block(12000, number));
        if (file->droppedBlocks() == dropped) {
            keep(block(12000, number));
            return true;
        }
        ++number;
        return false;
    }));
    file->close();
    const Bytes rest = disk.take(expected.size() - written.size());
    written.insert(written.end(), rest.begin(), rest.end());
    EXPECT_EQ(written, expected);
    WriterThreads::waitUntilFinished();
}

TEST_F(BufferedFileTest, goesOnAfterTheWriterHasEmptiedEveryChunkInTheMeantime) {
    StalledDisk disk(path());
    const auto file = BufferedFile::initAudioBufferedFileWithPath(path(), 12000, 10);
    ASSERT_EQ(file->openForWriting(false), 0);
    for (int i = 0; i < 61; ++i) {
        append(*file, block(12000, i));
    }
    EXPECT_EQ(log.count(kUnderrun2), 1);  // the audio file speaks of video, too
    disk.take(720000);
    append(*file, block(12000, 99));
    file->close();
    EXPECT_EQ(disk.take(12000), block(12000, 99));
    WriterThreads::waitUntilFinished();
}

TEST_F(BufferedFileTest, dropsTheFirstBlockWhenThePoolIsOccupied) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 10);
    BufferedFilePeer::occupyAllChunks(*file);
    append(*file, block(100, 0));
    append(*file, block(100, 0));
    EXPECT_EQ(log.count(kUnderrun1), 2);
}

TEST_F(BufferedFileTest, refusesABlockLargerThanAChunk) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 2);
    ASSERT_EQ(file->openForWriting(true), 0);
    append(*file, block(201, 0));
    append(*file, block(200, 1));
    closeAndWait(*file);
    EXPECT_EQ(contentsOf(path()), block(200, 1));
    EXPECT_EQ(file->droppedBlocks(), 1U);
    EXPECT_TRUE(log.containsText("larger than a whole buffer"));
}

TEST_F(BufferedFileTest, takesAnyNumberOfVeryShortBlocks) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 2);
    ASSERT_EQ(file->openForWriting(true), 0);
    Bytes expected;
    for (int i = 0; i < 40; ++i) {
        append(*file, block(1, i));
        expected.push_back(block(1, i)[0]);
        EXPECT_TRUE(test::waitUntil([&] { return file->writtenBytes() + 8 >= expected.size(); }));
    }
    closeAndWait(*file);
    EXPECT_EQ(contentsOf(path()), expected);
}

TEST_F(BufferedFileTest, rewindsOnceTheMarkedChunkIsWritten) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 4);
    ASSERT_EQ(file->openForWriting(true), 0);
    for (int i = 0; i < 6; ++i) {
        append(*file, block(100, i), i == 1);  // the chunk goes on filling up
    }
    closeAndWait(*file);
    Bytes expected;
    for (const int i : {4, 5, 2, 3}) {
        const Bytes bytes = block(100, i);
        expected.insert(expected.end(), bytes.begin(), bytes.end());
    }
    EXPECT_EQ(contentsOf(path()), expected);
}

TEST_F(BufferedFileTest, isNotOpenedTwice) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 4);
    ASSERT_EQ(file->openForWriting(true), 0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(file->openForWriting(true), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Takebox: File already open\n");
    append(*file, block(100, 1));
    closeAndWait(*file);
    ASSERT_EQ(file->openForWriting(false), 0);
    append(*file, block(50, 2));
    closeAndWait(*file);
    Bytes expected = block(100, 1);
    const Bytes front = block(50, 2);
    std::copy(front.begin(), front.end(), expected.begin());
    EXPECT_EQ(contentsOf(path()), expected);  // without erasing, the old tail stays
}

TEST_F(BufferedFileTest, emptiesTheFileWhenErasing) {
    test::writeFile(path(), "something longer");
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 4);
    ASSERT_EQ(file->openForWriting(true), 0);
    append(*file, block(5, 2));
    closeAndWait(*file);
    EXPECT_EQ(contentsOf(path()), block(5, 2));
}

TEST_F(BufferedFileTest, tellsWhyItCannotBeOpened) {
    const auto file =
        BufferedFile::initVideoBufferedFileWithPath(path("missing/folder/a.dv"), 100, 4);
    EXPECT_EQ(file->openForWriting(true), -1);
    EXPECT_EQ(file->openError(), ENOENT);
    EXPECT_FALSE(file->isOpen());
}

TEST_F(BufferedFileTest, reportsAFullDiskOnceAndClosesAllTheSame) {
    const auto file =
        BufferedFile::initVideoBufferedFileWithPath(QStringLiteral("/dev/full"), 100, 2);
    ASSERT_EQ(file->openForWriting(false), 0);
    for (int i = 0; i < 5; ++i) {
        append(*file, block(100, i));
    }
    EXPECT_TRUE(test::waitUntil([&] { return file->writeError() == ENOSPC; }));
    closeAndWait(*file);
    EXPECT_EQ(log.count("Cannot write /dev/full: No space left on device"), 1);
    EXPECT_EQ(file->writtenBytes(), 0U);
    EXPECT_EQ(countFrames(file->refusedFrames()), 5U);
    ASSERT_EQ(file->refusedFrames().size(), 1U);
    EXPECT_EQ(file->refusedFrames()[0].first, 0U);
    EXPECT_TRUE(file->isRefused());
}

TEST_F(BufferedFileTest, tellsWhileTheDiskRefuses) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 1000, 2);
    ASSERT_EQ(file->openForWriting(true), 0);
    EXPECT_FALSE(file->isRefused());
    {
        const test::FileSizeLimit limit(1500);
        for (int i = 0; i < 3; ++i) {
            append(*file, block(1000, i));
        }
        EXPECT_TRUE(test::waitUntil([&] { return file->isRefused(); }));
    }
    EXPECT_TRUE(test::waitUntil([&] { return !file->isRefused(); }));
    closeAndWait(*file);
    EXPECT_EQ(file->writeError(), EFBIG);
    EXPECT_EQ(file->writtenBytes(), 3000U);
    EXPECT_FALSE(file->isRefused());
}

TEST_F(BufferedFileTest, endsWithAWholeFrameWhereNoMoreCouldBeWritten) {
    for (const bool erase : {false, true}) {
        const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 1000, 10);
        ASSERT_EQ(file->openForWriting(erase), 0);
        {
            const test::FileSizeLimit limit(3500);
            for (int i = 0; i < 10; ++i) {
                append(*file, block(1000, i));
            }
            closeAndWait(*file);
        }
        EXPECT_EQ(file->writeError(), EFBIG);
        EXPECT_EQ(QFile(path()).size(), 3000) << "erase " << erase;
        QFile::remove(path());
    }
}

TEST_F(BufferedFileTest, endsWithAWholeSampleFrameWhereNoMoreSoundCouldBeWritten) {
    const auto file = BufferedFile::initAudioBufferedFileWithPath(path("a.aud"), 1000, 10);
    ASSERT_EQ(file->openForWriting(true), 0);
    {
        const test::FileSizeLimit limit(3503);
        for (int i = 0; i < 10; ++i) {
            append(*file, block(1000, i));
        }
        closeAndWait(*file);
    }
    EXPECT_EQ(QFile(path("a.aud")).size(), 3500) << "both channels of each sample";
    EXPECT_EQ(file->writtenBytes(), 3500U);
    ASSERT_EQ(file->refusedFrames().size(), 1U);
    EXPECT_EQ(file->refusedFrames()[0].first, 3U);
    EXPECT_EQ(file->refusedFrames()[0].count, 7U);
}

TEST_F(BufferedFileTest, saysThatAFileCannotBeRewound) {
    StalledDisk pipe(path());
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 4);
    ASSERT_EQ(file->openForWriting(false), 0);
    testing::internal::CaptureStdout();
    append(*file, block(100, 1), true);
    closeAndWait(*file);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "lseek failed: -1\n");
    EXPECT_EQ(pipe.take(100), block(100, 1));
}

TEST_F(BufferedFileTest, recordsWhereThereAreNoPermissions) {
    const test::NoPermissions none(EPERM);
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 4);
    ASSERT_EQ(file->openForWriting(true), 0);
    EXPECT_EQ(log.count("Cannot set the permissions of " + path().toStdString() +
                        ": Operation not permitted"),
              1);
    append(*file, block(100, 1));
    closeAndWait(*file);
    EXPECT_EQ(contentsOf(path()), block(100, 1));
}

TEST_F(BufferedFileTest, leavesWhatStoodBehindAFrameThatCouldNotBeWritten) {
    test::writeFile(path(), QByteArray(3200, 'e'));
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 1000, 10);
    ASSERT_EQ(file->openForWriting(false), 0);
    {
        const test::FileSizeLimit limit(3500);
        for (int i = 0; i < 10; ++i) {
            append(*file, block(1000, i));
        }
        closeAndWait(*file);
    }
    EXPECT_EQ(QFile(path()).size(), 3200);
}

TEST_F(BufferedFileTest, setsTheLengthOfTheFile) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 100, 2);
    testing::internal::CaptureStdout();
    file->setFileSize(10);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "FSSetForkSize failed: -1\n");
    ASSERT_EQ(file->openForWriting(true), 0);
    file->setFileSize(1000);
    closeAndWait(*file);
    EXPECT_EQ(QFile(path()).size(), 1000);
}

TEST_F(BufferedFileTest, isKeptAliveByItsWriterUntilAllIsWritten) {
    {
        const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 1000, 10);
        ASSERT_EQ(file->openForWriting(true), 0);
        for (int i = 0; i < 25; ++i) {
            append(*file, block(1000, i));
        }
        file->close();
    }
    WriterThreads::waitUntilFinished();
    EXPECT_EQ(QFile(path()).size(), 25000);
}

TEST_F(BufferedFileTest, losesNothingBetweenTwoThreadsAtFullSpeed) {
    const auto file = BufferedFile::initVideoBufferedFileWithPath(path(), 500, 3);
    ASSERT_EQ(file->openForWriting(true), 0);
    std::uint64_t kept = 0;
    std::thread receiver([&] {
        for (int i = 0; i < 20000; ++i) {
            append(*file, Bytes(500, static_cast<std::uint8_t>(i)));
        }
    });
    receiver.join();
    kept = file->appendedBlocks();
    closeAndWait(*file);
    EXPECT_EQ(kept + file->droppedBlocks(), 20000U);
    EXPECT_EQ(static_cast<std::uint64_t>(QFile(path()).size()), kept * 500);
}

TEST(WriteBufferChunk, keepsThePositionOfVideoBlocksOnly) {
    const auto video = WriteBufferChunk::initVideoChunkWithSize(100, 8);
    const auto audio = WriteBufferChunk::initAudioChunkWithSize(100);
    for (auto* chunk : {video.get(), audio.get()}) {
        EXPECT_EQ(chunk->copyBuffer(block(30, 1).data(), 30, 1), 30U);
        EXPECT_EQ(chunk->copyBuffer(block(20, 2).data(), 20, 4), 20U);
        EXPECT_EQ(chunk->offset(), 50U);
    }
    EXPECT_EQ(video->sampleCount(), 2U);
    EXPECT_EQ(video->sampleOffsetAtIndex(1), 30U);
    EXPECT_EQ(video->sampleSizeAtIndex(1), 20U);
    EXPECT_EQ(audio->sampleCount(), 5U);
    EXPECT_EQ(audio->sampleOffsetAtIndex(1), 0U);
    EXPECT_EQ(audio->sampleSizeAtIndex(1), 0U);
}

TEST(WriteBufferChunk, isFreeAgainWhenBothUsersAreDone) {
    const auto chunk = WriteBufferChunk::initVideoChunkWithSize(100, 8);
    for (const bool writerFirst : {true, false}) {
        chunk->copyBuffer(block(30, 1).data(), 30, 1);
        chunk->setSequenceNumber(7);
        chunk->setFull(true);
        chunk->setResetFile(true);
        writerFirst ? chunk->setDoneWriting(true) : chunk->setDoneSavedToMovie(true);
        EXPECT_EQ(chunk->offset(), 30U);
        writerFirst ? chunk->setDoneSavedToMovie(true) : chunk->setDoneWriting(true);
        EXPECT_EQ(chunk->offset(), 0U);
        EXPECT_EQ(chunk->sequenceNumber(), 0U);
        EXPECT_EQ(chunk->sampleCount(), 0U);
        EXPECT_FALSE(chunk->full() || chunk->resetFile() || chunk->doneWriting() ||
                     chunk->doneSavedToMovie());
    }
}

}  // namespace
}  // namespace takebox
