#include "platform/avc/virtualdeck/FileSource.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include "platform/avc/virtualdeck/TestSignal.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/Samples.h"

namespace takebox::avc {
namespace {

using namespace Qt::StringLiterals;

QByteArray bytesOf(DVStandard standard, int first, int count) {
    const TestSignal signal(standard, false, {0, 0, 10, 0});
    std::vector<std::uint8_t> frame(signal.frameSize());
    QByteArray all;
    for (int i = first; i < first + count; ++i) {
        signal.writeFrame(static_cast<std::uint64_t>(i), frame);
        all.append(reinterpret_cast<const char*>(frame.data()),
                   static_cast<qsizetype>(frame.size()));
    }
    return all;
}

class FileSourceOnDisk : public ::testing::Test {
protected:
    FileSourceOnDisk() : mBuffer(kLargestFrameSize) {}

    void write(const QByteArray& bytes) { test::writeFile(path(), bytes); }
    [[nodiscard]] QString path() const { return mFolder.filePath(u"tape.dv"_s); }
    std::unique_ptr<FileSource> open(std::optional<TapeTimeCode> start = {}) {
        QString error;
        auto source = FileSource::open(path(), start, error);
        EXPECT_NE(source, nullptr) << qPrintable(error);
        return source;
    }
    FrameBuffer buffer() { return FrameBuffer(mBuffer.data(), kLargestFrameSize); }
    QByteArray next(FileSource& source) { return taken(source.next(buffer())); }
    QByteArray taken(std::size_t length) {
        return {reinterpret_cast<const char*>(mBuffer.data()), static_cast<qsizetype>(length)};
    }
    QByteArray all(FileSource& source) {
        QByteArray result;
        for (QByteArray frame = next(source); !frame.isEmpty(); frame = next(source)) {
            result += frame;
        }
        return result;
    }

