// Plays a random sequence of toolbox calls with extreme arguments into a file in memory, and then
// reads that file back: whatever was called, every atom must lie in its parent and fill it.
//
// Built with TAKEBOX_FUZZ for libFuzzer; the unit tests run the same entry on a fixed sequence.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <string>
#include <vector>

#include "../tests/platform/movietoolbox/AtomTree.h"
#include "../tests/platform/movietoolbox/MemoryMovieFile.h"
#include "platform/movietoolbox/MovieToolbox.h"

namespace {

using namespace takebox::movietoolbox;
using namespace takebox::test;

/// Draws values from the fuzzer's bytes; zeros when they are used up.
class Values {
public:
    Values(const std::uint8_t* data, std::size_t size) : mData(data), mLeft(size) {}

    [[nodiscard]] bool isEmpty() const { return mLeft == 0; }
    std::uint8_t byte() {
        if (mLeft == 0) {
            return 0;
        }
        --mLeft;
        return *mData++;
    }
    /// A small number, one from the edges of the types, or any.
    std::uint64_t extreme() {
        constexpr std::array<std::uint64_t, 14> kEdges{0,
                                                       1,
                                                       2,
                                                       0x7FFF,
                                                       0xFFFF,
                                                       0x7FFFFFFF,
                                                       0x80000000,
                                                       0xFFFFFFFF,
                                                       0x100000000,
                                                       0x7FFFFFFFFFFFFFFF,
                                                       0x8000000000000000,
                                                       UINT64_MAX,
                                                       100,
                                                       840000};
        const std::uint8_t kind = byte();
        if (kind < 128) {
            return kind;
        }
        if (kind < 224) {
            return kEdges[kind % kEdges.size()];
        }
        std::uint64_t value = 0;
        for (int i = 0; i < 8; ++i) {
            value = value << 8 | byte();
        }
        return value;
    }

private:
    const std::uint8_t* mData;
    std::size_t mLeft;
};

/// The movie under construction and what the next call works on.
struct Stage {
    std::shared_ptr<DataHandler> handler;
    std::shared_ptr<Movie> movie;
    Track* track = nullptr;
    Media* media = nullptr;
    std::vector<std::byte> data = std::vector<std::byte>(70000);
    std::uint64_t samplesLeft = 1U << 24U;  // some days: their tables take memory

