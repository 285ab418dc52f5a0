// What other programs make of the movies: they judge, our own readers do not.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonValue>
#include <array>
#include <cerrno>
#include <cmath>
#include <memory>
#include <span>

#include "MovieReaders.h"
#include "RecordedMovies.h"
#include "platform/movietoolbox/MovieToolbox.h"
#include "storage/DVDescriptions.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

QString text(const QJsonObject& object, const QString& key) {
    const QJsonValue value = object[key];
    return value.isDouble() ? QString::number(value.toDouble()) : value.toString();
}

std::string standardOf(const testing::TestParamInfo<bool>& info) {
    return info.param ? "PAL" : "NTSC";
}

/// Both movies over complete raw files.
class BothMovies : public testing::TestWithParam<bool> {
protected:
    void SetUp() override {
        recorded.writeRawFiles(material.frames());
        recorded.makeReferenceMovie(material.frames() / (material.isPAL ? 25.0 : 29.97));
        recorded.makeSelfContainedMovie();
    }

    const Material& material = generatedMaterial(GetParam());
    RecordedMovies recorded{material};
};
INSTANTIATE_TEST_SUITE_P(Standards, BothMovies, testing::Bool(), standardOf);

TEST_P(BothMovies, areReadAsWrittenByFfprobe) {
    for (const QString& kind : {u"ref"_s, u"mov"_s}) {
        const QJsonArray streams = probedStreams(recorded.path(kind));
        ASSERT_EQ(streams.size(), 3);
        const QJsonObject video = streams[0].toObject();
        EXPECT_EQ(text(video, u"codec_name"_s), u"dvvideo"_s);
        EXPECT_EQ(text(video, u"codec_tag_string"_s), material.isPAL ? u"dvcp"_s : u"dvc "_s);
        EXPECT_EQ(text(video, u"width"_s), u"720"_s);
        EXPECT_EQ(text(video, u"height"_s), material.isPAL ? u"576"_s : u"480"_s);
        EXPECT_EQ(text(video, u"avg_frame_rate"_s), material.isPAL ? u"25/1"_s : u"2997/100"_s);
        EXPECT_EQ(text(video, u"time_base"_s), material.isPAL ? u"1/2500"_s : u"1/2997"_s);
        EXPECT_EQ(text(video, u"nb_frames"_s), QString::number(material.frames()));
        EXPECT_EQ(text(video, u"duration_ts"_s), QString::number(material.frames() * 100));
        EXPECT_EQ(text(video[u"tags"_s].toObject(), u"timecode"_s), u"01:02:03:04"_s);
        const QJsonObject sound = streams[1].toObject();
        EXPECT_EQ(text(sound, u"codec_name"_s), u"pcm_s16be"_s);
        EXPECT_EQ(text(sound, u"sample_rate"_s), u"48000"_s);
        EXPECT_EQ(text(sound, u"channels"_s), u"2"_s);
        EXPECT_EQ(text(sound, u"channel_layout"_s), u"stereo"_s);
        EXPECT_NEAR(text(sound, u"duration"_s).toDouble(), material.seconds(), 0.002);
        const QJsonObject timeCode = streams[2].toObject();
        EXPECT_EQ(text(timeCode, u"codec_tag_string"_s), u"tmcd"_s);
        EXPECT_EQ(text(timeCode, u"duration_ts"_s), text(video, u"duration_ts"_s));
        const QJsonObject tags = timeCode[u"tags"_s].toObject();
        EXPECT_EQ(text(tags, u"timecode"_s), u"01:02:03:04"_s);
        EXPECT_EQ(text(tags, u"reel_name"_s), u"V Timecode"_s);
    }
}

