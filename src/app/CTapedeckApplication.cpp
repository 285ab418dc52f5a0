#include "app/CTapedeckApplication.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>
#include <utility>

#include "app/CActionsManager.h"
#include "app/ScriptableDecks.h"
#include "app/Trash.h"
#include "app/UserInterface.h"
#include "capture/PreferenceKeys.h"
#include "platform/avc/ieee1394/IEEE1394Backend.h"
#include "platform/avc/virtualdeck/VirtualDeckBackend.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "recording/CDVDeviceWindowController.h"
#include "recording/RecordingJournal.h"
#include "recovery/OpenRecordings.h"
#include "remote/PlayoutSwitch.h"
#include "remote/RemoteCommands.h"
#include "remote/TCPServer.h"
#include "scheduling/CScheduler.h"
#include "scheduling/DeviceListDecks.h"
#include "scheduling/SchedulingEvents.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

const QString kServiceType = QStringLiteral("_takebox._tcp.");
const QString kNormalIcon = QStringLiteral("TapedeckIcon");

}  // namespace

void CTapedeckApplication::initialize() {
    Defaults::standard().registerDefaults({
        {OxaPrefShouldSwitchCastlineKey, false},
        {OxaPrefSchedulingEventsKey, QVariantList()},
        {OxaPrefCastlineAddressesKey, QVariantList()},
        {OxaPrefStartStopVTRKey, true},
    });
}

CTapedeckApplication::CTapedeckApplication(Options options, UserInterface& interface)
    : mOptions(std::move(options)),
      mInterface(interface),
      mJournal(std::make_unique<RecordingJournal>(Clock::system())),
      mScheduledDecks(std::make_unique<DeviceListDecks>()),
      mScriptDecks(std::make_unique<ScriptableDecks>()),
      mScriptSupervisor(interface.makeScriptSupervisor()) {
    gActionsManager =
        std::make_unique<CActionsManager>(Clock::system(), *mScriptSupervisor, mScriptDecks.get());
    gActionsManager->loadActions();
    gScheduler = std::make_unique<CScheduler>(Clock::system(), *mScheduledDecks);
    gSchedulingEvents = std::make_unique<SchedulingEvents>();
}

CTapedeckApplication::~CTapedeckApplication() {
    mScriptingService.reset();
    mTCPServer.reset();
    gScheduler.reset();
    gDVDevicesController.reset();
    gSchedulingEvents.reset();
    gActionsManager.reset();
    WriterThreads::waitUntilFinished();
    mJournal->endFinishedRecordings();
    WriterThreads::waitUntilFinished();
}

bool CTapedeckApplication::finishLaunching() {
    if (migratePreferences()) {
        return false;
    }
    gDVDevicesController =
        std::make_unique<CDVDevicesController>(makeBackends(), *this, Clock::system());
    mScriptDecks->deviceListDidChange();
    if (!mOptions.recordSeconds) {
        startServer();
        startScripting();
        readSchedulingEventsFromPreferences();
        gScheduler->start();
        offerRecovery();
    }
    return true;
}

void CTapedeckApplication::offerRecovery() {
    const std::vector<AbandonedRecording> recordings = abandonedRecordings();
    for (const AbandonedRecording& recording : recordings) {
        QString files;
        for (const QString& path : recording.note.movies()) {
            files += QStringLiteral(" '%1'").arg(path);
        }
        logMessage("A recording was cut off. Make a whole movie of it with: takebox --recover%s",
                   files.toUtf8().constData());
    }
    if (!recordings.empty()) {
        mInterface.offerRecovery(recordings);
    }
}

bool CTapedeckApplication::migratePreferences() {
    const QString newPath = Defaults::standard().path();
    const QString oldPath =
        QFileInfo(newPath).dir().filePath(QStringLiteral("com.Oxa.TakeboxDV.plist"));
    if (QFileInfo::exists(newPath) || !QFileInfo::exists(oldPath)) {
        return false;
    }
    if (!QFile::copy(oldPath, newPath)) {
        logMessage("Cannot copy the preferences from %s", QFile::encodeName(oldPath).constData());
    }
    mInterface.showInformationalAlert(tr("The application preferences have been updated !"),
                                      tr("This application will need to be restarted."), [] {
                                          QTimer::singleShot(0, [] { QCoreApplication::exit(0); });
                                      });
    return true;
}

avc::AVCBackends CTapedeckApplication::makeBackends() {
    avc::AVCBackends backends;
    backends.push_back(std::make_unique<avc::IEEE1394Backend>());
    if (!mOptions.virtualDecks.empty()) {
        backends.push_back(std::make_unique<avc::VirtualDeckBackend>(mOptions.virtualDecks));
    }
    return backends;
}

void CTapedeckApplication::startServer() {
    mTCPServer = std::make_unique<TCPServer>();
    mTCPServer->setType(kServiceType);
    mTCPServer->setPort(mOptions.controlPort);
    mRemoteCommands = std::make_unique<RemoteCommands>(*gDVDevicesController);
    mTCPServer->setDelegate(mRemoteCommands.get());
    TCPServerError error{};
    if (mTCPServer->start(&error)) {
        logMessage("Starting server on port %d", mTCPServer->port());
    } else {
        logMessage("Error starting server: %s", description(error).toUtf8().constData());
        showWarning(
            tr("Remote control is off."),
            tr("The network port %1 cannot be used; another program may have it. Another port "
               "can be chosen with --control-port.")
                .arg(mOptions.controlPort));
    }
}

