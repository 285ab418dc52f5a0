#include "platform/avc/ieee1394/DeviceWorker.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/avc/ieee1394/FCPMatcher.h"
#include "platform/avc/ieee1394/FCPTransaction.h"
#include "platform/avc/ieee1394/ThreadSetup.h"
#include "platform/log/Log.h"

namespace takebox::avc {
namespace {

// A device goes on for a second after a bus reset without a connection: only later data count.
constexpr std::int64_t kGrace = 1000;
constexpr std::int64_t kDataExpected = 300;   // ms from then on
constexpr std::int64_t kConnectAgain = 2000;  // ms between further connections
constexpr std::int64_t kWasStreaming = 1000;  // ms: data came that recently
constexpr int kResetsInSuccession = 8;        // then something is wrong with the bus
constexpr std::uint8_t kControl = 0x00;       // AV/C command type
constexpr std::uint8_t kFirstTapeSubunit = 0x20;

}  // namespace

DeviceWorker::DeviceWorker(std::shared_ptr<MainThreadQueue> main, Events events)
    : mMain(std::move(main)),
      mEvents(std::move(events)),
      mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mThread([this](const std::stop_token& stop) { run(stop); }) {}

DeviceWorker::~DeviceWorker() {
    stop();
}

void DeviceWorker::stop() {
    if (mThread.joinable()) {
        mThread.request_stop();
        post([] {});
        mThread.join();
    }
}

void DeviceWorker::post(Job job) {
    {
        const std::lock_guard lock(mMutex);
        mJobs.push_back(std::move(job));
    }
    wake();
}

void DeviceWorker::wake() const {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t ignored = write(mWake.get(), &one, sizeof one);
}

void DeviceWorker::attach(int number, const std::string& name, const ProbeHints& hints) {
    post([this, number, name, hints] {
        mName = name;
        mConnection.setDeviceName(name);
        open(number);
        ask(hints);
        if (mLink) {
            connectStream(false);
        }
    });
}

void DeviceWorker::probe(const std::string& name, const ProbeHints& hints) {
    post([this, name, hints] {
        mName = name;
        mConnection.setDeviceName(name);
        if (!mWatch.isOpen() && mNumber >= 0) {
            open(mNumber);
        }
        ask(hints);
    });
}

void DeviceWorker::detach() {
    post([this] { forgetDevice(); });
}

void DeviceWorker::startStream(std::shared_ptr<StreamLink> link) {
    post([this, link = std::move(link)] {
        mLink = link;
        if (!mWatch.isOpen() && mNumber >= 0) {
            open(mNumber);
        }
        if (mWatch.isOpen()) {
            connectStream(false);
        }
    });
}

void DeviceWorker::stopStream(const std::shared_ptr<StreamLink>& link) {
    post([this, link] {
        if (mLink != link) {
            return;
        }
        mLink.reset();
        mCheckTime = 0;
        if (mWatch.isOpen()) {
            mConnection.disconnect(mWatch);
        }
        mConnection.forget();
    });
}

void DeviceWorker::sendTapeCommand(std::uint8_t opcode, std::uint8_t operand,
                                   TapeResultProc result) {
    post([this, opcode, operand, result = std::move(result)]() mutable {
        const int code = runTapeCommand(opcode, operand);
        mMain->post([result = std::move(result), code] { result(code); });
    });
}

void DeviceWorker::run(const std::stop_token& stop) {
    setUpThread("fw-control");
    mStop = stop;
    for (;;) {
        if (const Job job = takeJob()) {
            job();
        } else if (stop.stop_requested()) {
            break;
        } else {
            waitForWork();
        }
        handleNews();
        passOnSeenSignal();
        checkStream();
    }
    // What the thread alone has used ends with it.
    mWatch.close();
    mLink.reset();
}

DeviceWorker::Job DeviceWorker::takeJob() {
    const std::lock_guard lock(mMutex);
    if (mJobs.empty()) {
        return {};
    }
    Job job = std::move(mJobs.front());
    mJobs.pop_front();
    return job;
}

void DeviceWorker::waitForWork() const {
    int timeout = -1;
    if (mCheckTime != 0) {
        timeout = static_cast<int>(std::max<std::int64_t>(0, mCheckTime - monotonicMilliseconds()));
    }
    // A closed watch has the descriptor -1, which poll leaves out.
    std::array<pollfd, 2> ready{{{mWake.get(), POLLIN, 0}, {mWatch.descriptor(), POLLIN, 0}}};
    poll(ready.data(), ready.size(), timeout);
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = read(mWake.get(), &count, sizeof count);
}

void DeviceWorker::open(int number) {
    mNumber = number;
    mOpenError = mWatch.open(number);
}

void DeviceWorker::ask(ProbeHints hints) {
    hints.mayListen = !mLink;
    ProbeResult result = unprobed(mOpenError, hints);
    for (int i = 0; i < kResetsInSuccession && mWatch.isOpen(); ++i) {
        result = probeDevice(mWatch, hints, mStop);
        if (!result.wasInterrupted) {
            break;
        }
        handleNews();
    }
    if (mOpenError != 0 || mWatch.isOpen()) {
        mMain->post([this, result] { mEvents.probed(result); });
    }
    if (mLink) {
        mLink->askForSignal();
    }
}

void DeviceWorker::handleNews() {
    if (!mWatch.isOpen()) {
        return;
    }
    switch (mWatch.read()) {
        case NodeWatch::News::kNone:
            break;
        case NodeWatch::News::kBusReset:
            mResetTime = monotonicMilliseconds();
            if (mLink && mConnection.isConnected()) {
                connectStream(true);
            }
            break;
        case NodeWatch::News::kGone: {
            const int number = mNumber;
            forgetDevice();
            mMain->post([this, number] { mEvents.gone(number); });
            break;
        }
    }
}

void DeviceWorker::passOnSeenSignal() {
    const SeenSignal signal = mLink ? mLink->takeSeenSignal() : SeenSignal{};
    if (signal.isNews) {
        mMain->post([this, signal] { mEvents.signalSeen(signal); });
    }
}

void DeviceWorker::forgetDevice() {
    mWatch.close();
    mNumber = -1;
    mConnection.forget();
    mCheckTime = 0;
    if (mLink) {
        mLink->setTarget({});
    }
}

/// Connects and tells the receive thread. The resource manager forgets everything in a bus reset
/// and the device goes on for a second without a connection: this must happen within that time.
void DeviceWorker::connectStream(bool isReconnection) {
    const bool isExpected = isReconnection && mResetTime - mLink->lastData() < kWasStreaming;
    bool isConnected = false;
    for (int i = 0; i < kResetsInSuccession && !isConnected; ++i) {
        isConnected = isReconnection ? mConnection.reconnect(mWatch) : mConnection.connect(mWatch);
        if (!isConnected) {
            const auto news = mWatch.read();
            if (news == NodeWatch::News::kGone) {
                // Its end shows again in the next look at the watch.
                return;
            }
            if (news == NodeWatch::News::kNone && !isReconnection) {
                break;
            }
            isReconnection = isReconnection && news == NodeWatch::News::kBusReset;
        }
    }
    if (!isConnected) {
        mConnection.useBroadcast();
    }
    mDataSince = mResetTime + kGrace;
    mCheckTime = isExpected ? mDataSince + kDataExpected : 0;
    publishTarget();
}

void DeviceWorker::publishTarget() {
    StreamTarget target;
    target.channel = static_cast<std::uint8_t>(mConnection.channel());
    target.isRefused = mConnection.isBroadcast();
    target.card = static_cast<std::uint16_t>(mWatch.info().card);
    target.number = static_cast<std::uint16_t>(mNumber);
    target.serial = mSerial;
    mLink->setTarget(target);
}

void DeviceWorker::checkStream() {
    if (mCheckTime == 0 || monotonicMilliseconds() < mCheckTime) {
        return;
    }
    if (!mLink || !mWatch.isOpen() || mLink->lastData() >= mDataSince) {
        mCheckTime = 0;
        return;
    }
    logMessage("%s sends no data after the bus reset: connecting anew", mName.c_str());
    mConnection.disconnect(mWatch);
    ++mSerial;
    connectStream(false);
    mDataSince = monotonicMilliseconds();
    mCheckTime = mDataSince + kConnectAgain;
}

int DeviceWorker::runTapeCommand(std::uint8_t opcode, std::uint8_t operand) {
    const std::array<std::uint8_t, 4> command{kControl, kFirstTapeSubunit, opcode, operand};
    for (int i = 0; i < kResetsInSuccession; ++i) {
        if (!mWatch.isOpen()) {
            return -(mOpenError != 0 ? mOpenError : ENODEV);
        }
        const FCPResult result = sendFCPCommand(mWatch, command, mStop);
        if (result.error == 0) {
            const int code = result.answer[0];
            return code == kAccepted ? 0 : code;
        }
        if (result.error != EAGAIN) {
            return -result.error;
        }
        handleNews();
    }
    return -EAGAIN;
}

}  // namespace takebox::avc
