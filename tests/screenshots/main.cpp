// Runs the program with virtual decks, brings every window into its states and saves a picture of
// each: takebox_screenshots FOLDER SUFFIX [dark]

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QStyleFactory>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>

#include "app/CTapedeckApplication.h"
#include "app/TerminationSignals.h"
#include "app/desktop/DesktopInterface.h"
#include "display/widgets/Resources.h"
#include "display/widgets/Theme.h"
#include "recording/CDVDeviceWindowController.h"
#include "recording/window/NoDeviceWindow.h"
#include "recovery/OpenRecordings.h"
#include "scheduling/CRecordingEvent.h"
#include "scheduling/SchedulingEvents.h"
#include "support/DVMaterial.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

class Photographer {
public:
    Photographer(QString folder, QString suffix)
        : mFolder(std::move(folder)), mSuffix(std::move(suffix)) {}

    void take(QWidget& window, const QString& name) {
        // What was set a moment ago is laid out and painted.
        for (int i = 0; i < 5; ++i) {
            QCoreApplication::processEvents();
        }
        const QString path = mFolder + u'/' + name + mSuffix + u".png"_s;
        if (!window.grab().save(path)) {
            mFailures++;
        }
        std::printf("%s\n", path.toUtf8().constData());
    }
    void takeNamed(const QString& objectName, const QString& name) {
        if (QWidget* window = find(objectName)) {
            take(*window, name);
            window->close();
        } else {
            std::printf("no window %s\n", objectName.toUtf8().constData());
            mFailures++;
        }
    }
    [[nodiscard]] int failures() const { return mFailures; }

    static QWidget* find(const QString& objectName) {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (widget->objectName() == objectName && widget->isVisible()) {
                return widget;
            }
        }
        return nullptr;
    }

private:
    QString mFolder;
    QString mSuffix;
    int mFailures = 0;
};

QWidget* windowOf(const CDVDeviceWindowController& controller) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->objectName() == u"TapedeckWindow"_s &&
            widget->windowTitle() == controller.deviceName()) {
            return widget;
        }
    }
    return nullptr;
}

Options optionsWithDecks(const QString& silentFile) {
    const ParsedOptions parsed =
        parseOptions({u"takebox"_s, u"--control-port"_s, u"0"_s, u"--virtual-deck"_s,
                      u"pal,name=Studio A,start=10:42:17:00"_s, u"--virtual-deck"_s,
                      u"ntsc,name=Studio B"_s, u"--virtual-deck"_s, u"pal,name=Gallery"_s,
                      u"--virtual-deck"_s, silentFile + u",name=Satellite,loop=no"_s});
    return *parsed.options;
}

void prepare(CDVDeviceWindowController& controller, const QString& folder, const QString& name) {
    controller.settings().setRawRecordingFolderPath(folder);
    controller.settings().setReferenceMovieFolderPath(folder);
    controller.settings().setSelfContainedRecordingFolderPath(folder);
    controller.settings().setReferenceMovieDuration(60);
    controller.setRecordingName(name);
    controller.updateRemainingSpace();
}

void photographDecks(Photographer& photographer, const QString& folder) {
    std::vector<std::shared_ptr<CDVDeviceWindowController>> decks;
    for (int i = 0; i < gDVDevicesController->countDevices(); ++i) {
        decks.push_back(CTapedeckApplication::controllerAtIndex(i));
        prepare(*decks.back(), folder, i == 0 ? u"Morning interview"_s : u"News %1"_s.arg(i));
    }
    (void)test::waitUntil([&] { return !decks[2]->previewImage().isNull(); });
    decks[0]->recordButtonPushed();
    decks[1]->recordButtonPushed();
    (void)test::waitUntil([&] { return decks[1]->recordedTime() > 2; });
    decks[1]->outlets().pauseButton.setState(true);
    decks[1]->pauseButtonPushed();
    (void)test::waitUntil([&] { return decks[0]->recordedTime() > 3.4; });
    photographer.take(*windowOf(*decks[0]), u"deck-recording"_s);
    photographer.take(*windowOf(*decks[1]), u"deck-paused"_s);
    photographer.take(*windowOf(*decks[2]), u"deck-stopped"_s);
    photographer.take(*windowOf(*decks[3]), u"deck-no-signal"_s);

    decks[2]->advancedSettingsButtonPushed();
    photographer.takeNamed(u"settingsPanel"_s, u"deck-settings"_s);
    QWidget* large = windowOf(*decks[0]);
    large->resize(1100, 620);
    photographer.take(*large, u"deck-large"_s);
    for (QMenu* menu : windowOf(*decks[2])->findChildren<QMenu*>()) {
        if (menu->title() == u"&Deck"_s) {
            menu->popup({0, 0});
            photographer.take(*menu, u"menu-deck"_s);
            menu->hide();
        }
    }
    for (const auto& deck : decks) {
        deck->stopButtonPushed();
    }
}

