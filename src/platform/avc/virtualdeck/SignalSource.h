#pragma once

#include <cstdint>
#include <utility>

#include "platform/avc/virtualdeck/FrameSource.h"
#include "platform/avc/virtualdeck/TestSignal.h"

namespace takebox::avc {

/// The test signal as a tape without end.
class SignalSource final : public FrameSource {
public:
    explicit SignalSource(TestSignal signal) : mSignal(std::move(signal)) {}

    [[nodiscard]] std::size_t next(FrameBuffer buffer) override;
    [[nodiscard]] std::size_t again(FrameBuffer buffer) override;
    [[nodiscard]] std::size_t skip() override;
    void rewind() override { mPassed = 0; }
    [[nodiscard]] std::uint8_t dvMode() const override {
        return mSignal.standard() == DVStandard::kPAL ? 0x80 : 0x00;
    }

private:
    TestSignal mSignal;
    std::uint64_t mPassed = 0;  // frames
};

}  // namespace takebox::avc
