#include "platform/defaults/AtomicFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>

#include "support/Files.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::contentsOf;

mode_t modeOf(const QString& path) {
    struct stat status {};
    return stat(qUtf8Printable(path), &status) == 0 ? status.st_mode & 07777U : 0;
}

QStringList namesIn(const QTemporaryDir& folder) {
    return QDir(folder.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
}

TEST(AtomicFile, newFileIsItsOwnersOnlyAndNothingElseIsLeft) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.plist"_s);
    EXPECT_EQ(replaceFile(path, "one"), 0);
    EXPECT_EQ(contentsOf(path), "one");
    EXPECT_EQ(modeOf(path), 0600U);
    EXPECT_EQ(namesIn(folder), QStringList{u"a.plist"_s});
}

TEST(AtomicFile, openReaderKeepsTheOldContents) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.plist"_s);
    ASSERT_EQ(replaceFile(path, "the old contents"), 0);
    QFile reader(path);
    ASSERT_TRUE(reader.open(QIODevice::ReadOnly));
    ASSERT_EQ(replaceFile(path, "new"), 0);
    EXPECT_EQ(reader.readAll(), "the old contents");
    EXPECT_EQ(contentsOf(path), "new");
}

TEST(AtomicFile, permissionsAndSymbolicLinkStay) {
    const QTemporaryDir folder;
    const QString target = folder.filePath(u"target"_s);
    const QString link = folder.filePath(u"link"_s);
    ASSERT_EQ(replaceFile(target, "old"), 0);
    ASSERT_EQ(chmod(qUtf8Printable(target), 0640), 0);
    ASSERT_TRUE(QFile::link(target, link));
    EXPECT_EQ(replaceFile(link, "new"), 0);
    EXPECT_EQ(contentsOf(target), "new");
    EXPECT_EQ(modeOf(target), 0640U);
    EXPECT_TRUE(QFileInfo(link).isSymbolicLink());
}

TEST(AtomicFile, failureLeavesTheOldFileAndNoOther) {
    const QTemporaryDir folder;
    EXPECT_EQ(replaceFile(folder.filePath(u"missing/a.plist"_s), "x"), ENOENT);
    // A folder that is not empty cannot be replaced by a file.
    ASSERT_TRUE(QDir(folder.path()).mkpath(u"a.plist/full"_s));
    EXPECT_NE(replaceFile(folder.filePath(u"a.plist"_s), "x"), 0);
    EXPECT_EQ(namesIn(folder), QStringList{u"a.plist"_s});
}

TEST(AtomicFile, filesOfKilledProcessesAreRemovedAndThoseOfLivingOnesStay) {
    const QTemporaryDir folder;
    const pid_t dead = fork();
    if (dead == 0) {
        _exit(0);
    }
    ASSERT_EQ(waitpid(dead, nullptr, 0), dead);
    const QStringList stay{u".a.plist.%1.new"_s.arg(getpid()), u".a.plist.backup.new"_s,
                           u"a.plist"_s};
    for (const QString& name : stay + QStringList{u".a.plist.%1.new"_s.arg(dead)}) {
        test::writeFile(folder.filePath(name), {});
    }
    removeAbandonedReplacements(folder.filePath(u"a.plist"_s));
    QStringList expected = stay;
    expected.sort();
    QStringList found = namesIn(folder);
    found.sort();
    EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace takebox
