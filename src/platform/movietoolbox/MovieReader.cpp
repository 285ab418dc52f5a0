#include "platform/movietoolbox/MovieReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <span>

namespace takebox::movietoolbox {
namespace {

using Bytes = std::span<const std::byte>;

// A movie atom beyond this is none of ours: six weeks of DV take half of it.
constexpr std::uint64_t kLargestMovieAtom = std::uint64_t{1} << 28U;
constexpr std::uint64_t kHeaderSize = 8;

/// A big-endian number; nothing when the bytes end before it.
std::optional<std::uint64_t> numberAt(Bytes bytes, std::uint64_t offset, std::size_t size) {
    if (offset > bytes.size() || size > bytes.size() - offset) {
        return std::nullopt;
    }
    std::uint64_t value = 0;
    for (const std::byte byte : bytes.subspan(offset, size)) {
        value = value << 8U | std::to_integer<std::uint64_t>(byte);
    }
    return value;
}

std::uint32_t word(Bytes bytes, std::uint64_t offset) {
    return static_cast<std::uint32_t>(numberAt(bytes, offset, 4).value_or(0));
}

/// The atoms that lie one behind the other in the content of another.
class AtomWalk {
public:
    explicit AtomWalk(Bytes bytes) : mRest(bytes) {}

    /// Goes to the next atom. @return false at the end, or where no atom follows.
    bool next() {
        const auto size = numberAt(mRest, 0, 4);
        if (mRest.size() < kHeaderSize || !size || *size < kHeaderSize || *size > mRest.size()) {
            return false;
        }
        type = word(mRest, 4);
        content = mRest.subspan(kHeaderSize, *size - kHeaderSize);
        mRest = mRest.subspan(*size);
        return true;
    }

    FourCharCode type = 0;
    Bytes content;

private:
    Bytes mRest;
};

/// The content of the first atom of a type; empty when there is none.
Bytes child(Bytes content, FourCharCode type) {
    AtomWalk walk(content);
    while (walk.next()) {
        if (walk.type == type) {
            return walk.content;
        }
    }
    return {};
}

/// The path in an alias record; empty when there is none.
std::string pathOfAlias(Bytes record) {
    constexpr std::uint64_t kFields = 150;
    constexpr std::uint32_t kPosixPath = 18;
    constexpr std::uint32_t kEnd = 0xFFFF;
    for (std::uint64_t at = kFields;;) {
        const auto tag = numberAt(record, at, 2);
        const auto size = numberAt(record, at + 2, 2);
        if (!tag || !size || *tag == kEnd || at + 4 + *size > record.size()) {
            return {};
        }
        if (*tag == kPosixPath) {
            std::string path("/");
            for (const std::byte byte : record.subspan(at + 4, *size)) {
                path.push_back(static_cast<char>(byte));
            }
            return path.find('\0') == std::string::npos ? path : std::string();
        }
        at += 4 + *size + *size % 2;
    }
}

void readDataReference(Bytes mediaInformation, TrackContents& track) {
    constexpr std::uint32_t kSelfReference = 1;
    constexpr std::uint64_t kVersionAndCount = 8;
    const Bytes references = child(child(mediaInformation, fourCC("dinf")), fourCC("dref"));
    if (references.size() < kVersionAndCount) {
        return;
    }
    AtomWalk walk(references.subspan(kVersionAndCount));
    const bool pointsElsewhere = walk.next() && walk.type == fourCC("alis") &&
                                 walk.content.size() >= 4 &&
                                 (word(walk.content, 0) & kSelfReference) == 0;
    if (pointsElsewhere) {
        track.target = pathOfAlias(walk.content.subspan(4));
    }
}

void readDescription(Bytes sampleTable, TrackContents& track) {
    constexpr std::uint64_t kFirstDescription = 8;
    constexpr std::uint64_t kSoundDescriptionSize = 52;
    constexpr std::uint64_t kFirstLabel = 16;
    const Bytes descriptions = child(sampleTable, fourCC("stsd"));
    track.format = word(descriptions, kFirstDescription + 4);
    const std::uint64_t size = word(descriptions, kFirstDescription);
    if (track.mediaType == fourCC("soun") && size > kSoundDescriptionSize &&
        size <= descriptions.size() - std::min<std::uint64_t>(descriptions.size(), 8)) {
        const Bytes extensions = descriptions.subspan(kFirstDescription + kSoundDescriptionSize,
                                                      size - kSoundDescriptionSize);
        track.channelLabel = word(child(extensions, fourCC("chan")), kFirstLabel);
    }
}

/// Sizes of samples, asked for in their order.
class SampleSizes {
public:
    explicit SampleSizes(Bytes atom) : mAtom(atom), mSize(word(atom, 4)), mCount(word(atom, 8)) {}

