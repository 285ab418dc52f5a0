#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <array>

#include "../platform/movietoolbox/AtomTree.h"
#include "../platform/movietoolbox/MemoryMovieFile.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "storage/WriterThreads.h"
#include "support/LogCapture.h"

namespace takebox::test {
namespace {

using namespace movietoolbox;

/// A reference movie as the recording controller sets it up.
struct Reference {
    explicit Reference(bool isPAL, double duration) {
        movie->setIsPAL(isPAL);
        movie->setDuration(duration);
        movie->setDropFrame(false);
        movie->setMovieFilePath(folder.filePath(QStringLiteral("Take 1.ref")));
        movie->setVideoFilePath(folder.filePath(QStringLiteral("Take 1.dv")));
        movie->setAudioFilePath(folder.filePath(QStringLiteral("Take 1.aud")), 0);
        movie->setAudioChunkSize(96000, 0);
        movie->setAudioTimeScale(48000, 0);
        movie->setAudioTracksCount(1);
        movie->setAudioDescriptionHandle(createDVSoundDescriptionHandle(), 0);
        movie->setAiffHeaderSize(0);
        movie->setStartTimeCode({1, 0, 0, 0});
        movie->setVideoFrameSize(isPAL ? 144000 : 120000);
        movie->setVideoTimeScale(isPAL ? 2500 : 2997);
        movie->setMonoTracks(false);
    }
    ~Reference() { WriterThreads::waitUntilFinished(); }
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    void build() const {
        EXPECT_EQ(movie->createMovie(), 0);
        EXPECT_EQ(movie->addVideoSamples(), 0);
        EXPECT_EQ(movie->addAudioSamples(), 0);
        EXPECT_EQ(movie->addTimeCodeSample(), 0);
    }
    void finish() const {
        movie->finishMovie();
        movie->closeMovieFile();
    }
    [[nodiscard]] const Media& media(std::size_t track) const {
        return *movie->movie()->tracks.at(track)->media;
    }
    [[nodiscard]] std::string path() const { return movie->movieFilePath().toStdString(); }

