#include "DesktopInterface.h"

#include <QApplication>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSystemTrayIcon>
#include <QTimer>
#include <algorithm>
#include <utility>

#include "RecoveryOffer.h"
#include "TrayMenu.h"
#include "app/CTapedeckApplication.h"
#include "app/ScriptAlert.h"
#include "app/about/AboutPanel.h"
#include "app/preferences/PreferenceController.h"
#include "display/widgets/Icons.h"
#include "display/widgets/LiteralText.h"
#include "display/widgets/Resources.h"
#include "display/widgets/Theme.h"
#include "platform/log/Log.h"
#include "recording/window/NoDeviceWindow.h"
#include "recording/window/TapedeckWindow.h"
#include "scheduling/ScheduleOverview.h"
#include "scheduling/window/CSchedulingWindowController.h"

namespace takebox {
namespace {

bool isRecordingAnywhere() {
    return gDVDevicesController &&
           std::ranges::any_of(gDVDevicesController->devices(), [](const auto& entry) {
               return entry->device() && entry->device()->isRecording();
           });
}

bool isAnyRecordingToCome() {
    return gSchedulingEvents &&
           std::ranges::any_of(*gSchedulingEvents,
                               [now = Clock::system().localNow()](const auto& event) {
                                   return nextOccurrence(*event, now).has_value();
                               });
}

/// Whether nothing else of the program is on the screen. Alerts and what belongs to the window do
/// not count.
bool isOnlyWindow(const QWidget& window) {
    const auto stands = [](const QWidget* widget) {
        const Qt::WindowType type = widget->windowType();
        return widget->isVisible() && widget->parentWidget() == nullptr &&
               (type == Qt::Window || type == Qt::Dialog) && !widget->inherits("QMessageBox");
    };
    return stands(&window) &&
           std::ranges::none_of(QApplication::topLevelWidgets(), [&](const QWidget* widget) {
               return widget != &window && stands(widget);
           });
}

/// The alert that says this already; null when there is none.
QMessageBox* shownAlert(const QString& title, const QString& message) {
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* alert = qobject_cast<QMessageBox*>(widget);
        if (alert != nullptr && alert->isVisible() && alert->windowTitle() == title &&
            alert->informativeText() == literalText(message)) {
            return alert;
        }
    }
    return nullptr;
}

// A desktop opens a new window behind one that has just asked for the front, and at the start of
// the program those of the decks have.
void showInFront(QWidget& window) {
    window.show();
    window.raise();
    window.activateWindow();
}

// Alerts do not block: the event loop, and with it every recording, goes on below them. What is
// said already is not said a second time: nobody may be there to answer for days.
QMessageBox* showAlert(QMessageBox::Icon icon, const QString& title, const QString& message,
                       Qt::WindowModality modality = Qt::ApplicationModal) {
    if (QMessageBox* const alert = shownAlert(title, message)) {
        showInFront(*alert);
        return alert;
    }
    auto* alert =
        std::make_unique<QMessageBox>(
            icon, title, QStringLiteral("<b>%1</b>").arg(title.toHtmlEscaped()), QMessageBox::Ok)
            .release();
    alert->setInformativeText(literalText(message));
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(modality);
    showInFront(*alert);
    return alert;
}

}  // namespace

DesktopInterface::DesktopInterface() {
    installTranslations(QLocale::system());
    followDesktopTheme();
    QApplication::setQuitOnLastWindowClosed(false);
    connect(qApp, &QGuiApplication::lastWindowClosed, this, &DesktopInterface::lastWindowClosed);
    qApp->installEventFilter(this);
}

DesktopInterface::~DesktopInterface() {
    delete mRecoveryOffer;
}

bool DesktopInterface::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Quit) {
        // It closes every window.
        mIsQuitting = true;
        QTimer::singleShot(0, this, [this] { mIsQuitting = false; });
    }
    if (event->type() == QEvent::Close && !mIsQuitting && watched->isWidgetType() &&
        !watched->inherits("QMessageBox")) {
        auto* window = static_cast<QWidget*>(watched);
        if (mApplication != nullptr && mustAskBeforeClosing(*window)) {
            event->ignore();
            askWhetherToClose(*window);
            return true;
        }
        mIsUserClosing = true;
        QTimer::singleShot(0, this, [this] { mIsUserClosing = false; });
    }
    return QObject::eventFilter(watched, event);
}