    [[nodiscard]] std::uint64_t count() const { return mCount; }
    [[nodiscard]] std::uint32_t constantSize() const { return mSize; }
    /// Bytes of the next samples; nothing when there are not so many.
    std::optional<std::uint64_t> next(std::uint64_t samples) {
        if (samples > mCount - mNext) {
            return std::nullopt;
        }
        std::uint64_t bytes = samples * mSize;
        for (std::uint64_t i = 0; mSize == 0 && i < samples; ++i) {
            const auto size = numberAt(mAtom, 12 + 4 * (mNext + i), 4);
            if (!size) {
                return std::nullopt;
            }
            bytes += *size;
        }
        mNext += samples;
        return bytes;
    }

private:
    Bytes mAtom;
    std::uint32_t mSize;
    std::uint64_t mCount;
    std::uint64_t mNext = 0;
};

/// How many samples each chunk has, asked for in their order.
class ChunkSamples {
public:
    explicit ChunkSamples(Bytes atom) : mAtom(atom), mRuns(word(atom, 4)) {}

    std::uint64_t ofChunk(std::uint64_t number) {  // counted from 1
        while (mRun + 1 < mRuns && number >= word(mAtom, 8 + 12 * (mRun + 1)) &&
               8 + 12 * (mRun + 2) <= mAtom.size()) {
            ++mRun;
        }
        return word(mAtom, 8 + 12 * mRun + 4);
    }

private:
    Bytes mAtom;
    std::uint64_t mRuns;
    std::uint64_t mRun = 0;
};

/// @return false when the tables contradict one another.
bool readSamples(Bytes sampleTable, TrackContents& track) {
    const Bytes offsets32 = child(sampleTable, fourCC("stco"));
    const Bytes offsets64 = child(sampleTable, fourCC("co64"));
    const Bytes offsets = offsets64.empty() ? offsets32 : offsets64;
    const std::size_t width = offsets64.empty() ? 4 : 8;
    SampleSizes sizes(child(sampleTable, fourCC("stsz")));
    ChunkSamples samplesOfChunks(child(sampleTable, fourCC("stsc")));
    const std::uint64_t chunks = word(offsets, 4);
    for (std::uint64_t chunk = 0; chunk < chunks; ++chunk) {
        const auto offset = numberAt(offsets, 8 + width * chunk, width);
        const std::uint64_t samples = samplesOfChunks.ofChunk(chunk + 1);
        const auto bytes = sizes.next(samples);
        if (!offset || !bytes || *offset > UINT64_MAX - *bytes) {
            return false;
        }
        if (chunk == 0) {
            track.firstSample = *offset;
        }
        track.samples += samples;
        track.sampleBytes += *bytes;
        track.endOfSamples = std::max(track.endOfSamples, *offset + *bytes);
    }
    track.sampleSize = sizes.constantSize();
    return track.samples == sizes.count();
}

bool readTrack(Bytes atom, TrackContents& track) {
    const Bytes media = child(atom, fourCC("mdia"));
    const Bytes header = child(media, fourCC("mdhd"));
    const Bytes information = child(media, fourCC("minf"));
    const Bytes sampleTable = child(information, fourCC("stbl"));
    if (header.empty() || sampleTable.empty()) {
        return false;
    }
    const bool isLong = header[0] == std::byte{1};
    track.timeScale = word(header, isLong ? 20 : 12);
    track.duration = numberAt(header, isLong ? 24 : 16, isLong ? 8 : 4).value_or(0);
    track.mediaType = word(child(media, fourCC("hdlr")), 8);
    readDataReference(information, track);
    readDescription(sampleTable, track);
    return readSamples(sampleTable, track);
}

bool readTracks(Bytes movie, std::vector<TrackContents>& tracks) {
    AtomWalk walk(movie);
    while (walk.next()) {
        if (walk.type != fourCC("trak")) {
            continue;
        }
        TrackContents track;
        if (!readTrack(walk.content, track)) {
            return false;
        }
        tracks.push_back(std::move(track));
    }
    return !tracks.empty();
}

/// An atom of the file itself.
struct FileAtom {
    FourCharCode type = 0;
    std::uint64_t content = 0;  ///< offset
    std::uint64_t size = 0;     ///< of the content
    std::uint64_t end = 0;
};

/// @return 0 or an errno value; ENODATA where no atom follows.
int readFileAtom(const ByteSource& file, std::uint64_t offset, FileAtom& atom) {
    std::array<std::byte, 16> header{};
    const std::uint64_t left = file.size() - std::min(file.size(), offset);
    if (left < kHeaderSize) {
        return ENODATA;
    }
    const auto read = static_cast<std::size_t>(std::min<std::uint64_t>(left, header.size()));
    if (const int error = file.readAt(offset, std::span(header).first(read)); error != 0) {
        return error;
    }
    std::uint64_t size = word(header, 0);
    std::uint64_t headerSize = kHeaderSize;
    if (size == 1) {
        headerSize = header.size();
        size = read == header.size() ? *numberAt(header, 8, 8) : 0;
    } else if (size == 0) {
        size = left;
    }
    if (size < headerSize) {
        return ENODATA;
    }
    atom.type = word(header, 4);
    atom.content = offset + headerSize;
    atom.end = offset + std::min(size, left);
    atom.size = atom.end - atom.content;
    return size <= left || atom.type == fourCC("mdat") ? 0 : ENODATA;
}

bool canBeginMovie(FourCharCode type) {
    constexpr std::array kTypes{fourCC("ftyp"), fourCC("moov"), fourCC("mdat"),
                                fourCC("wide"), fourCC("free"), fourCC("skip")};
    return std::find(kTypes.begin(), kTypes.end(), type) != kTypes.end();
}

int readMovieAtom(const ByteSource& file, const FileAtom& atom, MovieContents& contents) {
    if (atom.size > kLargestMovieAtom) {
        return 0;
    }
    std::vector<std::byte> bytes(atom.size);
    if (const int error = file.readAt(atom.content, bytes); error != 0) {
        return error;
    }
    contents.tracks.clear();
    contents.hasMovie = readTracks(bytes, contents.tracks);
    return 0;
}

}  // namespace

const TrackContents* MovieContents::track(FourCharCode mediaType) const {
    const auto found = std::find_if(tracks.begin(), tracks.end(), [mediaType](const auto& track) {
        return track.mediaType == mediaType;
    });
    return found != tracks.end() ? &*found : nullptr;
}

int readMovie(const ByteSource& file, MovieContents& contents) {
    contents = {};
    FileAtom atom;
    for (std::uint64_t offset = 0; !contents.hasMovie; offset = atom.end) {
        if (const int error = readFileAtom(file, offset, atom); error != 0) {
            return error == ENODATA ? 0 : error;
        }
        if (offset == 0) {
            contents.isMovieFile = canBeginMovie(atom.type);
            if (!contents.isMovieFile) {
                return 0;
            }
        }
        if (atom.type == fourCC("mdat") && contents.mediaDataAt == 0) {
            contents.mediaDataAt = atom.content;
            contents.mediaDataSize = atom.size;
        } else if (atom.type == fourCC("moov")) {
            if (const int error = readMovieAtom(file, atom, contents); error != 0) {
                return error;
            }
        }
    }
    return 0;
}

}  // namespace takebox::movietoolbox
