#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "platform/avc/virtualdeck/DIFFrame.h"
#include "platform/avc/virtualdeck/TapeTimeCode.h"
#include "platform/avc/virtualdeck/TestCard.h"

namespace takebox::avc {

/// Makes DV frames (IEC 61834-2, 525/60 or 625/50, 48 kHz 16-bit two channels, locked) of a test
/// picture with a counter, running time code without dropped frames, and a tone in each channel.
/// A frame is a pure function of the settings and its number. No library, no clock.
class TestSignal {
public:
    static constexpr int kSampleRate = 48000;
    static constexpr int kLeftFrequency = 440;
    static constexpr int kRightFrequency = 1000;
    static constexpr std::int16_t kLeftPeak = 8232;   ///< -12 dB of full scale
    static constexpr std::int16_t kRightPeak = 4126;  ///< -18 dB of full scale

    /// @param deckName  is shown in the picture (ASCII, cut to TestCard::kLineLength).
    TestSignal(DVStandard standard, bool wide, TapeTimeCode startTimeCode,
               std::string_view deckName = {});

    [[nodiscard]] std::size_t frameSize() const { return mBackground.size(); }
    [[nodiscard]] DVStandard standard() const { return mStandard; }
    [[nodiscard]] TapeTimeCode timeCode(std::uint64_t frameNumber) const {
        return mStart.advancedBy(frameNumber, mStandard);
    }

    /// Writes the frame of the given number, counted from 0.
    /// @param frame  has room for frameSize() bytes.
    void writeFrame(std::uint64_t frameNumber, std::span<std::uint8_t> frame) const;

    /// Audio sample frames in the given frame: 1600 or 1602 in a cycle of five, or 1920.
    [[nodiscard]] static std::uint32_t sampleCount(DVStandard standard, std::uint64_t frameNumber);
    /// Audio sample frames before the given frame.
    [[nodiscard]] static std::uint64_t firstSample(DVStandard standard, std::uint64_t frameNumber);
    /// The tones, by the sample's number since the start of the signal.
    [[nodiscard]] static std::int16_t leftSample(std::uint64_t sample);
    [[nodiscard]] static std::int16_t rightSample(std::uint64_t sample);

private:
    void writeTimeCode(std::span<std::uint8_t> frame, const TapeTimeCode& timeCode) const;
    void writeAudio(std::span<std::uint8_t> frame, std::uint64_t frameNumber) const;

    DVStandard mStandard;
    TapeTimeCode mStart;
    TestCard mCard;
    std::vector<std::uint8_t> mBackground;  // a frame with all that does not change
};

}  // namespace takebox::avc