bool DesktopInterface::mustAskBeforeClosing(const QWidget& window) const {
    return &window != mMayGo && !mTrayMenu->isShown() && isOnlyWindow(window) &&
           (isRecordingAnywhere() || isAnyRecordingToCome());
}

void DesktopInterface::askWhetherToClose(QWidget& window) {
    const QString title = tr("Close the last window?");
    const QString message =
        isRecordingAnywhere()
            ? tr("A deck is recording. It goes on without a window; start the program again to "
                 "see it. Quitting ends the recording and keeps what has been recorded so far.")
            : tr("Recordings are scheduled. They take place without a window; start the program "
                 "again to see it. After quitting they do not take place.");
    const bool isAsked = shownAlert(title, message) != nullptr;
    QMessageBox* alert = showAlert(QMessageBox::Warning, title, message);
    if (isAsked) {
        return;
    }
    alert->setStandardButtons(QMessageBox::Cancel);
    alert->setDefaultButton(QMessageBox::Cancel);
    const QPushButton* quit = alert->addButton(tr("&Quit"), QMessageBox::DestructiveRole);
    connect(quit, &QPushButton::clicked, this, [this] {
        if (mApplication != nullptr) {
            mApplication->terminate();
        }
    });
    const QPushButton* close = alert->addButton(tr("Close &Window"), QMessageBox::AcceptRole);
    connect(close, &QPushButton::clicked, this, [this, window = QPointer<QWidget>(&window)] {
        if (window) {
            mMayGo = window;
            window->close();
            mMayGo = nullptr;
        }
    });
}

void DesktopInterface::setApplication(CTapedeckApplication* application) {
    mApplication = application;
    mTrayMenu.reset();
    mSchedulingController.reset();
    delete mRecoveryOffer;
    if (application != nullptr) {
        mTrayMenu = std::make_unique<TrayMenu>(*application);
        connect(mTrayMenu.get(), &TrayMenu::activated, this, &DesktopInterface::activate);
    }
}

std::unique_ptr<ScriptSupervisor> DesktopInterface::makeScriptSupervisor() {
    return std::make_unique<ScriptAlert>();
}

std::unique_ptr<DeviceWindow> DesktopInterface::makeDeviceWindow(
    CDVDeviceWindowController& controller) {
    return std::make_unique<TapedeckWindow>(controller, *this);
}

void DesktopInterface::showCriticalAlert(const QString& title, const QString& message) {
    logAlert(title, message);
    showAlert(QMessageBox::Critical, title, message);
}

void DesktopInterface::showWarning(const QString& title, const QString& message) {
    showAlert(QMessageBox::Warning, title, message, Qt::NonModal);
}

void DesktopInterface::offerRecovery(const std::vector<AbandonedRecording>& recordings) {
    mRecoveryOffer = std::make_unique<RecoveryOffer>(recordings).release();
    showInFront(*mRecoveryOffer);
}

void DesktopInterface::showInformationalAlert(const QString& title, const QString& message,
                                              std::function<void()> dismissed) {
    logAlert(title, message);
    QMessageBox* alert = showAlert(QMessageBox::Information, title, message);
    connect(alert, &QDialog::finished, this, [dismissed = std::move(dismissed)] { dismissed(); });
}

QRect DesktopInterface::visibleFrame() const {
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (screen == nullptr) {
        return {};
    }
    const QRect area = screen->availableGeometry();
    const QRect whole = screen->geometry();
    return {area.x(), whole.y() + whole.height() - (area.y() + area.height()), area.width(),
            area.height()};
}

void DesktopInterface::setApplicationIcon(const QString& name) {
    const QIcon icon = applicationIcon(name);
    QApplication::setWindowIcon(icon);
    if (mTrayMenu) {
        mTrayMenu->setIcon(icon);
    }
}

void DesktopInterface::deviceListDidChange() {
    // The list may still be in the making; and a window cannot go while one of its menus is open.
    QTimer::singleShot(0, this, &DesktopInterface::showWhetherThereIsADevice);
}

