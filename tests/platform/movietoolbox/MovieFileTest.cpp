// Movies as files on the disk.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <array>
#include <cerrno>
#include <limits>

#include "platform/movietoolbox/MovieFile.h"
#include "platform/movietoolbox/MovieToolbox.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

TEST(MovieFile, writesNothingWhereNoFileReaches) {
    const QTemporaryDir folder;
    int error = 0;
    const auto file = createMovieFile(folder.filePath(QStringLiteral("a.mov")).toStdString(),
                                      StorageMode::kGrowing, error);
    ASSERT_NE(file, nullptr);
    const std::array<std::byte, 2> bytes{};
    EXPECT_EQ(file->writeAt(std::numeric_limits<std::int64_t>::max(), bytes), EFBIG);
    EXPECT_EQ(file->writeAt(UINT64_MAX, bytes), EFBIG);
    EXPECT_EQ(file->reserve(1, std::numeric_limits<std::int64_t>::max()), EFBIG);
    EXPECT_EQ(file->reserve(0, 1), 0);
}

TEST(MovieFile, replacesAnExistingFile) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.mov"));
    for (const auto mode : {StorageMode::kGrowing, StorageMode::kWhenClosed}) {
        writeFile(path, QByteArray(100000, 'x'));
        std::shared_ptr<DataHandler> handler;
        std::shared_ptr<Movie> movie;
        ASSERT_EQ(CreateMovieStorage(path.toStdString(), mode, handler, movie), kNoError);
        EXPECT_EQ(QFile(path).size(), mode == StorageMode::kGrowing ? 20 : 100000)
            << "a movie that is written in one go appears complete";
        ASSERT_EQ(AddMovieToStorage(movie.get()), kNoError);
        ASSERT_EQ(CloseMovieStorage(handler.get()), kNoError);
        EXPECT_LT(QFile(path).size(), 1000);
        EXPECT_EQ(CloseMovieStorage(handler.get()), kInvalidDataReference);
        EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    }
}

TEST(MovieFile, saysWhyAFileCannotBeCreated) {
    const QTemporaryDir folder;
    LogCapture log;
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    for (const auto mode : {StorageMode::kGrowing, StorageMode::kWhenClosed}) {
        const std::string missing = folder.path().toStdString() + "/missing/a.mov";
        EXPECT_EQ(CreateMovieStorage(missing, mode, handler, movie), kFileNotFound);
        EXPECT_EQ(GetMoviesError(), kFileNotFound);
        EXPECT_EQ(movie, nullptr);
        EXPECT_EQ(handler, nullptr);
        EXPECT_EQ(CreateMovieStorage(folder.path().toStdString(), mode, handler, movie),
                  kDuplicateName);
        EXPECT_EQ(log.count("Cannot create the movie " + missing + ": No such file or directory"),
                  1);
        EXPECT_TRUE(log.containsText("Is a directory"));
        log.clear();
    }
}

TEST(MovieFile, saysThatAMovieCouldNotTakeItsName) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.ref"));
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    ASSERT_EQ(CreateMovieStorage(path.toStdString(), StorageMode::kWhenClosed, handler, movie),
              kNoError);
    ASSERT_EQ(AddMovieToStorage(movie.get()), kNoError);
    ASSERT_TRUE(QDir(folder.path()).mkdir(QStringLiteral("a.ref")));
    LogCapture log;
    EXPECT_NE(CloseMovieStorage(handler.get()), kNoError);
    EXPECT_EQ(log.count("Cannot write the movie " + path.toStdString() + ": Is a directory"), 1);
    EXPECT_TRUE(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).isEmpty())
        << "nothing is left of it";
}

TEST(MovieFile, takesNamesAsLongAsTheyCanBe) {
    const QTemporaryDir folder;
    const std::string path = folder.path().toStdString() + '/' + std::string(255, 'n');
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    ASSERT_EQ(CreateMovieStorage(path, StorageMode::kWhenClosed, handler, movie), kNoError);
    ASSERT_EQ(AddMovieToStorage(movie.get()), kNoError);
    EXPECT_EQ(CloseMovieStorage(handler.get()), kNoError);
    EXPECT_EQ(access(path.c_str(), R_OK), 0);
}

TEST(MovieFile, givesBackTheRoomThatItReserved) {
    const QTemporaryDir folder;
    const std::string path = folder.filePath(QStringLiteral("a.mov")).toStdString();
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    ASSERT_EQ(CreateMovieStorage(path, StorageMode::kGrowing, handler, movie), kNoError);
    Track* const track = NewMovieTrack(movie.get(), 0, 0, 0);
    Media* const media = NewTrackMedia(track, fourCC("vide"), 2500);
    ASSERT_EQ(BeginMediaEdits(movie.get(), media), kNoError);
    const std::vector<std::byte> data(10000);
    const std::array sizes{SampleSizeRun{1, 10000}};
    ASSERT_EQ(AddMediaSample(movie.get(), media, data, 100, ImageDescription(), sizes), kNoError);
    struct stat info {};
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_LT(info.st_size, 11000) << "reserved room must not show in the length";
    ASSERT_EQ(AddMovieToStorage(movie.get()), kNoError);
    ASSERT_EQ(CloseMovieStorage(handler.get()), kNoError);
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_LT(info.st_blocks * 512, 32768);
}

}  // namespace
}  // namespace takebox::test
