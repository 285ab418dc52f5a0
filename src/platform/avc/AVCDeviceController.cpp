#include "platform/avc/AVCDeviceController.h"

#include <algorithm>
#include <utility>

namespace takebox::avc {

AVCDeviceController::~AVCDeviceController() {
    mBackends.clear();
}

AVCDevice* AVCDeviceController::deviceAtIndex(int index) const {
    return index >= 0 && index < deviceCount() ? mDevices[static_cast<std::size_t>(index)].get()
                                               : nullptr;
}

AVCDevice* AVCDeviceController::findDeviceByGuid(std::uint64_t guid) const {
    const auto found = std::find_if(mDevices.begin(), mDevices.end(), [guid](const auto& device) {
        return device && device->guid() == guid;
    });
    return found != mDevices.end() ? found->get() : nullptr;
}

bool AVCDeviceController::isAskingDevices() const {
    return std::any_of(mBackends.begin(), mBackends.end(),
                       [](const auto& backend) { return backend->isAskingDevices(); });
}

void AVCDeviceController::addDevice(std::unique_ptr<AVCDevice> device) {
    mDevices.push_back(std::move(device));
    if (mDevices.back()) {
        deviceChanged(*mDevices.back());
    }
}

void AVCDeviceController::deviceChanged(AVCDevice& device) {
    if (mNotification != nullptr) {
        mNotification(this, mRefCon, &device);
    }
}

void AVCDeviceController::addBackend(std::unique_ptr<AVCBackend> backend) {
    mBackends.push_back(std::move(backend));
    mBackends.back()->start(*this);
}

int CreateAVCDeviceController(std::unique_ptr<AVCDeviceController>& controller,
                              AVCBackends backends, AVCDeviceControllerNotification notification,
                              void* refCon) {
    controller = std::make_unique<AVCDeviceController>(notification, refCon);
    for (auto& backend : backends) {
        controller->addBackend(std::move(backend));
    }
    return 0;
}

void DestroyAVCDeviceController(std::unique_ptr<AVCDeviceController>& controller) {
    controller.reset();
}

}  // namespace takebox::avc