TEST_P(BothMovies, areReadAsWrittenByMediaInfo) {
    for (const QString& kind : {u"ref"_s, u"mov"_s}) {
        QJsonObject video;
        QJsonObject sound;
        QJsonObject timeCode;
        const QJsonArray tracks = mediaInfoTracks(recorded.path(kind));
        for (const auto& value : tracks) {
            const QJsonObject track = value.toObject();
            const QString type = text(track, u"@type"_s);
            if (type == u"Video"_s) {
                video = track;
            } else if (type == u"Audio"_s && track.contains(u"CodecID"_s)) {
                sound = track;  // the other one is inside the DV
            } else if (type == u"Other"_s) {
                timeCode = track;
            }
        }
        EXPECT_EQ(text(video, u"Format"_s), u"DV"_s);
        EXPECT_EQ(text(video, u"Standard"_s), material.isPAL ? u"PAL"_s : u"NTSC"_s);
        EXPECT_EQ(text(video, u"Height"_s), material.isPAL ? u"576"_s : u"480"_s);
        EXPECT_EQ(text(video, u"FrameCount"_s), QString::number(material.frames()));
        EXPECT_EQ(text(video, u"FrameRate"_s), material.isPAL ? u"25.000"_s : u"29.970"_s);
        EXPECT_EQ(text(video, u"Delay_Source"_s), u"Container"_s);
        EXPECT_EQ(text(sound, u"Format"_s), u"PCM"_s);
        EXPECT_EQ(text(sound, u"CodecID"_s), u"twos"_s);
        EXPECT_EQ(text(sound, u"Format_Settings_Endianness"_s), u"Big"_s);
        EXPECT_EQ(text(sound, u"Format_Settings_Sign"_s), u"Signed"_s);
        EXPECT_EQ(text(sound, u"ChannelLayout"_s), u"L R"_s);
        EXPECT_EQ(text(sound, u"SamplingRate"_s), u"48000"_s);
        EXPECT_NEAR(text(sound, u"Duration"_s).toDouble(), material.seconds(), 0.002);
        EXPECT_EQ(text(timeCode, u"Format"_s), u"QuickTime TC"_s);
        EXPECT_EQ(text(timeCode, u"TimeCode_FirstFrame"_s), u"01:02:03:04"_s);
    }
}

TEST_P(BothMovies, areReadAsWrittenByExifTool) {
    for (const QString& kind : {u"ref"_s, u"mov"_s}) {
        const QString path = recorded.path(kind);
        const QJsonObject tags = exifToolTags(path);
        EXPECT_EQ(text(tags, u"ExifTool:Validate"_s), u"0 0 0"_s) << "no warning, no error";
        EXPECT_FALSE(tags.contains(u"ExifTool:Warning"_s));
        EXPECT_EQ(text(tags, u"Track1:CompressorName"_s),
                  material.isPAL ? u"DV - PAL"_s : u"DV - NTSC"_s);
        EXPECT_EQ(text(tags, u"Track1:CompressorID"_s), material.isPAL ? u"dvcp"_s : u"dvc "_s);
        EXPECT_NEAR(tags[u"Track1:VideoFrameRate"_s].toDouble(), material.isPAL ? 25 : 29.97,
                    0.001);
        EXPECT_EQ(text(tags, u"Track2:AudioFormat"_s), u"twos"_s);
        EXPECT_EQ(text(tags, u"Track2:AudioSampleRate"_s), u"48000"_s);
        EXPECT_EQ(text(tags, u"Track3:OtherFormat"_s), u"tmcd"_s);
        EXPECT_EQ(text(tags, u"Track3:OtherName"_s), u"V Timecode"_s);
        EXPECT_EQ(text(tags, u"Track3:FontName"_s), u"Lucida Grande"_s);
        EXPECT_EQ(text(tags, u"Track3:MatrixStructure"_s),
                  material.isPAL ? u"1 0 0 0 1 0 0 576 1"_s : u"1 0 0 0 1 0 0 480 1"_s);
        EXPECT_NEAR(tags[u"Track3:TrackDuration"_s].toDouble(), material.seconds(), 0.002);
    }
}

