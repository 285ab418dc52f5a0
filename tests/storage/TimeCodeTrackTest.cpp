#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "../platform/movietoolbox/AtomTree.h"
#include "../platform/movietoolbox/MemoryMovieFile.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

/// A movie in memory with a video track over a raw file, as long as a test wants.
struct Timed {
    explicit Timed(bool isPAL, double duration) : disks(disk) {
        movie->setIsPAL(isPAL);
        movie->setDuration(duration);
        movie->setMovieFilePath(folder.filePath(QStringLiteral("a.ref")));
        movie->setVideoFilePath(folder.filePath(QStringLiteral("a.dv")));
        movie->setVideoFrameSize(isPAL ? 144000 : 120000);
        movie->setVideoTimeScale(isPAL ? 2500 : 2997);
        EXPECT_EQ(movie->createMovie(), 0);
    }
    [[nodiscard]] const Track& track(std::size_t index) const {
        return *movie->movie()->tracks.at(index);
    }
    std::vector<std::byte> payloadOf(const std::string& path) {
        movie->finishMovie();
        const ByteSource source = bytesOf(disk.bytes);
        const AtomTree tree = readAtoms(source, disk.bytes.size());
        EXPECT_EQ(tree.error, "");
        return payload(source, tree.find(path));
    }

    QTemporaryDir folder;
    MemoryDisk disk;
    MemoryDiskForMovies disks;
    std::shared_ptr<QuickTimeMovie> movie = QuickTimeMovie::make();
};

struct Example {
    bool isPAL;
    bool dropFrame;
    TimeCodeRecord start;
    std::uint32_t frameNumber;
};
class TimeCodeSample : public testing::TestWithParam<Example> {};

TEST_P(TimeCodeSample, isTheNumberOfTheFirstFrame) {
    const Example& example = GetParam();
    Timed timed(example.isPAL, 2.0);
    timed.movie->setStartTimeCode(example.start);
    timed.movie->setDropFrame(example.dropFrame);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    ASSERT_EQ(timed.movie->addTimeCodeSample(), 0);
    const auto offsets = timed.payloadOf("moov/trak[1]/mdia/minf/stbl/stco");
    ASSERT_EQ(number(offsets, 4, 4), 1U);
    std::vector<std::byte> sample(4);
    ASSERT_TRUE(bytesOf(timed.disk.bytes)(number(offsets, 8, 4), sample));
    EXPECT_EQ(number(sample, 0, 4), example.frameNumber);
}
INSTANTIATE_TEST_SUITE_P(Examples, TimeCodeSample,
                         testing::Values(Example{true, false, {1, 0, 0, 0}, 90000},
                                         Example{true, false, {0, 0, 0, 0}, 0},
                                         Example{false, false, {0, 1, 0, 2}, 1802},
                                         Example{false, true, {0, 10, 0, 0}, 17982},
                                         Example{false, true, {0, 1, 0, 2}, 1800}));

class TimeCodeTrack : public testing::TestWithParam<bool> {};

TEST_P(TimeCodeTrack, liesBelowThePictureAndIsDisabled) {
    const bool isPAL = GetParam();
    Timed timed(isPAL, 60.0);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    ASSERT_EQ(timed.movie->addTimeCodeSample(), 0);
    const Track& track = timed.track(1);
    EXPECT_FALSE(track.isEnabled);
    EXPECT_EQ(track.volume, 0);
    EXPECT_EQ(track.width, Long2Fix(720));
    EXPECT_EQ(track.height, Long2Fix(17));
    EXPECT_EQ(track.verticalPosition, Long2Fix(isPAL ? 576 : 480));
    EXPECT_EQ(track.media->timeScale, isPAL ? 2500 : 2997);
    EXPECT_EQ(GetMediaDuration(track.media.get()), isPAL ? 150000U : 179800U)
        << "as long as the video track";
    EXPECT_EQ(track.insertedDuration, timed.track(0).insertedDuration);
    ASSERT_EQ(timed.track(0).references.size(), 1U);
    EXPECT_EQ(timed.track(0).references[0].type, fourCC("tmcd"));
    EXPECT_EQ(timed.track(0).references[0].trackID, track.id);

    const auto header = timed.payloadOf("moov/trak[1]/tkhd");
    EXPECT_EQ(number(header, 0, 4), 0x0EU);
    EXPECT_EQ(number(header, 72 - 4, 4), static_cast<std::uint64_t>(isPAL ? 576 : 480) << 16);
}
INSTANTIATE_TEST_SUITE_P(Standards, TimeCodeTrack, testing::Bool());