void DesktopInterface::showWhetherThereIsADevice() {
    if (!gDVDevicesController) {
        return;
    }
    if (mSchedulingController && gSchedulingEvents) {
        mSchedulingController->scheduleEventsChanged();
    }
    if (gDVDevicesController->hasDVDevice()) {
        mNoDeviceWindow.reset();
    } else {
        if (!mNoDeviceWindow) {
            mNoDeviceWindow = std::make_unique<NoDeviceWindow>(*this);
        }
        mNoDeviceWindow->show();
    }
    keepMessagesInFront();
}

// Windows of decks come to the front when they open: those on FireWire a second after the start.
void DesktopInterface::keepMessagesInFront() {
    for (QWidget* window : QApplication::topLevelWidgets()) {
        const bool isMessage =
            window == mRecoveryOffer || qobject_cast<QMessageBox*>(window) != nullptr;
        if (isMessage && window->isVisible()) {
            showInFront(*window);
        }
    }
}

void DesktopInterface::activate() {
    if (mNoDeviceWindow) {
        showInFront(*mNoDeviceWindow);
    }
    if (gDVDevicesController) {
        for (const auto& entry : gDVDevicesController->devices()) {
            entry->showWindow();
        }
    }
    keepMessagesInFront();
}

void DesktopInterface::editScheduledEvents() {
    if (mApplication == nullptr) {
        return;
    }
    if (!mSchedulingController) {
        mSchedulingController = std::make_unique<CSchedulingWindowController>(
            mApplication->scheduledDecks(), Clock::system());
    }
    mSchedulingController->showWindow();
}

QString DesktopInterface::scheduleOfDevice(std::uint64_t guid) const {
    return mApplication != nullptr && gSchedulingEvents
               ? takebox::scheduleOfDevice(guid, *gSchedulingEvents, mApplication->scheduledDecks(),
                                           Clock::system().localNow())
               : QString();
}

void DesktopInterface::showPreferencePanel() {
    if (!mPreferenceController) {
        mPreferenceController = std::make_unique<PreferenceController>();
    }
    mPreferenceController->showWindow();
}

void DesktopInterface::orderFrontStandardAboutPanel() {
    if (!mAboutPanel) {
        mAboutPanel = std::make_unique<AboutPanel>();
    }
    mAboutPanel->orderFront(CTapedeckApplication::versionText());
}

void DesktopInterface::terminate() {
    if (mApplication == nullptr) {
        return;
    }
    if (!isRecordingAnywhere()) {
        mApplication->terminate();
        return;
    }
    const QString title = tr("Quit and end the recording?");
    const QString message = tr("What has been recorded so far is kept.");
    const bool isAsked = shownAlert(title, message) != nullptr;
    QMessageBox* alert = showAlert(QMessageBox::Warning, title, message);
    if (isAsked) {
        return;
    }
    alert->setStandardButtons(QMessageBox::Cancel);
    const QPushButton* quit = alert->addButton(tr("&Quit"), QMessageBox::AcceptRole);
    alert->setDefaultButton(QMessageBox::Cancel);
    connect(quit, &QPushButton::clicked, this, [this] {
        if (mApplication != nullptr) {
            mApplication->terminate();
        }
    });
}

bool DesktopInterface::needsDockMenu() const {
    return !QSystemTrayIcon::isSystemTrayAvailable();
}

void DesktopInterface::fillDockMenu(QMenu& menu) {
    if (mTrayMenu) {
        mTrayMenu->fill(menu);
    }
}

void DesktopInterface::lastWindowClosed() {
    // Also a window that goes with its device was the last one, and an alert that was answered.
    // Where a tray icon is shown, the windows can be brought back.
    if (mApplication == nullptr || !mIsUserClosing || mTrayMenu->isShown()) {
        return;
    }
    if (isRecordingAnywhere() || isAnyRecordingToCome()) {
        logMessage(
            "The windows are closed, but the program runs on: a deck records or recordings "
            "are scheduled. Start it again to see the windows.");
        return;
    }
    mApplication->terminate();
}

}  // namespace takebox
