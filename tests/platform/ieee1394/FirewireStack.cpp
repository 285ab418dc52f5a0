#include "FirewireStack.h"

#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "platform/avc/ieee1394/IEEE1394Backend.h"
#include "support/WaitUntil.h"

namespace {

// Counts what the thread under watch asks of the heap.
thread_local std::atomic<int>* tAllocations = nullptr;

}  // namespace

void* operator new(std::size_t size) {
    if (tAllocations != nullptr) {
        ++*tAllocations;
    }
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace takebox::test {

Capture::~Capture() {
    mStream.reset();
    mDevice.closeDevice();
}

int Capture::start() {
    const int error = mDevice.openDevice(deviceProc, this);
    if (error != 0) {
        return error;
    }
    avc::DVReceiverParameters parameters;
    parameters.frameProc = frameProc;
    parameters.frameRefCon = this;
    parameters.messageProc = messageProc;
    parameters.messageRefCon = this;
    parameters.dvMode = mDevice.dvMode();
    mStream = mDevice.CreateDVReceiverForDevicePlug(parameters);
    return mStream ? mDevice.StartAVCDeviceStream(*mStream) : -1;
}

void Capture::stop() {
    if (mStream) {
        mDevice.StopAVCDeviceStream(*mStream);
    }
}

std::vector<DVFrame> Capture::frames() const {
    const std::lock_guard lock(mMutex);
    return mFrames;
}

std::size_t Capture::frameCount() const {
    const std::lock_guard lock(mMutex);
    return mFrames.size();
}

std::string Capture::frameMessages() const {
    const std::lock_guard lock(mMutex);
    return mFrameMessages;
}

std::vector<Capture::Message> Capture::messages() const {
    const std::lock_guard lock(mMutex);
    return mMessages;
}

std::uint32_t Capture::frameProc(std::uint32_t message, const std::uint8_t* data,
                                 std::uint32_t length, void* refCon) {
    auto& self = *static_cast<Capture*>(refCon);
    tAllocations = nullptr;  // what follows is the test's own
    if (const int delay = self.mDelay.exchange(0); delay != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    }
    std::size_t count = 0;
    {
        const std::lock_guard lock(self.mMutex);
        self.mFrameMessages += static_cast<char>('0' + message);
        if (message == avc::kFrameReceived) {
            self.mFrames.emplace_back(data, data + length);
        }
        count = self.mFrames.size();
    }
    constexpr std::size_t kSettled = 10;
    tAllocations = count >= kSettled ? &self.mAllocations : nullptr;
    return avc::kFrameNotKept;
}

void Capture::messageProc(std::uint32_t message, std::uint32_t parameter1, std::uint32_t parameter2,
                          void* refCon) {
    auto& self = *static_cast<Capture*>(refCon);
    tAllocations = nullptr;
    const std::lock_guard lock(self.mMutex);
    self.mMessages.push_back({message, parameter1, parameter2});
}

std::int32_t Capture::deviceProc(avc::AVCDevice* /*device*/, std::uint32_t message,
                                 std::int32_t /*parameter*/, void* refCon) {
    if (message == avc::kDeviceCloseRequest) {
        ++static_cast<Capture*>(refCon)->mCloseRequests;
    }
    return 0;
}

FirewireStack::FirewireStack() {
    firewire("card 0");
}

FirewireStack::~FirewireStack() {
    stopBackend();
    firewire("uncard 0");
    firewire("uncard 1");
}

void FirewireStack::startBackend() {
    avc::AVCBackends backends;
    backends.push_back(std::make_unique<avc::IEEE1394Backend>());
    avc::CreateAVCDeviceController(controller, std::move(backends), notify, this);
}

void FirewireStack::stopBackend() {
    avc::DestroyAVCDeviceController(controller);
}

avc::AVCDevice* FirewireStack::waitForDevice(std::uint64_t guid) {
    const bool isThere = waitUntil([&] {
        const auto* const device = controller->findDeviceByGuid(guid);
        return device != nullptr && device->isAttached();
    });
    EXPECT_TRUE(isThere) << "device not attached";
    return controller->findDeviceByGuid(guid);
}

std::unique_ptr<Capture> FirewireStack::startCapture(std::uint64_t guid) {
    startBackend();
    avc::AVCDevice* const device = waitForDevice(guid);
    if (device == nullptr) {
        return nullptr;
    }
    auto capture = std::make_unique<Capture>(*device);
    const int error = capture->start();
    EXPECT_EQ(error, 0) << "the stream does not start";
    return error == 0 ? std::move(capture) : nullptr;
}

std::vector<DVFrame> sentFrames(bool pal, std::size_t count, std::size_t repeat) {
    std::vector<DVFrame> frames;
    for (std::size_t i = 0; i < count; ++i) {
        frames.push_back(makeFrame(pal, static_cast<std::uint32_t>(i % repeat)));
    }
    return frames;
}

}  // namespace takebox::test
