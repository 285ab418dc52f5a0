#include "platform/movietoolbox/MovieToolbox.h"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>

#include "AtomTree.h"
#include "MemoryMovieFile.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

ImageDescription picture() {
    ImageDescription description;
    description.cType = fourCC("dvc ");
    description.width = 720;
    description.height = 480;
    return description;
}

SoundDescription sound() {
    SoundDescription description;
    description.dataFormat = fourCC("twos");
    description.numChannels = 2;
    description.sampleSize = 16;
    description.sampleRate = 48000U << 16;
    return description;
}

/// A movie with one media of its own in memory.
struct OwnMedia {
    explicit OwnMedia(MemoryDisk& disk) : disks(disk) {
        EXPECT_EQ(CreateMovieStorage("/movie", StorageMode::kGrowing, handler, movie), kNoError);
        track = NewMovieTrack(movie.get(), Long2Fix(720), Long2Fix(480), 0);
        media = NewTrackMedia(track, fourCC("vide"), 2997);
        EXPECT_EQ(BeginMediaEdits(movie.get(), media), kNoError);
    }
    Status add(std::size_t size, std::vector<SampleSizeRun> sizes) const {
        const std::vector<std::byte> data(size, std::byte{0x1F});
        return AddMediaSample(movie.get(), media, data, 100, picture(), sizes);
    }
    Status finish() const {
        EXPECT_EQ(EndMediaEdits(media), kNoError);
        EXPECT_EQ(InsertMediaIntoTrack(track, GetMediaDuration(media)), kNoError);
        return AddMovieToStorage(movie.get());
    }

    MemoryDiskForMovies disks;
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    Track* track = nullptr;
    Media* media = nullptr;
};

std::string errorIn(const MemoryDisk& disk) {
    return readAtoms(bytesOf(disk.bytes), disk.bytes.size()).error;
}

TEST(MovieToolbox, namesWhatIsMissing) {
    EXPECT_EQ(NewMovieTrack(nullptr, 0, 0, 0), nullptr);
    EXPECT_EQ(GetMoviesError(), kInvalidMovie);
    EXPECT_EQ(NewTrackMedia(nullptr, fourCC("vide"), 1), nullptr);
    EXPECT_EQ(GetMoviesError(), kInvalidTrack);
    EXPECT_EQ(AddMediaSampleDescription(nullptr, picture()), kInvalidMedia);
    EXPECT_EQ(AddMediaDataRef(nullptr, {}), kInvalidMedia);
    EXPECT_EQ(AddMediaSampleReferences64(nullptr, picture(), {}), kInvalidMedia);
    EXPECT_EQ(BeginMediaEdits(nullptr, nullptr), kInvalidMovie);
    EXPECT_EQ(EndMediaEdits(nullptr), kInvalidMedia);
    EXPECT_EQ(AddMediaSample(nullptr, nullptr, {}, 1, picture(), {}), kInvalidMovie);
    EXPECT_EQ(GetMediaDuration(nullptr), 0U);
    EXPECT_EQ(InsertMediaIntoTrack(nullptr, 0), kInvalidTrack);
    EXPECT_EQ(GetMovieIndTrackType(nullptr, fourCC("vide")), nullptr);
    EXPECT_EQ(GetMoviesError(), -2030);
    EXPECT_EQ(AddTrackReference(nullptr, nullptr, fourCC("tmcd")), kInvalidTrack);
    EXPECT_EQ(AddMovieToStorage(nullptr), kInvalidMovie);
    EXPECT_EQ(CloseMovieStorage(nullptr), kInvalidDataReference);
}

