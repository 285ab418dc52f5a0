#include "recovery/RawFiles.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include "support/Files.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

/// Where a movie and its raw file are now, and where the movie says that the raw file is; all below
/// one folder.
struct Place {
    QString movie;
    QString rawFile;
    QString target;
    bool isFound;
};

class TargetOfAMovie : public testing::TestWithParam<Place> {
protected:
    [[nodiscard]] QString path(const QString& name) const { return mFolder.filePath(name); }

private:
    const QTemporaryDir mFolder;
};

TEST_P(TargetOfAMovie, isFoundWhereItIsNow) {
    const Place& place = GetParam();
    for (const QString& file : {place.movie, place.rawFile}) {
        EXPECT_TRUE(QDir().mkpath(QFileInfo(path(file)).path()));
        writeFile(path(file), "x");
    }
    EXPECT_EQ(findTarget(path(place.target).toStdString(), path(place.movie).toStdString()),
              place.isFound ? path(place.rawFile).toStdString() : std::string());
}

INSTANTIATE_TEST_SUITE_P(
    RawFiles, TargetOfAMovie,
    testing::Values(
        // As it was recorded, wherever that is.
        Place{u"b/Take.ref"_s, u"a/1/2/3/Take.dv"_s, u"a/1/2/3/Take.dv"_s, true},
        // The folder of both has another name.
        Place{u"b/Take.ref"_s, u"b/Take/Take.dv"_s, u"a/Take/Take.dv"_s, true},
        // It lies in other folders.
        Place{u"archive/1999/b/Take.ref"_s, u"archive/1999/b/Take/Take.dv"_s, u"a/Take/Take.dv"_s,
              true},
        // The movie alone has been put beside the raw file.
        Place{u"b/Take.ref"_s, u"b/Take.dv"_s, u"a/Take/Take.dv"_s, true},
        // Movies and raw files have folders of their own.
        Place{u"b/movies/Take.ref"_s, u"b/raw/Take/Take.dv"_s, u"a/raw/Take/Take.dv"_s, true},
        // The raw file is above the movie, three folders up at most.
        Place{u"b/1/2/3/Take.ref"_s, u"b/Take.dv"_s, u"a/Take.dv"_s, true},
        Place{u"b/1/2/3/4/Take.ref"_s, u"b/Take.dv"_s, u"a/Take.dv"_s, false},
        // A file of another recording is none.
        Place{u"b/Take.ref"_s, u"b/Take/Take 1.dv"_s, u"a/Take/Take.dv"_s, false}));

}  // namespace
}  // namespace takebox::test
