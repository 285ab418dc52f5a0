#include "app/desktop/DesktopInterface.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QMainWindow>
#include <QMenuBar>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTableView>
#include <QTemporaryDir>
#include <QTimer>
#include <functional>

#include "app/CTapedeckApplication.h"
#include "app/desktop/TrayMenu.h"
#include "platform/defaults/Defaults.h"
#include "recording/CDVDeviceWindowController.h"
#include "scheduling/SchedulingEvents.h"
#include "storage/WriterThreads.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

std::vector<QWidget*> visibleWindows(const char* className) {
    std::vector<QWidget*> found;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->isVisible() && widget->inherits(className)) {
            found.push_back(widget);
        }
    }
    return found;
}

struct DesktopInterfaceTest : ::testing::Test {
    QTemporaryDir folder;
    DesktopInterface interface;
    std::unique_ptr<CTapedeckApplication> application;

    void SetUp() override {
        Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
        CTapedeckApplication::initialize();
    }
    void TearDown() override {
        interface.setApplication(nullptr);
        application.reset();
        WriterThreads::waitUntilFinished();
    }
    void launch(const QStringList& decks) {
        QStringList arguments{QStringLiteral("takebox"), QStringLiteral("--control-port"),
                              QStringLiteral("0")};
        for (const QString& deck : decks) {
            arguments << QStringLiteral("--virtual-deck") << deck;
        }
        application =
            std::make_unique<CTapedeckApplication>(*parseOptions(arguments).options, interface);
        interface.setApplication(application.get());
        ASSERT_TRUE(application->finishLaunching());
        interface.deviceListDidChange();
    }
    void startRecording() {
        const auto deck = CTapedeckApplication::controllerAtIndex(0);
        deck->setRawRecordingFolderPath(folder.path());
        deck->setReferenceMovieFolderPath(folder.path());
        deck->setReferenceMovieDuration(1);
        deck->recordButtonPushed();
        ASSERT_TRUE(deck->device()->isRecording());
    }
    static constexpr int kStillRunning = 42;
    /// What the program ends with when something happens in its event loop.
    static int statusAfter(const std::function<void()>& action) {
        QObject context;
        QTimer::singleShot(0, &context, [&] {
            action();
            // In the turn after the next one all that the action has set off is done.
            QTimer::singleShot(0, &context, [&context] {
                QTimer::singleShot(0, &context, [] { QCoreApplication::exit(kStillRunning); });
            });
        });
        return QCoreApplication::exec();
    }
    /// A menu of the menu bar, filled as when it opens; null when there is none.
    static QMenu* openMenu(const QMainWindow& window, const QString& title) {
        for (const QAction* action : window.menuBar()->actions()) {
            if (action->text() == title) {
                Q_EMIT action->menu()->aboutToShow();
                return action->menu();
            }
        }
        return nullptr;
    }
    static void press(const char* text) {
        ASSERT_NE(alert(), nullptr);
        for (QAbstractButton* button : alert()->buttons()) {
            if (button->text() == QString::fromLatin1(text)) {
                button->click();
                return;
            }
        }
        ADD_FAILURE() << "no button " << text;
    }
    static QMessageBox* alert() {
        const auto alerts = visibleWindows("QMessageBox");
        return alerts.empty() ? nullptr : qobject_cast<QMessageBox*>(alerts.front());
    }
};

TEST_F(DesktopInterfaceTest, opensAWindowForEachDeck) {
    launch({QStringLiteral("pal,name=A"), QStringLiteral("ntsc,name=B")});
    EXPECT_EQ(visibleWindows("takebox::TapedeckWindow").size(), 2U);
    EXPECT_TRUE(test::waitUntil(
        [] { return !CTapedeckApplication::controllerAtIndex(0)->previewImage().isNull(); }));
    EXPECT_TRUE(visibleWindows("takebox::NoDeviceWindow").empty());
}

TEST_F(DesktopInterfaceTest, saysWhatToDoWithoutADeck) {
    launch({});
    EXPECT_TRUE(
        test::waitUntil([] { return visibleWindows("takebox::NoDeviceWindow").size() == 1; }));
}

TEST_F(DesktopInterfaceTest, bringsClosedWindowsBack) {
    launch({QStringLiteral("pal")});
    startRecording();
    visibleWindows("takebox::TapedeckWindow").front()->close();
    press("Close &Window");
    EXPECT_TRUE(visibleWindows("takebox::TapedeckWindow").empty());
    interface.activate();
    EXPECT_EQ(visibleWindows("takebox::TapedeckWindow").size(), 1U);
}