TEST(MovieToolbox, refusesArgumentsThatMakeNoMovie) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    Movie* const movie = own.movie.get();
    EXPECT_EQ(NewMovieTrack(movie, -1, 0, 0), nullptr);
    EXPECT_EQ(NewTrackMedia(own.track, fourCC("vide"), 2997), nullptr) << "has one already";
    EXPECT_EQ(NewTrackMedia(NewMovieTrack(movie, 0, 0, 0), fourCC("vide"), 0), nullptr);
    EXPECT_EQ(NewTrackMedia(NewMovieTrack(movie, 0, 0, 0), fourCC("text"), 1), nullptr);
    EXPECT_EQ(BeginMediaEdits(movie, own.media), kInvalidMedia) << "is being edited already";
    EXPECT_EQ(own.add(10, {{1, 11}}), kParameterError) << "more than there is";
    EXPECT_EQ(own.add(10, {}), kParameterError);
    EXPECT_EQ(own.add(10, {{0, 10}}), kParameterError);
    EXPECT_EQ(own.add(10, {{10, 0}}), kParameterError);
    const std::array<std::byte, 4> data{};
    const std::array oneSample{SampleSizeRun{1, 4}};
    EXPECT_EQ(AddMediaSample(movie, own.media, data, -1, picture(), oneSample), kInvalidDuration);
    EXPECT_EQ(AddMediaSample(movie, own.media, data, 1, sound(), oneSample), kParameterError);
    EXPECT_EQ(InsertMediaIntoTrack(own.track, 1), kInvalidDuration) << "longer than the media";
    AudioChannelLayout layout;
    layout.mNumberChannelDescriptions = 3;
    EXPECT_EQ(QTSetTrackProperty(own.track, fourCC("audi"), fourCC("tlay"), 52, &layout), -50);
    EXPECT_EQ(QTSetTrackProperty(own.track, fourCC("vide"), fourCC("tlay"), 52, &layout), -50);
    EXPECT_EQ(own.finish(), kNoError);
    EXPECT_EQ(errorIn(disk), "");
}

TEST(MovieToolbox, keepsTheSizeOfEverySample) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    ASSERT_EQ(own.add(30, {{3, 10}}), kNoError);
    ASSERT_EQ(own.add(27, {{1, 10}, {1, 7}, {1, 10}}), kNoError);
    ASSERT_EQ(own.finish(), kNoError);

    const ByteSource source = bytesOf(disk.bytes);
    const AtomTree tree = readAtoms(source, disk.bytes.size());
    ASSERT_EQ(tree.error, "");
    const std::string table = "moov/trak/mdia/minf/stbl/";
    const auto sizes = payload(source, tree.find(table + "stsz"));
    EXPECT_EQ(number(sizes, 4, 4), 0U) << "not constant";
    EXPECT_EQ(number(sizes, 8, 4), 6U);
    std::vector<std::uint64_t> each;
    for (std::size_t i = 0; i < 6; ++i) {
        each.push_back(number(sizes, 12 + 4 * i, 4));
    }
    EXPECT_EQ(each, (std::vector<std::uint64_t>{10, 10, 10, 10, 7, 10}));
    // Each chunk is there, whole, where the table says.
    const auto offsets = payload(source, tree.find(table + "stco"));
    ASSERT_EQ(number(offsets, 4, 4), 2U);
    for (const auto& [index, size] : {std::pair{8, 30}, std::pair{12, 27}}) {
        std::vector<std::byte> chunk(static_cast<std::size_t>(size));
        ASSERT_TRUE(source(number(offsets, static_cast<std::size_t>(index), 4), chunk));
        EXPECT_EQ(chunk, std::vector<std::byte>(chunk.size(), std::byte{0x1F}));
    }
}

TEST(MovieToolbox, alwaysHasAFileWhoseAtomsNest) {
    MemoryDisk disk;
    int checks = 0;
    disk.afterOperation = [&] {
        EXPECT_EQ(errorIn(disk), "") << disk.operations.size() << " operations";
        ++checks;
    };
    const OwnMedia own(disk);
    ASSERT_EQ(own.add(1000, {{10, 100}}), kNoError);
    ASSERT_EQ(own.finish(), kNoError);
    EXPECT_NE(readAtoms(bytesOf(disk.bytes), disk.bytes.size()).find("moov"), nullptr);
    // From here on there is a movie at every moment, even while a new one takes its place.
    disk.afterOperation = [&] {
        const AtomTree tree = readAtoms(bytesOf(disk.bytes), disk.bytes.size());
        EXPECT_EQ(tree.error, "");
        EXPECT_NE(tree.find("moov"), nullptr);
        ++checks;
    };
    ASSERT_EQ(BeginMediaEdits(own.movie.get(), own.media), kNoError);
    ASSERT_EQ(own.add(300, {{3, 100}}), kNoError);
    ASSERT_EQ(EndMediaEdits(own.media), kNoError);
    ASSERT_EQ(UpdateMovieInStorage(own.movie.get()), kNoError);
    ASSERT_EQ(CloseMovieStorage(own.handler.get()), kNoError);
    EXPECT_GT(checks, 10);

    const AtomTree tree = readAtoms(bytesOf(disk.bytes), disk.bytes.size());
    std::string order;
    for (const auto& atom : tree.root.children) {
        order += atom.type + ' ';
    }
    EXPECT_EQ(order, "ftyp mdat free mdat moov ");
    const auto sizes = payload(bytesOf(disk.bytes), tree.find("moov/trak/mdia/minf/stbl/stsz"));
    EXPECT_EQ(number(sizes, 8, 4), 13U);
}

