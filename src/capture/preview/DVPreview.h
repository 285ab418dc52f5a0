#pragma once

#include <QByteArray>
#include <QImage>
#include <QRectF>
#include <QSize>
#include <atomic>
#include <cstdint>
#include <memory>

#include "capture/preview/LatestFrame.h"
#include "capture/preview/PreviewDelegate.h"
#include "platform/decompression/DecompressionSession.h"

namespace takebox {

/// The small live picture of one capture device, and the same picture as JPEG.
///
/// Threads. offerFrame() is called on the receive thread and waits for nothing; set16By9() and
/// previewBounds() may be called on any thread; everything else belongs to the main thread. When
/// this object is destroyed the receive thread must have been joined.
///
/// Every frame for which decompressFrame() is called counts as shown, except that a busy main
/// thread sees only the newest. Where nobody looks (no delegate, or one that wants no picture)
/// decoding waits until somebody does or the JPEG picture is asked for; encoding always waits for
/// that.
class DVPreview {
public:
    /// Lines of the picture; its width follows the shape of the display.
    static constexpr int kHeight = 135;

    DVPreview(decompression::ImageDescription description, double framesPerSecond);
    ~DVPreview();
    DVPreview(const DVPreview&) = delete;
    DVPreview& operator=(const DVPreview&) = delete;

    /// Not owned; null for none.
    void setDelegate(PreviewDelegate* delegate) { mDelegate = delegate; }

    /// Copies a received frame, whatever its length, and returns. Receive thread only.
    void offerFrame(const std::uint8_t* data, std::uint32_t length) noexcept {
        mFrames.offer(data, length);
    }

    /// Takes the newest frame, if there is one that was not taken before. The first one ever only
    /// creates the decompression session.
    /// @param recordedFrames frames recorded so far: the display time in frames.
    void decompressFrame(std::uint32_t recordedFrames);

    /// What the decompression session calls with a decoded picture.
    void displayData(const decompression::PixelBuffer* pixelBuffer, std::uint32_t trackingFlags,
                     std::int64_t displayTime, std::int64_t displayDuration,
                     std::uint32_t validTimeFlags);

    /// The picture from which the JPEG is made; a null image stores a bare end-of-image marker.
    void updateJPEGPreviewDataWithImage(const QImage& image);

    /// The newest picture as JPEG; empty before there is one.
    [[nodiscard]] QByteArray JPEGPreviewData();

    /// Takes over the 16:9 flag of the stream and brings the bounds up to date.
    void set16By9(bool is16By9);
    /// Computes the bounds from the description and the 16:9 flag.
    void updatePreviewBounds();
    /// The area of the picture; its origin is 0,0.
    [[nodiscard]] QRectF previewBounds() const;
    /// Bounds of the size that is set already change nothing.
    void setPreviewBounds(const QRectF& bounds);

    /// Frames handed to the session so far.
    [[nodiscard]] std::uint32_t frameCount() const { return mFrameCount; }
    /// Display time of the last frame handed to the session, in units of timeScale().
    [[nodiscard]] std::int32_t lastTime() const { return mLastTime; }
    /// Units per second; 0 before the first frame.
    [[nodiscard]] std::int32_t timeScale() const { return mTimeScale; }

private:
    // Aligned as a whole, without which clang accesses it through a library.
    struct alignas(2 * sizeof(float)) Size {
        float width = 0;
        float height = 0;
    };

    [[nodiscard]] QRectF boundsForShape(bool is16By9) const;
    void keepNewestFrame(const LatestFrame::Frame& frame, std::uint32_t recordedFrames);
    void createSession();
    void decodeNewestFrame();
    [[nodiscard]] decompression::PixelBufferAttributes pixelBufferAttributes() const;

    LatestFrame mFrames;
    const decompression::ImageDescription mImageDesc;
    const double mFramesPerSecond;

    // Either thread may bring the size up to date with the flag. Each stores the size and then
    // looks at the flag again, which needs the one total order of sequentially consistent accesses.
    std::atomic<bool> m16By9{false};
    std::atomic<Size> mPreviewSize{};
    static_assert(std::atomic<Size>::is_always_lock_free);

    PreviewDelegate* mDelegate = nullptr;
    std::unique_ptr<decompression::DecompressionSession> mDecompS;
    bool mHasTriedSession = false;
    LatestFrame::Frame mNewestFrame;
    bool mNewestFrameWaits = false;
    std::int32_t mTimeScale = 0;
    std::int32_t mTime = 0;
    std::int32_t mLastTime = 0;
    std::uint32_t mFrameCount = 0;
    QImage mLastPreviewImage;  // not yet encoded; null when the JPEG data are up to date
    QByteArray mLastPreviewJPEGImageData;
};

/// What a session is made of: uncompressed pictures that do not say so have the colours of standard
/// definition video.
[[nodiscard]] decompression::ImageDescription withColor(
    decompression::ImageDescription description);

/// An image of a size from a pixel buffer. Null when there is no buffer or either is empty.
[[nodiscard]] QImage imageWithCVPixelBuffer(const decompression::PixelBuffer* pixelBuffer,
                                            QSize size);

}  // namespace takebox
