#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace takebox::test {

/// Reads bytes of a file at an offset; false when there are not so many.
using ByteSource = std::function<bool(std::uint64_t offset, std::span<std::byte> bytes)>;
ByteSource bytesOf(const std::vector<std::byte>& memory);  ///< refers to it
ByteSource bytesOf(const std::string& path);

/// One atom of a movie file, as a reader that trusts nothing finds it.
struct Atom {
    std::string type;
    std::uint64_t offset = 0;  ///< of its size field
    std::uint64_t size = 0;    ///< with its header
    std::uint64_t headerSize = 8;
    std::vector<Atom> children;

    /// The first atom at a path like "moov/trak/mdia", or null. A part may be counted: "trak[1]".
    [[nodiscard]] const Atom* find(const std::string& path) const;
};

/// The atoms of a whole file as the children of an atom without a type.
struct AtomTree {
    Atom root;
    std::string error;  ///< empty when every atom lies wholly in its parent and fills it

    [[nodiscard]] const Atom* find(const std::string& path) const { return root.find(path); }
};
AtomTree readAtoms(const ByteSource& bytes, std::uint64_t fileSize);

/// The content of an atom behind its header.
std::vector<std::byte> payload(const ByteSource& bytes, const Atom* atom);
/// A big-endian number of 1 to 8 bytes in it; 0 beyond its end.
std::uint64_t number(const std::vector<std::byte>& bytes, std::size_t offset, std::size_t size);

}  // namespace takebox::test