TEST(MovieToolbox, hasEverythingOnTheDiskBeforeAnythingPointsToIt) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    ASSERT_EQ(own.add(100, {{1, 100}}), kNoError);
    disk.operations.clear();
    ASSERT_EQ(own.finish(), kNoError);
    EXPECT_EQ(disk.operations, (std::vector<std::string>{"write", "synchronize", "write"}));
}

TEST(MovieToolbox, describesEachChunkBesideItForOneWhoFindsNoMovie) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    ASSERT_EQ(own.add(30, {{3, 10}}), kNoError);
    ASSERT_EQ(own.add(17, {{1, 10}, {1, 7}}), kNoError);
    // As a killed process leaves it: the media data reaches to the end of the file.
    const ByteSource source = bytesOf(disk.bytes);
    const AtomTree tree = readAtoms(source, disk.bytes.size());
    ASSERT_EQ(tree.error, "");
    const auto media = payload(source, tree.find("mdat"));
    EXPECT_EQ(number(media, 0, 4), fourCC("vide"));
    EXPECT_EQ(number(media, 4, 4), 30U);
    EXPECT_EQ(number(media, 8, 4), 3U);
    EXPECT_EQ(number(media, 12, 4), 10U);
    const std::size_t second = 16 + 30;
    EXPECT_EQ(number(media, second, 4), fourCC("vide"));
    EXPECT_EQ(number(media, second + 4, 4), 17U);
    EXPECT_EQ(number(media, second + 8, 4), 2U);
    EXPECT_EQ(number(media, second + 12, 4), 0U) << "sizes follow";
    EXPECT_EQ(number(media, second + 16, 4), 10U);
    EXPECT_EQ(number(media, second + 20, 4), 7U);
    EXPECT_EQ(media.size(), second + 24 + 17);
}

class FullDisk : public testing::TestWithParam<bool> {};

// On a disk of any size the movie that was begun is finished, with the chunks that found room.
TEST_P(FullDisk, leavesAMovieThatIsComplete) {
    constexpr std::uint64_t kChunk = 100000;
    constexpr std::uint64_t kRecord = 16;
    int smallMovies = 0;
    // Most of all when a chunk just fits and nothing else.
    std::vector<std::uint64_t> capacities;
    for (std::uint64_t chunks = 2; chunks < 10; ++chunks) {
        for (const std::uint64_t more : {0, 10, 500, 2000, 60000}) {
            capacities.push_back(36 + chunks * (kRecord + kChunk) + more);
        }
    }
    for (const std::uint64_t capacity : capacities) {
        MemoryDisk disk;
        disk.capacity = capacity;
        disk.canReserve = GetParam();
        LogCapture log;
        const OwnMedia own(disk);
        std::uint64_t kept = 0;
        for (int i = 0; i < 12; ++i) {
            const std::size_t before = disk.bytes.size();
            const Status status = own.add(kChunk, {{1, kChunk}});
            EXPECT_TRUE(status == kNoError || status == kDiskFull) << status;
            kept += status == kNoError ? 1 : 0;
            EXPECT_TRUE(status == kNoError || disk.bytes.size() == before) << "nothing is left";
            EXPECT_EQ(errorIn(disk), "");
        }
        EXPECT_EQ(own.handler->errorNumber(), ENOSPC);
        EXPECT_EQ(log.count("Cannot write the movie /movie: No space left on device"), 1)
            << "once, not for every chunk";
        if (own.finish() != kNoError) {
            // Without a reservation there can be a few bytes too few for the movie atom.
            EXPECT_FALSE(disk.canReserve);
            continue;
        }
        ASSERT_EQ(CloseMovieStorage(own.handler.get()), kNoError);
        const ByteSource source = bytesOf(disk.bytes);
        const AtomTree tree = readAtoms(source, disk.bytes.size());
        EXPECT_EQ(tree.error, "");
        const auto sizes = payload(source, tree.find("moov/trak/mdia/minf/stbl/stsz"));
        EXPECT_EQ(number(sizes, 8, 4), kept);
        smallMovies += kept < 9 ? 1 : 0;
    }
    EXPECT_GT(smallMovies, 10);
}
INSTANTIATE_TEST_SUITE_P(Reservation, FullDisk, testing::Bool());

