#include "platform/movietoolbox/MovieReader.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "MemoryMovieFile.h"
#include "platform/movietoolbox/MovieToolbox.h"
#include "support/Files.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

/// A movie of one chunk of pictures of different sizes.
std::vector<std::byte> smallMovie() {
    MemoryDisk disk;
    const MemoryDiskForMovies disks(disk);
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    EXPECT_EQ(CreateMovieStorage("/movie", StorageMode::kGrowing, handler, movie), kNoError);
    Track* const track = NewMovieTrack(movie.get(), 0, 0, 0);
    Media* const media = NewTrackMedia(track, fourCC("vide"), 2500);
    EXPECT_EQ(BeginMediaEdits(movie.get(), media), kNoError);
    const std::array sizes{SampleSizeRun{2, 10}, SampleSizeRun{1, 20}};
    EXPECT_EQ(AddMediaSample(movie.get(), media, std::vector<std::byte>(40), 100,
                             ImageDescription{}, sizes),
              kNoError);
    EXPECT_EQ(EndMediaEdits(media), kNoError);
    EXPECT_EQ(InsertMediaIntoTrack(track, GetMediaDuration(media)), kNoError);
    EXPECT_EQ(AddMovieToStorage(movie.get()), kNoError);
    EXPECT_EQ(CloseMovieStorage(handler.get()), kNoError);
    return disk.bytes;
}

/// The four bytes so far behind the name of an atom.
std::byte* wordOf(std::vector<std::byte>& file, const char* atom, std::ptrdiff_t offset) {
    const auto* const name = reinterpret_cast<const std::byte*>(atom);
    const auto found = std::search(file.begin(), file.end(), name, name + 4);
    EXPECT_NE(found, file.end()) << atom;
    return &*found + 4 + offset;
}

/// A disk that reads so many times and then refuses.
class FailingBytes final : public ByteSource {
public:
    FailingBytes(std::span<const std::byte> bytes, int reads) : mBytes(bytes), mReads(reads) {}

    [[nodiscard]] std::uint64_t size() const override { return mBytes.size(); }
    [[nodiscard]] int readAt(std::uint64_t offset, std::span<std::byte> bytes) const override {
        return mReads-- > 0 ? mBytes.readAt(offset, bytes) : EIO;
    }

private:
    MemoryBytes mBytes;
    mutable int mReads;
};

TEST(MovieReader, tellsThatTheDiskRefusesWhereverItDoes) {
    const auto file = smallMovie();
    MovieContents contents;
    int reads = 0;
    int error = EIO;
    for (; error != 0 && reads < 100; ++reads) {
        error = readMovie(FailingBytes(file, reads), contents);
        EXPECT_TRUE(error == 0 || error == EIO) << error;
    }
    EXPECT_GE(reads, 4) << "at least two atoms and the movie were read";
    EXPECT_TRUE(contents.hasMovie);
    EXPECT_EQ(contents.tracks.at(0).sampleBytes, 40U);
}

TEST(MovieReader, hasNoMovieWhoseTableOfSizesIsTooShort) {
    auto file = smallMovie();
    *(wordOf(file, "stsz", 8) + 3) = std::byte{4};
    *(wordOf(file, "stsc", 12) + 3) = std::byte{4};
    MovieContents contents;
    EXPECT_EQ(readMovie(MemoryBytes(file), contents), 0);
    EXPECT_TRUE(contents.isMovieFile);
    EXPECT_FALSE(contents.hasMovie);
}

TEST(MovieReader, readsNoMovieLargerThanAnyCanBe) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.mov"));
    constexpr std::uint32_t kSize = (1U << 28U) + 9;
    writeFile(path, QByteArray("\x10\0\0\x09moov", 8));
    QFile file(path);
    ASSERT_TRUE(file.resize(kSize));
    int error = 0;
    const auto bytes = FileBytes::open(path.toStdString(), error);
    ASSERT_NE(bytes, nullptr);
    MovieContents contents;
    EXPECT_EQ(readMovie(*bytes, contents), 0);
    EXPECT_TRUE(contents.isMovieFile);
    EXPECT_FALSE(contents.hasMovie);
}

TEST(FileBytes, endWhereTheFileEnds) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a"));
    writeFile(path, "0123456789");
    int error = 0;
    const auto bytes = FileBytes::open(path.toStdString(), error);
    ASSERT_NE(bytes, nullptr);
    std::array<std::byte, 6> read{};
    EXPECT_EQ(bytes->readAt(4, read), 0);
    EXPECT_EQ(read[0], std::byte{'4'});
    EXPECT_EQ(bytes->readAt(5, read), ENODATA);
    ASSERT_TRUE(QFile::resize(path, 8));
    EXPECT_EQ(bytes->readAt(4, read), ENODATA) << "somebody has made it shorter";
}

}  // namespace
}  // namespace takebox::test