    QTemporaryDir folder;
    std::shared_ptr<QuickTimeMovie> movie = QuickTimeMovie::make();
};

struct Example {
    bool isPAL;
    double duration;
    std::uint32_t references;       // with the last one
    std::uint32_t samplesInLast;    // of the last reference
    std::uint64_t referencedBytes;  // by all of them
    std::uint64_t mediaDuration;
};

class VideoReferences : public testing::TestWithParam<Example> {};

TEST_P(VideoReferences, coverTheDuration) {
    const Example& example = GetParam();
    const Reference reference(example.isPAL, example.duration);
    reference.build();
    const Media& media = reference.media(0);
    const SampleTable& samples = media.samples;
    const std::uint32_t frameSize = example.isPAL ? 144000 : 120000;
    const std::uint32_t framesPerReference = example.isPAL ? 5 : 7;
    EXPECT_EQ(samples.offsets().size(), example.references);
    EXPECT_EQ(media.referencedBytes, example.referencedBytes);
    EXPECT_EQ(GetMediaDuration(&media), example.mediaDuration);
    for (std::size_t i = 0; i < samples.offsets().size(); ++i) {
        ASSERT_EQ(samples.offsets()[i], i * framesPerReference * frameSize);
    }
    for (const auto& run : samples.sizes()) {
        EXPECT_EQ(run.size, frameSize) << "whole frames, whatever the size of the reference";
    }
    if (example.references > 0) {
        EXPECT_EQ(samples.chunks().back().samplesPerChunk, example.samplesInLast);
        EXPECT_EQ(samples.chunks().size(),
                  example.references == 1 || example.samplesInLast == framesPerReference ? 1U : 2U);
    }
    reference.finish();
}
// 60 s of NTSC: 256 references of 7 frames and one of 744000 bytes and 6 frames.
INSTANTIATE_TEST_SUITE_P(
    Examples, VideoReferences,
    testing::Values(Example{false, 60.0, 257, 6, 256 * 840000ULL + 744000, 179800},
                    Example{true, 60.0, 300, 5, 300 * 720000ULL, 150000},
                    Example{false, 0.1, 1, 3, 360000, 300}, Example{true, 0.1, 1, 2, 360000, 200},
                    Example{false, 0.0, 0, 0, 0, 0}, Example{true, 0.01, 0, 0, 36000, 0},
                    Example{false, 3600.0, 15414, 1, 15413 * 840000ULL + 120000, 10789200}));

TEST(ReferenceMovie, coversTheDurationWithSoundInHalfSeconds) {
    const Reference reference(false, 60.3);
    reference.build();
    const Media& media = reference.media(1);
    EXPECT_EQ(media.samples.offsets().size(), 121U);
    EXPECT_EQ(media.samples.offsets()[1], 96000U);
    EXPECT_EQ(media.samples.chunks().front().samplesPerChunk, 24000U);
    EXPECT_EQ(media.samples.chunks().back().samplesPerChunk, 14400U);
    EXPECT_EQ(GetMediaDuration(&media), 2894400U);
    EXPECT_EQ(media.samples.sizes(), (std::vector<SampleSizeRun>{{2894400, 4}}));
}

TEST(ReferenceMovie, isWrittenAsTheTablesSay) {
    const Reference reference(false, 60.0);
    reference.build();
    reference.finish();
    const ByteSource source = bytesOf(reference.path());
    const auto size = static_cast<std::uint64_t>(QFile(reference.movie->movieFilePath()).size());
    const AtomTree tree = readAtoms(source, size);
    ASSERT_EQ(tree.error, "");
    const std::string video = "moov/trak/mdia/minf/stbl/";
    const auto chunks = payload(source, tree.find(video + "stsc"));
    const std::array<std::uint64_t, 7> expected{2, 1, 7, 1, 257, 6, 1};
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(number(chunks, 4 + 4 * i, 4), expected[i]);
    }
    const auto offsets = payload(source, tree.find(video + "stco"));
    EXPECT_EQ(number(offsets, 4, 4), 257U);
    EXPECT_EQ(number(offsets, 8 + 256 * 4, 4), 256U * 840000);
    const auto sizes = payload(source, tree.find(video + "stsz"));
    EXPECT_EQ(number(sizes, 4, 4), 120000U);
    EXPECT_EQ(number(sizes, 8, 4), 1798U);
    EXPECT_EQ(tree.find(video + "stss"), nullptr);
    EXPECT_EQ(number(payload(source, tree.find(video + "stsd")), 8, 4), 86U);
    const auto times = payload(source, tree.find(video + "stts"));
    EXPECT_EQ(number(times, 4, 4), 1U);
    EXPECT_EQ(number(times, 8, 4), 1798U);
    EXPECT_EQ(number(times, 12, 4), 100U);
    EXPECT_EQ(number(payload(source, tree.find("moov/trak[1]/tkhd")), 36, 2), 256U) << "volume";
    EXPECT_EQ(number(payload(source, tree.find("moov/trak/mdia/minf/dinf/dref")), 16, 4), 0U)
        << "not in this file";
}

TEST(ReferenceMovie, isValidWithoutAnySamples) {
    const Reference reference(true, 0.0);
    reference.build();
    reference.finish();
    const auto size = static_cast<std::uint64_t>(QFile(reference.movie->movieFilePath()).size());
    const AtomTree tree = readAtoms(bytesOf(reference.path()), size);
    EXPECT_EQ(tree.error, "");
    EXPECT_NE(tree.find("moov/trak[2]/mdia"), nullptr);
    EXPECT_TRUE(reference.movie->losses().areNone());
}

TEST(ReferenceMovie, ofADayIsSmall) {
    for (const bool isPAL : {false, true}) {
        const Reference reference(isPAL, 24 * 3600.0);
        reference.build();
        reference.finish();
        const qint64 size = QFile(reference.movie->movieFilePath()).size();
        EXPECT_LT(size, 12 * 1000 * 1000);
        const AtomTree tree =
            readAtoms(bytesOf(reference.path()), static_cast<std::uint64_t>(size));
        EXPECT_EQ(tree.error, "");
        EXPECT_NE(tree.find("moov/trak/mdia/minf/stbl/co64"), nullptr);
    }
}

TEST(ReferenceMovie, keepsWhatTheFormatCanCountOfAnEndlessDuration) {
    LogCapture log;
    const Reference reference(true, 30 * 3600.0);
    reference.build();
    EXPECT_EQ(GetMediaDuration(&reference.media(0)), 30 * 3600U * 2500);
    EXPECT_EQ(GetMediaDuration(&reference.media(1)), 0xFFFFFFFFU / 24000 * 24000);
    EXPECT_TRUE(reference.movie->movie()->tracks[1]->insertedDuration);
    EXPECT_TRUE(log.containsText("a movie cannot hold so many samples"));
    reference.finish();
}

TEST(ReferenceMovie, saysThatItsPictureIsCut) {
    LogCapture log;
    const Reference reference(true, 2e8);
    reference.movie->setVideoFrameSize(1);  // else it would take weeks to count so far
    EXPECT_EQ(reference.movie->createMovie(), 0);
    EXPECT_EQ(reference.movie->addVideoSamples(), 0);
    EXPECT_EQ(GetMediaDuration(&reference.media(0)), 0xFFFFFFFFU / 840000 * 840000 * 100ULL);
    EXPECT_EQ(log.count("The picture of " + reference.path() +
                        " is cut: a movie cannot hold so many references"),
              1);
    reference.finish();
}

TEST(ReferenceMovie, hasNoSoundThatCannotBeCounted) {
    for (const bool hasTimeScale : {false, true}) {
        const Reference reference(true, 1.0);
        EXPECT_EQ(reference.movie->createMovie(), 0);
        if (hasTimeScale) {
            reference.movie->setAudioChunkSize(3, 0);  // of 4 bytes each
        } else {
            reference.movie->setAudioTimeScale(0, 0);
        }
        EXPECT_EQ(reference.movie->addAudioSamples(), -50);
        EXPECT_EQ(reference.movie->losses().status, -50);
        reference.finish();
    }
}

TEST(ReferenceMovie, takesDurationsThatAreNone) {
    for (const double duration : {-1.0, -0.001, std::nan(""), -HUGE_VAL}) {
        const Reference reference(true, duration);
        EXPECT_EQ(reference.movie->createMovie(), 0);
        EXPECT_EQ(reference.movie->addVideoSamples(), 0) << duration;
        EXPECT_EQ(reference.movie->addAudioSamples(), 0) << duration;
        EXPECT_EQ(GetMediaDuration(&reference.media(0)), 0U);
        reference.finish();
    }
}

TEST(ReferenceMovie, labelsItsChannels) {
    for (const bool mono : {false, true}) {
        const Reference reference(true, 1.0);
        reference.movie->setMonoTracks(mono);
        reference.build();
        reference.finish();
        const auto size =
            static_cast<std::uint64_t>(QFile(reference.movie->movieFilePath()).size());
        const ByteSource source = bytesOf(reference.path());
        const AtomTree tree = readAtoms(source, size);
        const auto sound = payload(source, tree.find("moov/trak[1]/mdia/minf/stbl/stsd"));
        ASSERT_EQ(sound.size(), 8U + 52 + 64);
        EXPECT_EQ(number(sound, 8 + 52 + 4, 4), fourCC("chan"));
        EXPECT_EQ(number(sound, 8 + 52 + 12, 4), mono ? 0U : 0x650002U);
        EXPECT_EQ(number(sound, 8 + 52 + 20, 4), 2U);
        EXPECT_EQ(number(sound, 8 + 52 + 24, 4), mono ? 42U : 1U);
        EXPECT_EQ(number(sound, 8 + 52 + 44, 4), mono ? 42U : 2U);
    }
}

TEST(ReferenceMovie, refusesALayoutWithAMissingArgument) {
    Track track;
    const AudioChannelLayout layout;
    EXPECT_EQ(QuickTimeMovie::setTrackLayout(nullptr, 52, &layout), -50);
    EXPECT_EQ(QuickTimeMovie::setTrackLayout(&track, 0, &layout), -50);
    EXPECT_EQ(QuickTimeMovie::setTrackLayout(&track, 52, nullptr), -50);
    EXPECT_EQ(QuickTimeMovie::setTrackLayout(&track, 52, &layout), 0);
    EXPECT_TRUE(track.audioChannelLayout);
}

TEST(ReferenceMovie, needsAPath) {
    LogCapture log;
    const auto movie = QuickTimeMovie::make();
    EXPECT_EQ(movie->createMovie(), -1);
    EXPECT_TRUE(log.lines().empty());
    EXPECT_FALSE(movie->isOpen());
}

TEST(ReferenceMovie, doesNothingMoreWhenItCannotBeCreated) {
    const Reference reference(true, 1.0);
    LogCapture log;
    reference.movie->setMovieFilePath(reference.folder.filePath(QStringLiteral("missing/a.ref")));
    EXPECT_EQ(reference.movie->createMovie(), -43);
    EXPECT_EQ(log.count("Create reference movie failed: err = -43"), 1);
    EXPECT_FALSE(reference.movie->isOpen());
    EXPECT_NE(reference.movie->addVideoSamples(), 0);
    EXPECT_NE(reference.movie->addAudioSamples(), 0);
    log.clear();
    reference.movie->closeMovieFile();
    EXPECT_TRUE(log.lines().empty());
    reference.movie->finishMovie();
    EXPECT_EQ(log.count("AddMovieToStorage failed (-2010)"), 1);
    EXPECT_EQ(reference.movie->losses().status, -43) << "the first failure";
}

TEST(ReferenceMovie, needsAFrameSize) {
    const Reference reference(true, 1.0);
    LogCapture log;
    reference.movie->setVideoFrameSize(0);
    EXPECT_EQ(reference.movie->createMovie(), 0);
    EXPECT_EQ(reference.movie->addVideoSamples(), -1);
    EXPECT_EQ(log.count("Video Frame Size is NULL"), 1);
    EXPECT_TRUE(reference.movie->movie()->tracks.empty());
    reference.finish();
}

TEST(ReferenceMovie, leavesATrackEmptyWhoseFileCannotBe) {
    const Reference reference(true, 1.0);
    LogCapture log;
    reference.movie->setVideoFilePath(QStringLiteral("/no such folder/a.dv"));
    reference.movie->setAudioFilePath(QString(), 0);
    EXPECT_EQ(reference.movie->createMovie(), 0);
    EXPECT_EQ(reference.movie->addVideoSamples(), -43);
    EXPECT_EQ(reference.movie->addAudioSamples(), -43);
    EXPECT_TRUE(log.lines().empty()) << "silently";
    ASSERT_EQ(reference.movie->movie()->tracks.size(), 2U);
    EXPECT_FALSE(reference.movie->movie()->tracks[0]->insertedDuration);
    reference.finish();
    const auto size = static_cast<std::uint64_t>(QFile(reference.movie->movieFilePath()).size());
    EXPECT_EQ(readAtoms(bytesOf(reference.path()), size).error, "");
}

TEST(ReferenceMovie, saysWhenANameWillNotBeFound) {
    const Reference reference(true, 1.0);
    LogCapture log;
    reference.movie->setVideoFilePath(reference.folder.filePath(QStringLiteral("9:15.dv")));
    reference.build();
    EXPECT_TRUE(log.containsText("9:15.dv"));
    reference.finish();
}

TEST(ReferenceMovie, logsAFullDiskAndClosesItsFile) {
    const Reference reference(true, 3600.0);
    LogCapture log;
    MemoryDisk disk;
    disk.capacity = 100000;
    const MemoryDiskForMovies disks(disk);
    EXPECT_EQ(reference.movie->createMovie(), 0);
    EXPECT_EQ(reference.movie->addVideoSamples(), 0);
    EXPECT_EQ(reference.movie->addAudioSamples(), 0);
    reference.movie->finishMovie();
    EXPECT_EQ(log.count("AddMovieToStorage failed (-34)"), 1);
    EXPECT_TRUE(log.containsText("No space left on device"));
    reference.movie->closeMovieFile();
    EXPECT_FALSE(reference.movie->isOpen());
    EXPECT_EQ(reference.movie->losses().errorNumber, ENOSPC);
    EXPECT_EQ(reference.movie->losses().status, -34);
}

TEST(ImageDescription, isThatOfDV) {
    const auto ntsc = createDVNTSCImageDescriptionHandle();
    EXPECT_EQ(ntsc.idSize, 86);
    EXPECT_EQ(ntsc.cType, fourCC("dvc "));
    EXPECT_EQ(ntsc.width, 720);
    EXPECT_EQ(ntsc.height, 480);
    EXPECT_EQ(ntsc.spatialQuality, 512U);
    EXPECT_EQ(ntsc.hRes, 72 << 16);
    EXPECT_EQ(ntsc.vRes, 72 << 16);
    EXPECT_EQ(ntsc.dataRefIndex, 1);
    EXPECT_EQ(ntsc.temporalQuality, 0U);
    EXPECT_EQ(ntsc.dataSize, 0);
    EXPECT_EQ(ntsc.frameCount, 0);
    EXPECT_EQ(ntsc.depth, 24);
    EXPECT_EQ(ntsc.clutID, -1);
    EXPECT_EQ(std::string(ntsc.name.data() + 1), "DV - NTSC");
    EXPECT_EQ(ntsc.name[0], 9);
    const auto pal = createDVPALImageDescriptionHandle();
    EXPECT_EQ(pal.cType, fourCC("dvcp"));
    EXPECT_EQ(pal.height, 576);
    EXPECT_EQ(std::string(pal.name.data() + 1), "DV - PAL");
}

TEST(QuickTimeMovie, beginsWithDefaults) {
    const auto movie = QuickTimeMovie::make();
    EXPECT_TRUE(movie->isPAL());
    EXPECT_EQ(movie->videoDescriptionHandle(), createDVPALImageDescriptionHandle());
    EXPECT_EQ(movie->audioDescriptionHandleForTrackIndex(127), createDVSoundDescriptionHandle());
    EXPECT_EQ(movie->audioTimeScaleForTrackIndex(127), 48000);
    EXPECT_EQ(movie->audioChunkSizeForTrackIndex(127), 480000U);
    EXPECT_EQ(movie->videoFrameSize(), 144000U);
    EXPECT_EQ(movie->audioTracksCount(), 0);
    EXPECT_EQ(movie->duration(), 0);
    EXPECT_EQ(movie->aiffHeaderSize(), 0);
    EXPECT_FALSE(movie->monoTracks());
    EXPECT_FALSE(movie->dropFrame());
    EXPECT_FALSE(movie->isOpen());
    EXPECT_TRUE(movie->movieFilePath().isEmpty());
    EXPECT_EQ(movie->movie(), nullptr);
    movie->setIsPAL(false);
    EXPECT_EQ(movie->videoDescriptionHandle(), createDVNTSCImageDescriptionHandle());
}

}  // namespace
}  // namespace takebox::test