TEST(MovieToolbox, movesTheEndOfATrackUpToAWholeMovieUnit) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    ASSERT_EQ(own.add(10, {{1, 10}}), kNoError);  // 100 of 2997: 20.02 of 600
    ASSERT_EQ(own.finish(), kNoError);
    const ByteSource source = bytesOf(disk.bytes);
    const AtomTree tree = readAtoms(source, disk.bytes.size());
    EXPECT_EQ(number(payload(source, tree.find("moov/mvhd")), 16, 4), 21U);
    EXPECT_EQ(number(payload(source, tree.find("moov/trak/tkhd")), 20, 4), 21U);
    EXPECT_EQ(number(payload(source, tree.find("moov/trak/edts/elst")), 8, 4), 21U);
    EXPECT_EQ(number(payload(source, tree.find("moov/trak/mdia/mdhd")), 16, 4), 100U);
}

/// A media whose samples lie in another file, on a disk in memory.
struct ForeignMedia {
    explicit ForeignMedia(MemoryDisk& disk) : disks(disk) {
        EXPECT_EQ(CreateMovieStorage("/tmp/movie", StorageMode::kWhenClosed, handler, movie),
                  kNoError);
        track = NewMovieTrack(movie.get(), 0, 0, 256);
        media = NewTrackMedia(track, fourCC("soun"), 48000);
        AliasRecord alias;
        EXPECT_EQ(QTNewAlias("/tmp/movie.aud", "/tmp/movie", alias), kNoError);
        EXPECT_EQ(AddMediaDataRef(media, alias), kNoError);
    }

    MemoryDiskForMovies disks;
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    Track* track = nullptr;
    Media* media = nullptr;
};

TEST(MovieToolbox, uses64BitOffsetsAsSoonAsOneNeedsThem) {
    for (const std::uint64_t offset : {0xFFFFFFFFULL, 0x100000000ULL}) {
        MemoryDisk disk;
        const ForeignMedia foreign(disk);
        ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 4, 1, 1, 4}), kNoError);
        ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {offset, 4, 1, 1, 4}),
                  kNoError);
        ASSERT_EQ(AddMovieToStorage(foreign.movie.get()), kNoError);
        const ByteSource source = bytesOf(disk.bytes);
        const AtomTree tree = readAtoms(source, disk.bytes.size());
        const bool is64Bit = offset > 0xFFFFFFFF;
        const std::string table = "moov/trak/mdia/minf/stbl/";
        const auto offsets = payload(source, tree.find(table + (is64Bit ? "co64" : "stco")));
        const std::size_t width = is64Bit ? 8 : 4;
        EXPECT_EQ(number(offsets, 4, 4), 2U);
        EXPECT_EQ(number(offsets, 8, width), 0U);
        EXPECT_EQ(number(offsets, 8 + width, width), offset);
        EXPECT_EQ(tree.find(table + (is64Bit ? "stco" : "co64")), nullptr);
    }
}

TEST(MovieToolbox, takesAReferenceWithoutAWholeSample) {
    MemoryDisk disk;
    const ForeignMedia foreign(disk);
    EXPECT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 3, 1, 0, 4}), kNoError);
    EXPECT_EQ(foreign.media->samples.sampleCount(), 0U);
    EXPECT_EQ(foreign.media->referencedBytes, 3U);
    EXPECT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 11, 1, 2, 4}), kNoError);
    EXPECT_EQ(foreign.media->samples.sizes(), (std::vector<SampleSizeRun>{{2, 4}}));
    EXPECT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 7, 1, 2, 4}), -50);
    EXPECT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 8, -1, 2, 4}),
              kInvalidDuration);
}

TEST(MovieToolbox, stopsWhereTheFormatCannotCountOn) {
    MemoryDisk disk;
    const ForeignMedia foreign(disk);
    const SampleReference64Record all{0, 0xFFFFFFFF, 1, 0xFFFFFFFF, 1};
    ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), all), kNoError);
    EXPECT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 1, 1, 1, 1}), kFormatLimit);
    EXPECT_EQ(foreign.media->samples.sampleCount(), 0xFFFFFFFFU);
    EXPECT_EQ(GetMediaDuration(foreign.media), 0xFFFFFFFFU);
    ASSERT_EQ(InsertMediaIntoTrack(foreign.track, 0xFFFFFFFF), kNoError);
    ASSERT_EQ(AddMovieToStorage(foreign.movie.get()), kNoError);
    EXPECT_EQ(errorIn(disk), "");
}

