#include "AtomTree.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <string_view>

namespace takebox::test {
namespace {

constexpr std::uint64_t kHeaderSize = 8;

/// Atoms that consist of atoms, with the bytes that stand before the first of them.
struct Container {
    std::string_view parent;
    std::string_view type;
    std::uint64_t fields;
};
constexpr std::array kContainers{
    Container{"", "moov", 0},     Container{"moov", "trak", 0}, Container{"trak", "edts", 0},
    Container{"trak", "tref", 0}, Container{"trak", "mdia", 0}, Container{"mdia", "minf", 0},
    Container{"minf", "gmhd", 0}, Container{"gmhd", "tmcd", 0}, Container{"minf", "dinf", 0},
    Container{"dinf", "dref", 8}, Container{"minf", "stbl", 0}, Container{"stbl", "stsd", 8},
};

class Reader {
public:
    explicit Reader(const ByteSource& bytes) : mBytes(bytes) {}

    /// Reads the atoms between two offsets. False after the first that is wrong.
    bool readChildren(Atom& parent, std::uint64_t from, std::uint64_t to, bool isFile) {
        while (from < to) {
            Atom atom;
            if (!readHeader(atom, from, to, isFile)) {
                return false;
            }
            for (const auto& container : kContainers) {
                if (container.parent == parent.type && container.type == atom.type) {
                    const std::uint64_t first = from + atom.headerSize + container.fields;
                    if (first > from + atom.size) {
                        return wrong(atom, "is too short");
                    }
                    if (!readChildren(atom, first, from + atom.size, false)) {
                        return false;
                    }
                }
            }
            from += atom.size;
            parent.children.push_back(std::move(atom));
        }
        return true;
    }

    std::string error;

private:
    bool readHeader(Atom& atom, std::uint64_t from, std::uint64_t to, bool isFile) {
        std::vector<std::byte> header(kHeaderSize);
        atom.offset = from;
        if (to - from < kHeaderSize || !mBytes(from, header)) {
            return wrong(atom, "has no header");
        }
        atom.size = number(header, 0, 4);
        for (std::size_t i = 4; i < kHeaderSize; ++i) {
            atom.type.push_back(static_cast<char>(header[i]));
        }
        if (atom.size == 1 && isFile) {
            atom.headerSize = 16;
            std::vector<std::byte> size(8);
            if (!mBytes(from + kHeaderSize, size)) {
                return wrong(atom, "has no header");
            }
            atom.size = number(size, 0, 8);
        } else if (atom.size == 0 && isFile) {
            atom.size = to - from;
        }
        if (atom.size < atom.headerSize || atom.size > to - from) {
            return wrong(atom, "does not fit into what it lies in");
        }
        return true;
    }

    bool wrong(const Atom& atom, const char* how) {
        error = "the atom '" + atom.type + "' at " + std::to_string(atom.offset) + " of size " +
                std::to_string(atom.size) + " " + how;
        return false;
    }

    const ByteSource& mBytes;
};

}  // namespace

ByteSource bytesOf(const std::vector<std::byte>& memory) {
    return [&memory](std::uint64_t offset, std::span<std::byte> bytes) {
        if (offset > memory.size() || bytes.size() > memory.size() - offset) {
            return false;
        }
        std::copy_n(memory.begin() + static_cast<std::ptrdiff_t>(offset), bytes.size(),
                    bytes.begin());
        return true;
    };
}

ByteSource bytesOf(const std::string& path) {
    auto file = std::make_shared<std::ifstream>(path, std::ios::binary);
    return [file](std::uint64_t offset, std::span<std::byte> bytes) {
        file->clear();
        file->seekg(static_cast<std::streamoff>(offset));
        file->read(reinterpret_cast<char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        return file->good();
    };
}

const Atom* Atom::find(const std::string& path) const {
    const std::size_t slash = path.find('/');
    std::string part = path.substr(0, slash);
    std::size_t index = 0;
    if (const std::size_t bracket = part.find('['); bracket != std::string::npos) {
        index = std::stoul(part.substr(bracket + 1));
        part.resize(bracket);
    }
    for (const auto& child : children) {
        if (child.type == part && index-- == 0) {
            return slash == std::string::npos ? &child : child.find(path.substr(slash + 1));
        }
    }
    return nullptr;
}

AtomTree readAtoms(const ByteSource& bytes, std::uint64_t fileSize) {
    AtomTree tree;
    Reader reader(bytes);
    reader.readChildren(tree.root, 0, fileSize, true);
    tree.root.size = fileSize;
    tree.error = reader.error;
    return tree;
}

std::vector<std::byte> payload(const ByteSource& bytes, const Atom* atom) {
    if (atom == nullptr) {
        return {};
    }
    std::vector<std::byte> content(atom->size - atom->headerSize);
    return bytes(atom->offset + atom->headerSize, content) ? content : std::vector<std::byte>();
}

std::uint64_t number(const std::vector<std::byte>& bytes, std::size_t offset, std::size_t size) {
    if (offset > bytes.size() || size > bytes.size() - offset) {
        return 0;
    }
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | static_cast<std::uint8_t>(bytes[offset + i]);
    }
    return value;
}

}  // namespace takebox::test
