// Start-up, the tray menu and the way out.

#include "app/CTapedeckApplication.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <functional>
#include <string>

#include "app/HeadlessInterface.h"
#include "app/UserInterface.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "recording/CDVDeviceWindowController.h"
#include "remote/TCPServer.h"
#include "scheduling/CRecordingEvent.h"
#include "scheduling/CScheduler.h"
#include "scheduling/SchedulingEvents.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using testing::ElementsAre;
using testing::IsEmpty;

const QString kOldFile = u"com.Oxa.TakeboxDV.plist"_s;
const QString kNewFile = u"com.marvanemedia.TakeboxDV.plist"_s;

class Interface : public UserInterface {
public:
    std::unique_ptr<DeviceWindow> makeDeviceWindow(CDVDeviceWindowController&) override {
        return nullptr;
    }
    void showCriticalAlert(const QString& title, const QString&) override { alerts << title; }
    void showInformationalAlert(const QString& title, const QString& message,
                                std::function<void()> whenDismissed) override {
        alerts << title << message;
        dismissed = std::move(whenDismissed);
    }
    [[nodiscard]] QRect visibleFrame() const override { return {}; }
    void setApplicationIcon(const QString& name) override {
        icons.push_back(name.toStdString());
        whenIconIsSet();
    }
    void deviceListDidChange() override { ++listChanges; }
    void editScheduledEvents() override { ++schedulingWindows; }
    void showPreferencePanel() override { ++preferencePanels; }
    void orderFrontStandardAboutPanel() override { ++aboutPanels; }
    void activate() override {}

    QStringList alerts;
    std::function<void()> dismissed;
    std::vector<std::string> icons;
    std::function<void()> whenIconIsSet = [] {};
    int listChanges = 0;
    int schedulingWindows = 0;
    int preferencePanels = 0;
    int aboutPanels = 0;
};

class CTapedeckApplicationTest : public testing::Test {
protected:
    CTapedeckApplicationTest() {
        options.controlPort = 0;
        Defaults::standard().reopen(mFolder.filePath(kNewFile));
        CTapedeckApplication::initialize();
    }
    void addDecks(const QStringList& specs) {
        for (const QString& spec : specs) {
            QString error;
            const auto settings = avc::parseVirtualDeckSettings(spec, error);
            ASSERT_TRUE(settings) << error.toStdString();
            options.virtualDecks.push_back(*settings);
        }
    }
    void launch() {
        application = std::make_unique<CTapedeckApplication>(options, interface);
        EXPECT_TRUE(application->finishLaunching());
    }
    void launchWithTwoDecks() {
        addDecks({u"pal,name=First"_s, u"ntsc,name=Second"_s});
        launch();
        for (int i = 0; i < 2; ++i) {
            auto& settings = CTapedeckApplication::controllerAtIndex(i)->settings();
            settings.setReferenceMovieFolderPath(mFolder.path());
            settings.setRawRecordingFolderPath(mFolder.path());
        }
    }
    void write(const QString& name, const QByteArray& content) const {
        test::writeFile(mFolder.filePath(name), content);
    }
    [[nodiscard]] QByteArray contents(const QString& name) const {
        return test::contentsOf(mFolder.filePath(name));
    }
    /// The menu, one text an entry; a star for a check mark.
    [[nodiscard]] std::vector<std::string> menu() const {
        std::vector<std::string> texts;
        for (const DockMenuItem& item : application->dockMenu()) {
            const bool isSeparator = item.kind == DockMenuItem::Kind::kSeparator;
            texts.push_back(isSeparator ? "-"
                                        : item.title.toStdString() + (item.isChecked ? "*" : ""));
        }
        return texts;
    }

    test::LogCapture log;
    Interface interface;
    Options options;
    std::unique_ptr<CTapedeckApplication> application;

private:
    const QTemporaryDir mFolder;

protected:
    [[nodiscard]] QString path(const QString& name) const { return mFolder.filePath(name); }
};

