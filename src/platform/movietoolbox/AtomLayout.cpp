#include "platform/movietoolbox/Atoms.h"

#include <bit>
#include <limits>

#include "platform/movietoolbox/ByteBuffer.h"

namespace takebox::movietoolbox {
namespace {

constexpr std::uint64_t kLargest32Bit = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint32_t kAtomHeaderSize = 8;
constexpr std::uint32_t kUnityMatrixValue = 0x00010000;
constexpr std::uint16_t kDitherCopy = 0x0040;

}  // namespace

// Each atom has one layout function, which serves a ByteCounter and a ByteBuffer: the size before
// an atom and the bytes behind it cannot drift apart. put() finds them by the types it is given,
// which is why they are static and not in the unnamed namespace.
template <class Atom>
static void put(ByteCounter& out, const Atom& atom) {
    out.zeros(kAtomHeaderSize);
    layout(out, atom);
}

template <class Atom>
static void put(ByteBuffer& out, const Atom& atom) {
    ByteCounter counter;
    put(counter, atom);
    out.u32(static_cast<std::uint32_t>(counter.size()));
    out.u32(Atom::kType);
    layout(out, atom);
}

template <class Out, class Atom>
static void putIfThere(Out& out, const std::optional<Atom>& atom) {
    if (atom) {
        put(out, *atom);
    }
}

template <class Out, class... Atoms>
static void putOneOf(Out& out, const std::variant<Atoms...>& atom) {
    std::visit([&out](const auto& one) { put(out, one); }, atom);
}

template <class Out>
static void putVersionAndFlags(Out& out, std::uint8_t version, std::uint32_t flags = 0) {
    out.u32(std::uint32_t{version} << 24 | flags);
}

/// Times and durations are 64 bits wide in version 1 of an atom.
template <class Out>
static void putNumber(Out& out, std::uint8_t version, std::uint64_t value) {
    if (version == 1) {
        out.u64(value);
    } else {
        out.u32(static_cast<std::uint32_t>(value));
    }
}

static std::uint8_t versionFor(std::uint64_t duration) {
    return duration < kLargest32Bit ? 0 : 1;
}

template <class Out>
static void putMatrix(Out& out, Fixed verticalPosition) {
    out.u32(kUnityMatrixValue);
    out.zeros(12);
    out.u32(kUnityMatrixValue);
    out.zeros(8);
    out.u32(static_cast<std::uint32_t>(verticalPosition));
    out.u32(0x40000000);
}

template <class Out>
static void layout(Out& out, const MovieHeaderAtom& atom) {
    const std::uint8_t version = versionFor(atom.duration);
    putVersionAndFlags(out, version);
    putNumber(out, version, atom.time);
    putNumber(out, version, atom.time);
    out.u32(atom.timeScale);
    putNumber(out, version, atom.duration);
    out.u32(kUnityMatrixValue);  // rate
    out.u16(0x0100);             // volume
    out.zeros(10);
    putMatrix(out, 0);
    out.zeros(24);  // preview, poster, selection and current time
    out.u32(atom.nextTrackID);
}

template <class Out>
static void layout(Out& out, const TrackHeaderAtom& atom) {
    const std::uint8_t version = versionFor(atom.duration);
    putVersionAndFlags(out, version, atom.flags);
    putNumber(out, version, atom.time);
    putNumber(out, version, atom.time);
    out.u32(atom.trackID);
    out.zeros(4);
    putNumber(out, version, atom.duration);
    out.zeros(12);  // layer and alternate group
    out.u16(static_cast<std::uint16_t>(atom.volume));
    out.zeros(2);
    putMatrix(out, atom.verticalPosition);
    out.u32(static_cast<std::uint32_t>(atom.width));
    out.u32(static_cast<std::uint32_t>(atom.height));
}

template <class Out>
static void layout(Out& out, const EditListAtom& atom) {
    const std::uint8_t version = versionFor(atom.duration);
    putVersionAndFlags(out, version);
    out.u32(1);
    putNumber(out, version, atom.duration);
    putNumber(out, version, 0);  // media time
    out.u32(kUnityMatrixValue);  // rate
}

template <class Out>
static void layout(Out& out, const EditAtom& atom) {
    put(out, atom.list);
}

template <class Out>
static void layout(Out& out, const TrackReferenceAtom& atom) {
    for (const auto& reference : atom.references) {
        out.u32(kAtomHeaderSize + 4);
        out.u32(reference.type);
        out.u32(reference.trackID);
    }
}

template <class Out>
static void layout(Out& out, const MediaHeaderAtom& atom) {
    const std::uint8_t version = versionFor(atom.duration);
    putVersionAndFlags(out, version);
    putNumber(out, version, atom.time);
    putNumber(out, version, atom.time);
    out.u32(atom.timeScale);
    putNumber(out, version, atom.duration);
    out.zeros(4);  // language and quality
}

template <class Out>
static void layout(Out& out, const HandlerReferenceAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(atom.componentType);
    out.u32(atom.componentSubtype);
    out.zeros(12);
    out.u8(0);  // no name
}

template <class Out>
static void putGraphicsMode(Out& out) {
    out.u16(kDitherCopy);
    out.u16(0x8000);
    out.u16(0x8000);
    out.u16(0x8000);
}

template <class Out>
static void layout(Out& out, const VideoMediaHeaderAtom&) {
    putVersionAndFlags(out, 0, 1);
    putGraphicsMode(out);
}

template <class Out>
static void layout(Out& out, const SoundMediaHeaderAtom&) {
    putVersionAndFlags(out, 0);
    out.zeros(4);  // balance
}

template <class Out>
static void layout(Out& out, const BaseMediaInfoAtom&) {
    putVersionAndFlags(out, 0);
    putGraphicsMode(out);
    out.zeros(4);  // balance
}

template <class Out>
static void layout(Out& out, const TimeCodeMediaInfoAtom& atom) {
    constexpr std::uint16_t kTextSize = 12;
    putVersionAndFlags(out, 0);
    out.u16(0);  // font number: go by the name
    out.u16(0);  // plain
    out.u16(kTextSize);
    out.u16(0);
    out.zeros(6);  // black
    out.u16(0xFFFF);
    out.u16(0xFFFF);
    out.u16(0xFFFF);  // on white
    out.u8(static_cast<std::uint8_t>(atom.fontName.size()));
    out.text(atom.fontName);
}

template <class Out>
static void layout(Out& out, const TimeCodeMediaAtom& atom) {
    put(out, atom.info);
}

template <class Out>
static void layout(Out& out, const BaseMediaHeaderAtom& atom) {
    put(out, atom.info);
    put(out, atom.timeCode);
}

template <class Out>
static void layout(Out& out, const AliasAtom& atom) {
    constexpr std::uint32_t kSelfReference = 1;
    putVersionAndFlags(out, 0, atom.alias ? 0 : kSelfReference);
    if (atom.alias) {
        out.append(atom.alias->bytes());
    }
}

template <class Out>
static void layout(Out& out, const DataReferenceAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.references.size()));
    for (const auto& reference : atom.references) {
        put(out, reference);
    }
}