    /// Some number of samples.
    std::uint32_t takeSamples(std::uint64_t wanted) {
        const std::uint64_t taken = std::min(wanted, samplesLeft);
        samplesLeft -= taken;
        return static_cast<std::uint32_t>(taken);
    }
};

SampleDescription someDescription(Values& values) {
    switch (values.byte() % 3) {
        case 0: {
            ImageDescription picture;
            picture.cType = fourCC("dvc ");
            picture.width = static_cast<std::int16_t>(values.extreme());
            return picture;
        }
        case 1: {
            SoundDescription sound;
            sound.dataFormat = fourCC("twos");
            sound.numChannels = static_cast<std::int16_t>(values.extreme());
            return sound;
        }
        default: {
            TimeCodeDescription timeCode;
            timeCode.srcRef = std::string(values.extreme() % 65536, 'V');
            timeCode.timeCodeDef.numFrames = values.byte();
            return timeCode;
        }
    }
}

void newTrack(Stage& stage, Values& values) {
    stage.track = NewMovieTrack(stage.movie.get(), static_cast<Fixed>(values.extreme()),
                                static_cast<Fixed>(values.extreme()),
                                static_cast<std::int16_t>(values.extreme()));
    stage.media = nullptr;
}

void newMedia(Stage& stage, Values& values) {
    constexpr std::array kTypes{fourCC("vide"), fourCC("soun"), fourCC("tmcd"), fourCC("????")};
    stage.media = NewTrackMedia(stage.track, kTypes[values.byte() % kTypes.size()],
                                static_cast<std::int32_t>(values.extreme()));
    if (stage.media != nullptr) {
        stage.media->displayFont = std::string(values.byte(), 'L');
        (void)AddMediaSampleDescription(stage.media, someDescription(values));
    }
}

void addDataReference(Stage& stage, Values& values) {
    const std::string name(values.extreme() % 300, 'n');
    AliasRecord alias;
    if (QTNewAlias("/tmp/" + name, "/tmp/movie.ref", alias) == kNoError) {
        (void)AddMediaDataRef(stage.media, alias);
    }
}

void addReferences(Stage& stage, Values& values) {
    SampleReference64Record reference{
        values.extreme(), static_cast<std::uint32_t>(values.extreme()),
        static_cast<std::int32_t>(values.extreme()), static_cast<std::uint32_t>(values.extreme()),
        static_cast<std::uint32_t>(values.extreme())};
    const SampleDescription description = someDescription(values);
    const std::uint32_t wanted = reference.numberOfSamples;
    for (int i = values.byte() % 20; i >= 0; --i) {
        reference.numberOfSamples = stage.takeSamples(wanted);
        (void)AddMediaSampleReferences64(stage.media, description, reference);
        reference.dataOffset += reference.dataSize;
    }
}

void addSamples(Stage& stage, Values& values) {
    std::vector<SampleSizeRun> runs(values.byte() % 5);
    for (auto& run : runs) {
        run = {stage.takeSamples(values.extreme()), static_cast<std::uint32_t>(values.extreme())};
    }
    const std::size_t size = values.extreme() % stage.data.size();
    (void)AddMediaSample(stage.movie.get(), stage.media, {stage.data.data(), size},
                         static_cast<std::int64_t>(values.extreme()), someDescription(values),
                         runs);
}

void edit(Stage& stage, Values& values) {
    if (values.byte() % 4 != 0) {
        (void)BeginMediaEdits(stage.movie.get(), stage.media);
    } else {
        (void)EndMediaEdits(stage.media);
    }
}

void insert(Stage& stage, Values& values) {
    (void)InsertMediaIntoTrack(
        stage.track, values.byte() % 2 == 0 ? GetMediaDuration(stage.media) : values.extreme());
}

void decorate(Stage& stage, Values& values) {
    AudioChannelLayout layout;
    layout.mNumberChannelDescriptions = static_cast<std::uint32_t>(values.extreme());
    (void)QTSetTrackProperty(stage.track, fourCC("audi"), fourCC("tlay"), sizeof layout, &layout);
    (void)AddTrackReference(stage.track, GetMovieIndTrackType(stage.movie.get(), fourCC("vide")),
                            static_cast<FourCharCode>(values.extreme()));
}

void write(Stage& stage, Values& values) {
    (void)(values.byte() % 2 == 0 ? AddMovieToStorage(stage.movie.get())
                                  : UpdateMovieInStorage(stage.movie.get()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Values values(data, size);
    MemoryDisk disk;
    disk.canReserve = values.byte() % 2 == 0;
    if (values.byte() % 4 == 0) {
        disk.capacity = values.extreme() % 200000;
    }
    const MemoryDiskForMovies disks(disk);
    Stage stage;
    const StorageMode mode =
        values.byte() % 2 == 0 ? StorageMode::kGrowing : StorageMode::kWhenClosed;
    (void)CreateMovieStorage("/movie", mode, stage.handler, stage.movie);

    using Call = void (*)(Stage&, Values&);
    constexpr std::array<Call, 9> kCalls{newTrack,      newMedia,   addDataReference,
                                         addReferences, addSamples, edit,
                                         insert,        decorate,   write};
    while (!values.isEmpty()) {
        kCalls[values.byte() % kCalls.size()](stage, values);
        const ByteSource source = bytesOf(disk.bytes);
        if (const AtomTree tree = readAtoms(source, disk.bytes.size()); !tree.error.empty()) {
            std::fprintf(stderr, "%s\n", tree.error.c_str());
            std::abort();
        }
    }
    (void)AddMovieToStorage(stage.movie.get());
    (void)CloseMovieStorage(stage.handler.get());
    const ByteSource source = bytesOf(disk.bytes);
    if (const AtomTree tree = readAtoms(source, disk.bytes.size()); !tree.error.empty()) {
        std::fprintf(stderr, "%s\n", tree.error.c_str());
        std::abort();
    }
    return 0;
}
