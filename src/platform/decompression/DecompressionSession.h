#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "platform/decompression/ImageDescription.h"
#include "platform/decompression/PixelBuffer.h"

namespace takebox::decompression {

/// The size in which pictures are wanted.
struct PixelBufferAttributes {
    int width = 0;
    int height = 0;
};

struct DecompressionSessionOptions {
    /// How true the picture must be, 0 to 1023. Up to 512 a session for pictures of at most
    /// 360 x 240 decodes at half size, which costs a fraction; else it decodes every pixel.
    int accuracy = 512;
};

/// When a frame is to be shown.
struct FrameTimeRecord {
    static constexpr std::uint32_t kNonScheduledDisplayTime = 1;

    std::int64_t value = 0;          ///< display time in units of scale
    std::int32_t scale = 0;          ///< units per second
    std::int32_t rate = 0x00010000;  ///< 16.16 fixed point
    std::uint32_t frameNumber = 0;
    std::uint32_t flags = 0;  ///< kNonScheduledDisplayTime: shown when told, not by a clock
};

/// Decodes one stream of DV frames to pictures of a wanted size. One thread at a time.
///
/// A frame with a non-scheduled display time is decoded at once and comes out of the session when
/// the non-scheduled display time reaches it. A session takes frames of both video standards, also
/// in turn, and damaged ones: it decodes what it can.
class DecompressionSession {
public:
    /// Bits of the tracking flags.
    static constexpr std::uint32_t kLastCall = 1;
    static constexpr std::uint32_t kEmittingFrame = 4;

    /// What became of a frame. The pixel buffer belongs to the session and is valid during the call
    /// only; it is null with a non-zero status.
    using TrackingCallback = std::function<void(
        int status, std::uint32_t trackingFlags, const PixelBuffer* pixelBuffer,
        std::int64_t displayTime, std::int64_t displayDuration, std::uint32_t validTimeFlags)>;

    /// @return null when there is no decoder for the description or the size is not positive.
    static std::unique_ptr<DecompressionSession> create(const ImageDescription& description,
                                                        const PixelBufferAttributes& attributes,
                                                        const DecompressionSessionOptions& options,
                                                        TrackingCallback callback);
    ~DecompressionSession();
    DecompressionSession(const DecompressionSession&) = delete;
    DecompressionSession& operator=(const DecompressionSession&) = delete;

    /// The size of the pictures from the next one on. A size that is not positive is ignored.
    void setPixelBufferAttributes(const PixelBufferAttributes& attributes);

    /// Decodes one frame; an earlier one that has not come out yet is forgotten.
    /// @param data only read during the call.
    /// @return 0, or the decoder's negative error, which the callback has been given too.
    int decodeFrame(const std::uint8_t* data, std::size_t size, const FrameTimeRecord& time);

    /// Lets the decoded frame out when its time is not later than this one.
    void setNonScheduledDisplayTime(std::int64_t time, std::int32_t scale);

private:
    struct Decoder;

    DecompressionSession(std::unique_ptr<Decoder> decoder, const PixelBufferAttributes& attributes,
                         TrackingCallback callback);
    int decodeWhole(std::size_t size);
    void decodeAtHalfSize(std::size_t size);
    void emitFrame();

    std::unique_ptr<Decoder> mDecoder;
    PixelBufferAttributes mAttributes;
    TrackingCallback mCallback;
    PixelBuffer mPixelBuffer;
    FrameTimeRecord mPendingTime;
    bool mHasPendingFrame = false;
};

}  // namespace takebox::decompression