QVariantMap event(const QString& name) {
    CRecordingEvent made;
    made.setRecordingName(name);
    return made.settingsDictionary();
}

}  // namespace

// Defaults

TEST_F(CTapedeckApplicationTest, initializeGivesWhatHoldsWhereTheUserHasSetNothing) {
    const Defaults& defaults = Defaults::standard();
    EXPECT_FALSE(defaults.boolForKey(OxaPrefShouldSwitchCastlineKey));
    EXPECT_TRUE(defaults.boolForKey(OxaPrefStartStopVTRKey));
    EXPECT_FALSE(defaults.boolForKey(OxaPrefEraseExistingFilesKey));
    EXPECT_EQ(defaults.objectForKey(OxaPrefSchedulingEventsKey), QVariant(QVariantList()));
    EXPECT_EQ(defaults.objectForKey(OxaPrefCastlineAddressesKey), QVariant(QVariantList()));
    Defaults::standard().setObject(OxaPrefStartStopVTRKey, false);
    EXPECT_FALSE(defaults.boolForKey(OxaPrefStartStopVTRKey));
}

// Start-up

TEST_F(CTapedeckApplicationTest, startUpFindsTheDecksAndServesTheControlPort) {
    launchWithTwoDecks();
    EXPECT_EQ(gDVDevicesController->countDevices(), 2);
    ASSERT_NE(application->server(), nullptr);
    EXPECT_NE(application->server()->port(), 0);
    EXPECT_EQ(log.count("Starting server on port " + std::to_string(application->server()->port())),
              1);
    EXPECT_NE(gScheduler, nullptr);
    EXPECT_THAT(interface.icons, ElementsAre("TapedeckStoppedIcon"));
}

TEST_F(CTapedeckApplicationTest, portInUseIsLoggedAndTheProgramRunsOn) {
    TCPServer other;
    TCPServerError error{};
    ASSERT_TRUE(other.start(&error));
    options.controlPort = other.port();
    launch();
    EXPECT_TRUE(log.containsText("Error starting server: "));
    EXPECT_FALSE(log.containsText("Starting server on port"));
    EXPECT_NE(gDVDevicesController, nullptr);
}

TEST_F(CTapedeckApplicationTest, recordRunServesNobody) {
    options.recordSeconds = 1.0;
    launch();
    EXPECT_EQ(application->server(), nullptr);
    EXPECT_NE(gDVDevicesController, nullptr);
}

TEST_F(CTapedeckApplicationTest, eventsOfThePreferencesAreRead) {
    Defaults::standard().setObject(OxaPrefSchedulingEventsKey,
                                   QVariantList{event(u"One"_s), event(u"Two"_s)});
    launch();
    ASSERT_EQ(gSchedulingEvents->size(), 2U);
    EXPECT_EQ(gSchedulingEvents->at(0)->recordingName(), u"One"_s);
    EXPECT_EQ(gSchedulingEvents->at(1)->recordingName(), u"Two"_s);
}

TEST_F(CTapedeckApplicationTest, storedListOfNoEventsEmptiesThem) {
    launch();
    gSchedulingEvents->push_back(std::make_shared<CRecordingEvent>());
    Defaults::standard().setObject(OxaPrefSchedulingEventsKey, QVariantList());
    readSchedulingEventsFromPreferences();
    EXPECT_TRUE(gSchedulingEvents->empty());
}

TEST_F(CTapedeckApplicationTest, eventsStayWhenThePreferencesKnowOfNone) {
    launch();
    Defaults::standard().reopen(path(u"without-registered-defaults.plist"_s));
    gSchedulingEvents->push_back(std::make_shared<CRecordingEvent>());
    readSchedulingEventsFromPreferences();
    EXPECT_EQ(gSchedulingEvents->size(), 1U);
}

// Preferences of an older version

