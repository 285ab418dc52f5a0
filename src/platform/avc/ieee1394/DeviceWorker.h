#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/avc/AVCDevice.h"
#include "platform/avc/ieee1394/DeviceConnection.h"
#include "platform/avc/ieee1394/DeviceProbe.h"
#include "platform/avc/ieee1394/MainThreadQueue.h"
#include "platform/avc/ieee1394/NodeWatch.h"
#include "platform/avc/ieee1394/StreamLink.h"

namespace takebox::avc {

/// The control thread of one device: everything that waits for the device or the bus. It asks the
/// device what it is, makes and keeps the connection for the stream through bus resets, sends tape
/// commands, and notices when the device is gone. Operations are called on the main thread and
/// return at once; they are carried out in order.
class DeviceWorker {
public:
    /// News for the main thread, through the queue.
    struct Events {
        std::function<void(const ProbeResult&)> probed;
        std::function<void(int number)> gone;  ///< N of the /dev/fwN that ended
        /// What the stream shows, when it is another signal than before or the device was asked.
        std::function<void(const SeenSignal&)> signalSeen;
    };

    DeviceWorker(std::shared_ptr<MainThreadQueue> main, Events events);
    ~DeviceWorker();
    DeviceWorker(const DeviceWorker&) = delete;
    DeviceWorker& operator=(const DeviceWorker&) = delete;

    /// The device is there as /dev/fwN: opens it, asks it, connects a stream that waits for it.
    void attach(int number, const std::string& name, const ProbeHints& hints);
    /// Asks it again.
    void probe(const std::string& name, const ProbeHints& hints);
    void detach();

    void startStream(std::shared_ptr<StreamLink> link);
    /// Does nothing when another stream has been started since.
    void stopStream(const std::shared_ptr<StreamLink>& link);

    /// Lets the thread look at what the stream has to tell. Any thread; never waits.
    void wake() const;

    void sendTapeCommand(std::uint8_t opcode, std::uint8_t operand, TapeResultProc result);

    /// Does what has been asked for, without long waits, and ends. No news comes from the thread
    /// afterwards; what it has told already is still in the queue.
    void stop();
    /// Lets stop() be quick, where several workers are to be stopped.
    void requestStop() { mThread.request_stop(); }

private:
    using Job = std::function<void()>;

    void post(Job job);
    void run(const std::stop_token& stop);
    [[nodiscard]] Job takeJob();
    void waitForWork() const;

    void open(int number);
    void ask(ProbeHints hints);
    void handleNews();
    void passOnSeenSignal();
    void forgetDevice();
    void connectStream(bool isReconnection);
    void publishTarget();
    void checkStream();
    [[nodiscard]] int runTapeCommand(std::uint8_t opcode, std::uint8_t operand);

    std::shared_ptr<MainThreadQueue> mMain;
    Events mEvents;

    std::mutex mMutex;  // guards mJobs
    std::deque<Job> mJobs;
    FileDescriptor mWake;

    // Control thread only.
    std::stop_token mStop;
    std::string mName;
    int mNumber = -1;
    int mOpenError = 0;
    NodeWatch mWatch;
    DeviceConnection mConnection;
    std::shared_ptr<StreamLink> mLink;
    std::uint16_t mSerial = 0;
    std::int64_t mResetTime = 0;  ///< of the last bus reset
    std::int64_t mDataSince = 0;  ///< data from then on show that the connection works
    std::int64_t mCheckTime = 0;  ///< when to look whether data come again; 0 is never

    std::jthread mThread;  // last: it uses all of the above
};

}  // namespace takebox::avc
