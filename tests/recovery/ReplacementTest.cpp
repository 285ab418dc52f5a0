#include "recovery/Replacement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <QDir>
#include <QTemporaryDir>
#include <cerrno>
#include <cstdio>

#include "support/Files.h"

namespace {

/// What link() fails with; 0: it does its work.
int gLinkError = 0;
/// What renameat2() fails with; 0: it does its work.
int gFlagError = 0;

}  // namespace

/// Stands before the C library's: memory cards and most external disks know no second names.
extern "C" int link(const char* from, const char* to) noexcept {
    if (gLinkError != 0) {
        errno = gLinkError;
        return -1;
    }
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

/// The same: some network shares cannot promise to replace no file.
extern "C" int renameat2(int fromFolder, const char* from, int toFolder, const char* to,
                         unsigned int flags) noexcept {
    if (gFlagError != 0) {
        errno = gFlagError;
        return -1;
    }
    return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

struct FileSystem {
    const char* name;
    int linkError;
    int flagError;
};

void PrintTo(const FileSystem& row, std::ostream* stream) {
    *stream << row.name;
}

class ReplacedFile : public testing::TestWithParam<FileSystem> {
protected:
    ReplacedFile() {
        gLinkError = GetParam().linkError;
        gFlagError = GetParam().flagError;
        writeFile(original, "old");
    }
    ~ReplacedFile() override { gLinkError = gFlagError = 0; }

    [[nodiscard]] QString path(const QString& name) const { return folder.filePath(name); }
    [[nodiscard]] QStringList files() const {
        return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    const QTemporaryDir folder;
    const QString original = path(u"Take.mov"_s);
    QString kept;
};

constexpr FileSystem kFileSystems[] = {
    {"withHardLinks", 0, 0},
    {"withoutHardLinks", EPERM, 0},
    {"withoutHardLinksAndFlags", EPERM, EINVAL},
};

INSTANTIATE_TEST_SUITE_P(FileSystems, ReplacedFile, testing::ValuesIn(kFileSystems),
                         [](const auto& row) { return row.param.name; });

TEST_P(ReplacedFile, isKeptBesideTheNewOne) {
    Replacement replacement(original);
    writeFile(replacement.temporaryPath(), "new");
    EXPECT_EQ(replacement.replaceOriginal(kept), 0);
    EXPECT_EQ(kept, path(u"Take (original).mov"_s));
    EXPECT_EQ(contentsOf(kept), "old");
    EXPECT_EQ(contentsOf(original), "new");
    EXPECT_EQ(files().size(), 2);
}

TEST_P(ReplacedFile, takesNoNameThatAnotherFileHas) {
    writeFile(path(u"Take (original).mov"_s), "precious");
    writeFile(path(u"Take (original 2).mov"_s), "precious, too");
    Replacement replacement(original);
    writeFile(replacement.temporaryPath(), "new");
    EXPECT_EQ(replacement.replaceOriginal(kept), 0);
    EXPECT_EQ(kept, path(u"Take (original 3).mov"_s));
    EXPECT_EQ(contentsOf(kept), "old");
    EXPECT_EQ(contentsOf(original), "new");
    EXPECT_EQ(contentsOf(path(u"Take (original).mov"_s)), "precious");
    EXPECT_EQ(contentsOf(path(u"Take (original 2).mov"_s)), "precious, too");
}

TEST_P(ReplacedFile, hasItsNameBackWhenTheNewOneCannotHaveIt) {
    {
        Replacement replacement(original);  // nothing was written
        EXPECT_EQ(replacement.replaceOriginal(kept), ENOENT);
    }
    EXPECT_EQ(files(), QStringList{u"Take.mov"_s});
    EXPECT_EQ(contentsOf(original), "old");
}

TEST_P(ReplacedFile, staysWhenItsNameLeavesNoRoomForASecondOne) {
    const QString longName = QString(246, u'x') + u".mov"_s;
    writeFile(path(longName), "long");
    {
        Replacement replacement(path(longName));
        writeFile(replacement.temporaryPath(), "new");
        EXPECT_EQ(replacement.replaceOriginal(kept), ENAMETOOLONG);
    }
    EXPECT_EQ(files(), (QStringList{u"Take.mov"_s, longName}));
    EXPECT_EQ(contentsOf(path(longName)), "long");
}

TEST_P(ReplacedFile, staysWhenEveryNameIsTaken) {
    writeFile(path(u"Take (original).mov"_s), {});
    for (int number = 2; number < 1000; ++number) {
        writeFile(path(u"Take (original %1).mov"_s.arg(number)), {});
    }
    {
        Replacement replacement(original);
        writeFile(replacement.temporaryPath(), "new");
        EXPECT_EQ(replacement.replaceOriginal(kept), EEXIST);
    }
    EXPECT_EQ(files().size(), 1000);
    EXPECT_EQ(contentsOf(original), "old");
}

}  // namespace
}  // namespace takebox::test