TEST(MovieToolbox, writesNoMovieWhoseTablesAreLargerThanAnAtomCanBe) {
    MemoryDisk disk;
    const ForeignMedia foreign(disk);
    constexpr std::uint32_t kHalf = 0x7FFFFFF0;
    // Of two sizes, so that the size of each sample would have to be written.
    ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, kHalf, 1, kHalf, 1}),
              kNoError);
    ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), {0, 2 * kHalf, 1, kHalf, 2}),
              kNoError);
    ASSERT_EQ(InsertMediaIntoTrack(foreign.track, GetMediaDuration(foreign.media)), kNoError);
    const auto size = disk.bytes.size();
    EXPECT_EQ(AddMovieToStorage(foreign.movie.get()), kFormatLimit);
    EXPECT_EQ(disk.bytes.size(), size);
}

TEST(MovieToolbox, holdsTheLongestDurationThatItCanCount) {
    MemoryDisk disk;
    const ForeignMedia foreign(disk);
    foreign.media->timeScale = 1;
    const SampleReference64Record all{0, 0xFFFFFFFF, 0x7FFFFFFF, 0xFFFFFFFF, 1};
    ASSERT_EQ(AddMediaSampleReferences64(foreign.media, sound(), all), kNoError);
    ASSERT_EQ(InsertMediaIntoTrack(foreign.track, GetMediaDuration(foreign.media)), kNoError);
    ASSERT_EQ(AddMovieToStorage(foreign.movie.get()), kNoError);
    const ByteSource source = bytesOf(disk.bytes);
    const AtomTree tree = readAtoms(source, disk.bytes.size());
    EXPECT_EQ(tree.error, "");
    const auto header = payload(source, tree.find("moov/mvhd"));
    EXPECT_EQ(number(header, 0, 1), 1U) << "the version with room for it";
    EXPECT_EQ(number(header, 24, 8), 0x7FFFFFFFFFFFFFFFULL) << "not what is left of it";
}

TEST(MovieToolbox, takesNoSampleThatItCannotCount) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    const std::array all{SampleSizeRun{0xFFFFFFFF, 1}};
    ASSERT_EQ(own.media->samples.addChunk(0, 1, all, 1), kNoError);
    const auto size = disk.bytes.size();
    EXPECT_EQ(own.add(10, {{1, 10}}), kFormatLimit);
    EXPECT_EQ(disk.bytes.size(), size);
}

TEST(MovieToolbox, takesNothingAfterItsStorageWasClosed) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    EXPECT_EQ(own.add(10, {{1, 10}}), kNoError);
    EXPECT_EQ(CloseMovieStorage(own.handler.get()), kNoError);
    const auto size = disk.bytes.size();
    EXPECT_EQ(own.add(10, {{1, 10}}), kInvalidDataReference);
    EXPECT_EQ(own.finish(), kInvalidDataReference);
    EXPECT_EQ(disk.bytes.size(), size);
}

// The movie atom is on the disk then, but the file does not say so yet.
TEST(MovieToolbox, saysThatTheDiskRefusedToPointToTheMovie) {
    MemoryDisk disk;
    const OwnMedia own(disk);
    EXPECT_EQ(own.add(10, {{1, 10}}), kNoError);
    const auto refuseAfter = [&disk](int writes) {
        disk.capacity = UINT64_MAX;
        disk.error = EIO;
        disk.beforeWrite = [&disk, writes]() mutable {
            disk.capacity = --writes < 0 ? 0 : disk.capacity;
        };
    };
    LogCapture log;
    refuseAfter(1);
    EXPECT_EQ(own.finish(), kInputOutputError) << "the size of the media data";
    refuseAfter(2);
    EXPECT_EQ(UpdateMovieInStorage(own.movie.get()), kNoError);
    refuseAfter(1);
    EXPECT_EQ(UpdateMovieInStorage(own.movie.get()), kInputOutputError) << "the movie before";
    EXPECT_EQ(log.count("Cannot write the movie /movie: Input/output error"), 1);
}

TEST(SampleTable, passesOverRunsWithoutSamples) {
    SampleTable table;
    const std::array sizes{SampleSizeRun{2, 10}, SampleSizeRun{0, 7}, SampleSizeRun{1, 10}};
    EXPECT_EQ(table.addChunk(0, 1, sizes, 1), kNoError);
    ASSERT_EQ(table.sizes().size(), 1U);
    EXPECT_EQ(table.sizes()[0].count, 3U);
    EXPECT_EQ(table.sizes()[0].size, 10U);
}

}  // namespace
}  // namespace takebox::test
