#include "recovery/Replacement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <QDir>
#include <QTemporaryDir>
#include <cerrno>

#include "support/Files.h"

namespace {

/// What link() fails with; 0: it does its work.
int gLinkError = 0;

}  // namespace

/// Stands before the C library's: memory cards and most external disks know no second names.
extern "C" int link(const char* from, const char* to) noexcept {
    if (gLinkError != 0) {
        errno = gLinkError;
        return -1;
    }
    return ::linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
}

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

/// On a file system that knows hard links, and on one that does not.
class ReplacedFile : public testing::TestWithParam<bool> {
protected:
    ReplacedFile() {
        gLinkError = GetParam() ? 0 : EPERM;
        writeFile(original, "old");
    }
    ~ReplacedFile() override { gLinkError = 0; }

    [[nodiscard]] QString path(const QString& name) const { return folder.filePath(name); }
    [[nodiscard]] QStringList files() const {
        return QDir(folder.path()).entryList(QDir::Files | QDir::Hidden, QDir::Name);
    }

    const QTemporaryDir folder;
    const QString original = path(u"Take.mov"_s);
    QString kept;
};

INSTANTIATE_TEST_SUITE_P(FileSystems, ReplacedFile, testing::Bool(), [](const auto& row) {
    return row.param ? "withHardLinks" : "withoutHardLinks";
});

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
