#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "platform/avc/ieee1394/FCPMatcher.h"

struct raw1394_handle;

namespace takebox::avc {

/// Takes the packets of an isochronous channel; on the thread that runs the bus.
class IsoPacketSink {
public:
    IsoPacketSink() = default;
    virtual ~IsoPacketSink() = default;
    IsoPacketSink(const IsoPacketSink&) = delete;
    IsoPacketSink& operator=(const IsoPacketSink&) = delete;

    /// @param cycle bus cycle in which the packet came, 0 to 7999.
    virtual void isoPacket(std::span<const std::uint8_t> packet, unsigned cycle) = 0;
};

/// A connection to an output plug of a device.
struct PlugConnection {
    int channel = -1;
    int outputPlug = -1;
    int inputPlug = -1;
    int bandwidth = 0;  ///< units taken at the resource manager; 0 when none were
};

/// Access to one FireWire bus. Belongs to the thread that opened it, and carries either
/// isochronous reception or transactions. A bus reset makes it useless for transactions: open
/// another one then; reception goes on.
class BusHandle {
public:
    /// @param card index of the controller, as in NodeInfo.
    /// @param error 0 or an errno value.
    static std::unique_ptr<BusHandle> open(std::uint32_t card, int& error);
    ~BusHandle();
    BusHandle(const BusHandle&) = delete;
    BusHandle& operator=(const BusHandle&) = delete;

    /// Readable when iterate() has something to do.
    [[nodiscard]] int descriptor() const;
    /// Handles what waits. Call only when the descriptor is readable: it blocks otherwise.
    /// @return 0 or an errno value.
    int iterate();

    /// Waits for the write to be acknowledged. @return 0 or an errno value.
    [[nodiscard]] int writeFCPCommand(std::uint16_t node, std::span<const std::uint8_t> command);
    /// Until the handle is destroyed; once per handle. @return 0 or an errno value.
    [[nodiscard]] int listenForFCP(FCPSink& sink);

    /// Makes a connection (IEC 61883-1), a new one or after a bus reset the one given again.
    /// @return false when the device or the resource manager refuses.
    [[nodiscard]] bool connect(std::uint16_t node, bool takeBandwidth, PlugConnection& connection);
    [[nodiscard]] bool reconnect(std::uint16_t node, bool takeBandwidth,
                                 PlugConnection& connection);
    void disconnect(std::uint16_t node, const PlugConnection& connection);

    /// Starts reception into a ring of `packets` packets with an interrupt every `interval`.
    /// Once per handle. @return 0 or an errno value; EBUSY when the channel is in use on the card.
    [[nodiscard]] int startReception(int channel, unsigned packets, unsigned interval,
                                     IsoPacketSink& sink);

private:
    struct Callbacks;
    explicit BusHandle(raw1394_handle* handle) : mHandle(handle) {}

    raw1394_handle* mHandle;
    IsoPacketSink* mIsoSink = nullptr;
    FCPSink* mFCPSink = nullptr;
};

}  // namespace takebox::avc
