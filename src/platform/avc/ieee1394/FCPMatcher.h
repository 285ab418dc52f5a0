#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace takebox::avc {

/// Receives what nodes write to this computer's FCP registers; on the thread that runs the bus.
class FCPSink {
public:
    FCPSink() = default;
    virtual ~FCPSink() = default;
    FCPSink(const FCPSink&) = delete;
    FCPSink& operator=(const FCPSink&) = delete;

    /// @param isResponse written to the response register, not the command register.
    virtual void fcpFrame(std::uint16_t node, bool isResponse,
                          std::span<const std::uint8_t> frame) = 0;
};

/// AV/C response codes (1394 TA AV/C General Specification).
enum AVCResponse : std::uint8_t {
    kNotImplemented = 0x08,
    kAccepted = 0x09,
    kRejected = 0x0A,
    kInTransition = 0x0B,
    kStable = 0x0C,
    kChanged = 0x0D,
    kInterim = 0x0F,
};

/// Finds the answer to one AV/C command among everything that is written to the FCP registers:
/// other nodes' frames, answers to other commands, late answers. One thread.
class FCPMatcher final : public FCPSink {
public:
    FCPMatcher(std::span<const std::uint8_t> command, std::uint16_t node);

    void fcpFrame(std::uint16_t node, bool isResponse,
                  std::span<const std::uint8_t> frame) override;

    /// The device has said that it is working on it; the final answer takes longer.
    [[nodiscard]] bool isInterim() const { return mIsInterim; }
    [[nodiscard]] bool isAnswered() const { return !mAnswer.empty(); }
    /// The final answer; empty until there is one.
    [[nodiscard]] const std::vector<std::uint8_t>& answer() const { return mAnswer; }

private:
    [[nodiscard]] bool matches(std::uint16_t node, bool isResponse,
                               std::span<const std::uint8_t> frame) const;

    std::vector<std::uint8_t> mCommand;
    std::uint16_t mNode;
    bool mIsInterim = false;
    std::vector<std::uint8_t> mAnswer;
};

}  // namespace takebox::avc
