#include "platform/avc/ieee1394/IEEE1394Backend.h"

#include <libudev.h>

#include <QSocketNotifier>
#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/avc/ieee1394/BusListing.h"
#include "platform/avc/ieee1394/IEEE1394Device.h"
#include "platform/avc/ieee1394/MainThreadQueue.h"
#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

template <typename T, T* (*unref)(T*)>
struct Unref {
    void operator()(T* object) const { unref(object); }
};

using Udev = std::unique_ptr<udev, Unref<udev, udev_unref>>;
using UdevMonitor = std::unique_ptr<udev_monitor, Unref<udev_monitor, udev_monitor_unref>>;
using UdevDevice = std::unique_ptr<udev_device, Unref<udev_device, udev_device_unref>>;

}  // namespace

class IEEE1394Backend::Private {
public:
    ~Private() {
        for (auto* const device : mDevices) {
            device->requestStop();
        }
        for (auto* const device : mDevices) {
            device->shutDown();
        }
        mMain->run();
    }

    void start(AVCDeviceController& controller);
    [[nodiscard]] bool isAskingDevices() const {
        return std::any_of(mNewDevices.begin(), mNewDevices.end(),
                           [](const NewDevice& device) { return device->isPresent(); });
    }

private:
    /// A device that the controller has not been given yet.
    using NewDevice = std::unique_ptr<IEEE1394Device>;

    void listen();
    void handleEvents();
    void nodeAppeared(const BusNode& node);
    void deviceChanged(IEEE1394Device& device);
    [[nodiscard]] IEEE1394Device* findDevice(std::uint64_t guid) const;

    AVCDeviceController* mController = nullptr;
    std::shared_ptr<MainThreadQueue> mMain = std::make_shared<MainThreadQueue>();
    Udev mUdev;
    UdevMonitor mMonitor;
    std::unique_ptr<QSocketNotifier> mNotifier;
    std::vector<NewDevice> mNewDevices;
    std::vector<IEEE1394Device*> mDevices;  ///< all; owned by the controller or in mNewDevices
};

IEEE1394Backend::IEEE1394Backend() : d(std::make_unique<Private>()) {}

IEEE1394Backend::~IEEE1394Backend() = default;

void IEEE1394Backend::start(AVCDeviceController& controller) {
    d->start(controller);
}

bool IEEE1394Backend::isAskingDevices() const {
    return d->isAskingDevices();
}

void IEEE1394Backend::Private::start(AVCDeviceController& controller) {
    mController = &controller;
    mUdev.reset(udev_new());
    if (!mUdev) {
        logMessage("FireWire: libudev is not available; no device will be found");
        return;
    }
    // Listening comes first: what appears meanwhile is told twice rather than never.
    listen();
    const auto nodes = listBusNodes(mUdev.get());
    if (nodes.empty()) {
        logMessage(
            "No FireWire controller found, or its driver (firewire-ohci) is not loaded. "
            "Virtual decks can be used.");
    }
    for (const auto& node : nodes) {
        nodeAppeared(node);
    }
}

void IEEE1394Backend::Private::listen() {
    mMonitor.reset(udev_monitor_new_from_netlink(mUdev.get(), "udev"));
    if (!mMonitor ||
        udev_monitor_filter_add_match_subsystem_devtype(mMonitor.get(), "firewire", nullptr) < 0 ||
        udev_monitor_enable_receiving(mMonitor.get()) < 0) {
        logMessage("FireWire: devices that are plugged in from now on will not be noticed");
        mMonitor.reset();
        return;
    }
    mNotifier = std::make_unique<QSocketNotifier>(udev_monitor_get_fd(mMonitor.get()),
                                                  QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, mNotifier.get(),
                     [this] { handleEvents(); });
}

void IEEE1394Backend::Private::handleEvents() {
    while (const UdevDevice device{udev_monitor_receive_device(mMonitor.get())}) {
        const char* const text = udev_device_get_action(device.get());
        const std::string_view action = text != nullptr ? text : "";
        const auto node = busNode(device.get());
        if (!node) {
            continue;
        }
        if (action == "remove") {
            // Its attributes are gone already: only the number tells which one it was.
            for (auto* const each : mDevices) {
                each->nodeRemoved(node->number);
            }
        } else if (action == "add" || action == "change") {
            nodeAppeared(*node);
        }
    }
}

void IEEE1394Backend::Private::nodeAppeared(const BusNode& node) {
    if (!node.isDVCandidate) {
        return;
    }
    if (auto* const known = findDevice(node.guid)) {
        known->nodeChanged(node);
        return;
    }
    auto device = std::make_unique<IEEE1394Device>(
        node.guid, mMain, [this](IEEE1394Device& changed) { deviceChanged(changed); });
    mDevices.push_back(device.get());
    mNewDevices.push_back(std::move(device));
    mDevices.back()->nodeAppeared(node);
}

void IEEE1394Backend::Private::deviceChanged(IEEE1394Device& device) {
    const auto found =
        std::find_if(mNewDevices.begin(), mNewDevices.end(),
                     [&device](const NewDevice& each) { return each.get() == &device; });
    if (found == mNewDevices.end()) {
        mController->deviceChanged(device);
        return;
    }
    NewDevice added = std::move(*found);
    mNewDevices.erase(found);
    mController->addDevice(std::move(added));
}

IEEE1394Device* IEEE1394Backend::Private::findDevice(std::uint64_t guid) const {
    const auto found =
        std::find_if(mDevices.begin(), mDevices.end(),
                     [guid](const IEEE1394Device* device) { return device->guid() == guid; });
    return found != mDevices.end() ? *found : nullptr;
}

}  // namespace takebox::avc
