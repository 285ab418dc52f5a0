#include "DecompressionSession.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include "DVFrameAssembly.h"
#include "HalfSizeDecoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/buffer.h>
#include <libavutil/log.h>
#include <libswscale/swscale.h>
}

namespace takebox::decompression {
namespace {

constexpr std::uint32_t kDisplayTimeIsValid = 1;

struct Free {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

// A quarter of the size would be nearly what a preview needs, but aliases fine detail visibly, and
// for NTSC is less than 135 lines.
bool isHalfSizeEnough(const PixelBufferAttributes& attributes, int accuracy) {
    constexpr int kHighestAccuracy = 512;
    constexpr int kSmallestHeight = 240;
    return accuracy <= kHighestAccuracy && attributes.width <= HalfSizeDecoder::kWidth &&
           attributes.height <= kSmallestHeight;
}

// A decoded picture that somebody else owns.
struct DecodedPicture {
    int width = 0;
    int height = 0;
    AVPixelFormat format = AV_PIX_FMT_NONE;
    std::array<const std::uint8_t*, 4> planes{};
    std::array<int, 4> strides{};
};

}  // namespace

struct DecompressionSession::Decoder {
    ~Decoder() { sws_freeContext(scaler); }

    std::optional<HalfSizeDecoder> halfSize;
    Owned<AVCodecContext> context;
    Owned<AVFrame> frame;
    Owned<AVPacket> packet;
    Owned<AVBufferRef> storage;  // with the padding that the decoder may read beyond the frame
    std::optional<DVFrameAssembly> assembly;
    DecodedPicture picture;
    SwsContext* scaler = nullptr;
};

std::unique_ptr<DecompressionSession> DecompressionSession::create(
    const ImageDescription& description, const PixelBufferAttributes& attributes,
    const DecompressionSessionOptions& options, TrackingCallback callback) {
    // Damaged frames are daily bread here; the decoder would print a line for each of their blocks.
    av_log_set_level(AV_LOG_QUIET);

    const bool isNTSC = description.codecType == fourCharCode("dvc ");
    const bool isPAL = description.codecType == fourCharCode("dvcp");
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_DVVIDEO);
    if (!(isNTSC || isPAL) || codec == nullptr || attributes.width <= 0 || attributes.height <= 0) {
        return nullptr;
    }
    auto decoder = std::make_unique<Decoder>();
    decoder->context.reset(avcodec_alloc_context3(codec));
    decoder->frame.reset(av_frame_alloc());
    decoder->packet.reset(av_packet_alloc());
    decoder->storage.reset(
        av_buffer_allocz(DVFrameAssembly::kPALFrameSize + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!decoder->context || !decoder->frame || !decoder->packet || !decoder->storage) {
        return nullptr;
    }
    decoder->context->thread_count = 1;
    if (avcodec_open2(decoder->context.get(), codec, nullptr) < 0) {
        return nullptr;
    }
    decoder->assembly.emplace(std::span<std::uint8_t, DVFrameAssembly::kPALFrameSize>(
                                  decoder->storage->data, DVFrameAssembly::kPALFrameSize),
                              isPAL);
    if (isHalfSizeEnough(attributes, options.accuracy)) {
        decoder->halfSize.emplace();
    }
    return std::unique_ptr<DecompressionSession>(
        new DecompressionSession(std::move(decoder), attributes, std::move(callback)));
}

DecompressionSession::DecompressionSession(std::unique_ptr<Decoder> decoder,
                                           const PixelBufferAttributes& attributes,
                                           TrackingCallback callback)
    : mDecoder(std::move(decoder)), mAttributes(attributes), mCallback(std::move(callback)) {}

DecompressionSession::~DecompressionSession() = default;

void DecompressionSession::setPixelBufferAttributes(const PixelBufferAttributes& attributes) {
    if (attributes.width > 0 && attributes.height > 0) {
        mAttributes = attributes;
    }
}

int DecompressionSession::decodeFrame(const std::uint8_t* data, std::size_t size,
                                      const FrameTimeRecord& time) {
    Decoder& decoder = *mDecoder;
    mHasPendingFrame = false;
    int status = data != nullptr && size > 0 ? 0 : AVERROR(EINVAL);
    if (status == 0) {
        const std::size_t frameSize = decoder.assembly->assemble(data, size);
        if (decoder.halfSize) {
            decodeAtHalfSize(frameSize);
        } else {
            status = decodeWhole(frameSize);
        }
    }
    if (status != 0) {
        mCallback(status, kLastCall, nullptr, time.value, 0, 0);
        return status;
    }
    mPendingTime = time;
    mHasPendingFrame = true;
    if ((time.flags & FrameTimeRecord::kNonScheduledDisplayTime) == 0) {
        emitFrame();
    }
    return 0;
}

void DecompressionSession::decodeAtHalfSize(std::size_t size) {
    Decoder& decoder = *mDecoder;
    const dvframe::Sampling sampling = decoder.assembly->sampling();
    const auto& planes = decoder.halfSize->decode({decoder.storage->data, size}, sampling);
    DecodedPicture& picture = decoder.picture;
    picture.width = planes[0].width;
    picture.height = planes[0].height;
    picture.format =
        sampling == dvframe::Sampling::k625Lines420 ? AV_PIX_FMT_YUV420P : AV_PIX_FMT_YUV411P;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        picture.planes[i] = planes[i].samples.data();
        picture.strides[i] = planes[i].width;
    }
}

int DecompressionSession::decodeWhole(std::size_t size) {
    Decoder& decoder = *mDecoder;
    decoder.packet->size = static_cast<int>(size);
    decoder.packet->data = decoder.storage->data;
    decoder.packet->buf = av_buffer_ref(decoder.storage.get());
    int status = avcodec_send_packet(decoder.context.get(), decoder.packet.get());
    av_packet_unref(decoder.packet.get());
    if (status == 0) {
        status = avcodec_receive_frame(decoder.context.get(), decoder.frame.get());
    }
    if (status == 0) {
        const AVFrame& frame = *decoder.frame;
        DecodedPicture& picture = decoder.picture;
        picture.width = frame.width;
        picture.height = frame.height;
        picture.format = static_cast<AVPixelFormat>(frame.format);
        std::copy_n(frame.data, picture.planes.size(), picture.planes.begin());
        std::copy_n(frame.linesize, picture.strides.size(), picture.strides.begin());
    }
    return status;
}

void DecompressionSession::setNonScheduledDisplayTime(std::int64_t time, std::int32_t scale) {
    // Times of different scales are compared as fractions.
    if (mHasPendingFrame && mPendingTime.value * scale <= time * mPendingTime.scale) {
        emitFrame();
    }
}

void DecompressionSession::emitFrame() {
    mHasPendingFrame = false;
    const DecodedPicture& picture = mDecoder->picture;
    // Averaging every source pixel also blends the two fields of a frame, so that moving edges do
    // not show as combs.
    mDecoder->scaler = sws_getCachedContext(mDecoder->scaler, picture.width, picture.height,
                                            picture.format, mAttributes.width, mAttributes.height,
                                            AV_PIX_FMT_RGB32, SWS_AREA, nullptr, nullptr, nullptr);
    if (mDecoder->scaler == nullptr) {
        mCallback(AVERROR(ENOMEM), kLastCall, nullptr, mPendingTime.value, 0, 0);
        return;
    }
    mPixelBuffer.width = mAttributes.width;
    mPixelBuffer.height = mAttributes.height;
    mPixelBuffer.pixels.resize(static_cast<std::size_t>(mAttributes.width) *
                               static_cast<std::size_t>(mAttributes.height));
    auto* target = reinterpret_cast<std::uint8_t*>(mPixelBuffer.pixels.data());
    const int stride = mPixelBuffer.bytesPerRow();
    sws_scale(mDecoder->scaler, picture.planes.data(), picture.strides.data(), 0, picture.height,
              &target, &stride);
    mCallback(0, kEmittingFrame | kLastCall, &mPixelBuffer, mPendingTime.value, 0,
              kDisplayTimeIsValid);
}

}  // namespace takebox::decompression
