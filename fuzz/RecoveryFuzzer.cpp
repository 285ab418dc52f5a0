#include <cstdint>
#include <cstdlib>
#include <span>

#include "platform/movietoolbox/ByteSource.h"
#include "platform/movietoolbox/MovieReader.h"
#include "recovery/MediaDataScan.h"
#include "recovery/RecoverySteps.h"

/// Whatever is given to recovery as a movie file: its atoms, its tables, the records of its media
/// data and its time code. What is found must lie within the file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace takebox;
    using namespace takebox::movietoolbox;
    const MemoryBytes file(std::as_bytes(std::span(data, size)));
    MovieContents contents;
    if (readMovie(file, contents) != 0 ||
        contents.mediaDataAt + contents.mediaDataSize > file.size()) {
        std::abort();
    }
    for (const TrackContents& track : contents.tracks) {
        if (track.samples == 0 && track.sampleBytes != 0) {
            std::abort();
        }
    }
    static_cast<void>(startTimeCodeOf(file, contents));

    MediaDataScan scan;
    const std::uint64_t begin = contents.mediaDataAt;
    const std::uint64_t end = begin + contents.mediaDataSize;
    if (scanMediaData(file, begin, end, scan) != 0) {
        std::abort();
    }
    std::uint64_t last = begin;
    for (const MediaPiece& piece : scan.pieces) {
        if (piece.samples() == 0 || piece.offset < last || piece.offset + piece.bytes() > end) {
            std::abort();
        }
        last = piece.offset + piece.bytes();
    }
    return 0;
}
