#include "support/FakeDevice.h"

namespace takebox::test {
namespace {

class FakeBackend final : public avc::AVCBackend {
public:
    explicit FakeBackend(std::vector<std::unique_ptr<avc::AVCDevice>> devices)
        : mDevices(std::move(devices)) {}

    void start(avc::AVCDeviceController& controller) override {
        for (auto& device : mDevices) {
            controller.addDevice(std::move(device));
        }
    }

private:
    std::vector<std::unique_ptr<avc::AVCDevice>> mDevices;
};

}  // namespace

class FakeDevice::Stream final : public avc::AVCDeviceStream {
public:
    explicit Stream(FakeDevice& device) : mDevice(device) {}
    ~Stream() override { mDevice.mIsStreaming = false; }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    int start() override {
        mDevice.mIsStreaming = mDevice.startResult == 0;
        return mDevice.startResult;
    }
    void stop() override { mDevice.mIsStreaming = false; }
    [[nodiscard]] avc::StreamProblem problem() const override { return mDevice.streamProblem; }

private:
    FakeDevice& mDevice;
};

FakeDevice::FakeDevice(std::uint64_t guid, std::uint8_t dvMode) : AVCDevice(guid) {
    setDeviceName("Fake deck");
    setAttached(true);
    setDVCapabilities(true, false);
    setDVMode(dvMode);
}

FakeDevice::~FakeDevice() = default;

int FakeDevice::openDevice(avc::AVCDeviceMessageProc messageProc, void* refCon) {
    if (openResult == 0) {
        isOpen = true;
        mMessageProc = messageProc;
        mMessageRefCon = refCon;
    }
    return openResult;
}

void FakeDevice::closeDevice() {
    isOpen = false;
    mMessageProc = nullptr;
}

std::unique_ptr<avc::AVCDeviceStream> FakeDevice::CreateDVReceiverForDevicePlug(
    const avc::DVReceiverParameters& parameters) {
    if (!hasReceiver) {
        return nullptr;
    }
    ++streamsMade;
    receiver = parameters;
    return std::make_unique<Stream>(*this);
}

void FakeDevice::sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                                 avc::TapeResultProc result) {
    tapeCommands.emplace_back(opcode, operand);
    result(tapeResult);
}

void FakeDevice::sendFrame(const std::vector<std::uint8_t>& frame) {
    if (mIsStreaming) {
        receiver.frameProc(avc::kFrameReceived, frame.data(),
                           static_cast<std::uint32_t>(frame.size()), receiver.frameRefCon);
    }
}

void FakeDevice::sendFrameMessage(std::uint32_t message, std::uint32_t length) {
    if (mIsStreaming) {
        receiver.frameProc(message, nullptr, length, receiver.frameRefCon);
    }
}

void FakeDevice::sendReceiverMessage(std::uint32_t message, std::uint32_t parameter1,
                                     std::uint32_t parameter2) {
    if (mIsStreaming) {
        receiver.messageProc(message, parameter1, parameter2, receiver.messageRefCon);
    }
}

void FakeDevice::sendDeviceMessage(std::uint32_t message) {
    if (mMessageProc != nullptr) {
        mMessageProc(this, message, 0, mMessageRefCon);
    }
}

avc::AVCBackends fakeBackends(std::vector<std::unique_ptr<avc::AVCDevice>> devices) {
    avc::AVCBackends backends;
    backends.push_back(std::make_unique<FakeBackend>(std::move(devices)));
    return backends;
}

avc::AVCBackends fakeBackends(std::unique_ptr<FakeDevice> device) {
    std::vector<std::unique_ptr<avc::AVCDevice>> devices;
    devices.push_back(std::move(device));
    return fakeBackends(std::move(devices));
}

std::vector<std::uint8_t> fakeFrame(bool pal, int number, std::uint8_t fill) {
    std::vector<std::uint8_t> frame(pal ? 144000 : 120000, fill);
    const int rate = pal ? 25 : 30;
    const auto digits = [](int value) {
        return static_cast<std::uint8_t>(value / 10 << 4 | value % 10);
    };
    frame[111] = digits(number % rate);
    frame[112] = digits(number / rate % 60);
    frame[113] = digits(number / rate / 60 % 60);
    frame[114] = 0;
    frame[455] = 0;
    frame[4324] = 0xC0 | 22;
    return frame;
}

}  // namespace takebox::test