TEST_F(CTapedeckApplicationTest, oldPreferencesAreCopiedAndTheProgramEndsWhenTheUserHasSeenIt) {
    write(kOldFile, "any bytes");
    application = std::make_unique<CTapedeckApplication>(options, interface);
    EXPECT_FALSE(application->finishLaunching());
    EXPECT_EQ(contents(kNewFile), "any bytes");
    EXPECT_EQ(contents(kOldFile), "any bytes");
    EXPECT_EQ(interface.alerts, (QStringList{u"The application preferences have been updated !"_s,
                                             u"This application will need to be restarted."_s}));
    EXPECT_EQ(gDVDevicesController, nullptr);
    EXPECT_EQ(application->server(), nullptr);
    ASSERT_TRUE(interface.dismissed);
    interface.dismissed();
    EXPECT_EQ(QCoreApplication::exec(), 0);
    application.reset();
    EXPECT_EQ(contents(kNewFile), "any bytes");
}

TEST_F(CTapedeckApplicationTest, copiedPreferencesAreNotOverwrittenWhenTheProgramIsToldToEnd) {
    write(kOldFile, "any bytes");
    application = std::make_unique<CTapedeckApplication>(options, interface);
    EXPECT_FALSE(application->finishLaunching());
    application->terminate();
    application.reset();
    EXPECT_EQ(contents(kNewFile), "any bytes");
}

TEST_F(CTapedeckApplicationTest, copyThatFailsIsToldAllTheSame) {
    ASSERT_TRUE(QDir().mkpath(path(kOldFile)));  // a folder cannot be copied
    application = std::make_unique<CTapedeckApplication>(options, interface);
    EXPECT_FALSE(application->finishLaunching());
    EXPECT_EQ(interface.alerts.size(), 2);
    EXPECT_TRUE(log.containsText("Cannot copy the preferences from "));
}

TEST_F(CTapedeckApplicationTest, oldPreferencesAreIgnoredBesideNewOnes) {
    write(kOldFile, "old");
    write(kNewFile, "<?xml version=\"1.0\"?><plist version=\"1.0\"><dict/></plist>");
    launch();
    EXPECT_THAT(interface.alerts, IsEmpty());
}

// The tray menu

TEST_F(CTapedeckApplicationTest, menuIsEmptyWithoutADevice) {
    launch();
    EXPECT_THAT(menu(), IsEmpty());
}

TEST_F(CTapedeckApplicationTest, menuHasThreeEntriesForEachDeviceAndNoSeparatorAtTheEnd) {
    launchWithTwoDecks();
    EXPECT_THAT(menu(), ElementsAre("First", "Record", "Stop*", "-", "Second", "Record", "Stop*"));
    const auto items = application->dockMenu();
    for (std::size_t i = 0; i < items.size(); ++i) {
        EXPECT_EQ(items[i].tag, i < 4 ? 0 : 1) << i;
    }
}

TEST_F(CTapedeckApplicationTest, menuStartsAndStopsTheDeviceOfItsTag) {
    launchWithTwoDecks();
    application->dockMenuRecordAction(1);
    EXPECT_THAT(menu(), ElementsAre("First", "Record", "Stop*", "-", "Second", "Record*", "Stop"));
    EXPECT_EQ(interface.icons.back(), "TapedeckIcon");
    application->dockMenuStopAction(0);
    application->dockMenuStopAction(1);
    EXPECT_THAT(menu(), ElementsAre("First", "Record", "Stop*", "-", "Second", "Record", "Stop*"));
    EXPECT_EQ(interface.icons.back(), "TapedeckStoppedIcon");
}

TEST_F(CTapedeckApplicationTest, menuOfADeviceThatHasGoneMeanwhileDoesNothing) {
    launchWithTwoDecks();
    application->dockMenuRecordAction(7);
    application->dockMenuStopAction(-1);
    EXPECT_THAT(menu(), ElementsAre("First", "Record", "Stop*", "-", "Second", "Record", "Stop*"));
}

// Commands of scripts

