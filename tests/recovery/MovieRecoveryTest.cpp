#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>

#include "recovery/Recovery.h"
#include "support/DVMaterial.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using Kind = RecoveryOutcome::Kind;

constexpr int kFrames = 12;
constexpr int kFramesOfPiece = 3;
constexpr int kFrameSize = 144000;

QByteArray word(qint64 value) {
    QByteArray bytes(4, 0);
    qToBigEndian(static_cast<std::uint32_t>(value), bytes.data());
    return bytes;
}

/// What a movie has whose end was never written: media data with its records.
QByteArray mediaDataOnly() {
    QByteArray content = QByteArray::fromHex("0000000877696465000000006d646174");  // wide, mdat
    const std::vector<QByteArray> frames = test::makeDVFrames(true, false, kFrames);
    for (std::size_t i = 0; i < kFrames; i += kFramesOfPiece) {
        QByteArray data;
        for (std::size_t k = i; k < i + kFramesOfPiece; ++k) {
            data += frames[k];
        }
        content += "vide" + word(data.size()) + word(kFramesOfPiece) + word(kFrameSize) + data;
    }
    return content;
}

class CutOffMovie : public testing::Test {
protected:
    CutOffMovie() { test::writeFile(path(), mContent); }
    [[nodiscard]] QString path() const { return mFolder.filePath(u"Take.mov"_s); }
    [[nodiscard]] QStringList files() const {
        return QDir(mFolder.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }
    void expectAsBefore() const {
        EXPECT_EQ(files(), QStringList{u"Take.mov"_s});
        EXPECT_EQ(test::contentsOf(path()), mContent);
    }
    /// Spoils one byte of the new movie, somewhere in its frames.
    void spoil() const {
        QFile file(mFolder.filePath(files().filter(u".part"_s).value(0)));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.seek(mContent.size() / 2));
        const char byte = static_cast<char>(~file.peek(1).at(0));
        ASSERT_EQ(file.write(&byte, 1), 1);
    }

private:
    const test::LogCapture mLog;
    const QTemporaryDir mFolder;
    const QByteArray mContent = mediaDataOnly();
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

}  // namespace
}  // namespace takebox
