#include "DVPreview.h"

#include <QBuffer>
#include <cmath>
#include <utility>

namespace takebox {
namespace {

using decompression::DecompressionSession;
using decompression::FrameTimeRecord;
using decompression::PixelBuffer;

constexpr int kSquarePixelPALWidth = 768;
constexpr int kWideSquarePixelPALWidth = 1024;
constexpr int kAccuracy = 512;
constexpr int kJPEGQuality = 25;  // compression factor 0.25
constexpr double kTimeUnitsPerFrame = 100;

}  // namespace

decompression::ImageDescription withColor(decompression::ImageDescription description) {
    if (description.codecType == decompression::fourCharCode("2vuy") && !description.color) {
        description.color = decompression::ColorParameters{6, 1, 6};
    }
    return description;
}

QImage imageWithCVPixelBuffer(const PixelBuffer* pixelBuffer, QSize size) {
    if (pixelBuffer == nullptr || pixelBuffer->pixels.empty() || size.isEmpty()) {
        return {};
    }
    const QImage borrowed(reinterpret_cast<const uchar*>(pixelBuffer->pixels.data()),
                          pixelBuffer->width, pixelBuffer->height, pixelBuffer->bytesPerRow(),
                          QImage::Format_RGB32);
    return borrowed.size() == size
               ? borrowed.copy()
               : borrowed.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

DVPreview::DVPreview(decompression::ImageDescription description, double framesPerSecond)
    : mImageDesc(std::move(description)), mFramesPerSecond(framesPerSecond) {}

DVPreview::~DVPreview() = default;

void DVPreview::decompressFrame(std::uint32_t recordedFrames) {
    LatestFrame::Frame frame;
    if (mFrames.take(frame)) {
        keepNewestFrame(frame, recordedFrames);
    }
    if (mNewestFrameWaits && mDelegate != nullptr && mDelegate->wantsPreviewImage()) {
        decodeNewestFrame();
    }
}

void DVPreview::keepNewestFrame(const LatestFrame::Frame& frame, std::uint32_t recordedFrames) {
    if (mTimeScale == 0) {
        mTimeScale = static_cast<std::int32_t>(mFramesPerSecond * kTimeUnitsPerFrame);
    }
    if (!mHasTriedSession) {
        createSession();
        // Where nobody looked or the main thread came too late, this one is not the first.
        if (frame.number == 1) {
            return;
        }
    }
    // Beyond 2^31 units, after days, the time starts again below zero.
    mTime = static_cast<std::int32_t>(static_cast<std::int64_t>(recordedFrames) *
                                      static_cast<std::int64_t>(kTimeUnitsPerFrame));
    mNewestFrame = frame;
    mNewestFrameWaits = true;
}

void DVPreview::createSession() {
    mHasTriedSession = true;
    updatePreviewBounds();
    mDecompS = DecompressionSession::create(
        withColor(mImageDesc), pixelBufferAttributes(), {kAccuracy},
        [this](int status, std::uint32_t trackingFlags, const PixelBuffer* pixelBuffer,
               std::int64_t displayTime, std::int64_t displayDuration,
               std::uint32_t validTimeFlags) {
            if (status == 0) {
                displayData(pixelBuffer, trackingFlags, displayTime, displayDuration,
                            validTimeFlags);
            }
        });
}

void DVPreview::decodeNewestFrame() {
    mNewestFrameWaits = false;
    if (!mDecompS) {
        return;
    }
    FrameTimeRecord time;
    time.value = mTime;
    time.scale = mTimeScale;
    time.frameNumber = ++mFrameCount;
    time.flags = FrameTimeRecord::kNonScheduledDisplayTime;
    mDecompS->setPixelBufferAttributes(pixelBufferAttributes());
    // What could not be decoded shows nothing; the last picture stays.
    (void)mDecompS->decodeFrame(mNewestFrame.bytes.data(), mNewestFrame.bytes.size(), time);
    mDecompS->setNonScheduledDisplayTime(mTime, mTimeScale);
    mLastTime = mTime;
}

void DVPreview::displayData(const PixelBuffer* pixelBuffer, std::uint32_t trackingFlags,
                            std::int64_t /*displayTime*/, std::int64_t /*displayDuration*/,
                            std::uint32_t /*validTimeFlags*/) {
    if ((trackingFlags & DecompressionSession::kEmittingFrame) == 0 || pixelBuffer == nullptr) {
        return;
    }
    const QImage image = imageWithCVPixelBuffer(pixelBuffer, previewBounds().size().toSize());
    if (mDelegate != nullptr) {
        mDelegate->setPreviewImage(image);
    }
    updateJPEGPreviewDataWithImage(image);
}

void DVPreview::updateJPEGPreviewDataWithImage(const QImage& image) {
    mLastPreviewImage = image;
    if (image.isNull()) {
        mLastPreviewJPEGImageData = QByteArrayLiteral("\xFF\xD9");
    }
}

QByteArray DVPreview::JPEGPreviewData() {
    if (mNewestFrameWaits) {
        decodeNewestFrame();
    }
    if (!mLastPreviewImage.isNull()) {
        mLastPreviewJPEGImageData.clear();
        QBuffer buffer(&mLastPreviewJPEGImageData);
        mLastPreviewImage.save(&buffer, "JPEG", kJPEGQuality);
        mLastPreviewImage = {};
    }
    return mLastPreviewJPEGImageData;
}

void DVPreview::set16By9(bool is16By9) {
    m16By9.store(is16By9);
    updatePreviewBounds();
}

void DVPreview::updatePreviewBounds() {
    bool is16By9 = m16By9.load();
    bool isUpToDate = false;
    while (!isUpToDate) {
        setPreviewBounds(boundsForShape(is16By9));
        // The other thread may have changed the flag and set its bounds before ours.
        const bool now16By9 = m16By9.load();
        isUpToDate = now16By9 == is16By9;
        is16By9 = now16By9;
    }
}

QRectF DVPreview::boundsForShape(bool is16By9) const {
    int width = mImageDesc.displayWidth.value_or(mImageDesc.width);
    const int height = mImageDesc.displayHeight.value_or(mImageDesc.height);
    if (is16By9 && width == kSquarePixelPALWidth) {
        width = kWideSquarePixelPALWidth;
    }
    const double shape = height > 0 ? static_cast<double>(width) / height : 0;
    return {0, 0, std::round(shape * kHeight), kHeight};
}

QRectF DVPreview::previewBounds() const {
    const Size size = mPreviewSize.load();
    return {0, 0, size.width, size.height};
}

void DVPreview::setPreviewBounds(const QRectF& bounds) {
    // Storing the size that is stored already changes nothing.
    mPreviewSize.store({static_cast<float>(bounds.width()), static_cast<float>(bounds.height())});
}

decompression::PixelBufferAttributes DVPreview::pixelBufferAttributes() const {
    return {static_cast<int>(previewBounds().width()), kHeight};
}

}  // namespace takebox
