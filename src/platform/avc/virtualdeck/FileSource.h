#pragma once

#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "platform/avc/virtualdeck/FrameSource.h"
#include "platform/avc/virtualdeck/TapeTimeCode.h"

namespace takebox::avc {

/// A file of DV frames back to back as a tape. Each frame has the size that its own header tells,
/// so that a file may change between the standards. Whatever happens to the file meanwhile, frames
/// come whole or not at all.
class FileSource final : public FrameSource {
public:
    /// Opens the file and looks at the first frames.
    /// @param start  stands the tape at the first frame that carries this time code.
    /// @param error  receives a sentence for the user when null is returned.
    [[nodiscard]] static std::unique_ptr<FileSource> open(const QString& path,
                                                          std::optional<TapeTimeCode> start,
                                                          QString& error);
    ~FileSource() override;

    [[nodiscard]] std::size_t next(FrameBuffer buffer) override;
    [[nodiscard]] std::size_t again(FrameBuffer buffer) override;
    [[nodiscard]] std::size_t skip() override;
    void rewind() override { mPosition = 0; }
    [[nodiscard]] std::uint8_t dvMode() const override { return mDVMode; }

private:
    FileSource(int file, std::string path) : mFile(file), mPath(std::move(path)) {}

    [[nodiscard]] QString checkFrames() const;
    [[nodiscard]] bool standAt(const TapeTimeCode& start);
    /// Bytes read, fewer at the end of the file or after an error.
    [[nodiscard]] std::size_t readAt(std::uint64_t position, std::span<std::uint8_t> bytes) const;
    [[nodiscard]] std::size_t readFrame(std::uint64_t position, FrameBuffer buffer) const;
    void readAhead();
    /// Tells once why the tape ends before the file does.
    void reportRest(std::size_t lengthRead, std::span<const std::uint8_t> bytes);

    int mFile;
    std::string mPath;  // UTF-8, for messages
    std::uint64_t mPosition = 0;
    std::uint64_t mLastPosition = 0;  // of the frame that again() repeats
    // What the system was asked to read before it is needed.
    std::uint64_t mAheadFrom = 0;
    std::uint64_t mAheadTo = 0;
    std::uint8_t mDVMode = 0;
    bool mRestReported = false;
};

}  // namespace takebox::avc