TEST_P(BothMovies, areDecodedWithoutAWarning) {
    EXPECT_EQ(warningsOf(recorded.path(u"ref"_s)), "");
    EXPECT_EQ(warningsOf(recorded.path(u"mov"_s)), "");
}

TEST(Movies, haveTheFramesAndTheSoundOfTheRawFiles) {
    for (const Material& material : allMaterial()) {
        SCOPED_TRACE(material.name.toStdString());
        const int frames = material.frames();
        RecordedMovies recorded(material);
        recorded.writeRawFiles(frames);
        recorded.makeReferenceMovie(material.seconds());
        recorded.makeSelfContainedMovie();
        const Checksums packets = pictureChecksums(recorded.path(u"dv"_s), frames, true);
        const Checksums pictures = pictureChecksums(recorded.path(u"dv"_s), frames);
        EXPECT_EQ(packets.size(), static_cast<std::size_t>(frames));
        EXPECT_EQ(pictures.size(), static_cast<std::size_t>(frames));
        for (const QString& kind : {u"ref"_s, u"mov"_s}) {
            EXPECT_EQ(pictureChecksums(recorded.path(kind), frames + 1, true), packets);
            EXPECT_EQ(pictureChecksums(recorded.path(kind), frames + 1), pictures);
        }
        EXPECT_TRUE(decodedSound(recorded.path(u"mov"_s)) == material.sound);
        // The reference movie plays its own duration at the most.
        const auto covered = static_cast<qsizetype>(std::nearbyint(48000 * material.seconds())) * 4;
        EXPECT_TRUE(decodedSound(recorded.path(u"ref"_s)) == material.sound.left(covered));
    }
}

class ReferenceMovieOf : public testing::TestWithParam<bool> {};
INSTANTIATE_TEST_SUITE_P(Standards, ReferenceMovieOf, testing::Bool(), standardOf);

// The usual case: opened while the recording has just begun, far shorter than the preset duration.
TEST_P(ReferenceMovieOf, growingFilesPlaysWhatIsThere) {
    const Material& material = generatedMaterial(GetParam());
    const int oneSecond = material.isPAL ? 25 : 30;
    RecordedMovies recorded(material);
    recorded.writeRawFiles(oneSecond);
    recorded.makeReferenceMovie(3600.0);
    Checksums expected = pictureChecksums(recorded.path(u"dv"_s), oneSecond);
    EXPECT_EQ(expected.size(), static_cast<std::size_t>(oneSecond));
    EXPECT_EQ(pictureChecksums(recorded.path(u"ref"_s), oneSecond), expected);
    QFile raw(recorded.path(u"aud"_s));
    ASSERT_TRUE(raw.open(QIODevice::ReadOnly));
    EXPECT_TRUE(decodedSound(recorded.path(u"ref"_s)) == raw.readAll());
    // And when they have grown, it plays more.
    recorded.writeRawFiles(material.frames());
    expected = pictureChecksums(recorded.path(u"dv"_s), material.frames());
    EXPECT_EQ(pictureChecksums(recorded.path(u"ref"_s), material.frames()), expected);
}

TEST_P(ReferenceMovieOf, anOddDurationDecodesEveryFrame) {
    const Material& material = generatedMaterial(GetParam());
    RecordedMovies recorded(material);
    recorded.writeRawFiles(material.frames());
    // NTSC: one reference of 7 frames and one of 4.99; PAL: two of 5 and one of 2.5.
    const double seconds = material.isPAL ? 0.5 : 0.4;
    const int frames = material.isPAL ? 12 : 11;
    recorded.makeReferenceMovie(seconds);
    EXPECT_EQ(pictureChecksums(recorded.path(u"ref"_s), frames + 1),
              pictureChecksums(recorded.path(u"dv"_s), frames));
    EXPECT_TRUE(decodedSound(recorded.path(u"ref"_s)) ==
                material.sound.left(static_cast<qsizetype>(seconds * 48000) * 4));
    EXPECT_EQ(warningsOf(recorded.path(u"ref"_s)), "");
}

