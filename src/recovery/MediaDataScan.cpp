#include "recovery/MediaDataScan.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>

namespace takebox {

using namespace movietoolbox;

namespace {

constexpr std::uint64_t kRecordSize = 16;
// The recorder's largest chunk has less than a megabyte.
constexpr std::uint64_t kLargestRecord = std::uint64_t{16} << 20U;
constexpr std::uint32_t kSequenceSize = 12000;  // bytes of one DIF sequence

std::uint32_t word(const std::byte* bytes) {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8U | std::to_integer<std::uint32_t>(bytes[i]);
    }
    return value;
}

/// A record and where its data is.
struct Record {
    MediaPiece piece;  ///< with all of its samples, whether they are there or not
    std::uint64_t dataSize = 0;
    bool isMedia = false;  ///< not the time code
};

/// The sizes of samples that differ; they stand behind the record.
int readSizes(const ByteSource& file, std::uint64_t offset, std::uint32_t count,
              std::vector<SampleSizeRun>& sizes) {
    if (std::uint64_t{count} * 4 > file.size()) {
        return ENODATA;
    }
    std::vector<std::byte> bytes(std::size_t{count} * 4);
    if (const int error = file.readAt(offset, bytes); error != 0) {
        return error;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t size = word(bytes.data() + 4 * i);
        if (sizes.empty() || sizes.back().size != size) {
            sizes.push_back({0, size});
        }
        ++sizes.back().count;
    }
    return 0;
}

/// @return 0, ENODATA where no record stands, or another errno value.
int readRecord(const ByteSource& file, std::uint64_t offset, Record& record) {
    std::array<std::byte, kRecordSize> header{};
    if (const int error = file.readAt(offset, header); error != 0) {
        return error;
    }
    const FourCharCode type = word(header.data());
    record.dataSize = word(header.data() + 4);
    const std::uint32_t count = word(header.data() + 8);
    const std::uint32_t size = word(header.data() + 12);
    record.isMedia = type == fourCC("vide") || type == fourCC("soun");
    if ((!record.isMedia && type != fourCC("tmcd")) || count == 0 || record.dataSize == 0 ||
        record.dataSize > kLargestRecord || count > record.dataSize) {
        return ENODATA;
    }
    record.piece.type = type;
    record.piece.offset = offset + kRecordSize;
    if (size != 0) {
        record.piece.sizes = {{count, size}};
    } else {
        if (const int error = readSizes(file, record.piece.offset, count, record.piece.sizes);
            error != 0) {
            return error;
        }
        record.piece.offset += std::uint64_t{count} * 4;
    }
    return record.piece.bytes() <= record.dataSize ? 0 : ENODATA;
}

/// Leaves out the samples that do not lie wholly in the first `size` bytes, and empty ones.
void cutTo(MediaPiece& piece, std::uint64_t size) {
    std::uint64_t left = size;
    auto run = piece.sizes.begin();
    for (; run != piece.sizes.end() && run->size != 0; ++run) {
        const auto fitting =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(run->count, left / run->size));
        left -= std::uint64_t{fitting} * run->size;
        if (fitting < run->count) {
            run->count = fitting;
            run += fitting != 0 ? 1 : 0;
            break;
        }
    }
    piece.sizes.erase(run, piece.sizes.end());
}

using BlockID = std::array<std::byte, 3>;

/// Whether the first block ID of each DIF sequence of a frame passes the check.
bool everySequence(const ByteSource& file, std::uint64_t offset, std::uint32_t size,
                   bool (*check)(const BlockID& block, std::uint32_t sequence)) {
    for (std::uint32_t sequence = 0;
         std::uint64_t{sequence} * kSequenceSize + sizeof(BlockID) <= size; ++sequence) {
        BlockID block{};
        if (file.readAt(offset + std::uint64_t{sequence} * kSequenceSize, block) != 0 ||
            !check(block, sequence)) {
            return false;
        }
    }
    return true;
}

/// Section type 0 is a header block; the sequence's number is in the upper half of the second byte.
bool beginsSequence(const BlockID& block, std::uint32_t sequence) {
    return block[0] != std::byte{0} && (block[0] & std::byte{0xE0}) == std::byte{0} &&
           std::to_integer<std::uint32_t>(block[1] >> 4U) == sequence % 16;
}

/// No block has an ID of zeros; a hole in the file has.
bool isThere(const BlockID& block, std::uint32_t /*sequence*/) {
    return block != BlockID{};
}

void dropFramesThatNeverArrived(const ByteSource& file, std::vector<MediaPiece>& pieces) {
    for (auto piece = pieces.rbegin(); piece != pieces.rend(); ++piece) {
        while (piece->type == fourCC("vide") && piece->samples() != 0) {
            const std::uint32_t size = piece->lastSize();
            if (everySequence(file, piece->offset + piece->bytes() - size, size, isThere)) {
                return;
            }
            piece->dropLast();
        }
    }
}

}  // namespace

std::uint64_t MediaPiece::bytes() const {
    std::uint64_t sum = 0;
    for (const auto& run : sizes) {
        sum += std::uint64_t{run.count} * run.size;
    }
    return sum;
}

std::uint64_t MediaPiece::samples() const {
    std::uint64_t sum = 0;
    for (const auto& run : sizes) {
        sum += run.count;
    }
    return sum;
}

std::uint64_t MediaPiece::recordSize() const {
    return kRecordSize + (sizes.size() > 1 ? 4 * samples() : 0);
}

void MediaPiece::dropLast() {
    if (!sizes.empty() && --sizes.back().count == 0) {
        sizes.pop_back();
    }
}

bool isDVFrame(const ByteSource& file, std::uint64_t offset, std::uint32_t size) {
    return size != 0 && everySequence(file, offset, size, beginsSequence);
}

int scanMediaData(const ByteSource& file, std::uint64_t begin, std::uint64_t end,
                  MediaDataScan& scan) {
    scan = {};
    for (std::uint64_t offset = begin; offset < end;) {
        Record record;
        const int error = readRecord(file, offset, record);
        if (error != 0 && error != ENODATA) {
            return error;
        }
        if (error == ENODATA || record.piece.offset >= end) {
            break;
        }
        offset = record.piece.offset + record.dataSize;
        cutTo(record.piece, end - record.piece.offset);
        if (record.isMedia && record.piece.samples() != 0) {
            scan.pieces.push_back(std::move(record.piece));
        }
    }
    dropFramesThatNeverArrived(file, scan.pieces);
    std::erase_if(scan.pieces, [](const MediaPiece& piece) { return piece.samples() == 0; });
    return 0;
}

}  // namespace takebox
