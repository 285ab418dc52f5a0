#include "platform/movietoolbox/AliasRecord.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <string_view>
#include <system_error>

#include "platform/movietoolbox/ByteBuffer.h"

namespace takebox::movietoolbox {
namespace {

namespace fs = std::filesystem;

// Readers strip this name, which the header and the colon path share, to find the path below "/".
constexpr std::string_view kVolumeName = "Linux";

enum Tag : std::uint16_t {
    kParentFolderName = 0,
    kColonPath = 2,
    kUnicodeFileName = 14,
    kUnicodeVolumeName = 15,
    kPosixPath = 18,
    kPosixMountPoint = 19,
    kEnd = 0xFFFF,
};

void putField(ByteBuffer& out, Tag tag, std::string_view bytes) {
    out.u16(tag);
    out.u16(static_cast<std::uint16_t>(bytes.size()));
    out.text(bytes);
    out.zeros(bytes.size() % 2);
}

/// A name in a field of fixed size, after its length; a longer name is cut between characters.
void putName(ByteBuffer& out, std::string_view name, std::size_t fieldSize) {
    if (name.size() > fieldSize) {
        std::size_t end = fieldSize;
        while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) {
            --end;
        }
        name = name.substr(0, end);
    }
    out.u8(static_cast<std::uint8_t>(name.size()));
    out.text(name);
    out.zeros(fieldSize - name.size());
}

/// UTF-16 with its length in front; bytes that are no UTF-8 become the replacement character.
void putUnicodeField(ByteBuffer& out, Tag tag, const std::string& name) {
    std::u16string text;
    try {
        text = fs::path(name).u16string();
    } catch (const std::system_error&) {
        for (const char byte : name) {
            text.push_back(static_cast<unsigned char>(byte) < 0x80 ? static_cast<char16_t>(byte)
                                                                   : u'\uFFFD');
        }
    }
    out.u16(tag);
    out.u16(static_cast<std::uint16_t>(2 + 2 * text.size()));
    out.u16(static_cast<std::uint16_t>(text.size()));
    for (const char16_t unit : text) {
        out.u16(unit);
    }
}

std::string withColons(const std::string& path) {
    std::string text(kVolumeName);
    std::string below = path;
    for (char& character : below) {
        character = character == '/' ? ':' : character == ':' ? '/' : character;
    }
    return text + below;
}

struct Levels {
    std::ptrdiff_t up = 0;
    std::ptrdiff_t down = 0;
};

/// Counted from the folder that both paths share; a file in it is one level below.
Levels levelsBetween(const fs::path& movie, const fs::path& target) {
    const fs::path movieFolder = movie.parent_path();
    const fs::path targetFolder = target.parent_path();
    const auto [fromEnd, toEnd] = std::mismatch(movieFolder.begin(), movieFolder.end(),
                                                targetFolder.begin(), targetFolder.end());
    return {std::distance(fromEnd, movieFolder.end()) + 1,
            std::distance(toEnd, targetFolder.end()) + 1};
}

}  // namespace

std::vector<std::byte> AliasRecord::bytes() const {
    const fs::path path(target);
    const std::string name = path.filename().string();
    const std::string parent = path.parent_path().filename().string();
    const Levels levels = levelsBetween(movie, path);

    ByteBuffer tail;
    putField(tail, kParentFolderName, parent.empty() ? kVolumeName : std::string_view(parent));
    putField(tail, kColonPath, withColons(target));
    putUnicodeField(tail, kUnicodeFileName, name);
    putUnicodeField(tail, kUnicodeVolumeName, std::string(kVolumeName));
    putField(tail, kPosixPath, std::string_view(target).substr(1));
    putField(tail, kPosixMountPoint, "/");
    putField(tail, kEnd, "");

    constexpr std::size_t kHeaderSize = 150;
    ByteBuffer out;
    out.zeros(4);
    out.u16(static_cast<std::uint16_t>(kHeaderSize + tail.bytes().size()));
    out.u16(2);  // version
    out.u16(0);  // points to a file
    putName(out, kVolumeName, 27);
    out.u32(0);  // creation date of the volume
    out.text("H+");
    out.u16(0);  // fixed disk
    out.u32(0);  // parent folder's number
    putName(out, name, 63);
    out.zeros(16);  // number, date, type and creator of the file
    out.u16(static_cast<std::uint16_t>(levels.up));
    out.u16(static_cast<std::uint16_t>(levels.down));
    out.zeros(16);
    out.append(tail.bytes());
    return std::move(out.bytes());
}

bool AliasRecord::canBeFollowed() const {
    const fs::path path(target);
    auto part = path.end();
    for (auto left = levelsBetween(movie, path).down; left > 0; --left) {
        --part;
        if (part->string().find(':') != std::string::npos) {
            return false;
        }
    }
    return true;
}

Status QTNewAlias(const std::string& target, const std::string& movie, AliasRecord& alias) {
    std::error_code error;
    const fs::path absoluteTarget = fs::absolute(target, error).lexically_normal();
    if (target.empty() || error || !absoluteTarget.has_filename() ||
        fs::is_directory(absoluteTarget, error) ||
        !fs::is_directory(absoluteTarget.parent_path(), error)) {
        return kFileNotFound;
    }
    const fs::path absoluteMovie = fs::absolute(movie, error).lexically_normal();
    if (error) {
        return kFileNotFound;
    }
    // The path stands in the record twice, its last part in UTF-16 once more.
    constexpr std::size_t kLongestPath = std::numeric_limits<std::int16_t>::max() / 4;
    if (absoluteTarget.native().size() > kLongestPath) {
        return kBadName;
    }
    alias = {absoluteTarget.string(), absoluteMovie.string()};
    return kNoError;
}

}  // namespace takebox::movietoolbox
