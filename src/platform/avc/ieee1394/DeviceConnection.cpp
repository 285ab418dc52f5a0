#include "platform/avc/ieee1394/DeviceConnection.h"

#include <memory>

#include "platform/log/Log.h"

namespace takebox::avc {

bool DeviceConnection::connect(const NodeWatch& watch) {
    int error = 0;
    const std::unique_ptr<BusHandle> bus = BusHandle::open(watch.info().card, error);
    mConnection = {};
    mIsBroadcast = false;
    if (!bus) {
        return false;
    }
    const auto node = watch.info().node;
    if (!bus->connect(node, true, mConnection)) {
        if (!bus->connect(node, false, mConnection)) {
            return false;
        }
        logMessage("No FireWire bandwidth could be reserved for %s: receiving without",
                   mName.c_str());
    }
    if (mConnection.outputPlug > 0) {
        logMessage("%s sends on its output plug %d", mName.c_str(), mConnection.outputPlug);
    }
    return true;
}

bool DeviceConnection::reconnect(const NodeWatch& watch) {
    int error = 0;
    const std::unique_ptr<BusHandle> bus = BusHandle::open(watch.info().card, error);
    if (!bus) {
        return false;
    }
    const auto node = watch.info().node;
    const PlugConnection previous = mConnection;
    if (mIsBroadcast || previous.channel < 0) {
        return connect(watch);
    }
    if (bus->reconnect(node, previous.bandwidth > 0, mConnection)) {
        return true;
    }
    mConnection = previous;
    if (bus->reconnect(node, false, mConnection)) {
        return true;
    }
    mConnection = previous;
    return false;
}

void DeviceConnection::useBroadcast() {
    logMessage("%s does not accept a connection: listening on the broadcast channel",
               mName.c_str());
    mConnection = {};
    mConnection.channel = kBroadcastChannel;
    mIsBroadcast = true;
}

void DeviceConnection::disconnect(const NodeWatch& watch) {
    if (isConnected() && !mIsBroadcast) {
        int error = 0;
        if (const auto bus = BusHandle::open(watch.info().card, error)) {
            bus->disconnect(watch.info().node, mConnection);
        }
    }
    mConnection = {};
    mIsBroadcast = false;
}

}  // namespace takebox::avc
