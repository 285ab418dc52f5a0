#include "platform/avc/virtualdeck/FileSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

/// Frames that are looked at before a file is taken for DV: enough to tell, and quick on a disk
/// that is slow to seek.
constexpr int kFramesChecked = 300;

/// How far ahead of the tape the system is asked to read: about two seconds.
constexpr std::uint64_t kReadAhead = 60 * kLargestFrameSize;

QString errnoText(int error) {
    return QString::fromStdString(std::generic_category().message(error));
}

}  // namespace

std::unique_ptr<FileSource> FileSource::open(const QString& path, std::optional<TapeTimeCode> start,
                                             QString& error) {
    const QByteArray nativePath = QFile::encodeName(path);
    // Not blocking, or a pipe without a writer would hang here.
    const int file = ::open(nativePath.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        error = QStringLiteral("Cannot open \"%1\": %2.").arg(path, errnoText(errno));
        return nullptr;
    }
    std::unique_ptr<FileSource> source(new FileSource(file, path.toStdString()));
    struct stat status {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        error = QStringLiteral("\"%1\" is not a regular file.").arg(path);
        return nullptr;
    }
    if (const QString fault = source->checkFrames(); !fault.isEmpty()) {
        error = QStringLiteral("\"%1\" is not a file of DV frames: %2.").arg(path, fault);
        return nullptr;
    }
    if (start && !source->standAt(*start)) {
        error = QStringLiteral("\"%1\" has no frame with the time code %2.")
                    .arg(path, QLatin1String(start->text().data()));
        return nullptr;
    }
    std::array<std::uint8_t, kFrameHeaderSize> header{};
    if (source->readAt(source->mPosition, header) == header.size()) {
        source->mDVMode = dvModeOf(header);
    }
    return source;
}

FileSource::~FileSource() {
    close(mFile);
}

QString FileSource::checkFrames() const {
    struct stat status {};
    fstat(mFile, &status);
    const auto fileSize = static_cast<std::uint64_t>(status.st_size);
    std::uint64_t position = 0;
    for (int frame = 1; frame <= kFramesChecked && position < fileSize; ++frame) {
        std::array<std::uint8_t, kFrameHeaderSize> header{};
        const std::size_t length = readAt(position, header);
        if (length < header.size()) {
            break;  // a rest that is too short to tell anything
        }
        if (!isFrameHeader(header)) {
            return frame == 1 ? QStringLiteral("it does not begin with a DIF header")
                              : QStringLiteral("no DIF header at byte %1, where frame %2 begins")
                                    .arg(position)
                                    .arg(frame);
        }
        const std::size_t size = frameSize(standardOf(header));
        if (frame == 1 && fileSize < size) {
            return QStringLiteral("it is too short, a frame has %1 bytes and the file only %2")
                .arg(size)
                .arg(fileSize);
        }
        position += size;
    }
    return position > 0 ? QString() : QStringLiteral("it is too short (%1 bytes)").arg(fileSize);
}

bool FileSource::standAt(const TapeTimeCode& start) {
    std::array<std::uint8_t, kTimeCodeEnd> bytes{};
    while (readAt(mPosition, bytes) == bytes.size() && isFrameHeader(bytes)) {
        const auto data = std::span<const std::uint8_t>(bytes).last<4>();
        if (TapeTimeCode::fromPackData(data) == start) {
            return true;
        }
        mPosition += frameSize(standardOf(bytes));
    }
    return false;
}

std::size_t FileSource::readAt(std::uint64_t position, std::span<std::uint8_t> bytes) const {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t count = pread(mFile, bytes.data() + done, bytes.size() - done,
                                    static_cast<off_t>(position + done));
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            break;
        }
    }
    return done;
}

std::size_t FileSource::readFrame(std::uint64_t position, FrameBuffer buffer) const {
    constexpr std::size_t kSmall = frameSize(DVStandard::kNTSC);
    std::size_t length = readAt(position, buffer.first<kSmall>());
    if (length == kSmall && standardOf(buffer) == DVStandard::kPAL) {
        length += readAt(position + length, buffer.subspan<kSmall>());
    }
    return length;
}

std::size_t FileSource::next(FrameBuffer buffer) {
    const std::size_t length = readFrame(mPosition, buffer);
    if (!isFrameHeader(buffer.first(length)) || length < frameSize(standardOf(buffer))) {
        reportRest(length, buffer.first(length));
        return 0;
    }
    mLastPosition = mPosition;
    mPosition += length;
    readAhead();
    return length;
}

void FileSource::readAhead() {
    // The system looks at every page that it is asked for, so it is not asked again for each frame.
    const bool isElsewhere = mPosition < mAheadFrom || mPosition > mAheadTo;
    if (!isElsewhere && mAheadTo - mPosition > kReadAhead / 2) {
        return;
    }
    mAheadFrom = mPosition;
    const std::uint64_t begin = isElsewhere ? mPosition : mAheadTo;
    mAheadTo = mPosition + kReadAhead;
    posix_fadvise(mFile, static_cast<off_t>(begin), static_cast<off_t>(mAheadTo - begin),
                  POSIX_FADV_WILLNEED);
}

std::size_t FileSource::again(FrameBuffer buffer) {
    const std::size_t length = readFrame(mLastPosition, buffer);
    const bool isWhole =
        isFrameHeader(buffer.first(length)) && length == frameSize(standardOf(buffer));
    return isWhole ? length : 0;
}

std::size_t FileSource::skip() {
    std::array<std::uint8_t, kFrameHeaderSize> header{};
    if (readAt(mPosition, header) < header.size() || !isFrameHeader(header)) {
        return 0;
    }
    const std::size_t size = frameSize(standardOf(header));
    struct stat status {};
    if (fstat(mFile, &status) != 0 ||
        static_cast<std::uint64_t>(status.st_size) < mPosition + size) {
        return 0;
    }
    mLastPosition = mPosition;
    mPosition += size;
    return size;
}

void FileSource::reportRest(std::size_t lengthRead, std::span<const std::uint8_t> bytes) {
    if (lengthRead == 0 || std::exchange(mRestReported, true)) {
        return;
    }
    const auto position = static_cast<unsigned long long>(mPosition);
    if (lengthRead >= kFrameHeaderSize && !isFrameHeader(bytes)) {
        logFromReceiveThread("No DIF header at byte %llu, the tape ends there: %s", position,
                             mPath.c_str());
    } else {
        logFromReceiveThread(
            "The last frame is not whole, its %zu bytes at byte %llu are not played: %s",
            lengthRead, position, mPath.c_str());
    }
}

}  // namespace takebox::avc
