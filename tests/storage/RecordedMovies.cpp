#include "RecordedMovies.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <algorithm>
#include <cmath>

#include "MovieReaders.h"
#include "storage/DVDescriptions.h"
#include "storage/QuickTimeMovie.h"
#include "storage/WriterThreads.h"
#include "support/Files.h"
#include "support/Samples.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

Material generated(bool isPAL) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"made.dv"_s);
    const QString picture =
        isPAL ? u"testsrc2=size=720x576:rate=25"_s : u"testsrc2=size=720x480:rate=30000/1001"_s;
    runReader(u"ffmpeg"_s,
              {u"-v"_s, u"error"_s, u"-f"_s, u"lavfi"_s, u"-i"_s, picture, u"-f"_s, u"lavfi"_s,
               u"-i"_s, u"sine=frequency=440:sample_rate=48000"_s, u"-target"_s,
               isPAL ? u"pal-dv"_s : u"ntsc-dv"_s, u"-t"_s, u"2.3"_s, path});
    Material material{isPAL ? u"generated PAL"_s : u"generated NTSC"_s, isPAL, contentsOf(path),
                      decodedSound(path)};
    EXPECT_GT(material.frames(), 50);
    // ffmpeg counts frames and samples by slightly different rates.
    const auto samples = static_cast<qsizetype>(std::ceil(material.seconds() * 48000));
    material.sound = material.sound.leftJustified(samples * 4, '\0');
    return material;
}

/// PCM that differs from sample to sample, where the DV has none.
QByteArray noise(qsizetype bytes) {
    QByteArray sound(bytes, '\0');
    std::uint32_t state = 1;
    for (char& byte : sound) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return sound;
}

std::vector<Material> loadAll() {
    std::vector<Material> all{generatedMaterial(false), generatedMaterial(true)};
    const QDir folder(samplesFolder());
    if (samplesFolder().isEmpty()) {
        printf("No DV samples here: generated material only.\n");
        return all;
    }
    // Each holds one standard throughout.
    const QStringList names{u"SYNTHETIC_ntsc_48k_4x3_90f.dv"_s,
                            u"SYNTHETIC_pal_48k_16x9_50f.dv"_s,
                            u"real_ntsc_48k_16b_2ch_locked_8f.dv"_s,
                            u"real_pal_stype1_48k_tc_15f.dv"_s,
                            u"thirdparty_pal_48k_16b_2ch_silent_24f.dv"_s,
                            u"thirdparty_ntsc_noaudio_25f.dv"_s};
    for (const QString& name : names) {
        const QString path = folder.filePath(name);
        if (!QFile::exists(path)) {
            printf("The sample %s is not here.\n", qPrintable(name));
            continue;
        }
        Material material{name, name.contains(u"_pal_"_s), contentsOf(path), {}};
        material.sound = name.contains(u"_48k_"_s) && !name.contains(u"stype1"_s)
                             ? decodedSound(path)
                             : noise(material.frames() * qsizetype{1600} * 4);
        all.push_back(material);
    }
    return all;
}

}  // namespace

const Material& generatedMaterial(bool isPAL) {
    static const Material ntsc = generated(false);
    static const Material pal = generated(true);
    return isPAL ? pal : ntsc;
}

const std::vector<Material>& allMaterial() {
    static const std::vector<Material> all = loadAll();
    return all;
}

RecordedMovies::RecordedMovies(const Material& material) : mMaterial(material) {
    mPlace = mFolder.filePath(u"here"_s);
    EXPECT_TRUE(QDir().mkpath(mPlace));
}

void RecordedMovies::setNames(const QString& name, const QString& rawFolder,
                              const QString& movieFolder) {
    mName = name;
    mRawFolder = rawFolder;
    mMovieFolder = movieFolder;
    EXPECT_TRUE(QDir(mPlace).mkpath(u"./"_s + rawFolder));
    EXPECT_TRUE(QDir(mPlace).mkpath(u"./"_s + movieFolder));
}

