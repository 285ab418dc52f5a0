#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "capture/DVFrameParser.h"

namespace {

class Parser final : public takebox::DVFrameParser {
protected:
    void updatePreviewBounds() override {}
};

}  // namespace

/// Whatever a device sends as a frame. The first byte chooses the standard, the next two how often
/// the rest is repeated, so that small inputs make whole frames.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace takebox;
    constexpr std::size_t kChoices = 3;
    constexpr std::size_t kLargestFrame = 160000;
    if (size <= kChoices) {
        return 0;
    }
    const DVStandard standard = (data[0] & 1U) != 0 ? kStandardPAL : kStandardNTSC;
    const std::size_t length =
        std::min(kLargestFrame, (size - kChoices) * (std::size_t{data[1]} * 256 + data[2] + 1));
    // Exactly as large as it is told to be: a byte read beyond it is found.
    std::vector<std::uint8_t> frame(length);
    for (std::size_t i = 0; i < length; ++i) {
        frame[i] = data[kChoices + i % (size - kChoices)];
    }
    Parser parser;
    parser.setStandard(standard);
    const auto frameSize = static_cast<std::uint32_t>(length);
    parser.extractTimeCode(frame.data(), frameSize);
    parser.extract16By9Flag(frame.data(), frameSize);
    std::uint32_t bytes = 0;
    const std::uint32_t* const audio = parser.extractAudioSamples(frame.data(), frameSize, bytes);
    if (audio == nullptr || bytes > DVFrameParser::kAudioBufferSize * 4 ||
        parser.audioLevelLeft() > 1.0 || parser.audioLevelRight() > 1.0) {
        std::abort();
    }
    return 0;
}