TEST_F(DesktopInterfaceTest, hangsTheTrayMenuIntoTheMenuBarWhereThereIsNoTray) {
    ASSERT_FALSE(QSystemTrayIcon::isSystemTrayAvailable());
    launch({QStringLiteral("pal,name=A"), QStringLiteral("ntsc,name=B")});
    const auto* const window =
        qobject_cast<QMainWindow*>(visibleWindows("takebox::TapedeckWindow").front());
    ASSERT_NE(window, nullptr);
    const QMenu* const menu = openMenu(*window, QStringLiteral("A&ll Decks"));
    ASSERT_NE(menu, nullptr);
    QStringList entries;
    for (const QAction* action : menu->actions()) {
        entries << action->text();
    }
    QStringList expected;
    for (const DockMenuItem& item : application->dockMenu()) {
        expected << item.title;
    }
    EXPECT_EQ(entries, expected);
    EXPECT_GE(entries.size(), 6);
}

TEST_F(DesktopInterfaceTest, startsAndStopsADeckFromTheTrayMenu) {
    launch({QStringLiteral("pal,name=A"), QStringLiteral("ntsc,name=B")});
    const auto deck = CTapedeckApplication::controllerAtIndex(1);
    deck->setRawRecordingFolderPath(folder.path());
    deck->setReferenceMovieFolderPath(folder.path());
    deck->setReferenceMovieDuration(1);  // no warning on a disk that is nearly full
    TrayMenu tray(*application);
    const auto choose = [&tray](qsizetype entry) {
        tray.fill(tray.menu());
        tray.menu().actions().at(entry)->trigger();
    };
    EXPECT_EQ(tray.menu().actions().at(4)->text(), QStringLiteral("B"));
    EXPECT_FALSE(tray.menu().actions().at(4)->isEnabled());
    choose(5);
    EXPECT_TRUE(deck->device()->isRecording());
    EXPECT_FALSE(CTapedeckApplication::controllerAtIndex(0)->device()->isRecording());
    choose(6);
    EXPECT_FALSE(deck->device()->isRecording());
}

TEST_F(DesktopInterfaceTest, isBroughtBackByAClickOnTheTraysIcon) {
    launch({QStringLiteral("pal")});
    TrayMenu tray(*application);
    const QSignalSpy activations(&tray, &TrayMenu::activated);
    auto* const icon = tray.findChild<QSystemTrayIcon*>();
    ASSERT_NE(icon, nullptr);
    Q_EMIT icon->activated(QSystemTrayIcon::Context);
    EXPECT_EQ(activations.count(), 0) << "that opens the menu";
    Q_EMIT icon->activated(QSystemTrayIcon::Trigger);
    EXPECT_EQ(activations.count(), 1);
}

TEST_F(DesktopInterfaceTest, bringsADeckToTheFrontFromTheWindowMenu) {
    launch({QStringLiteral("pal,name=A"), QStringLiteral("ntsc,name=B")});
    const auto windows = visibleWindows("takebox::TapedeckWindow");
    auto* const other = windows[0]->windowTitle() == QStringLiteral("A") ? windows[1] : windows[0];
    auto* const window = windows[0] == other ? windows[1] : windows[0];
    const QMenu* const menu =
        openMenu(*qobject_cast<QMainWindow*>(window), QStringLiteral("&Window"));
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 2);
    other->close();
    EXPECT_EQ(menu->actions().at(1)->text(), QStringLiteral("B"));
    menu->actions().at(1)->trigger();
    EXPECT_TRUE(other->isVisible());
}

TEST_F(DesktopInterfaceTest, showsAnAmpersandInADecksName) {
    launch({QStringLiteral("pal,name=Q&A")});
    const auto* const window =
        qobject_cast<QMainWindow*>(visibleWindows("takebox::TapedeckWindow").front());
    const QMenu* const menu = openMenu(*window, QStringLiteral("&Window"));
    ASSERT_NE(menu, nullptr);
    EXPECT_EQ(menu->actions().front()->text(), QStringLiteral("Q&&A"));
    TrayMenu tray(*application);
    tray.fill(tray.menu());
    const QStringList shown = [&tray] {
        QStringList texts;
        for (const QAction* action : tray.menu().actions()) {
            texts << action->text();
        }
        return texts;
    }();
    EXPECT_TRUE(shown.contains(QStringLiteral("Q&&A"))) << shown.join(u'|').toStdString();
}