TEST_F(CTapedeckApplicationTest, commandWithoutADeckIsRefused) {
    launch();
    for (const auto& command : {u"start"_s, u"stop"_s, u"pause"_s, u"resume"_s}) {
        EXPECT_FALSE(application->runCommand(command)) << command.toStdString();
    }
}

TEST_F(CTapedeckApplicationTest, fileThatCannotBeThrownAwayIsSaid) {
    launch();
    EXPECT_FALSE(application->recycle(path(u"not there"_s)));
}

// The way out

TEST_F(CTapedeckApplicationTest, endSavesTheEventsAndThenPutsTheIconBack) {
    launchWithTwoDecks();
    gSchedulingEvents->push_back(std::make_shared<CRecordingEvent>());
    gSchedulingEvents->back()->setRecordingName(u"Later"_s);
    application->dockMenuRecordAction(0);
    QVariantList savedBeforeTheIcon;
    interface.whenIconIsSet = [&] {
        savedBeforeTheIcon = Defaults(path(kNewFile)).arrayForKey(OxaPrefSchedulingEventsKey);
    };
    application->terminate();
    EXPECT_EQ(interface.icons.back(), "TapedeckIcon");
    ASSERT_EQ(savedBeforeTheIcon.size(), 1);
    EXPECT_EQ(savedBeforeTheIcon[0].toMap().value(u"Recording Name"_s), u"Later"_s);
    // The recording goes on until everything is torn down.
    EXPECT_TRUE(gDVDevicesController->deviceAtIndex(0)->isRecording());
}

TEST_F(CTapedeckApplicationTest, itsEndClosesRunningRecordings) {
    launchWithTwoDecks();
    application->dockMenuRecordAction(0);
    const auto device = gDVDevicesController->deviceAtIndex(0).get();
    ASSERT_TRUE(test::waitUntil([device] { return device->recordedFrames() >= 3; }));
    interface.icons.clear();
    application.reset();
    const QFileInfo dv(path(u"Untitled/Untitled.dv"_s));
    EXPECT_GE(dv.size(), 3 * 144000);
    EXPECT_EQ(dv.size() % 144000, 0);
    EXPECT_EQ(QFileInfo(path(u"Untitled/Untitled.aud"_s)).size(), dv.size() / 144000 * 7680);
    EXPECT_THAT(interface.icons, IsEmpty());
    EXPECT_EQ(gDVDevicesController, nullptr);
    EXPECT_EQ(gScheduler, nullptr);
    EXPECT_EQ(gSchedulingEvents, nullptr);
}

// Panels

TEST_F(CTapedeckApplicationTest, panelsAreThoseOfTheInterface) {
    launch();
    application->orderFrontStandardAboutPanel();
    application->showPreferencePanel();
    application->editScheduledEvents();
    EXPECT_EQ(interface.aboutPanels, 1);
    EXPECT_EQ(interface.schedulingWindows, 1);
    EXPECT_EQ(interface.preferencePanels, 1);
}

TEST_F(CTapedeckApplicationTest, versionIsToldAndZeroWhenThereIsNone) {
    const QString before = QCoreApplication::applicationVersion();
    QCoreApplication::setApplicationVersion(u"2.5"_s);
    EXPECT_EQ(CTapedeckApplication::versionText(), u"version 2.5"_s);
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_EQ(CTapedeckApplication::versionText(), u"version 0.0.0"_s);
    QCoreApplication::setApplicationVersion(before);
}

// Without windows

TEST(HeadlessInterface, alertsAreLinesInTheLog) {
    test::LogCapture log;
    HeadlessInterface interface;
    interface.showCriticalAlert(u"Title!"_s, u"First line.\nSecond line."_s);
    EXPECT_EQ(log.count("Title! First line. Second line."), 1);
    bool isDismissed = false;
    interface.showInformationalAlert(u"News"_s, u"All is well."_s, [&] { isDismissed = true; });
    EXPECT_EQ(log.count("News All is well."), 1);
    EXPECT_TRUE(isDismissed);
}

}  // namespace takebox
