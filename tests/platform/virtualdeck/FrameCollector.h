#pragma once

#include <QByteArray>
#include <QString>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#include "platform/avc/AVCDeviceController.h"
#include "platform/avc/virtualdeck/VirtualDeck.h"

namespace takebox::test {

/// Opens one virtual deck and keeps what it sends.
class FrameCollector {
public:
    struct Frame {
        std::uint32_t message;
        QByteArray bytes;  ///< empty when there was no data
        std::int64_t time;
        std::uint32_t length;
    };
    struct Message {
        std::uint32_t message;
        std::uint32_t parameter1;
        std::uint32_t parameter2;
    };

    /// @param spec  as on the command line.
    explicit FrameCollector(const QString& spec);
    ~FrameCollector();
    FrameCollector(const FrameCollector&) = delete;
    FrameCollector& operator=(const FrameCollector&) = delete;

    avc::VirtualDeck& deck() { return *mDeck; }
    /// Opens the deck and starts its stream with so many buffers. @return the first error.
    int start(std::uint32_t buffers = 4);
    /// Ends the stream and closes the deck; what was collected stays.
    void stop();
    /// Sends a transport command and waits for the answer.
    int command(std::uint8_t opcode, std::uint8_t operand);

    /// Runs the event loop until so many frames have come.
    [[nodiscard]] bool waitForFrames(std::size_t count);
    std::vector<Frame> frames();
    std::vector<Message> messages();
    std::size_t frameCount();
    /// Where the frames lay.
    std::set<const std::uint8_t*> addresses();
    std::string threadName();

    /// Called on the receive thread with the number of each frame, before it is kept.
    std::function<void(std::size_t)> onFrame;
    /// Called on the main thread.
    std::function<void()> onCloseRequest;
    int closeRequests = 0;
    int deviceChanges = 0;

private:
    static std::uint32_t frameReceived(std::uint32_t message, const std::uint8_t* data,
                                       std::uint32_t length, void* refCon);
    static void messageReceived(std::uint32_t message, std::uint32_t parameter1,
                                std::uint32_t parameter2, void* refCon);

    std::unique_ptr<avc::AVCDeviceController> mController;
    avc::VirtualDeck* mDeck = nullptr;
    std::unique_ptr<avc::AVCDeviceStream> mStream;

    std::mutex mMutex;  // guards what follows
    std::vector<Frame> mFrames;
    std::vector<Message> mMessages;
    std::set<const std::uint8_t*> mAddresses;
    std::string mThreadName;
};

/// The frames of the test signal that begins at 00:00:00:00, as a deck without a name shows it.
QByteArray signalFrame(avc::DVStandard standard, std::uint64_t number, const char* label);

/// Writes a file of frames of the test signal into the folder. @return its path.
QString writeTape(const QString& folder, avc::DVStandard standard, int frames);

}  // namespace takebox::test
