#include "platform/avc/ieee1394/IEEE1394Device.h"

#include <cerrno>
#include <string>
#include <utility>

#include "platform/avc/ieee1394/DVSignal.h"
#include "platform/avc/ieee1394/IEEE1394Stream.h"
#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

constexpr int kShowAfter = 1500;    // ms: a device that is slow to answer is shown meanwhile
constexpr int kAccessCheck = 1000;  // ms

bool isRefusal(int error) {
    return error == EACCES || error == EPERM;
}

}  // namespace

IEEE1394Device::IEEE1394Device(std::uint64_t guid, std::shared_ptr<MainThreadQueue> main,
                               std::function<void(IEEE1394Device&)> changed)
    : AVCDevice(guid),
      mMain(std::move(main)),
      mChanged(std::move(changed)),
      mWorker(mMain, {[this](const ProbeResult& result) { probed(result); },
                      [this](int number) { nodeRemoved(number); },
                      [this](const SeenSignal& signal) { signalSeen(signal); }}) {
    mAccessTimer.setInterval(kAccessCheck);
    QObject::connect(&mAccessTimer, &QTimer::timeout, &mTimerContext, [this] { tryAccessAgain(); });
}

IEEE1394Device::~IEEE1394Device() = default;

void IEEE1394Device::shutDown() {
    mWorker.stop();
    mAccessTimer.stop();
    mIsPresent = false;
    setAttached(false);
}

int IEEE1394Device::openDevice(AVCDeviceMessageProc messageProc, void* refCon) {
    if (!mIsPresent) {
        return ENODEV;
    }
    if (mIsOpen) {
        return EBUSY;
    }
    NodeWatch file;
    const int error = file.open(mNode.number);
    if (error != 0) {
        return error;
    }
    mIsOpen = true;
    mMessageProc = messageProc;
    mRefCon = refCon;
    return 0;
}

void IEEE1394Device::closeDevice() {
    mIsOpen = false;
    mMessageProc = nullptr;
}

std::unique_ptr<AVCDeviceStream> IEEE1394Device::CreateDVReceiverForDevicePlug(
    const DVReceiverParameters& parameters) {
    if (!mIsOpen || parameters.plug != 0) {
        return nullptr;
    }
    return std::make_unique<IEEE1394Stream>(mWorker, *this, parameters);
}

void IEEE1394Device::sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                                     TapeResultProc result) {
    if (!mIsPresent) {
        result(-ENODEV);
        return;
    }
    mWorker.sendTapeCommand(opcode, operand, std::move(result));
}

ProbeHints IEEE1394Device::hints() const {
    ProbeHints known;
    known.isAVC = mNode.isAVC;
    known.isKnown = mIsProbed;
    known.dvMode = dvMode();
    return known;
}

void IEEE1394Device::nodeAppeared(const BusNode& node) {
    if (mIsPresent && node.number != mNode.number) {
        // Back under another number before its end was told.
        nodeRemoved(mNode.number);
    }
    mNode = node;
    setDeviceName(node.name);
    setDeviceFile("/dev/fw" + std::to_string(node.number));
    mIsPresent = true;
    mLastAccess = 0;
    mWorker.attach(node.number, node.name, hints());
    QTimer::singleShot(kShowAfter, &mTimerContext, [this] {
        if (mIsPresent && !isAttached()) {
            const ProbeResult known = unprobed(0, hints());
            setDVCapabilities(known.isDVTapeDevice, known.isDVConverter);
            show();
        }
    });
}

void IEEE1394Device::nodeChanged(const BusNode& node) {
    if (!mIsPresent || node.number != mNode.number) {
        nodeAppeared(node);
        return;
    }
    mNode = node;
    setDeviceName(node.name);
    mWorker.probe(node.name, hints());
}

void IEEE1394Device::probed(const ProbeResult& result) {
    if (!mIsPresent) {
        return;
    }
    logAccess(result.error);
    const bool isNew = !isAttached() || mLastAccess != 0;
    mLastAccess = result.error;
    if (!isRefusal(result.error)) {
        mAccessTimer.stop();
    } else if (!mAccessTimer.isActive()) {
        mAccessTimer.start();
    }
    mIsProbed = mIsProbed || result.error == 0;
    setDVCapabilities(result.isDVTapeDevice, result.isDVConverter);
    setDVMode(result.dvMode);
    if (!result.isDVTapeDevice && !result.isDVConverter) {
        logMessage("%s does not send DV at 25 Mbit/s and cannot be recorded", deviceName());
    } else if (result.error == 0 && isNew) {
        logMessage("FireWire: %s, %016llx, %s, %s", deviceName(),
                   static_cast<unsigned long long>(guid()),
                   result.isDVTapeDevice ? "tape device" : "converter", signalName(dvMode()));
    }
    show();
}

/// Nobody tells when a user is let in to a device, at his login for one.
void IEEE1394Device::tryAccessAgain() {
    NodeWatch file;
    if (mIsPresent && !isRefusal(file.open(mNode.number))) {
        mWorker.probe(mNode.name, hints());
    }
}

void IEEE1394Device::signalSeen(const SeenSignal& signal) {
    const bool isKnown = signal.isDV25 && signal.dvMode == dvMode();
    if (!mIsPresent || isKnown) {
        return;
    }
    if (signal.isDV25) {
        setDVMode(signal.dvMode);
        mIsProbed = true;
        logMessage("FireWire: %s sends %s", deviceName(), signalName(dvMode()));
    } else {
        setDVCapabilities(false, false);
    }
    show();
}

void IEEE1394Device::logAccess(int error) const {
    if (error == 0 || error == mLastAccess) {
        return;
    }
    if (isRefusal(error)) {
        logMessage(
            "No permission to use %s (%s). Add yourself to the group video or install the udev "
            "rule.",
            deviceName(), deviceFile().c_str());
    } else {
        logMessage("Cannot open %s (%s, err = %d)", deviceName(), deviceFile().c_str(), error);
    }
}

void IEEE1394Device::show() {
    setAttached(true);
    mChanged(*this);
}

void IEEE1394Device::nodeRemoved(int number) {
    if (mIsPresent && number == mNode.number) {
        mWorker.detach();
        goAway();
    }
}

void IEEE1394Device::goAway() {
    mIsPresent = false;
    mAccessTimer.stop();
    if (!isAttached()) {
        return;
    }
    setAttached(false);
    logMessage("FireWire: %s is gone", deviceName());
    if (mMessageProc != nullptr) {
        mMessageProc(this, kDeviceCloseRequest, 0, mRefCon);
    }
    mChanged(*this);
}

}  // namespace takebox::avc
