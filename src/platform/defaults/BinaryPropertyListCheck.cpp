#include "platform/defaults/BinaryPropertyListCheck.h"

#include <cstdint>
#include <optional>

namespace takebox {
namespace {

constexpr std::uint64_t kHeaderSize = 8;
constexpr std::uint64_t kTrailerSize = 32;
constexpr int kMostVisits = 1'000'000;

// Kinds of object: the upper half of its first byte. The lower half is a count or size.
constexpr unsigned kInteger = 0x1;
constexpr unsigned kAsciiString = 0x5;
constexpr unsigned kUtf16String = 0x6;
constexpr unsigned kArray = 0xA;
constexpr unsigned kDictionary = 0xD;
constexpr unsigned kCountFollows = 0xF;

class Walker {
public:
    Walker(const QByteArray& bytes, int maximumDepth)
        : mBytes(bytes),
          mSize(static_cast<std::uint64_t>(bytes.size())),
          mMaximumDepth(maximumDepth) {}

    bool walk() {
        if (mSize < kHeaderSize + kTrailerSize) {
            return false;
        }
        // Trailer: sort version, sizes of an offset and of a reference, then three 64-bit numbers.
        const std::uint64_t trailer = mSize - kTrailerSize;
        mOffsetSize = byteAt(trailer + 6);
        mReferenceSize = byteAt(trailer + 7);
        mObjectCount = numberAt(trailer + 8, 8).value_or(0);
        mOffsetTable = numberAt(trailer + 24, 8).value_or(mSize);
        const bool hasSizes =
            mOffsetSize >= 1 && mOffsetSize <= 8 && mReferenceSize >= 1 && mReferenceSize <= 8;
        return hasSizes && isSound(numberAt(trailer + 16, 8).value_or(mObjectCount), 0);
    }

private:
    [[nodiscard]] unsigned byteAt(std::uint64_t position) const {
        return static_cast<unsigned char>(mBytes[static_cast<qsizetype>(position)]);
    }

    /// The big-endian number of so many bytes (at most 8), if it lies within the file.
    [[nodiscard]] std::optional<std::uint64_t> numberAt(std::uint64_t position,
                                                        std::uint64_t size) const {
        if (position > mSize || size > mSize - position) {
            return std::nullopt;
        }
        std::uint64_t number = 0;
        for (std::uint64_t i = 0; i < size; ++i) {
            number = number << 8U | byteAt(position + i);
        }
        return number;
    }

    /// Where an object begins, if there is such an object.
    [[nodiscard]] std::optional<std::uint64_t> positionOf(std::uint64_t object) const {
        if (object >= mObjectCount || object > mSize || mOffsetTable > mSize) {
            return std::nullopt;
        }
        const auto position = numberAt(mOffsetTable + object * mOffsetSize, mOffsetSize);
        return position && *position < mSize ? position : std::nullopt;
    }

    struct Contents {
        std::uint64_t begin;
        std::uint64_t count;
    };

    /// Contents of an array, dictionary or string, of which every element has a byte at least.
    [[nodiscard]] std::optional<Contents> contentsAt(std::uint64_t position) const {
        Contents contents{position + 1, byteAt(position) & 0xFU};
        if (contents.count == kCountFollows) {
            if (contents.begin >= mSize || byteAt(contents.begin) >> 4U != kInteger) {
                return std::nullopt;
            }
            const std::uint64_t size = std::uint64_t{1} << (byteAt(contents.begin) & 0xFU);
            const auto count = size <= 8 ? numberAt(contents.begin + 1, size) : std::nullopt;
            if (!count) {
                return std::nullopt;
            }
            contents = {contents.begin + 1 + size, *count};
        }
        return contents.count <= mSize ? std::optional(contents) : std::nullopt;
    }

    /// A string without a zero character, at which libplist ends the process too.
    [[nodiscard]] bool isKey(std::uint64_t object) const {
        const auto position = positionOf(object);
        const unsigned kind = position ? byteAt(*position) >> 4U : 0;
        const auto contents = position ? contentsAt(*position) : std::nullopt;
        if (!contents || (kind != kAsciiString && kind != kUtf16String)) {
            return false;
        }
        const std::uint64_t width = kind == kUtf16String ? 2 : 1;
        for (std::uint64_t i = 0; i < contents->count; ++i) {
            if (numberAt(contents->begin + i * width, width).value_or(0) == 0) {
                return false;
            }
        }
        return true;
    }

    bool isSound(std::uint64_t object, int depth) {
        const auto position = positionOf(object);
        if (!position || depth > mMaximumDepth || ++mVisits > kMostVisits) {
            return false;
        }
        const unsigned kind = byteAt(*position) >> 4U;
        if (kind != kArray && kind != kDictionary) {
            return true;
        }
        const auto contents = contentsAt(*position);
        return contents &&
               areSound(contents->begin, contents->count, kind == kDictionary, depth + 1);
    }

    /// A dictionary has the references of all its keys before those of its values.
    bool areSound(std::uint64_t references, std::uint64_t count, bool haveKeys, int depth) {
        for (std::uint64_t i = 0; i < count; ++i) {
            const auto first = numberAt(references + i * mReferenceSize, mReferenceSize);
            const auto value =
                haveKeys ? numberAt(references + (count + i) * mReferenceSize, mReferenceSize)
                         : first;
            if (!first || !value || (haveKeys && !isKey(*first)) || !isSound(*value, depth)) {
                return false;
            }
        }
        return true;
    }

    const QByteArray& mBytes;
    const std::uint64_t mSize;
    const int mMaximumDepth;
    std::uint64_t mOffsetSize = 0;
    std::uint64_t mReferenceSize = 0;
    std::uint64_t mObjectCount = 0;
    std::uint64_t mOffsetTable = 0;
    int mVisits = 0;
};

}  // namespace

bool isSoundBinaryPropertyList(const QByteArray& bytes, int maximumDepth) {
    return Walker(bytes, maximumDepth).walk();
}

}  // namespace takebox
