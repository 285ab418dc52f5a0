#pragma once

#include <string>

#include "platform/avc/ieee1394/BusHandle.h"
#include "platform/avc/ieee1394/NodeWatch.h"

namespace takebox::avc {

/// The connection over which one device sends: made, made again after bus resets, and given up.
/// Each operation goes over a bus handle of its own and may take as long as the bus does. One
/// thread.
class DeviceConnection {
public:
    static constexpr int kBroadcastChannel = 63;

    /// @param name of the device, for the log.
    void setDeviceName(std::string name) { mName = std::move(name); }

    /// Takes the channel on which the device is being received already, or one of its own with
    /// bandwidth, or without where bandwidth is refused. @return false when the device refuses.
    bool connect(const NodeWatch& watch);
    /// The same after a bus reset, with the same channel if it can be had.
    bool reconnect(const NodeWatch& watch);
    /// Expects the device on the channel where devices send on their own.
    void useBroadcast();
    void disconnect(const NodeWatch& watch);
    /// Forgets the connection, with a device that is gone.
    void forget() { mConnection = {}; }

    [[nodiscard]] bool isConnected() const { return mConnection.channel >= 0; }
    [[nodiscard]] bool isBroadcast() const { return mIsBroadcast; }
    [[nodiscard]] int channel() const { return mConnection.channel; }

private:
    std::string mName;
    PlugConnection mConnection;
    bool mIsBroadcast = false;  ///< nothing was agreed on with the device
};

}  // namespace takebox::avc
