#include "recovery/RawFiles.h"

#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "capture/DVFrameParser.h"
#include "platform/movietoolbox/MovieReader.h"

namespace takebox {

using namespace movietoolbox;
namespace fs = std::filesystem;

namespace {

// Samples of one chunk of the new movie.
constexpr std::uint32_t kFramesPerPiece = 5;
constexpr std::uint32_t kSamplesPerPiece = 9600;

std::string onDisk(const QString& path) {
    return QFile::encodeName(path).toStdString();
}

std::unique_ptr<FileBytes> openIfThere(const std::string& path) {
    int error = 0;
    return path.empty() ? nullptr : FileBytes::open(path, error);
}

bool isFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

bool openPair(const QString& base, RawFiles& files) {
    files.picturesPath = onDisk(base + QStringLiteral(".dv"));
    files.soundPath = onDisk(base + QStringLiteral(".aud"));
    files.pictures = openIfThere(files.picturesPath);
    files.sound = openIfThere(files.soundPath);
    return files.pictures || files.sound;
}

bool openTargetsOf(const QString& referencePath, RawFiles& files) {
    int error = 0;
    const auto reference = FileBytes::open(onDisk(referencePath), error);
    MovieContents contents;
    if (!reference || readMovie(*reference, contents) != 0) {
        return false;
    }
    const auto open = [&](FourCharCode type, std::string& path, std::unique_ptr<FileBytes>& file) {
        if (const TrackContents* const track = contents.track(type)) {
            path = findTarget(track->target, onDisk(referencePath));
            file = openIfThere(path);
        }
    };
    open(fourCC("vide"), files.picturesPath, files.pictures);
    open(fourCC("soun"), files.soundPath, files.sound);
    return files.pictures || files.sound;
}

/// The same samples at both places?
bool areSame(const ByteSource& one, std::uint64_t at, const ByteSource& other,
             std::uint64_t otherAt, std::uint32_t size) {
    std::vector<std::byte> bytes(size);
    std::vector<std::byte> otherBytes(size);
    return one.readAt(at, bytes) == 0 && other.readAt(otherAt, otherBytes) == 0 &&
           bytes == otherBytes;
}

/// Whether a raw file begins with what the movie holds: its first and last samples of the type
/// stand there at their places.
bool continues(const ByteSource& raw, const ByteSource& movie, const MediaDataScan& scan,
               FourCharCode type) {
    const auto ofType = [type](const MediaPiece& piece) { return piece.type == type; };
    const auto first = std::find_if(scan.pieces.begin(), scan.pieces.end(), ofType);
    const auto last = std::find_if(scan.pieces.rbegin(), scan.pieces.rend(), ofType);
    if (first == scan.pieces.end()) {
        return true;
    }
    std::uint64_t bytes = 0;
    for (const auto& piece : scan.pieces) {
        bytes += piece.type == type ? piece.bytes() : 0;
    }
    const std::uint32_t firstSize = first->sizes.front().size;
    const std::uint32_t lastSize = last->lastSize();
    return bytes <= raw.size() && areSame(raw, 0, movie, first->offset, firstSize) &&
           areSame(raw, bytes - lastSize, movie, last->offset + last->bytes() - lastSize, lastSize);
}

std::uint64_t bytesOf(const MediaDataScan& scan, FourCharCode type) {
    std::uint64_t bytes = 0;
    for (const auto& piece : scan.pieces) {
        bytes += piece.type == type ? piece.bytes() : 0;
    }
    return bytes;
}

}  // namespace

std::string findTarget(const std::string& target, const std::string& moviePath) {
    if (target.empty() || isFile(target)) {
        return target;
    }
    // The folder that both share may have another name or place now: the last parts of the path are
    // looked for beside the movie and in the folders above it.
    constexpr int kLevels = 4;
    fs::path tail;
    fs::path head(target);
    for (int down = 0; down < kLevels && head.has_filename(); ++down) {
        tail = tail.empty() ? head.filename() : head.filename() / tail;
        head = head.parent_path();
        fs::path folder = fs::path(moviePath).parent_path();
        for (int up = 0; up < kLevels; ++up, folder = folder.parent_path()) {
            if (isFile(folder / tail)) {
                return (folder / tail).string();
            }
        }
    }
    return {};
}

RawFiles openRawFilesOf(const QString& moviePath, const RecordingFacts& facts) {
    RawFiles files;
    const QFileInfo movie(moviePath);
    const QString name = movie.completeBaseName();
    const QString beside = movie.path() + QLatin1Char('/') + name;
    if ((!facts.rawPath.isEmpty() && openPair(facts.rawPath, files)) ||
        openTargetsOf(beside + QStringLiteral(".ref"), files) ||
        openPair(beside + QLatin1Char('/') + name, files) || openPair(beside, files)) {
        return files;
    }
    return {};
}

std::vector<MediaPiece> furtherFrames(const ByteSource& raw, std::uint32_t frameSize,
                                      const ByteSource& movie, const MediaDataScan& scan) {
    std::vector<MediaPiece> pieces;
    if (!continues(raw, movie, scan, fourCC("vide"))) {
        return pieces;
    }
    for (std::uint64_t offset = bytesOf(scan, fourCC("vide"));
         offset + frameSize <= raw.size() && isDVFrame(raw, offset, frameSize);
         offset += frameSize) {
        if (pieces.empty() || pieces.back().sizes.front().count == kFramesPerPiece) {
            pieces.push_back({fourCC("vide"), offset, {{0, frameSize}}});
        }
        ++pieces.back().sizes.front().count;
    }
    return pieces;
}

std::vector<MediaPiece> furtherSound(const ByteSource& raw, const ByteSource& movie,
                                     const MediaDataScan& scan) {
    std::vector<MediaPiece> pieces;
    if (!continues(raw, movie, scan, fourCC("soun"))) {
        return pieces;
    }
    std::uint64_t offset = bytesOf(scan, fourCC("soun"));
    while (raw.size() - offset >= kBytesPerSampleFrame) {
        const auto count = static_cast<std::uint32_t>(std::min<std::uint64_t>(
            kSamplesPerPiece, (raw.size() - offset) / kBytesPerSampleFrame));
        pieces.push_back({fourCC("soun"), offset, {{count, kBytesPerSampleFrame}}});
        offset += std::uint64_t{count} * kBytesPerSampleFrame;
    }
    return pieces;
}

std::uint32_t frameSizeAt(const ByteSource& file, std::uint64_t offset) {
    // Bit 7 of the header pack: 12 DIF sequences instead of 10.
    constexpr std::byte kIsPAL{0x80};
    std::array<std::byte, 4> header{};
    if (file.readAt(offset, header) != 0) {
        return 0;
    }
    const std::uint32_t size =
        (header[3] & kIsPAL) != std::byte{0} ? kPALGeometry.frameSize : kNTSCGeometry.frameSize;
    return isDVFrame(file, offset, size) ? size : 0;
}

}  // namespace takebox
