#include "platform/movietoolbox/AliasRecord.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QTemporaryDir>
#include <algorithm>
#include <map>

#include "AtomTree.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

std::string text(const std::vector<std::byte>& bytes, std::size_t offset, std::size_t size) {
    std::string result;
    for (std::size_t i = offset; i < offset + size && i < bytes.size(); ++i) {
        result.push_back(static_cast<char>(bytes[i]));
    }
    return result;
}

/// The tagged fields of a record, up to its end tag, which must be the end of the record.
std::map<std::uint64_t, std::string> fieldsOf(const std::vector<std::byte>& record) {
    std::map<std::uint64_t, std::string> fields;
    std::size_t at = 150;
    while (number(record, at, 2) != 0xFFFF) {
        const std::size_t size = number(record, at + 2, 2);
        fields[number(record, at, 2)] = text(record, at + 4, size);
        at += 4 + size + size % 2;
        if (at + 4 > record.size()) {
            ADD_FAILURE() << "no end tag";
            return fields;
        }
    }
    EXPECT_EQ(at + 4, record.size());
    return fields;
}

AliasRecord aliasOf(const QTemporaryDir& folder, const QString& target, const QString& movie) {
    AliasRecord alias;
    EXPECT_EQ(QTNewAlias(folder.filePath(target).toStdString(),
                         folder.filePath(movie).toStdString(), alias),
              kNoError);
    return alias;
}

TEST(AliasRecord, hasTheAbsolutePathInBothNotations) {
    const QTemporaryDir folder;
    const AliasRecord alias = aliasOf(folder, QStringLiteral("Täke 1.dv"), QStringLiteral("a.ref"));
    const auto record = alias.bytes();
    EXPECT_EQ(number(record, 4, 2), record.size());
    EXPECT_EQ(number(record, 6, 2), 2U) << "version";
    EXPECT_EQ(number(record, 8, 2), 0U) << "a file";
    EXPECT_EQ(number(record, 10, 1), 5U);
    EXPECT_EQ(text(record, 11, 5), "Linux");
    EXPECT_EQ(number(record, 50, 1), 10U);
    EXPECT_EQ(text(record, 51, 10), "Täke 1.dv");
    const auto fields = fieldsOf(record);
    std::string colons = folder.path().toStdString();
    std::replace(colons.begin(), colons.end(), '/', ':');
    EXPECT_EQ(fields.at(2), "Linux" + colons + ":Täke 1.dv");
    EXPECT_EQ(fields.at(18), folder.path().toStdString().substr(1) + "/Täke 1.dv");
    EXPECT_EQ(fields.at(19), "/");
    EXPECT_EQ(fields.at(0), QDir(folder.path()).dirName().toStdString());
    EXPECT_EQ(fields.at(14).size(), 2U + 2 * 9);
    EXPECT_EQ(fields.at(15).size(), 2U + 2 * 5);
}

struct Levels {
    const char* target;
    const char* movie;
    unsigned up;
    unsigned down;
};
class AliasLevels : public testing::TestWithParam<Levels> {};

TEST_P(AliasLevels, areCountedFromTheCommonFolder) {
    const QTemporaryDir folder;
    ASSERT_TRUE(QDir(folder.path()).mkpath(QStringLiteral("raw/deep")));
    const AliasRecord alias =
        aliasOf(folder, QString::fromUtf8(GetParam().target), QString::fromUtf8(GetParam().movie));
    EXPECT_EQ(number(alias.bytes(), 130, 2), GetParam().up);
    EXPECT_EQ(number(alias.bytes(), 132, 2), GetParam().down);
}
INSTANTIATE_TEST_SUITE_P(Folders, AliasLevels,
                         testing::Values(Levels{"a.dv", "a.ref", 1, 1},
                                         Levels{"raw/a.dv", "a.ref", 1, 2},
                                         Levels{"raw/deep/a.dv", "movies/a.ref", 2, 3},
                                         Levels{"a.dv", "movies/a.ref", 2, 1},
                                         Levels{"raw/../a.dv", "./a.ref", 1, 1}));

TEST(AliasRecord, cutsALongNameInTheHeaderOnly) {
    const QTemporaryDir folder;
    // 62 letters and one of two bytes: it must not be cut in the middle.
    const QString name = QString(62, QLatin1Char('n')) + QStringLiteral("ä.dv");
    const auto record = aliasOf(folder, name, QStringLiteral("a.ref")).bytes();
    EXPECT_EQ(number(record, 50, 1), 62U);
    EXPECT_EQ(text(record, 51, 62), std::string(62, 'n'));
    EXPECT_EQ(number(record, 51 + 62, 1), 0U);
    const std::string path = fieldsOf(record).at(2);
    EXPECT_TRUE(path.ends_with(":" + name.toStdString()));
}

TEST(AliasRecord, knowsWhichNamesReadersCannotFollow) {
    const QTemporaryDir folder;
    ASSERT_TRUE(QDir(folder.path()).mkpath(QStringLiteral("with:colon")));
    EXPECT_TRUE(aliasOf(folder, QStringLiteral("a.dv"), QStringLiteral("a.ref")).canBeFollowed());
    EXPECT_FALSE(
        aliasOf(folder, QStringLiteral("9:15.dv"), QStringLiteral("a.ref")).canBeFollowed());
    EXPECT_FALSE(aliasOf(folder, QStringLiteral("with:colon/a.dv"), QStringLiteral("a.ref"))
                     .canBeFollowed());
    EXPECT_TRUE(
        aliasOf(folder, QStringLiteral("with:colon/a.dv"), QStringLiteral("with:colon/a.ref"))
            .canBeFollowed())
        << "above the common folder it does no harm";
}

TEST(AliasRecord, isNotMadeOfAPathWhereNoFileCanBe) {
    const QTemporaryDir folder;
    AliasRecord alias;
    EXPECT_EQ(QTNewAlias("", "/a.ref", alias), kFileNotFound);
    EXPECT_EQ(QTNewAlias("/no such folder/a.dv", "/a.ref", alias), kFileNotFound);
    EXPECT_EQ(QTNewAlias(folder.path().toStdString(), "/a.ref", alias), kFileNotFound);
    EXPECT_EQ(QTNewAlias(folder.path().toStdString() + "/", "/a.ref", alias), kFileNotFound);
    EXPECT_EQ(QTNewAlias("/" + std::string(40000, 'n'), "/a.ref", alias), kBadName);
}

TEST(AliasRecord, isNotMadeWhereThereIsNoFolderToBeginWith) {
    const QTemporaryDir target;
    const QString before = QDir::currentPath();
    {
        const QTemporaryDir folder;
        ASSERT_TRUE(QDir::setCurrent(folder.path()));
    }
    AliasRecord alias;
    const std::string path = target.filePath(QStringLiteral("a.dv")).toStdString();
    EXPECT_EQ(QTNewAlias(path, "a.ref", alias), kFileNotFound);
    EXPECT_EQ(QTNewAlias(path, "/a.ref", alias), kNoError);
    EXPECT_TRUE(QDir::setCurrent(before));
}

TEST(AliasRecord, takesBytesThatAreNoUtf8) {
    const QTemporaryDir folder;
    AliasRecord alias;
    const std::string path = folder.path().toStdString() + "/\xFF\xFE.dv";
    ASSERT_EQ(QTNewAlias(path, path, alias), kNoError);
    EXPECT_EQ(fieldsOf(alias.bytes()).at(18), path.substr(1));
}

}  // namespace
}  // namespace takebox::test