void schedule(const QString& name, std::uint64_t guid, const QString& device, QTime start,
              double duration, bool isWeekly) {
    auto event = std::make_shared<CRecordingEvent>();
    event->setRecordingName(name);
    event->setDeviceGUID(guid);
    event->setDeviceString(device);
    event->setStartTime(start.msecsSinceStartOfDay() / 1000.0);
    event->setDuration(duration);
    event->setCreateReferenceMovie(true);
    event->setCreateSelfContainedMovie(!isWeekly);
    if (isWeekly) {
        for (const int day : {1, 2, 3, 4, 5}) {
            event->setShouldRecord(true, day);
        }
    } else {
        event->setDate(QDate::currentDate().addDays(1));
    }
    gSchedulingEvents->push_back(event);
}

void photographSchedule(Photographer& photographer, DesktopInterface& interface) {
    const auto deck = CTapedeckApplication::controllerAtIndex(0)->device();
    constexpr std::uint64_t kAbsentDeck = 0x0800460102030405;
    schedule(u"Evening news"_s, deck->deviceGUID(), u"Studio A"_s, {19, 0}, 1800, true);
    schedule(u"Weather"_s, deck->deviceGUID(), u"Studio A"_s, {19, 20}, 600, true);
    schedule(u"Concert"_s, deck->deviceGUID(), u"Studio A"_s, {23, 30}, 7200, false);
    schedule(u"Feed from the north"_s, kAbsentDeck, u"Camcorder"_s, {6, 15}, 2700, false);
    interface.editScheduledEvents();
    QWidget* window = Photographer::find(u"schedulingWindow"_s);
    if (window == nullptr) {
        photographer.takeNamed(u"schedulingWindow"_s, u"schedule"_s);  // tells that there is none
        return;
    }
    window->findChild<QTableView*>()->selectRow(1);
    photographer.take(*window, u"schedule"_s);
    // The sheet runs an event loop of its own until it is closed.
    QTimer::singleShot(
        0, [&photographer] { photographer.takeNamed(u"eventSheetWindow"_s, u"schedule-event"_s); });
    window->findChild<QPushButton*>(u"editEventButton"_s)->click();
    window->close();
    gSchedulingEvents->clear();
}

int photograph(Photographer& photographer) {
    const QTemporaryDir folder;
    const QString silentFile = folder.filePath(u"satellite.dv"_s);
    QFile file(silentFile);
    if (file.open(QIODevice::WriteOnly)) {
        for (const QByteArray& frame : test::makeDVFrames(true, true, 8)) {
            file.write(frame);
        }
        file.close();
    }
    DesktopInterface interface;
    CTapedeckApplication::initialize();
    CTapedeckApplication application(optionsWithDecks(silentFile), interface);
    interface.setApplication(&application);
    if (!application.finishLaunching()) {
        return 1;
    }
    photographDecks(photographer, folder.path());
    photographSchedule(photographer, interface);
    AbandonedRecording cutOff;
    cutOff.note.moviePath = u"/srv/ingest/Morning interview.mov"_s;
    interface.offerRecovery({cutOff});
    if (QWidget* offer = Photographer::find(u"recoveryOffer"_s)) {
        photographer.take(*offer, u"recovery"_s);
        auto* recover = offer->findChild<QPushButton*>(u"recoverButton"_s);
        recover->click();
        (void)test::waitUntil([recover] { return !recover->isVisible(); });
    }
    photographer.takeNamed(u"recoveryOffer"_s, u"recovery-result"_s);
    interface.showPreferencePanel();
    photographer.takeNamed(u"preferencesWindow"_s, u"preferences"_s);
    interface.orderFrontStandardAboutPanel();
    photographer.takeNamed(u"aboutPanel"_s, u"about"_s);
    interface.showCriticalAlert(
        u"No Recording Destination!"_s,
        u"No destination has been set.\nPlease check your Capture Settings and try again."_s);
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (qobject_cast<QMessageBox*>(widget) != nullptr) {
            photographer.take(*widget, u"alert"_s);
        }
    }
    NoDeviceWindow noDevice(interface);
    noDevice.show();
    photographer.take(noDevice, u"no-deck"_s);
    interface.setApplication(nullptr);
    return photographer.failures();
}

}  // namespace
}  // namespace takebox

int main(int argc, char** argv) {
    using namespace takebox;
    TerminationSignals::block();
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    QApplication application(argc, argv);
    QCoreApplication::setApplicationVersion(QStringLiteral(TAKEBOX_VERSION));
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3) {
        return 2;
    }
    QApplication::setStyle(QStyleFactory::create(u"Fusion"_s));
    if (arguments.contains(u"dark"_s)) {
        QApplication::setPalette(darkPalette());
    }
    QDir().mkpath(arguments[1]);
    Photographer photographer(arguments[1], arguments[2]);
    return photograph(photographer);
}
