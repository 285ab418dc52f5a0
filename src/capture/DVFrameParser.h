#pragma once

#include <QString>
#include <array>
#include <atomic>
#include <cstdint>

#include "platform/movietoolbox/TimeCodeRecord.h"

namespace takebox {

/// Video standards.
enum DVStandard : std::uint32_t { kStandardNTSC = 0, kStandardPAL = 1 };

/// Frame geometry of one standard: 25 Mbit/s DV as DIF blocks (IEC 61834, SMPTE 314M).
struct DVGeometry {
    std::uint32_t frameSize;        ///< bytes
    std::uint32_t audioBlockSize;   ///< bytes of one block of the raw audio file
    double nominalFramesPerSecond;  ///< what recorded time is counted in
    double framesPerSecond;         ///< what time codes and wall-clock time are converted with
};
inline constexpr DVGeometry kNTSCGeometry{120000, 8008, 30.0, 29.97};
inline constexpr DVGeometry kPALGeometry{144000, 7680, 25.0, 25.0};

/// Reads time code, 16:9 flag, audio samples and levels out of the frames of one device, and keeps
/// the last of each.
///
/// Threads. The extract operations run on the receive thread, once per good frame, in the order
/// time code, 16:9 flag, audio; they allocate nothing and wait for nothing. The readers may run on
/// any thread and see the value before or after a frame, never a mixture.
///
/// No byte beyond the received size is ever read; a sample beyond it is silence.
class DVFrameParser {
public:
    /// Sample frames that the audio buffer holds: more than any frame carries.
    static constexpr std::uint32_t kAudioBufferSize = 2000;

    DVFrameParser() = default;
    virtual ~DVFrameParser() = default;
    DVFrameParser(const DVFrameParser&) = delete;
    DVFrameParser& operator=(const DVFrameParser&) = delete;

    /// Reads the time code of the first DIF sequence's subcode; all four bytes 0xFF mean none and
    /// give 00:00:00:00. Frames below 117 bytes change nothing.
    void extractTimeCode(const std::uint8_t* bytes, std::uint32_t withSize);

    /// Reads the 16:9 flag of the VAUX source control pack; a change calls updatePreviewBounds().
    /// Frames below 456 bytes change nothing.
    void extract16By9Flag(const std::uint8_t* bytes, std::uint32_t withSize);

    /// De-shuffles two channels of 48 kHz 16-bit audio into the audio buffer: big-endian samples,
    /// left before right, one 32-bit word per sample frame. Updates the levels.
    ///
    /// @param bytes may be null: the buffer then keeps the previous samples.
    /// @param extractedBytes receives 4 bytes per sample frame, also when the frame is absent.
    /// @return the audio buffer, valid until the next call.
    const std::uint32_t* extractAudioSamples(const std::uint8_t* bytes, std::uint32_t withSize,
                                             std::uint32_t& extractedBytes);

    /// Sample frames of an NTSC frame of full size, as its first AAUX source pack says.
    [[nodiscard]] static std::int32_t getAudioSamplesCount(const std::uint8_t* bytes);

    /// Position of one sample in a frame, in bytes (48 kHz two-channel shuffling).
    [[nodiscard]] static std::uint32_t getOffsetOfAudioSample(std::int32_t sample,
                                                              std::int32_t forChannel, bool pal);

    /// Peak of the last frame with decay, as a fraction of full scale; may be just below zero.
    [[nodiscard]] double audioLevelLeft() const { return levelOf(mPreviousAudioLevelLeft); }
    [[nodiscard]] double audioLevelRight() const { return levelOf(mPreviousAudioLevelRight); }

    [[nodiscard]] TimeCodeRecord currentTimeCode() const {
        return TimeCodeRecord::fromCounter(mCurrentTimeCode.load(std::memory_order_relaxed));
    }
    /// "hh:mm:ss:ff"
    [[nodiscard]] QString currentTimeCodeAsString() const;
    /// Seconds; frames are divided by framesPerSecond().
    [[nodiscard]] double currentTimeCodeAsDouble() const;
    [[nodiscard]] bool is16By9() const { return m16By9.load(std::memory_order_relaxed); }

    /// kStandardNTSC or kStandardPAL.
    [[nodiscard]] std::uint32_t standard() const { return mStandard; }
    /// 29.97 or 25.0.
    [[nodiscard]] double framesPerSecond() const;
    /// Bytes of a frame; 0 while the standard is not known.
    [[nodiscard]] std::uint32_t frameSize() const { return mFrameSize; }
    /// 30.0 or 25.0; 0 while the standard is not known.
    [[nodiscard]] double nominalFramesPerSecond() const { return mFramesPerSecond; }

    /// Settles the standard; before the first frame only.
    void setStandard(DVStandard standard);

protected:
    /// The shape of the picture has changed; on the thread that parses.
    virtual void updatePreviewBounds() = 0;

    std::uint32_t mAudioFrameSize = 0;  ///< bytes of one block of the raw audio file

private:
    void updateLevel(std::atomic<std::int16_t>& level, std::int16_t peak);
    [[nodiscard]] static double levelOf(const std::atomic<std::int16_t>& level) {
        return level.load(std::memory_order_relaxed) * (1.0 / 32768.0);
    }

    // Constant once frames flow.
    std::uint32_t mStandard = kStandardNTSC;
    std::uint32_t mFrameSize = 0;
    double mFramesPerSecond = 0.0;

    // Receive thread only.
    std::int16_t mPeakAudioSampleLeft = 0;
    std::int16_t mPeakAudioSampleRight = 0;
    std::array<std::uint32_t, kAudioBufferSize> mAudioBuffer{};

    // Written by the receive thread, read by any. Each stands for itself, so relaxed order does.
    std::atomic<std::int16_t> mPreviousAudioLevelLeft{0};
    std::atomic<std::int16_t> mPreviousAudioLevelRight{0};
    std::atomic<std::int32_t> mCurrentTimeCode{0};
    std::atomic<bool> m16By9{false};
};

}  // namespace takebox