void CTapedeckApplication::startScripting() {
    mScriptingService = std::make_unique<ScriptingService>(*mScriptDecks, *this);
    connect(mScriptingService.get(), &ScriptingService::activated, this,
            [this] { mInterface.activate(); });
    // Without a bus the program runs on; that has been logged.
    static_cast<void>(mScriptingService->start());
}

void CTapedeckApplication::terminate() {
    gActionsManager->endRunningScript();
    if (gDVDevicesController) {
        // A store that cannot be written has been logged; quitting goes on.
        static_cast<void>(saveSchedulingEventsToPreferences());
    }
    mInterface.setApplicationIcon(kNormalIcon);
    QCoreApplication::quit();
}

std::shared_ptr<CDVDeviceWindowController> CTapedeckApplication::controllerAtIndex(
    std::int32_t index) {
    return gDVDevicesController ? std::dynamic_pointer_cast<CDVDeviceWindowController>(
                                      gDVDevicesController->deviceWindowControllerAtIndex(index))
                                : nullptr;
}

std::vector<DockMenuItem> CTapedeckApplication::dockMenu() const {
    using Kind = DockMenuItem::Kind;
    std::vector<DockMenuItem> items;
    const std::int32_t count = gDVDevicesController ? gDVDevicesController->countDevices() : 0;
    for (std::int32_t i = 0; i < count; ++i) {
        const auto controller = controllerAtIndex(i);
        const bool isRecording = controller->device()->isRecording();
        items.push_back({Kind::kDeviceName, i, controller->deviceName()});
        items.push_back({Kind::kRecord, i, tr("Record"), isRecording});
        items.push_back({Kind::kStop, i, tr("Stop"), !isRecording});
        if (i + 1 < count) {
            items.push_back({Kind::kSeparator, i, {}});
        }
    }
    return items;
}

void CTapedeckApplication::dockMenuRecordAction(std::int32_t tag) {
    if (const auto controller = controllerAtIndex(tag)) {
        controller->recordButtonPushed();
    }
}

void CTapedeckApplication::dockMenuStopAction(std::int32_t tag) {
    if (const auto controller = controllerAtIndex(tag)) {
        controller->stopButtonPushed();
    }
}

void CTapedeckApplication::handleStartRecording() {
    if (const auto controller = controllerAtIndex(0)) {
        controller->handleStartRecording();
    }
}

void CTapedeckApplication::handleStopRecording() {
    if (const auto controller = controllerAtIndex(0)) {
        controller->handleStopRecording();
    }
}

void CTapedeckApplication::handlePauseRecording() {
    if (const auto controller = controllerAtIndex(0)) {
        controller->handlePauseRecording();
    }
}

bool CTapedeckApplication::hasWindows() const {
    return mInterface.hasWindows();
}

bool CTapedeckApplication::runCommand(const QString& command) {
    const auto controller = controllerAtIndex(0);
    if (!controller) {
        return false;
    }
    if (command == QLatin1String("start")) {
        handleStartRecording();
    } else if (command == QLatin1String("stop")) {
        handleStopRecording();
    } else {
        // The pause button has two states and the command passes on the one it finds.
        controller->outlets().pauseButton.setState(command == QLatin1String("pause"));
        handlePauseRecording();
    }
    return true;
}

void CTapedeckApplication::orderFrontStandardAboutPanel() {
    mInterface.orderFrontStandardAboutPanel();
}

void CTapedeckApplication::showPreferencePanel() {
    mInterface.showPreferencePanel();
}

QString CTapedeckApplication::versionText() {
    const QString version = QCoreApplication::applicationVersion();
    return QStringLiteral("version ") + (version.isEmpty() ? QStringLiteral("0.0.0") : version);
}

std::shared_ptr<DeviceWindowController> CTapedeckApplication::makeWindowController(
    std::shared_ptr<CDVDevice> device) {
    return std::make_shared<CDVDeviceWindowController>(std::move(device), *this);
}

QRect CTapedeckApplication::visibleFrame() const {
    return mInterface.visibleFrame();
}

void CTapedeckApplication::setApplicationIcon(const QString& name) {
    mInterface.setApplicationIcon(name);
}

void CTapedeckApplication::deviceListDidChange() {
    mInterface.deviceListDidChange();
    mScriptDecks->deviceListDidChange();
    Q_EMIT deviceListChanged();
}

ScheduledDecks& CTapedeckApplication::scheduledDecks() {
    return *mScheduledDecks;
}

Clock& CTapedeckApplication::clock() {
    return Clock::system();
}

std::unique_ptr<DeviceWindow> CTapedeckApplication::makeDeviceWindow(
    CDVDeviceWindowController& controller) {
    return mInterface.makeDeviceWindow(controller);
}

void CTapedeckApplication::recordingDidStart(CDVDeviceWindowController& controller,
                                             const RecordingNote& note) {
    mJournal->follow(controller.deviceName(), controller.device()->recordingReport(), note);
}

void CTapedeckApplication::showWarning(const QString& title, const QString& message) {
    logMessage("%s %s", title.toUtf8().constData(), message.toUtf8().constData());
    mInterface.showWarning(title, message);
}

void CTapedeckApplication::showCriticalAlert(const QString& title, const QString& message) {
    mInterface.showCriticalAlert(title, message);
}

std::int32_t CTapedeckApplication::switchPlayout(const QString& address, bool on) {
    return TCPSwitch(address.toUtf8().constData(), on);
}

bool CTapedeckApplication::executeActionWithName(const QString& name) {
    return gActionsManager->executeActionWithName(name);
}

void CTapedeckApplication::editScheduledEvents() {
    mInterface.editScheduledEvents();
}

bool CTapedeckApplication::recycle(const QString& path) {
    return moveToTrash(path);
}

}  // namespace takebox