template <class Out>
static void layout(Out& out, const DataInformationAtom& atom) {
    put(out, atom.references);
}

template <class Out>
static void layout(Out& out, const ChannelLayoutAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(atom.layout.mChannelLayoutTag);
    out.u32(atom.layout.mChannelBitmap);
    out.u32(atom.layout.mNumberChannelDescriptions);
    for (const auto& channel : atom.layout.mChannelDescriptions) {
        out.u32(channel.mChannelLabel);
        out.u32(channel.mChannelFlags);
        for (const float coordinate : channel.mCoordinates) {
            out.u32(std::bit_cast<std::uint32_t>(coordinate));
        }
    }
}

template <class Out>
static void layoutDescription(Out& out, const ImageDescription& picture,
                              const std::optional<ChannelLayoutAtom>&) {
    out.u32(static_cast<std::uint32_t>(picture.idSize));
    out.u32(picture.cType);
    out.u32(static_cast<std::uint32_t>(picture.resvd1));
    out.u16(static_cast<std::uint16_t>(picture.resvd2));
    out.u16(static_cast<std::uint16_t>(picture.dataRefIndex));
    out.u16(static_cast<std::uint16_t>(picture.version));
    out.u16(static_cast<std::uint16_t>(picture.revisionLevel));
    out.u32(static_cast<std::uint32_t>(picture.vendor));
    out.u32(picture.temporalQuality);
    out.u32(picture.spatialQuality);
    out.u16(static_cast<std::uint16_t>(picture.width));
    out.u16(static_cast<std::uint16_t>(picture.height));
    out.u32(static_cast<std::uint32_t>(picture.hRes));
    out.u32(static_cast<std::uint32_t>(picture.vRes));
    out.u32(static_cast<std::uint32_t>(picture.dataSize));
    out.u16(static_cast<std::uint16_t>(picture.frameCount));
    out.text({picture.name.data(), picture.name.size()});
    out.u16(static_cast<std::uint16_t>(picture.depth));
    out.u16(static_cast<std::uint16_t>(picture.clutID));
}

template <class Out>
static void layoutDescription(Out& out, const SoundDescription& sound,
                              const std::optional<ChannelLayoutAtom>& channelLayout) {
    ByteCounter layoutSize;
    putIfThere(layoutSize, channelLayout);
    out.u32(static_cast<std::uint32_t>(52 + layoutSize.size()));
    out.u32(sound.dataFormat);
    out.zeros(6);
    out.u16(static_cast<std::uint16_t>(sound.dataRefIndex));
    out.u16(1);  // version
    out.zeros(6);
    out.u16(static_cast<std::uint16_t>(sound.numChannels));
    out.u16(static_cast<std::uint16_t>(sound.sampleSize));
    out.zeros(4);  // compression and packet size
    out.u32(sound.sampleRate);
    out.u32(sound.samplesPerPacket);
    out.u32(sound.bytesPerPacket);
    out.u32(sound.bytesPerFrame);
    out.u32(sound.bytesPerSample);
    putIfThere(out, channelLayout);
}

