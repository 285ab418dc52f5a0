#include "app/Diagnose.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QSet>
#include <QTemporaryDir>
#include <cerrno>

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
