#include "FrameCollector.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <QFile>
#include <array>

#include "platform/avc/TapeSubunitController.h"
#include "platform/avc/virtualdeck/TestSignal.h"
#include "platform/avc/virtualdeck/VirtualDeckBackend.h"
#include "platform/runloop/WakeUp.h"
#include "support/WaitUntil.h"

namespace takebox::test {

FrameCollector::FrameCollector(const QString& spec) {
    QString error;
    auto settings = avc::parseVirtualDeckSettings(spec, error);
    EXPECT_TRUE(settings) << qPrintable(error);
    avc::AVCBackends backends;
    auto backend = std::make_unique<avc::VirtualDeckBackend>(std::vector{settings.value()});
    const auto& decks = backend->decks();
    backends.push_back(std::move(backend));
    const auto notification = [](avc::AVCDeviceController*, void* refCon, avc::AVCDevice*) {
        ++static_cast<FrameCollector*>(refCon)->deviceChanges;
        return 0;
    };
    avc::CreateAVCDeviceController(mController, std::move(backends), notification, this);
    mDeck = decks.at(0);
}

FrameCollector::~FrameCollector() {
    stop();
    avc::DestroyAVCDeviceController(mController);
}

int FrameCollector::start(std::uint32_t buffers) {
    const auto messageProc = [](avc::AVCDevice*, std::uint32_t message, std::int32_t,
                                void* refCon) {
        auto* const self = static_cast<FrameCollector*>(refCon);
        if (message == avc::kDeviceCloseRequest) {
            ++self->closeRequests;
            if (self->onCloseRequest) {
                self->onCloseRequest();
            }
        }
        return 0;
    };
    if (const int error = mDeck->openDevice(messageProc, this); error != 0) {
        return error;
    }
    avc::DVReceiverParameters parameters;
    parameters.frameProc = frameReceived;
    parameters.frameRefCon = this;
    parameters.messageProc = messageReceived;
    parameters.messageRefCon = this;
    parameters.dvMode = mDeck->dvMode();
    parameters.frameBuffers = buffers;
    mStream = mDeck->CreateDVReceiverForDevicePlug(parameters);
    return mStream ? mDeck->StartAVCDeviceStream(*mStream) : -1;
}

void FrameCollector::stop() {
    if (mStream) {
        mDeck->StopAVCDeviceStream(*mStream);
        mDeck->DestroyAVCDeviceStream(mStream);
    }
    mDeck->closeDevice();
}

int FrameCollector::command(std::uint8_t opcode, std::uint8_t operand) {
    bool isAnswered = false;
    int answer = 0;
    mDeck->sendTapeCommand(opcode, operand, [&](int result) {
        answer = result;
        isAnswered = true;
    });
    EXPECT_FALSE(isAnswered) << "the answer comes through the event loop";
    EXPECT_TRUE(waitUntil([&] { return isAnswered; }));
    return answer;
}

bool FrameCollector::waitForFrames(std::size_t count) {
    return waitUntil([this, count] { return frameCount() >= count; });
}

std::vector<FrameCollector::Frame> FrameCollector::frames() {
    const std::lock_guard lock(mMutex);
    return mFrames;
}

std::vector<FrameCollector::Message> FrameCollector::messages() {
    const std::lock_guard lock(mMutex);
    return mMessages;
}

std::size_t FrameCollector::frameCount() {
    const std::lock_guard lock(mMutex);
    return mFrames.size();
}

std::set<const std::uint8_t*> FrameCollector::addresses() {
    const std::lock_guard lock(mMutex);
    return mAddresses;
}

std::string FrameCollector::threadName() {
    const std::lock_guard lock(mMutex);
    return mThreadName;
}

std::uint32_t FrameCollector::frameReceived(std::uint32_t message, const std::uint8_t* data,
                                            std::uint32_t length, void* refCon) {
    auto* const self = static_cast<FrameCollector*>(refCon);
    const std::int64_t time = WakeUp::now();
    if (self->onFrame) {
        self->onFrame(self->frameCount());
    }
    const std::lock_guard lock(self->mMutex);
    QByteArray bytes;
    if (data != nullptr) {
        bytes = QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(length));
        self->mAddresses.insert(data);
    }
    self->mFrames.push_back({message, bytes, time, length});
    if (self->mThreadName.empty()) {
        std::array<char, 16> name{};
        pthread_getname_np(pthread_self(), name.data(), name.size());
        self->mThreadName = name.data();
    }
    return avc::kFrameNotKept;
}

void FrameCollector::messageReceived(std::uint32_t message, std::uint32_t parameter1,
                                     std::uint32_t parameter2, void* refCon) {
    auto* const self = static_cast<FrameCollector*>(refCon);
    const std::lock_guard lock(self->mMutex);
    self->mMessages.push_back({message, parameter1, parameter2});
}

QByteArray signalFrame(avc::DVStandard standard, std::uint64_t number, const char* label) {
    const avc::TestSignal signal(standard, false, {}, label);
    QByteArray bytes(static_cast<qsizetype>(signal.frameSize()), '\0');
    signal.writeFrame(number, {reinterpret_cast<std::uint8_t*>(bytes.data()), signal.frameSize()});
    return bytes;
}

QString writeTape(const QString& folder, avc::DVStandard standard, int frames) {
    QString path = folder + QStringLiteral("/tape.dv");
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    for (int i = 0; i < frames; ++i) {
        file.write(signalFrame(standard, static_cast<std::uint64_t>(i), ""));
    }
    return path;
}

}  // namespace takebox::test
