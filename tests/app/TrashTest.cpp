#include "app/Trash.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include "support/Files.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

/// A home of its own, so that its trash can be looked into, or made impossible.
class Trash : public testing::Test {
protected:
    Trash() : mHomeBefore(qgetenv("HOME")) { qputenv("HOME", home().toUtf8()); }
    ~Trash() override { qputenv("HOME", mHomeBefore); }

    [[nodiscard]] QString home() const { return mFolder.filePath(u"home"_s); }
    [[nodiscard]] QString path(const QString& name) const { return mFolder.filePath(name); }
    void write(const QString& name, const QByteArray& content) const {
        test::writeFile(path(name), content);
    }

private:
    const QTemporaryDir mFolder;
    const QByteArray mHomeBefore;
};

}  // namespace

TEST_F(Trash, isThatOfTheDesktopAndMadeWhenThereIsNoneYet) {
    for (const auto* content : {"first", "second"}) {
        write(u"Name.ref"_s, content);
        EXPECT_TRUE(moveToTrash(path(u"Name.ref"_s)));
        EXPECT_FALSE(QFileInfo::exists(path(u"Name.ref"_s)));
    }
    const QDir files(home() + u"/.local/share/Trash/files"_s);
    EXPECT_EQ(test::contentsOf(files.filePath(u"Name.ref"_s)), "first");
    EXPECT_EQ(files.entryList(QDir::Files).size(), 2);
    EXPECT_FALSE(QFileInfo::exists(path(u"Removed Recordings"_s)));
}

TEST_F(Trash, isAFolderBesideTheFileWhereNoneCanBeMade) {
    write(u"home"_s, "a file, below which there can be no folder");
    const QStringList here = QDir::current().entryList();
    for (const auto* content : {"first", "second"}) {
        write(u"50 %2 of.ref"_s, content);
        EXPECT_TRUE(moveToTrash(path(u"50 %2 of.ref"_s)));
        EXPECT_FALSE(QFileInfo::exists(path(u"50 %2 of.ref"_s)));
    }
    EXPECT_EQ(test::contentsOf(path(u"Removed Recordings/50 %2 of.ref"_s)), "first");
    EXPECT_EQ(test::contentsOf(path(u"Removed Recordings/50 %2 of 1.ref"_s)), "second");
    EXPECT_EQ(QDir::current().entryList(), here);
}

TEST_F(Trash, takesNothingThatIsNotThere) {
    EXPECT_FALSE(moveToTrash(path(u"no such file"_s)));
    EXPECT_FALSE(QFileInfo::exists(path(u"Removed Recordings"_s)));
}

TEST_F(Trash, leavesTheFileWhereNoFolderCanBeMade) {
    write(u"home"_s, "no trash");
    write(u"Removed Recordings"_s, "and no folder");
    write(u"Name.ref"_s, "precious");
    EXPECT_FALSE(moveToTrash(path(u"Name.ref"_s)));
    EXPECT_EQ(test::contentsOf(path(u"Name.ref"_s)), "precious");
}

}  // namespace takebox