TEST_P(ReferenceMovieOf, noDurationIsStillAMovie) {
    RecordedMovies recorded(generatedMaterial(GetParam()));
    recorded.writeRawFiles(1);
    recorded.makeReferenceMovie(0.0);
    const Output probed = runReader(
        u"ffprobe"_s, {u"-v"_s, u"quiet"_s, u"-show_entries"_s, u"stream=codec_tag_string"_s,
                       u"-of"_s, u"csv=p=0"_s, recorded.path(u"ref"_s)});
    EXPECT_EQ(probed.exitCode, 0);
    EXPECT_EQ(probed.out.toStdString(), GetParam() ? "dvcp\ntwos\ntmcd\n" : "dvc \ntwos\ntmcd\n");
    EXPECT_EQ(text(exifToolTags(recorded.path(u"ref"_s)), u"ExifTool:Validate"_s), u"0 0 0"_s);
}

TEST_P(ReferenceMovieOf, aDayIsReadInFull) {
    RecordedMovies recorded(generatedMaterial(GetParam()));
    recorded.writeRawFiles(1);
    recorded.makeReferenceMovie(24 * 3600.0);
    const QJsonArray streams = probedStreams(recorded.path(u"ref"_s));
    ASSERT_EQ(streams.size(), 3);
    for (const auto& stream : streams) {
        EXPECT_NEAR(text(stream.toObject(), u"duration"_s).toDouble(), 24 * 3600.0, 0.04);
    }
    EXPECT_EQ(text(exifToolTags(recorded.path(u"ref"_s)), u"ExifTool:Validate"_s), u"0 0 0"_s);
}

TEST(ReferenceMovieFolder, canBeMovedAsAWhole) {
    const Material& material = generatedMaterial(true);
    for (const bool isSplit : {false, true}) {
        RecordedMovies recorded(material);
        recorded.setNames(
            u"Täke 100% of a rather long name that goes on beyond sixty-three bytes"_s,
            isSplit ? u"raw"_s : QString(), isSplit ? u"movies/day 1"_s : QString());
        recorded.writeRawFiles(material.frames());
        recorded.makeReferenceMovie(1.0);
        const Checksums expected = pictureChecksums(recorded.path(u"dv"_s), 25);
        EXPECT_EQ(pictureChecksums(recorded.path(u"ref"_s), 26), expected);
        recorded.moveFolder();
        EXPECT_EQ(pictureChecksums(recorded.path(u"ref"_s), 26), expected);
    }
}

