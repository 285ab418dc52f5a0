#include "platform/avc/ieee1394/FCPMatcher.h"

namespace takebox::avc {
namespace {

constexpr std::size_t kHeaderSize = 3;  // response code, subunit, opcode
constexpr std::uint8_t kCodeMask = 0x0F;
constexpr std::uint8_t kStatusInquiry = 0x01;
// The answer to this one carries the opcode of the transport's mode in its place.
constexpr std::uint8_t kTransportState = 0xD0;

}  // namespace

FCPMatcher::FCPMatcher(std::span<const std::uint8_t> command, std::uint16_t node)
    : mCommand(command.begin(), command.end()), mNode(node) {}

void FCPMatcher::fcpFrame(std::uint16_t node, bool isResponse,
                          std::span<const std::uint8_t> frame) {
    if (isAnswered() || !matches(node, isResponse, frame)) {
        return;
    }
    if ((frame[0] & kCodeMask) == kInterim) {
        mIsInterim = true;
        return;
    }
    mAnswer.assign(frame.begin(), frame.end());
}

bool FCPMatcher::matches(std::uint16_t node, bool isResponse,
                         std::span<const std::uint8_t> frame) const {
    if (!isResponse || node != mNode || frame.size() < kHeaderSize ||
        mCommand.size() < kHeaderSize) {
        return false;
    }
    const std::uint8_t code = frame[0];
    if (code < kNotImplemented || code > kInterim || frame[1] != mCommand[1]) {
        return false;
    }
    const bool opcodeVaries = mCommand[0] == kStatusInquiry && mCommand[2] == kTransportState;
    return opcodeVaries || frame[2] == mCommand[2];
}

}  // namespace takebox::avc