TEST(TimeCodeDescription, carriesDefinitionAndSourceNameByteForByte) {
    Timed timed(false, 1.0);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    ASSERT_EQ(timed.movie->addTimeCodeSample(), 0);
    const auto description = timed.payloadOf("moov/trak[1]/mdia/minf/stbl/stsd");
    ASSERT_EQ(description.size(), 8U + 114);
    const std::size_t entry = 8;
    EXPECT_EQ(number(description, entry, 4), 114U);
    EXPECT_EQ(number(description, entry + 4, 4), fourCC("tmcd"));
    EXPECT_EQ(number(description, entry + 16, 4), 0U);
    EXPECT_EQ(number(description, entry + 20, 4), 2U) << "24 hours, no drop frame";
    EXPECT_EQ(number(description, entry + 24, 4), 2997U);
    EXPECT_EQ(number(description, entry + 28, 4), 100U);
    EXPECT_EQ(number(description, entry + 32, 1), 30U);
    EXPECT_EQ(number(description, entry + 34, 4), 80U);
    EXPECT_EQ(number(description, entry + 38, 4), fourCC("name"));
    EXPECT_EQ(number(description, entry + 42, 2), 68U);
    EXPECT_EQ(number(description, entry + 44, 2), 0U) << "language";
    std::string name("V Timecode");
    name.resize(68, '\0');
    for (std::size_t i = 0; i < 68; ++i) {
        ASSERT_EQ(static_cast<char>(description[entry + 46 + i]), name[i]) << i;
    }
    EXPECT_EQ(entry + 46 + 68, description.size());
    const auto info = timed.payloadOf("moov/trak[1]/mdia/minf/gmhd/tmcd/tcmi");
    EXPECT_EQ(number(info, 8, 2), 12U) << "points";
    EXPECT_EQ(number(info, 24, 1), 13U);
    EXPECT_EQ(info.size(), 25U + 13);
}

TEST(TimeCodeDescription, hasTheDropFrameFlagWhenSet) {
    Timed timed(false, 1.0);
    timed.movie->setDropFrame(true);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    ASSERT_EQ(timed.movie->addTimeCodeSample(), 0);
    EXPECT_EQ(number(timed.payloadOf("moov/trak[1]/mdia/minf/stbl/stsd"), 8 + 20, 4), 3U);
}

TEST(TimeCodeTrackWidth, becomes1920ForTheTwoAnamorphicCodecs) {
    for (const auto codec : {fourCC("dvh5"), fourCC("dvh6"), fourCC("dvc ")}) {
        Timed timed(false, 1.0);
        auto description = createDVNTSCImageDescriptionHandle();
        description.cType = codec;
        timed.movie->setVideoDescriptionHandle(description);
        ASSERT_EQ(timed.movie->addVideoSamples(), 0);
        ASSERT_EQ(timed.movie->addTimeCodeSample(), 0);
        EXPECT_EQ(timed.track(1).width, Long2Fix(codec == fourCC("dvc ") ? 720 : 1920));
    }
}

TEST(TimeCodeTrackFailure, needsAVideoTrack) {
    Timed timed(true, 1.0);
    testing::internal::CaptureStdout();
    EXPECT_EQ(timed.movie->addTimeCodeSample(), -2030);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "GetMovieIndTrackType failed (err = -2030)\n");
    EXPECT_TRUE(timed.movie->movie()->tracks.empty());
    const auto none = QuickTimeMovie::make();
    testing::internal::CaptureStdout();
    EXPECT_EQ(none->addTimeCodeSample(), -2030) << "no movie at all";
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
}

TEST(TimeCodeTrackFailure, reportsSuccessWhenNoTrackCanBeMade) {
    Timed timed(true, 1.0);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    while (NewMovieTrack(timed.movie->movie().get(), 0, 0, 0) != nullptr) {
    }
    testing::internal::CaptureStdout();
    EXPECT_EQ(timed.movie->addTimeCodeSample(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "NewMovieTrack (timecode) failed (err = 0)\n");
}

TEST(TimeCodeTrackFailure, reportsSuccessWhenNoMediaCanBeMade) {
    Timed timed(true, 1.0);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    timed.track(0).media->timeScale = 0;
    testing::internal::CaptureStdout();
    EXPECT_EQ(timed.movie->addTimeCodeSample(), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "NewTrackMedia (timecode) failed (err = 0)\n");
    timed.track(0).media->timeScale = 2500;
}

TEST(TimeCodeTrackFailure, isPrintedWhenTheMediaCannotBeEdited) {
    Timed timed(true, 1.0);
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    timed.movie->movie()->storage = nullptr;
    testing::internal::CaptureStdout();
    EXPECT_EQ(timed.movie->addTimeCodeSample(), -2010);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "BeginMediaEdits (timecode) failed (err = -2010)\n");
}

TEST(TimeCodeTrackFailure, isLoggedWhenTheDiskIsFull) {
    Timed timed(true, 1.0);
    LogCapture log;
    ASSERT_EQ(timed.movie->addVideoSamples(), 0);
    timed.disk.capacity = timed.disk.bytes.size();
    EXPECT_EQ(timed.movie->addTimeCodeSample(), -34);
    EXPECT_EQ(log.count("AddMediaSample (timecode) failed! (-34)"), 1);
    EXPECT_TRUE(timed.track(0).references.empty());
}

}  // namespace
}  // namespace takebox::test
