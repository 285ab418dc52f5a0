#include <QCoreApplication>
#include <QImage>
#include <QRect>
#include <QTemporaryDir>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "capture/CDVDevicesController.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "recording/CDVDeviceWindowController.h"
#include "recording/RecordingServices.h"
#include "remote/Command.h"
#include "remote/RemoteCommands.h"
#include "remote/TCPConnection.h"

// Whatever a remote client sends: the input is what one read delivers, taken apart and carried out
// on a recorder with two decks that have no stream. Every command must be answered.

namespace {

using namespace takebox;

/// A record in the device list that cannot be opened.
class DeafDevice : public avc::AVCDevice {
public:
    explicit DeafDevice(std::uint64_t guid) : AVCDevice(guid) {
        setDeviceName("Deck");
        setAttached(true);
        setDVCapabilities(true, false);
    }
    int openDevice(avc::AVCDeviceMessageProc /*messageProc*/, void* /*refCon*/) override {
        return EACCES;
    }
    void closeDevice() override {}
    std::unique_ptr<avc::AVCDeviceStream> CreateDVReceiverForDevicePlug(
        const avc::DVReceiverParameters& /*parameters*/) override {
        return nullptr;
    }
    void sendTapeCommand(std::uint8_t /*opcode*/, std::uint8_t /*operand*/,
                         avc::TapeResultProc /*result*/) override {}
};

class DeafBackend : public avc::AVCBackend {
public:
    void start(avc::AVCDeviceController& controller) override {
        controller.addDevice(std::make_unique<DeafDevice>(1));
        controller.addDevice(std::make_unique<DeafDevice>(2));
    }
};

class Surroundings : public DevicesEnvironment, public RecordingServices {
public:
    std::shared_ptr<DeviceWindowController> makeWindowController(
        std::shared_ptr<CDVDevice> device) override {
        return std::make_shared<CDVDeviceWindowController>(std::move(device), *this);
    }
    [[nodiscard]] QRect visibleFrame() const override { return {}; }
    void setApplicationIcon(const QString& /*name*/) override {}
    [[nodiscard]] Clock& clock() override { return Clock::system(); }
    std::unique_ptr<DeviceWindow> makeDeviceWindow(
        CDVDeviceWindowController& /*controller*/) override {
        return nullptr;
    }
    void showCriticalAlert(const QString& /*title*/, const QString& /*message*/) override {}
    std::int32_t switchPlayout(const QString& /*address*/, bool /*on*/) override { return -1; }
    bool executeActionWithName(const QString& /*name*/) override { return false; }
    void editScheduledEvents() override {}
    bool recycle(const QString& /*path*/) override { return false; }
};

/// Lives until the process ends, as the application does.
class Recorder {
public:
    Recorder() {
        setLogSink([](std::string_view) {});
        Defaults::standard().reopen(mFolder.filePath(QStringLiteral("preferences.plist")));
        avc::AVCBackends backends;
        backends.push_back(std::make_unique<DeafBackend>());
        gDVDevicesController = std::make_unique<CDVDevicesController>(
            std::move(backends), mSurroundings, Clock::system());
        mCommands = std::make_unique<RemoteCommands>(*gDVDevicesController);
    }
    ~Recorder() { gDVDevicesController.reset(); }
    Recorder(const Recorder&) = delete;
    Recorder& operator=(const Recorder&) = delete;

    /// RECORD would fill the disk: it is carried out with nothing to record to.
    void receive(QByteArrayView bytes) {
        const auto command = Command::fromBytes(bytes, mConnection);
        auto& controller = dynamic_cast<CDVDeviceWindowController&>(
            *gDVDevicesController->devices()[command->deviceIndex() == 1 ? 1 : 0]);
        if (command->commandString() == QLatin1String("RECORD")) {
            controller.setCreateReferenceMovie(false);
            controller.setCreateSelfContainedMovie(false);
        }
        mCommands->receivedNewCommand(command);
        const bool isPicture = command->commandString() == QLatin1String("FRAME") &&
                               command->deviceIndex() < gDVDevicesController->countDevices();
        if (!isPicture && !command->responseData().endsWith("\n\r")) {
            abort();
        }
    }

private:
    QTemporaryDir mFolder;
    Surroundings mSurroundings;
    std::unique_ptr<RemoteCommands> mCommands;
    // Has no socket: what goes into it is gone.
    std::shared_ptr<TCPConnection> mConnection = std::make_shared<TCPConnection>();
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static int argc = 1;
    static char name[] = "fuzzer";
    static char* argv[] = {name, nullptr};
    static const QCoreApplication application(argc, argv);
    static Recorder recorder;
    const auto length = std::min(size, TCPConnection::kCommandSize);
    recorder.receive(
        QByteArrayView(reinterpret_cast<const char*>(data), static_cast<qsizetype>(length)));
    return 0;
}
