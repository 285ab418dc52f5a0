#include "platform/avc/ieee1394/BusHandle.h"

#include <libiec61883/iec61883.h>
#include <libraw1394/csr.h>
#include <libraw1394/raw1394.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/avc/ieee1394/DVFrameAssembler.h"
#include "platform/avc/ieee1394/NodeWatch.h"

namespace takebox::avc {
namespace {

constexpr int kPortsMax = 16;
constexpr std::size_t kFCPFrameMax = 512;

int errorOf(int result) {
    if (result >= 0) {
        return 0;
    }
    return errno != 0 ? errno : EIO;
}

/// Whether anybody receives from an output plug or it sends on its own (IEC 61883-1, oPCR).
bool isPlugConnected(raw1394handle_t handle, nodeid_t node, int plug) {
    constexpr nodeaddr_t kFirstOutputPlug = CSR_REGISTER_BASE + 0x904;
    constexpr std::uint8_t kConnections = 0x7F;  // broadcast bit and point-to-point counter
    std::array<std::uint8_t, sizeof(quadlet_t)> plugRegister{};
    quadlet_t value = 0;
    if (raw1394_read(handle, node, kFirstOutputPlug + 4 * static_cast<nodeaddr_t>(plug),
                     sizeof value, &value) != 0) {
        return false;
    }
    std::memcpy(plugRegister.data(), &value, sizeof value);
    return (plugRegister[0] & kConnections) != 0;
}

/// The card of a port, which the library knows only by the first device file it could open there.
bool isPortOfCard(const raw1394_portinfo& port, std::uint32_t card) {
    int number = -1;
    NodeWatch node;
    return std::sscanf(port.name, "/dev/fw%d", &number) == 1 && node.open(number) == 0 &&
           node.info().card == card;
}

}  // namespace

struct BusHandle::Callbacks {
    static BusHandle& self(raw1394handle_t handle) {
        return *static_cast<BusHandle*>(raw1394_get_userdata(handle));
    }

    // Anything but OK would make the library lose its place in the ring.
    static raw1394_iso_disposition packet(raw1394handle_t handle, unsigned char* data,
                                          unsigned int length, unsigned char /*channel*/,
                                          unsigned char /*tag*/, unsigned char /*sy*/,
                                          unsigned int cycle, unsigned int /*dropped*/) {
        const std::size_t size = std::min<std::size_t>(length, DVFrameAssembler::kPacketSize);
        self(handle).mIsoSink->isoPacket({data, size}, cycle);
        return RAW1394_ISO_OK;
    }

    static int fcp(raw1394handle_t handle, nodeid_t node, int response, std::size_t length,
                   unsigned char* data) {
        self(handle).mFCPSink->fcpFrame(node, response != 0, {data, length});
        return 0;
    }
};

std::unique_ptr<BusHandle> BusHandle::open(std::uint32_t card, int& error) {
    raw1394handle_t handle = raw1394_new_handle();
    if (handle == nullptr) {
        error = errno != 0 ? errno : ENODEV;
        return nullptr;
    }
    std::unique_ptr<BusHandle> bus(new BusHandle(handle));
    raw1394_set_userdata(handle, bus.get());
    std::array<raw1394_portinfo, kPortsMax> ports{};
    const int count = std::min(raw1394_get_port_info(handle, ports.data(), kPortsMax), kPortsMax);
    for (int port = 0; port < count; ++port) {
        if (isPortOfCard(ports[static_cast<std::size_t>(port)], card)) {
            error = errorOf(raw1394_set_port(handle, port));
            return error == 0 ? std::move(bus) : nullptr;
        }
    }
    error = ENODEV;
    return nullptr;
}

BusHandle::~BusHandle() {
    if (mIsoSink != nullptr) {
        raw1394_iso_shutdown(mHandle);
    }
    if (mFCPSink != nullptr) {
        raw1394_stop_fcp_listen(mHandle);
    }
    raw1394_destroy_handle(mHandle);
}

int BusHandle::descriptor() const {
    return raw1394_get_fd(mHandle);
}

int BusHandle::iterate() {
    errno = 0;
    return errorOf(raw1394_loop_iterate(mHandle));
}

int BusHandle::writeFCPCommand(std::uint16_t node, std::span<const std::uint8_t> command) {
    std::array<quadlet_t, kFCPFrameMax / sizeof(quadlet_t)> buffer{};
    if (command.size() > kFCPFrameMax) {
        return EINVAL;
    }
    std::memcpy(buffer.data(), command.data(), command.size());
    errno = 0;
    return errorOf(raw1394_write(mHandle, node, CSR_REGISTER_BASE + CSR_FCP_COMMAND, command.size(),
                                 buffer.data()));
}

int BusHandle::listenForFCP(FCPSink& sink) {
    errno = 0;
    const int error = errorOf(raw1394_start_fcp_listen(mHandle));
    if (error == 0) {
        mFCPSink = &sink;
        raw1394_set_fcp_handler(mHandle, Callbacks::fcp);
    }
    return error;
}

bool BusHandle::connect(std::uint16_t node, bool takeBandwidth, PlugConnection& connection) {
    connection = {-1, -1, -1, takeBandwidth ? 1 : 0};
    connection.channel =
        iec61883_cmp_connect(mHandle, node, &connection.outputPlug, raw1394_get_local_id(mHandle),
                             &connection.inputPlug, &connection.bandwidth);
    if (connection.channel < 0) {
        connection = {};
    }
    return connection.channel >= 0;
}

bool BusHandle::reconnect(std::uint16_t node, bool takeBandwidth, PlugConnection& connection) {
    const int channel = connection.channel;
    connection = {-1, -1, -1, takeBandwidth ? 1 : 0};
    connection.channel =
        iec61883_cmp_reconnect(mHandle, node, &connection.outputPlug, raw1394_get_local_id(mHandle),
                               &connection.inputPlug, &connection.bandwidth, channel);
    // When bandwidth is refused, the library returns the channel that it was given all the same:
    // the plug tells whether it is connected.
    const bool isConnected =
        connection.channel >= 0 &&
        (connection.outputPlug < 0 || isPlugConnected(mHandle, node, connection.outputPlug));
    if (!isConnected) {
        connection = {};
    }
    return isConnected;
}

void BusHandle::disconnect(std::uint16_t node, const PlugConnection& connection) {
    // Whatever this cannot give back, the next bus reset does.
    iec61883_cmp_disconnect(mHandle, node, connection.outputPlug, raw1394_get_local_id(mHandle),
                            connection.inputPlug, static_cast<unsigned>(connection.channel),
                            static_cast<unsigned>(connection.bandwidth));
}

int BusHandle::startReception(int channel, unsigned packets, unsigned interval,
                              IsoPacketSink& sink) {
    errno = 0;
    const int error = errorOf(
        raw1394_iso_recv_init(mHandle, Callbacks::packet, packets, DVFrameAssembler::kPacketSize,
                              static_cast<unsigned char>(channel), RAW1394_DMA_PACKET_PER_BUFFER,
                              static_cast<int>(interval)));
    if (error != 0) {
        return error;
    }
    mIsoSink = &sink;
    errno = 0;
    return errorOf(raw1394_iso_recv_start(mHandle, -1, -1, 0));
}

}  // namespace takebox::avc
