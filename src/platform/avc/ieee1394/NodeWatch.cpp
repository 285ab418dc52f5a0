#include "platform/avc/ieee1394/NodeWatch.h"

#include <fcntl.h>
#include <linux/firewire-cdev.h>
#include <poll.h>
#include <sys/ioctl.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace takebox::avc {
namespace {

constexpr std::uint32_t kInterfaceVersion = 5;

}  // namespace

int NodeWatch::open(int number) {
    std::array<char, 32> path{};
    std::snprintf(path.data(), path.size(), "/dev/fw%d", number);
    mFile.reset(::open(path.data(), O_RDWR | O_CLOEXEC));
    if (!mFile.isValid()) {
        return errno == ENOENT || errno == ENXIO ? ENODEV : errno;
    }
    const int error = getInfo();
    if (error != 0) {
        mFile.reset();
    }
    return error;
}

int NodeWatch::getInfo() {
    fw_cdev_get_info info{};
    fw_cdev_event_bus_reset state{};
    info.version = kInterfaceVersion;
    info.bus_reset = reinterpret_cast<std::uintptr_t>(&state);
    if (ioctl(mFile.get(), FW_CDEV_IOC_GET_INFO, &info) < 0) {
        return errno;
    }
    mInfo = {info.card, state.generation, static_cast<std::uint16_t>(state.node_id)};
    return 0;
}

bool NodeWatch::refresh() {
    return isOpen() && getInfo() == 0;
}

NodeWatch::News NodeWatch::read() {
    News news = News::kNone;
    // An event of another kind than asked for would be longer; there are none without requests.
    alignas(8) std::array<std::byte, 256> event{};
    for (;;) {
        pollfd ready{mFile.get(), POLLIN, 0};
        if (poll(&ready, 1, 0) <= 0 || ready.revents == 0) {
            return news;
        }
        const ssize_t length = ::read(mFile.get(), event.data(), event.size());
        if (length < 0 && errno == EINTR) {
            continue;
        }
        if (length <= 0) {
            return News::kGone;
        }
        fw_cdev_event_bus_reset reset{};
        if (static_cast<std::size_t>(length) < sizeof reset) {
            continue;
        }
        std::memcpy(&reset, event.data(), sizeof reset);
        if (reset.type == FW_CDEV_EVENT_BUS_RESET) {
            mInfo.generation = reset.generation;
            mInfo.node = static_cast<std::uint16_t>(reset.node_id);
            news = News::kBusReset;
        }
    }
}

}  // namespace takebox::avc
