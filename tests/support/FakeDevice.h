#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/avc/AVCDeviceController.h"

namespace takebox::test {

/// A device without a bus: does what the test says, when the test says it, on the calling thread.
class FakeDevice final : public avc::AVCDevice {
public:
    /// A deck that is attached, with a name and a DV mode (0x00 NTSC, 0x80 PAL).
    explicit FakeDevice(std::uint64_t guid, std::uint8_t dvMode = 0x80);
    ~FakeDevice() override;

    // What the device is to do; the controller is told of a change by the test.
    int openResult = 0;
    bool hasReceiver = true;
    int startResult = 0;
    int tapeResult = 0;
    avc::StreamProblem streamProblem = avc::StreamProblem::kNone;
    void setName(std::string_view name) { setDeviceName(name); }
    void setFile(const char* path) { setDeviceFile(path); }
    void attach(bool attached) { setAttached(attached); }
    void setCapabilities(bool tapeDevice, bool converter) {
        setDVCapabilities(tapeDevice, converter);
    }
    void setMode(std::uint8_t mode) { setDVMode(mode); }

    // What it was told.
    std::vector<std::pair<int, int>> tapeCommands;  ///< opcode and operand
    bool isOpen = false;
    int streamsMade = 0;
    avc::DVReceiverParameters receiver;  ///< of the latest stream

    // What it sends; does nothing while its stream does not run.
    void sendFrame(const std::vector<std::uint8_t>& frame);
    void sendFrameMessage(std::uint32_t message, std::uint32_t length = 0);
    void sendReceiverMessage(std::uint32_t message, std::uint32_t parameter1 = 0,
                             std::uint32_t parameter2 = 0);
    void sendDeviceMessage(std::uint32_t message);
    [[nodiscard]] bool isStreaming() const { return mIsStreaming; }

    int openDevice(avc::AVCDeviceMessageProc messageProc, void* refCon) override;
    void closeDevice() override;
    std::unique_ptr<avc::AVCDeviceStream> CreateDVReceiverForDevicePlug(
        const avc::DVReceiverParameters& parameters) override;
    void sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                         avc::TapeResultProc result) override;

private:
    class Stream;

    bool mIsStreaming = false;
    avc::AVCDeviceMessageProc mMessageProc = nullptr;
    void* mMessageRefCon = nullptr;
};

/// A backend for the device list that offers these devices. The test keeps pointers to them to tell
/// them what to do; the device controller owns them.
[[nodiscard]] avc::AVCBackends fakeBackends(std::vector<std::unique_ptr<avc::AVCDevice>> devices);
[[nodiscard]] avc::AVCBackends fakeBackends(std::unique_ptr<FakeDevice> device);

/// A frame of its standard's size, every byte `fill` but for the number of NTSC sound samples
/// (1602) and a time code of `number` frames.
[[nodiscard]] std::vector<std::uint8_t> fakeFrame(bool pal, int number, std::uint8_t fill = 0x40);

}  // namespace takebox::test
