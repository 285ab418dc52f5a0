#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/avc/AVCDeviceController.h"
#include "platform/avc/TapeSubunitController.h"
#include "support/LogCapture.h"
#include "support/firewire/DVPackets.h"
#include "support/firewire/FirewireBench.h"

namespace takebox::test {

constexpr const char* kDeckA = "08004601020304aa";
constexpr const char* kDeckB = "08004601020304bb";
constexpr std::uint64_t kGuidA = 0x08004601020304aaULL;
constexpr std::uint64_t kGuidB = 0x08004601020304bbULL;
constexpr const char* kDeckC = "08004601020304cc";
constexpr std::uint64_t kGuidC = 0x08004601020304ccULL;

/// A duration that a requirement names, for the program as it is shipped: sanitizers slow it down.
#ifdef TAKEBOX_SANITIZED
constexpr int kSlowness = 5;
#else
constexpr int kSlowness = 1;
#endif
constexpr int limit(int milliseconds) {
    return milliseconds * kSlowness;
}

/// Receives from one device and keeps what comes.
class Capture {
public:
    struct Message {
        std::uint32_t message;
        std::uint32_t parameter1;
        std::uint32_t parameter2;
    };

    explicit Capture(avc::AVCDevice& device) : mDevice(device) {}
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    /// Opens the device and starts a stream. @return 0 or the errno value of the step that failed.
    int start();
    void stop();
    /// Starts the stream again that stop() has stopped.
    int startAgain() { return mStream->start(); }

    [[nodiscard]] avc::StreamProblem problem() const { return mStream->problem(); }
    [[nodiscard]] std::vector<DVFrame> frames() const;
    [[nodiscard]] std::size_t frameCount() const;
    /// Frame messages in order: "0012".
    [[nodiscard]] std::string frameMessages() const;
    [[nodiscard]] std::vector<Message> messages() const;
    [[nodiscard]] int closeRequests() const { return mCloseRequests; }
    /// Makes the frame callback take this long, once.
    void delayOnce(int milliseconds) { mDelay = milliseconds; }
    /// Memory requests made on the receive thread since its tenth frame.
    [[nodiscard]] int allocations() const { return mAllocations; }

private:
    static std::uint32_t frameProc(std::uint32_t message, const std::uint8_t* data,
                                   std::uint32_t length, void* refCon);
    static void messageProc(std::uint32_t message, std::uint32_t parameter1,
                            std::uint32_t parameter2, void* refCon);
    static std::int32_t deviceProc(avc::AVCDevice* device, std::uint32_t message,
                                   std::int32_t parameter, void* refCon);

    avc::AVCDevice& mDevice;
    std::unique_ptr<avc::AVCDeviceStream> mStream;
    mutable std::mutex mMutex;  // guards the three below
    std::vector<DVFrame> mFrames;
    std::string mFrameMessages;
    std::vector<Message> mMessages;
    int mCloseRequests = 0;  // main thread
    std::atomic<int> mDelay{0};
    std::atomic<int> mAllocations{0};
};

/// A bus with one card; decks are plugged in with firewire().
class FirewireStack : public testing::Test {
protected:
    FirewireStack();
    ~FirewireStack() override;

    /// Starts the program's side.
    void startBackend();
    void stopBackend();
    /// The device of the GUID once it is attached; fails the test when it does not come.
    avc::AVCDevice* waitForDevice(std::uint64_t guid);
    /// Starts the program's side and receives from the device of the GUID. Null, with the test
    /// failed, when that cannot be done.
    std::unique_ptr<Capture> startCapture(std::uint64_t guid);
    [[nodiscard]] int notifications() const { return mNotifications; }

    LogCapture log;
    std::unique_ptr<avc::AVCDeviceController> controller;

private:
    static std::int32_t notify(avc::AVCDeviceController*, void* refCon, avc::AVCDevice*) {
        ++static_cast<FirewireStack*>(refCon)->mNotifications;
        return 0;
    }

    int mNotifications = 0;
};

/// The frames that a deck with the source "pal:COUNT" or "ntsc:COUNT" sends, from the first.
std::vector<DVFrame> sentFrames(bool pal, std::size_t count, std::size_t repeat);

}  // namespace takebox::test