TEST_F(DesktopInterfaceTest, hasNoDeckInTheWindowMenuWithoutOne) {
    launch({});
    EXPECT_TRUE(
        test::waitUntil([] { return visibleWindows("takebox::NoDeviceWindow").size() == 1; }));
    auto* const window =
        qobject_cast<QMainWindow*>(visibleWindows("takebox::NoDeviceWindow").front());
    ASSERT_NE(window, nullptr);
    const QMenu* const menu = openMenu(*window, QStringLiteral("&Window"));
    ASSERT_NE(menu, nullptr);
    ASSERT_EQ(menu->actions().size(), 1);
    EXPECT_EQ(menu->actions().front()->text(), QStringLiteral("No Deck"));
    EXPECT_FALSE(menu->actions().front()->isEnabled());
}

TEST_F(DesktopInterfaceTest, asksBeforeQuittingEndsARecording) {
    launch({QStringLiteral("pal")});
    startRecording();
    interface.terminate();
    ASSERT_NE(alert(), nullptr);
    alert()->button(QMessageBox::Cancel)->click();
    EXPECT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
    EXPECT_TRUE(CTapedeckApplication::controllerAtIndex(0)->device()->isRecording());
}

TEST_F(DesktopInterfaceTest, showsAlertsWithoutWaitingForThem) {
    interface.showCriticalAlert(QStringLiteral("No <room>!"), QStringLiteral("Make room."));
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(alert()->informativeText(), QStringLiteral("Make room."));
    alert()->button(QMessageBox::Ok)->click();
    EXPECT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
    bool isDismissed = false;
    interface.showInformationalAlert(QStringLiteral("News"), QString(),
                                     [&isDismissed] { isDismissed = true; });
    EXPECT_FALSE(isDismissed);
    alert()->button(QMessageBox::Ok)->click();
    EXPECT_TRUE(isDismissed);
}

TEST_F(DesktopInterfaceTest, saysTheSameOnceAndLogsIt) {
    test::LogCapture log;
    for (int i = 0; i < 3; ++i) {
        interface.showCriticalAlert(QStringLiteral("No room!"), QStringLiteral("Make\nroom."));
    }
    EXPECT_EQ(visibleWindows("QMessageBox").size(), 1U);
    EXPECT_EQ(log.count("No room! Make room."), 3);
    interface.showCriticalAlert(QStringLiteral("No room!"), QStringLiteral("Make much room."));
    EXPECT_EQ(visibleWindows("QMessageBox").size(), 2U);
    while (alert() != nullptr) {
        alert()->button(QMessageBox::Ok)->click();
    }
    interface.showCriticalAlert(QStringLiteral("No room!"), QStringLiteral("Make\nroom."));
    ASSERT_NE(alert(), nullptr) << "it has been answered: this is another one";
    alert()->button(QMessageBox::Ok)->click();
}

TEST_F(DesktopInterfaceTest, asksOnceWhetherToQuit) {
    launch({QStringLiteral("pal")});
    startRecording();
    interface.terminate();
    interface.terminate();
    ASSERT_EQ(visibleWindows("QMessageBox").size(), 1U);
    EXPECT_EQ(alert()->buttons().size(), 2);
    alert()->button(QMessageBox::Cancel)->click();
}

TEST_F(DesktopInterfaceTest, givesTheScreenWithItsYAxisUpwards) {
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    const QRect whole = QGuiApplication::primaryScreen()->geometry();
    const QRect frame = interface.visibleFrame();
    EXPECT_EQ(frame.size(), area.size());
    EXPECT_EQ(frame.x(), area.x());
    // The top of the area is as far below the top of the screen as before.
    EXPECT_EQ(whole.height() - (frame.y() + frame.height()), area.y() - whole.y());
}

TEST_F(DesktopInterfaceTest, hasNoScheduleWithoutAnApplication) {
    interface.editScheduledEvents();
    EXPECT_TRUE(visibleWindows("QWidget").empty());
    EXPECT_EQ(interface.scheduleOfDevice(1), QString());
}

TEST_F(DesktopInterfaceTest, opensOneScheduleForARunningApplication) {
    launch({QStringLiteral("pal")});
    const std::size_t before = visibleWindows("QWidget").size();
    interface.editScheduledEvents();
    EXPECT_EQ(visibleWindows("QWidget").size(), before + 1);
    interface.editScheduledEvents();
    EXPECT_EQ(visibleWindows("QWidget").size(), before + 1);
}