void RecordedMovies::moveFolder() {
    const QString there = mFolder.filePath(u"elsewhere/deep"_s);
    EXPECT_TRUE(QDir().mkpath(mFolder.filePath(u"elsewhere"_s)));
    EXPECT_TRUE(QDir().rename(mPlace, there));
    mPlace = there;
}

QString RecordedMovies::path(const QString& extension) const {
    const bool isRaw = extension == u"dv"_s || extension == u"aud"_s;
    const QString folder = mPlace + u'/' + (isRaw ? mRawFolder : mMovieFolder);
    return QDir::cleanPath(folder + u'/' + mName + u'.' + extension);
}

void RecordedMovies::writeRawFiles(int frames) {
    writeFile(path(u"dv"_s), mMaterial.video.left(frames * qsizetype{mMaterial.frameSize()}));
    const double share = static_cast<double>(frames) / mMaterial.frames();
    const auto samples =
        static_cast<qsizetype>(share * static_cast<double>(mMaterial.sound.size() / 4));
    writeFile(path(u"aud"_s), mMaterial.sound.left(samples * 4));
}

void RecordedMovies::makeReferenceMovie(double seconds) {
    const auto movie = QuickTimeMovie::make();
    movie->setIsPAL(mMaterial.isPAL);
    movie->setDuration(seconds);
    movie->setMovieFilePath(path(u"ref"_s));
    movie->setVideoFilePath(path(u"dv"_s));
    movie->setAudioFilePath(path(u"aud"_s), 0);
    movie->setAudioChunkSize(96000, 0);
    movie->setAudioTracksCount(1);
    movie->setStartTimeCode({1, 2, 3, 4});
    movie->setVideoFrameSize(static_cast<std::uint32_t>(mMaterial.frameSize()));
    movie->setVideoTimeScale(mMaterial.isPAL ? 2500 : 2997);
    EXPECT_EQ(movie->createMovie(), 0);
    EXPECT_EQ(movie->addVideoSamples(), 0);
    EXPECT_EQ(movie->addAudioSamples(), 0);
    EXPECT_EQ(movie->addTimeCodeSample(), 0);
    movie->finishMovie();
    movie->closeMovieFile();
    EXPECT_TRUE(movie->losses().areNone());
    WriterThreads::waitUntilFinished();
}

void RecordedMovies::makeSelfContainedMovie() {
    const auto movie = QuickTimeMovie::make();
    movie->setIsPAL(mMaterial.isPAL);
    movie->setMovieFilePath(path(u"mov"_s));
    movie->setAudioTracksCount(1);
    movie->setStartTimeCode({1, 2, 3, 4});
    movie->setVideoFrameSize(static_cast<std::uint32_t>(mMaterial.frameSize()));
    movie->setVideoTimeScale(mMaterial.isPAL ? 2500 : 2997);
    movie->startWriteMovieThread();
    const int frames = mMaterial.frames();
    const qsizetype samples = mMaterial.sound.size() / 4;
    const int framesPerChunk = 840000 / mMaterial.frameSize();
    for (int frame = 0; frame < frames; ++frame) {
        movie->bufferedAddVideoSample(
            mMaterial.video.constData() + frame * qsizetype{mMaterial.frameSize()},
            static_cast<std::uint32_t>(mMaterial.frameSize()));
        const qsizetype from = samples * frame / frames;
        const auto count = static_cast<std::uint32_t>(samples * (frame + 1) / frames - from);
        movie->bufferedAddAudioSample(mMaterial.sound.constData() + from * 4, count * 4, count);
        const qsizetype chunksOnDisk = std::max(0, frame / framesPerChunk - 2);
        ASSERT_TRUE(waitUntil([&] {
            return QFile(path(u"mov"_s)).size() >=
                   chunksOnDisk * framesPerChunk * mMaterial.frameSize();
        }));
    }
    movie->stopWriteMovieThread();
    WriterThreads::waitUntilFinished();
    EXPECT_TRUE(movie->losses().areNone());
}

}  // namespace takebox::test
