#include "platform/avc/ieee1394/DeviceProbe.h"

#include <poll.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <span>

#include "platform/avc/ieee1394/BusHandle.h"
#include "platform/avc/ieee1394/DVFrameAssembler.h"
#include "platform/avc/ieee1394/DVSignal.h"
#include "platform/avc/ieee1394/DeviceConnection.h"
#include "platform/avc/ieee1394/FCPTransaction.h"

namespace takebox::avc {
namespace {

constexpr std::chrono::milliseconds kListen{1000};
constexpr unsigned kListenPackets = 800;
constexpr unsigned kListenInterval = 80;

/// Waits for the first packet of a node that names its format.
class FormatListener final : public IsoPacketSink {
public:
    explicit FormatListener(std::uint16_t node) : mNode(node & kNodeMask) {}

    void isoPacket(std::span<const std::uint8_t> packet, unsigned /*cycle*/) override {
        constexpr std::uint8_t kFormatDV = 0x80;
        if (packet.size() < DVFrameAssembler::kHeaderSize || (packet[0] & kNodeMask) != mNode) {
            return;
        }
        mSignal = packet[4] == kFormatDV ? signalOfFormatByte(packet[5]) : DVSignal{};
    }

    [[nodiscard]] const std::optional<DVSignal>& signal() const { return mSignal; }

private:
    static constexpr std::uint16_t kNodeMask = 0x3F;

    std::uint16_t mNode;
    std::optional<DVSignal> mSignal;
};

std::optional<DVSignal> receiveFormat(const NodeWatch& watch, int channel,
                                      const std::stop_token& stop) {
    int error = 0;
    FormatListener listener(watch.info().node);
    const auto bus = BusHandle::open(watch.info().card, error);
    if (!bus || bus->startReception(channel, kListenPackets, kListenInterval, listener) != 0) {
        return std::nullopt;
    }
    const auto end = std::chrono::steady_clock::now() + kListen;
    while (!listener.signal() && !stop.stop_requested() && std::chrono::steady_clock::now() < end) {
        std::array<pollfd, 2> ready{
            {{bus->descriptor(), POLLIN, 0}, {watch.descriptor(), POLLIN, 0}}};
        constexpr int kStep = 50;
        if (poll(ready.data(), ready.size(), kStep) > 0) {
            if (ready[1].revents != 0 || bus->iterate() != 0) {
                break;
            }
        }
    }
    return listener.signal();
}

std::optional<DVSignal> listenToDevice(const NodeWatch& watch, const std::stop_token& stop) {
    DeviceConnection connection;
    const bool isConnected = connection.connect(watch);
    const auto signal = receiveFormat(
        watch, isConnected ? connection.channel() : DeviceConnection::kBroadcastChannel, stop);
    if (isConnected) {
        connection.disconnect(watch);
    }
    return signal;
}

ProbeResult resultOf(const DVSignal& signal, bool hasTape) {
    ProbeResult result;
    result.dvMode = signal.dvMode;
    result.isDVTapeDevice = signal.isDV25 && hasTape;
    result.isDVConverter = signal.isDV25 && !hasTape;
    return result;
}

}  // namespace

ProbeResult unprobed(int error, const ProbeHints& hints) {
    auto result = resultOf({true, hints.isKnown ? hints.dvMode : kDVModeUnknown}, hints.isAVC);
    result.error = error;
    return result;
}

ProbeResult probeDevice(const NodeWatch& watch, const ProbeHints& hints,
                        const std::stop_token& stop) {
    std::optional<DVSignal> signal;
    bool hasTape = false;
    const FCPResult plug = sendFCPCommand(watch, kAskOutputPlugSignalFormat, stop);
    ProbeResult interrupted;
    interrupted.wasInterrupted = true;
    if (plug.error == EAGAIN) {
        return interrupted;
    }
    if (plug.error == 0) {
        signal = outputPlugSignal(plug.answer);
        const FCPResult parts = sendFCPCommand(watch, kAskSubunitInfo, stop);
        if (parts.error == EAGAIN) {
            return interrupted;
        }
        hasTape = parts.error == 0 && hasTapeSubunit(parts.answer).value_or(false);
    }
    // Older decks know the question of the tape only, and may leave the plug's unanswered. When
    // that is not answered either there is no AV/C: asking more would only take time.
    const bool mayKnow = hasTape || (plug.error != 0 && hints.isAVC);
    if (!signal && mayKnow && !stop.stop_requested()) {
        const FCPResult tape = sendFCPCommand(watch, kAskOutputSignalMode, stop);
        if (tape.error == EAGAIN) {
            return interrupted;
        }
        signal = outputSignalMode(tape.answer);
        hasTape = hasTape || signal.has_value();
    }
    if (!signal && hints.mayListen) {
        signal = listenToDevice(watch, stop);
    }
    return resultOf(signal.value_or(DVSignal{true, hints.isKnown ? hints.dvMode : kDVModeUnknown}),
                    hasTape);
}

}  // namespace takebox::avc