    QTemporaryDir mFolder;
    std::vector<std::uint8_t> mBuffer;
};

TEST_F(FileSourceOnDisk, playsFramesOfBothStandardsByTheirOwnSize) {
    const QByteArray tape = bytesOf(DVStandard::kPAL, 0, 2) + bytesOf(DVStandard::kNTSC, 2, 3) +
                            bytesOf(DVStandard::kPAL, 5, 1);
    write(tape);
    const auto source = open();
    EXPECT_EQ(source->dvMode(), 0x80);
    EXPECT_EQ(next(*source).size(), 144000);
    EXPECT_EQ(next(*source).size(), 144000);
    EXPECT_EQ(next(*source).size(), 120000);
    source->rewind();
    EXPECT_EQ(all(*source), tape);
    EXPECT_TRUE(next(*source).isEmpty());
}

TEST_F(FileSourceOnDisk, repeatsAndSkipsFrames) {
    write(bytesOf(DVStandard::kNTSC, 0, 3));
    const auto source = open();
    EXPECT_EQ(next(*source), bytesOf(DVStandard::kNTSC, 0, 1));
    EXPECT_EQ(taken(source->again(buffer())), bytesOf(DVStandard::kNTSC, 0, 1));
    EXPECT_EQ(source->skip(), 120000U);
    EXPECT_EQ(taken(source->again(buffer())), bytesOf(DVStandard::kNTSC, 1, 1));
    EXPECT_EQ(next(*source), bytesOf(DVStandard::kNTSC, 2, 1));
    EXPECT_EQ(source->skip(), 0U);
}

TEST_F(FileSourceOnDisk, beginsAtTheFrameWithTheTimeCode) {
    write(bytesOf(DVStandard::kPAL, 0, 4));
    const auto source = open(TapeTimeCode{0, 0, 10, 2});
    EXPECT_EQ(next(*source), bytesOf(DVStandard::kPAL, 2, 1));
    source->rewind();
    EXPECT_EQ(next(*source), bytesOf(DVStandard::kPAL, 0, 1));
}

TEST_F(FileSourceOnDisk, playsWholeFramesOnlyAndTellsTheRest) {
    test::LogCapture log;
    for (const int rest : {1, 7, 8, 100, 119999}) {
        write(bytesOf(DVStandard::kNTSC, 0, 2) + bytesOf(DVStandard::kNTSC, 2, 1).first(rest));
        log.clear();
        const auto source = open();
        for (int round = 0; round < 2; ++round) {
            EXPECT_EQ(all(*source).size(), 240000);
            source->rewind();
        }
        EXPECT_EQ(log.count("The last frame is not whole, its " + std::to_string(rest) +
                            " bytes at byte 240000 are not played: " + path().toStdString()),
                  1);
    }
    write(bytesOf(DVStandard::kPAL, 0, 1) + bytesOf(DVStandard::kPAL, 1, 1).first(120000));
    EXPECT_EQ(all(*open()).size(), 144000);
    EXPECT_EQ(open()->skip(), 144000U);
}

TEST_F(FileSourceOnDisk, endsWhereAFrameHasNoHeader) {
    test::LogCapture log;
    // Far enough in that it is not seen when the file is opened.
    constexpr int kFrames = 301;
    QByteArray tape;
    const QByteArray frame = bytesOf(DVStandard::kNTSC, 0, 1);
    for (int i = 0; i < kFrames; ++i) {
        tape += frame;
    }
    write(tape + QByteArray(200000, 'x'));
    const auto source = open();
    int count = 0;
    while (source->next(buffer()) != 0) {
        ++count;
    }
    EXPECT_EQ(count, kFrames);
    EXPECT_TRUE(log.containsText("No DIF header at byte 36120000, the tape ends there: "));
}

TEST_F(FileSourceOnDisk, survivesAFileThatShrinksMeanwhile) {
    write(bytesOf(DVStandard::kPAL, 0, 4));
    const auto source = open();
    EXPECT_FALSE(next(*source).isEmpty());
    ASSERT_TRUE(QFile::resize(path(), 200000));
    EXPECT_TRUE(next(*source).isEmpty());
    EXPECT_EQ(source->skip(), 0U);
    EXPECT_EQ(taken(source->again(buffer())).size(), 144000);
    ASSERT_TRUE(QFile::resize(path(), 0));
    EXPECT_TRUE(taken(source->again(buffer())).isEmpty());
    source->rewind();
    EXPECT_TRUE(next(*source).isEmpty());
}

TEST_F(FileSourceOnDisk, findsTheSignalFormatInTheHeader) {
    struct Case {
        DVStandard standard;
        std::uint8_t trackInformation;
        std::uint8_t mode;
    };
    for (const Case& each :
         {Case{DVStandard::kNTSC, 0xF8, 0x00}, Case{DVStandard::kNTSC, 0xF9, 0x78},
          Case{DVStandard::kPAL, 0x68, 0x80}, Case{DVStandard::kPAL, 0xF9, 0xF8}}) {
        QByteArray frame = bytesOf(each.standard, 0, 1);
        frame[4] = static_cast<char>(each.trackInformation);
        write(frame);
        EXPECT_EQ(open()->dvMode(), each.mode);
    }
}

TEST_F(FileSourceOnDisk, playsEverySampleByteForByte) {
    const QDir folder(test::samplesFolder());
    const QStringList names = test::samplesFolder().isEmpty()
                                  ? QStringList()
                                  : folder.entryList({u"*.dv"_s}, QDir::Files);
    if (names.isEmpty()) {
        printf("There are no samples; only generated tapes were played.\n");
    }
    for (const QString& name : names) {
        QFile file(folder.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray bytes = file.readAll();
        QString error;
        const auto source = FileSource::open(file.fileName(), {}, error);
        if (bytes.size() < 120000) {
            EXPECT_EQ(source, nullptr) << qPrintable(name);
            EXPECT_TRUE(error.contains(u"too short"_s)) << qPrintable(error);
            continue;
        }
        ASSERT_NE(source, nullptr) << qPrintable(error);
        EXPECT_TRUE(all(*source) == bytes) << qPrintable(name);
    }
}

}  // namespace
}  // namespace takebox::avc