template <class Out>
static void layoutDescription(Out& out, const TimeCodeDescription& timeCode,
                              const std::optional<ChannelLayoutAtom>&) {
    constexpr std::uint32_t kSizeWithoutSource = 34;
    const auto nameSize = static_cast<std::uint32_t>(timeCode.srcRef.size());
    const std::uint32_t sourceSize = nameSize == 0 ? 4 : kAtomHeaderSize + 4 + nameSize;
    out.u32(kSizeWithoutSource + sourceSize);
    out.u32(fourCC("tmcd"));
    out.zeros(6);
    out.u16(static_cast<std::uint16_t>(timeCode.dataRefIndex));
    out.zeros(4);
    out.u32(timeCode.timeCodeDef.flags);
    out.u32(static_cast<std::uint32_t>(timeCode.timeCodeDef.fTimeScale));
    out.u32(static_cast<std::uint32_t>(timeCode.timeCodeDef.frameDuration));
    out.u8(timeCode.timeCodeDef.numFrames);
    out.u8(0);
    if (nameSize == 0) {
        out.zeros(sourceSize);
        return;
    }
    out.u32(sourceSize);
    out.text("name");
    out.u16(static_cast<std::uint16_t>(nameSize));
    out.u16(0);  // language
    out.text(timeCode.srcRef);
}

template <class Out>
static void layout(Out& out, const SampleDescriptionAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.descriptions.size()));
    for (const auto& description : atom.descriptions) {
        std::visit([&](const auto& one) { layoutDescription(out, one, atom.channelLayout); },
                   description);
    }
}

template <class Out>
static void layout(Out& out, const TimeToSampleAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.runs.size()));
    for (const auto& run : atom.runs) {
        out.u32(run.count);
        out.u32(run.duration);
    }
}

template <class Out>
static void layout(Out& out, const SampleToChunkAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.runs.size()));
    for (const auto& run : atom.runs) {
        out.u32(run.firstChunk);
        out.u32(run.samplesPerChunk);
        out.u32(run.description);
    }
}

template <class Out>
static void layout(Out& out, const SampleSizeAtom& atom) {
    putVersionAndFlags(out, 0);
    // One size for all samples; 0 says that a size for each follows.
    const bool isConstant = atom.runs.size() == 1 && atom.runs.front().size != 0;
    out.u32(isConstant ? atom.runs.front().size : 0);
    out.u32(atom.count);
    if (isConstant) {
        return;
    }
    for (const auto& run : atom.runs) {
        for (std::uint32_t i = 0; i < run.count; ++i) {
            out.u32(run.size);
        }
    }
}

template <class Out>
static void layout(Out& out, const ChunkOffsetAtom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.offsets.size()));
    for (const std::uint64_t offset : atom.offsets) {
        out.u32(static_cast<std::uint32_t>(offset));
    }
}

template <class Out>
static void layout(Out& out, const ChunkOffset64Atom& atom) {
    putVersionAndFlags(out, 0);
    out.u32(static_cast<std::uint32_t>(atom.offsets.size()));
    for (const std::uint64_t offset : atom.offsets) {
        out.u64(offset);
    }
}

template <class Out>
static void layout(Out& out, const SampleTableAtom& atom) {
    put(out, atom.descriptions);
    put(out, atom.durations);
    put(out, atom.chunks);
    put(out, atom.sizes);
    putOneOf(out, atom.offsets);
}

template <class Out>
static void layout(Out& out, const MediaInformationAtom& atom) {
    putOneOf(out, atom.header);
    put(out, atom.handler);
    put(out, atom.data);
    put(out, atom.samples);
}

template <class Out>
static void layout(Out& out, const MediaAtom& atom) {
    put(out, atom.header);
    put(out, atom.handler);
    put(out, atom.information);
}

template <class Out>
static void layout(Out& out, const TrackAtom& atom) {
    put(out, atom.header);
    putIfThere(out, atom.edit);
    putIfThere(out, atom.references);
    put(out, atom.media);
}

template <class Out>
static void layout(Out& out, const MovieAtom& atom) {
    put(out, atom.header);
    for (const auto& track : atom.tracks) {
        put(out, track);
    }
}

std::vector<std::byte> encoded(const MovieAtom& movie) {
    ByteCounter counter;
    put(counter, movie);
    if (counter.size() > kLargest32Bit) {
        return {};
    }
    ByteBuffer out;
    out.reserve(counter.size());
    put(out, movie);
    return std::move(out.bytes());
}

}  // namespace takebox::movietoolbox
