#include "app/Diagnose.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <cerrno>
#include <chrono>
#include <thread>

#include "support/DiskCalls.h"
#include "support/FileSizeLimit.h"

namespace takebox {
namespace {

TEST(Diagnose, measuresADiskAndLeavesNothingOnIt) {
    const QTemporaryDir folder;
    const avc::DiagnosisLine line = diagnoseDisk(folder.path());
    EXPECT_NE(line.finding.find("MB a second"), std::string::npos) << line.finding;
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

TEST(Diagnose, saysOfADiskThatCannotBeWrittenWhyAndWhatToDo) {
    const QTemporaryDir folder;
    const avc::DiagnosisLine missing = diagnoseDisk(folder.filePath(QStringLiteral("none")));
    EXPECT_EQ(missing.finding, "cannot be written: No such file or directory");
    EXPECT_EQ(missing.advice, "There is no such folder: create it or choose another one.");
    QFile file(folder.filePath(QStringLiteral("file")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    EXPECT_EQ(diagnoseDisk(file.fileName()).advice, missing.advice);
}

TEST(Diagnose, saysOfADiskThatHasNoRoomForWhatIsWritten) {
    const QTemporaryDir folder;
    {
        const test::FileSizeLimit limit(1000);
        const avc::DiagnosisLine part = diagnoseDisk(folder.path());
        EXPECT_EQ(part.finding, "cannot be written: No space left on device");
        EXPECT_EQ(part.advice, "Make room on the disk or choose another one.");
    }
    const test::FileSizeLimit limit(0);
    const avc::DiagnosisLine nothing = diagnoseDisk(folder.path());
    EXPECT_EQ(nothing.finding, "cannot be written: File too large");
    EXPECT_EQ(nothing.advice, "Choose another folder or another disk.");
    EXPECT_TRUE(QDir(folder.path()).isEmpty());
}

TEST(Diagnose, saysOfADiskThatRefusesWhatItHasTaken) {
    const QTemporaryDir folder;
    const test::FakeFlush flush([] {
        errno = EIO;
        return -1;
    });
    const avc::DiagnosisLine line = diagnoseDisk(folder.path());
    EXPECT_EQ(line.finding, "cannot be written: Input/output error");
    EXPECT_NE(line.advice.find("check its cable"), std::string::npos);
}

TEST(Diagnose, advisesAgainstADiskTooSlowForOneDeck) {
    const QTemporaryDir folder;
    const test::FakeFlush flush([] {
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
        return 0;
    });
    const avc::DiagnosisLine line = diagnoseDisk(folder.path());
    EXPECT_TRUE(line.finding.ends_with("enough for 0 decks")) << line.finding;
    EXPECT_EQ(line.advice, "Record to a faster disk, or one kind of movie only.");
}

TEST(Diagnose, advisesByTheReason) {
    QSet<QString> texts;
    for (const int error : {ENOENT, EACCES, EROFS, ENOSPC, EIO, EMFILE}) {
        texts.insert(adviceOnDisk(error));
    }
    EXPECT_EQ(texts.size(), 6);
    EXPECT_TRUE(adviceOnDisk(ENOSPC).startsWith(QStringLiteral("Make room")));
    EXPECT_TRUE(adviceOnDisk(EIO).contains(QStringLiteral("check its cable")));
    EXPECT_EQ(adviceOnDisk(EDQUOT), adviceOnDisk(ENOSPC));
}

}  // namespace
}  // namespace takebox