TEST_F(DesktopInterfaceTest, showsInTheScheduleAtOnceThatADeckHasCome) {
    launch({QStringLiteral("pal")});
    const auto event = std::make_shared<CRecordingEvent>();
    event->setDeviceGUID(1);
    event->setDeviceString(QStringLiteral("Studio"));
    gSchedulingEvents->push_back(event);
    interface.editScheduledEvents();
    const QTableView* table = nullptr;
    for (const QWidget* window : visibleWindows("QWidget")) {
        const auto* const found = window->findChild<QTableView*>(QStringLiteral("eventsTableView"));
        table = found != nullptr ? found : table;
    }
    ASSERT_NE(table, nullptr);
    const auto device = [table] {
        return table->model()->index(0, 0).data().toString().toStdString();
    };
    ASSERT_EQ(device(), "Studio (not connected)");
    event->setDeviceGUID(CTapedeckApplication::controllerAtIndex(0)->device()->deviceGUID());
    EXPECT_EQ(device(), "Studio (not connected)") << "nobody has said so yet";
    interface.deviceListDidChange();
    QCoreApplication::processEvents();
    EXPECT_EQ(device(), "Studio");
}

TEST_F(DesktopInterfaceTest, forgetsNewsOfDecksWhenItEnds) {
    launch({});
    QCoreApplication::processEvents();
    for (QWidget* window : visibleWindows("takebox::NoDeviceWindow")) {
        window->hide();
    }
    interface.deviceListDidChange();
    gDVDevicesController.reset();
    QCoreApplication::processEvents();
    EXPECT_TRUE(visibleWindows("takebox::NoDeviceWindow").empty());
}

TEST_F(DesktopInterfaceTest, keepsItsPanels) {
    interface.showPreferencePanel();
    interface.orderFrontStandardAboutPanel();
    EXPECT_EQ(visibleWindows("takebox::AboutPanel").size(), 1U);
    interface.orderFrontStandardAboutPanel();
    EXPECT_EQ(visibleWindows("takebox::AboutPanel").size(), 1U);
}

TEST_F(DesktopInterfaceTest, endsWhenTheUserClosesTheLastWindow) {
    launch({QStringLiteral("pal"), QStringLiteral("ntsc")});
    EXPECT_EQ(statusAfter([] { visibleWindows("takebox::TapedeckWindow").front()->close(); }),
              kStillRunning);
    EXPECT_EQ(statusAfter([] { visibleWindows("takebox::TapedeckWindow").front()->close(); }), 0);
}

TEST_F(DesktopInterfaceTest, runsOnWithoutAWindowWhileRecordingsAreScheduled) {
    launch({QStringLiteral("pal")});
    const auto event = std::make_shared<CRecordingEvent>();
    event->setDate(QDate::currentDate().addDays(2));
    event->setStartTime(3600);
    event->setDuration(60);
    gSchedulingEvents->push_back(event);
    test::LogCapture log;
    const auto closeWindow = [] { visibleWindows("takebox::TapedeckWindow").front()->close(); };
    EXPECT_EQ(statusAfter(closeWindow), kStillRunning);
    EXPECT_FALSE(log.containsText("the program runs on"));
    ASSERT_NE(alert(), nullptr);
    EXPECT_TRUE(alert()->informativeText().contains(QStringLiteral("are scheduled")));
    EXPECT_EQ(statusAfter([] { press("Close &Window"); }), kStillRunning);
    EXPECT_TRUE(log.containsText("the program runs on"));
    EXPECT_TRUE(visibleWindows("takebox::TapedeckWindow").empty());
    event->setDate(QDate::currentDate().addDays(-2));
    interface.activate();
    EXPECT_EQ(statusAfter(closeWindow), 0);
}

TEST_F(DesktopInterfaceTest, asksBeforeTheLastWindowOfARecordingGoes) {
    launch({QStringLiteral("pal,name=A"), QStringLiteral("pal,name=B")});
    startRecording();
    visibleWindows("takebox::TapedeckWindow").front()->close();
    EXPECT_EQ(alert(), nullptr) << "another window is there";
    ASSERT_EQ(visibleWindows("takebox::TapedeckWindow").size(), 1U);
    for (int i = 0; i < 2; ++i) {
        visibleWindows("takebox::TapedeckWindow").front()->close();
        ASSERT_EQ(visibleWindows("QMessageBox").size(), 1U) << "asked once";
    }
    alert()->button(QMessageBox::Cancel)->click();
    EXPECT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
    EXPECT_EQ(visibleWindows("takebox::TapedeckWindow").size(), 1U);
    visibleWindows("takebox::TapedeckWindow").front()->close();
    ASSERT_NE(alert(), nullptr);
    EXPECT_TRUE(CTapedeckApplication::controllerAtIndex(0)->device()->isRecording());
    EXPECT_EQ(statusAfter([] { press("&Quit"); }), 0);
}

