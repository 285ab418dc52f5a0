#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace takebox::movietoolbox {

/// Numbers and bytes laid out one after another, big-endian as in a movie file. The two classes
/// have the same operations, so that one function both measures and writes a structure.
class ByteBuffer {
public:
    void u8(std::uint8_t value) { mBytes.push_back(std::byte{value}); }
    void u16(std::uint16_t value) {
        u8(static_cast<std::uint8_t>(value >> 8));
        u8(static_cast<std::uint8_t>(value));
    }
    void u32(std::uint32_t value) {
        u16(static_cast<std::uint16_t>(value >> 16));
        u16(static_cast<std::uint16_t>(value));
    }
    void u64(std::uint64_t value) {
        u32(static_cast<std::uint32_t>(value >> 32));
        u32(static_cast<std::uint32_t>(value));
    }
    void text(std::string_view bytes) {
        for (const char byte : bytes) {
            u8(static_cast<std::uint8_t>(byte));
        }
    }
    void append(std::span<const std::byte> bytes) {
        mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
    }
    void zeros(std::size_t count) { mBytes.insert(mBytes.end(), count, std::byte{0}); }

    void reserve(std::size_t size) { mBytes.reserve(size); }
    [[nodiscard]] std::vector<std::byte>& bytes() { return mBytes; }

private:
    std::vector<std::byte> mBytes;
};

/// Counts the bytes that a ByteBuffer would take.
class ByteCounter {
public:
    void u8(std::uint8_t) { mSize += 1; }
    void u16(std::uint16_t) { mSize += 2; }
    void u32(std::uint32_t) { mSize += 4; }
    void u64(std::uint64_t) { mSize += 8; }
    void text(std::string_view bytes) { mSize += bytes.size(); }
    void append(std::span<const std::byte> bytes) { mSize += bytes.size(); }
    void zeros(std::size_t count) { mSize += count; }

    [[nodiscard]] std::uint64_t size() const { return mSize; }

private:
    std::uint64_t mSize = 0;
};

}  // namespace takebox::movietoolbox