/// A real file in which large pieces of nothing are left out, so that it takes little room.
class SparseFile final : public movietoolbox::MovieFile {
public:
    explicit SparseFile(const std::string& path)
        : mDescriptor(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {}
    ~SparseFile() override { ::close(mDescriptor); }
    SparseFile(const SparseFile&) = delete;
    SparseFile& operator=(const SparseFile&) = delete;

    int writeAt(std::uint64_t offset, std::span<const std::byte> bytes) override {
        constexpr std::size_t kNothing = 10000000;
        const auto end = static_cast<off_t>(offset);
        if (bytes.size() >= kNothing) {
            return ::ftruncate(mDescriptor, end + static_cast<off_t>(bytes.size())) == 0 ? 0
                                                                                         : errno;
        }
        const ssize_t written = ::pwrite(mDescriptor, bytes.data(), bytes.size(), end);
        return written == static_cast<ssize_t>(bytes.size()) ? 0 : EIO;
    }
    int reserve(std::uint64_t, std::uint64_t) override { return 0; }
    int truncate(std::uint64_t size) override {
        return ::ftruncate(mDescriptor, static_cast<off_t>(size)) == 0 ? 0 : errno;
    }
    int synchronize() override { return 0; }
    int close() override { return 0; }

private:
    int mDescriptor;
};

TEST(SelfContainedMovieFile, canBeLargerThanFourGibibytes) {
    using namespace movietoolbox;
    const Material& material = generatedMaterial(true);
    RecordedMovies recorded(material);
    recorded.writeRawFiles(material.frames());
    setMovieFileMaker([](const std::string& path, StorageMode, int& error) {
        error = 0;
        return std::make_unique<SparseFile>(path);
    });
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    const QString path = recorded.path(u"mov"_s);
    ASSERT_EQ(CreateMovieStorage(path.toStdString(), StorageMode::kGrowing, handler, movie), 0);
    setMovieFileMaker(nullptr);
    Track* const picture = NewMovieTrack(movie.get(), Long2Fix(720), Long2Fix(576), 0);
    Media* const frames = NewTrackMedia(picture, fourCC("vide"), 2500);
    Track* const sound = NewMovieTrack(movie.get(), 0, 0, 256);
    Media* const samples = NewTrackMedia(sound, fourCC("soun"), 48000);
    ASSERT_EQ(BeginMediaEdits(movie.get(), frames), 0);
    ASSERT_EQ(BeginMediaEdits(movie.get(), samples), 0);

    // Address space only: pages that are never written take no memory.
    constexpr std::size_t kSilence = 600U << 20;
    void* const silence =
        ::mmap(nullptr, kSilence, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(silence, MAP_FAILED);
    const std::array silentSamples{SampleSizeRun{kSilence / 4, 4}};
    for (int i = 0; i < 8; ++i) {
        ASSERT_EQ(
            AddMediaSample(movie.get(), samples, {static_cast<const std::byte*>(silence), kSilence},
                           1, createDVSoundDescriptionHandle(), silentSamples),
            0);
    }
    ::munmap(silence, kSilence);
    const std::array fiveFrames{SampleSizeRun{5, 144000}};
    for (int chunk = 0; chunk < 10; ++chunk) {
        const std::span bytes(material.video.constData() + chunk * 720000, 720000);
        ASSERT_EQ(AddMediaSample(movie.get(), frames, std::as_bytes(bytes), 100,
                                 createDVPALImageDescriptionHandle(), fiveFrames),
                  0);
    }
    ASSERT_EQ(EndMediaEdits(frames), 0);
    ASSERT_EQ(EndMediaEdits(samples), 0);
    ASSERT_EQ(InsertMediaIntoTrack(picture, GetMediaDuration(frames)), 0);
    ASSERT_EQ(InsertMediaIntoTrack(sound, GetMediaDuration(samples)), 0);
    ASSERT_EQ(AddMovieToStorage(movie.get()), 0);
    ASSERT_EQ(CloseMovieStorage(handler.get()), 0);

    EXPECT_GT(QFile(path).size(), qint64{1} << 32);
    EXPECT_EQ(pictureChecksums(path, 51, true), pictureChecksums(recorded.path(u"dv"_s), 50, true));
    EXPECT_EQ(pictureChecksums(path, 51), pictureChecksums(recorded.path(u"dv"_s), 50));
    const QJsonArray streams = probedStreams(path);
    ASSERT_EQ(streams.size(), 2);
    EXPECT_EQ(streams[1].toObject()[u"duration_ts"_s].toInteger(),
              static_cast<qint64>(8 * kSilence / 4));
    const Output checked = runReader(u"exiftool"_s, {u"-api"_s, u"LargeFileSupport=1"_s, u"-s3"_s,
                                                     u"-validate"_s, u"-warning"_s, path});
    EXPECT_EQ(checked.out.trimmed().toStdString(), "OK");
}

TEST(SelfContainedMovieFile, hasNothingLeftBesideIt) {
    const Material& material = generatedMaterial(true);
    RecordedMovies recorded(material);
    recorded.makeSelfContainedMovie();
    EXPECT_FALSE(QFile::exists(recorded.path(u"dv"_s)));
    EXPECT_EQ(QDir(QFileInfo(recorded.path(u"mov"_s)).path())
                  .entryList(QDir::Files | QDir::Hidden)
                  .size(),
              1);
}

}  // namespace
}  // namespace takebox::test