TEST_F(DesktopInterfaceTest, quitsAtOnceWhenNothingIsRecorded) {
    launch({QStringLiteral("pal")});
    EXPECT_EQ(statusAfter([this] { interface.terminate(); }), 0);
    EXPECT_EQ(alert(), nullptr);
}

TEST_F(DesktopInterfaceTest, quitsARecordingWhenToldSo) {
    launch({QStringLiteral("pal")});
    startRecording();
    EXPECT_EQ(statusAfter([this] { interface.terminate(); }), kStillRunning);
    EXPECT_EQ(statusAfter([] { press("&Quit"); }), 0);
}

TEST_F(DesktopInterfaceTest, warnsBesideTheWorkThatGoesOn) {
    interface.showWarning(QStringLiteral("<Careful>"),
                          QStringLiteral("Less than <b>five</b> left."));
    ASSERT_NE(alert(), nullptr);
    EXPECT_EQ(alert()->icon(), QMessageBox::Warning);
    EXPECT_EQ(alert()->windowModality(), Qt::NonModal);
    EXPECT_TRUE(alert()->informativeText().contains(QStringLiteral("&lt;b&gt;five")));
    interface.showWarning(QStringLiteral("<Careful>"),
                          QStringLiteral("Less than <b>five</b> left."));
    EXPECT_EQ(visibleWindows("QMessageBox").size(), 1U) << "said once";
    alert()->button(QMessageBox::Ok)->click();
    EXPECT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
}

TEST_F(DesktopInterfaceTest, bringsTheWindowWithoutADeckToTheFront) {
    launch({});
    const auto windows = [] { return visibleWindows("takebox::NoDeviceWindow"); };
    EXPECT_TRUE(test::waitUntil([&] { return windows().size() == 1; }));
    windows().front()->hide();
    EXPECT_TRUE(windows().empty());
    interface.activate();
    EXPECT_EQ(windows().size(), 1U);
}

TEST_F(DesktopInterfaceTest, tellsTheScheduleOfADeckWhoseWindowIsPointedAt) {
    launch({QStringLiteral("pal")});
    const auto event = std::make_shared<CRecordingEvent>();
    event->setDeviceGUID(CTapedeckApplication::controllerAtIndex(0)->device()->deviceGUID());
    event->setRecordingName(QStringLiteral("Evening"));
    event->setDate(QDate::currentDate().addDays(1));
    event->setStartTime(3600);
    event->setDuration(60);
    gSchedulingEvents->push_back(event);
    QWidget* const window = visibleWindows("takebox::TapedeckWindow").front();
    QHelpEvent pointed(QEvent::ToolTip, {}, {});
    QCoreApplication::sendEvent(window, &pointed);
    EXPECT_TRUE(window->toolTip().contains(QStringLiteral("Evening")))
        << qPrintable(window->toolTip());
}

TEST_F(DesktopInterfaceTest, doesNotSayThatItRunsOnWhileItQuits) {
    launch({QStringLiteral("pal")});
    startRecording();
    test::LogCapture log;
    EXPECT_EQ(statusAfter([this] { application->terminate(); }), 0);
    EXPECT_TRUE(visibleWindows("takebox::TapedeckWindow").empty());
    EXPECT_FALSE(log.containsText("the program runs on"));
}

TEST_F(DesktopInterfaceTest, runsOnWhenAWindowGoesWithItsDeck) {
    launch({QStringLiteral("pal")});
    EXPECT_EQ(statusAfter([] { gDVDevicesController.reset(); }), kStillRunning);
}

TEST_F(DesktopInterfaceTest, runsOnWhenAnAlertIsAnsweredWithoutAnyOtherWindow) {
    launch({QStringLiteral("pal")});
    startRecording();
    visibleWindows("takebox::TapedeckWindow").front()->close();
    press("Close &Window");
    ASSERT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
    CTapedeckApplication::controllerAtIndex(0)->stopButtonPushed();
    for (const bool isButton : {true, false}) {
        interface.showCriticalAlert(QStringLiteral("No room!"), QStringLiteral("Make room."));
        ASSERT_NE(alert(), nullptr);
        EXPECT_EQ(statusAfter([isButton] {
                      isButton ? alert()->button(QMessageBox::Ok)->click()
                               : static_cast<void>(alert()->close());
                  }),
                  kStillRunning);
        EXPECT_TRUE(test::waitUntil([] { return alert() == nullptr; }));
    }
}

}  // namespace
}  // namespace takebox
