#include "NoDeviceWindow.h"

#include <QEvent>
#include <utility>

#include "FireWireAccess.h"
#include "MainMenu.h"
#include "capture/CDVDevicesController.h"
#include "display/widgets/Icons.h"
#include "ui_NoDeviceWindow.h"

namespace takebox {
namespace {

constexpr int kAccessCheckInterval = 1000;  // milliseconds
constexpr int kIconSize = 64;
constexpr int kMarkSize = 20;

const QColor kGoodColor(0x1E, 0x8E, 0x3E);
const QColor kBadColor(0xE0, 0x8A, 0x00);

}  // namespace

NoDeviceWindow::NoDeviceWindow(ApplicationCommands& commands, QString deviceFolder)
    : mUi(std::make_unique<Ui::NoDeviceWindow>()), mDeviceFolder(std::move(deviceFolder)) {
    mUi->setupUi(this);
    setWindowIcon(applicationIcon(QStringLiteral("TapedeckIcon")));
    mUi->iconLabel->setPixmap(applicationIcon(QStringLiteral("TapedeckStoppedIcon"))
                                  .pixmap(QSize(kIconSize, kIconSize), devicePixelRatioF()));
    QFont headline = mUi->headlineLabel->font();
    headline.setPixelSize(22);
    headline.setBold(true);
    mUi->headlineLabel->setFont(headline);
    makeMainMenu(*mUi->menuBar, commands, nullptr);
    connect(&mAccessTimer, &QTimer::timeout, this, &NoDeviceWindow::showAccess);
    mAccessTimer.start(kAccessCheckInterval);
    showAccess();
}

NoDeviceWindow::~NoDeviceWindow() = default;

void NoDeviceWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        mUi->retranslateUi(this);
        showAccess();
    }
}

void NoDeviceWindow::showAccess() {
    QString text;
    bool isGood = false;
    switch (fireWireAccess(mDeviceFolder)) {
        case FireWireAccess::kNoAdapter:
            text = tr("This computer has no FireWire socket, or its driver is not loaded.");
            break;
        case FireWireAccess::kNoPermission:
            text =
                tr("There is a FireWire socket, but you may not use it. Add yourself to the "
                   "group “video” and log in again.");
            break;
        case FireWireAccess::kReady:
            text = tr("The FireWire socket is ready.");
            isGood = true;
            break;
    }
    const QStringList unusable = CDVDevicesController::unusableDeviceNames();
    if (!unusable.isEmpty()) {
        text = tr("%1 is connected, but sends a signal that cannot be recorded, such as HDV. "
                  "Switch its output to DV.")
                   .arg(unusable.join(QStringLiteral(", ")));
        isGood = false;
    }
    mUi->accessLabel->setText(text);
    mUi->accessIconLabel->setPixmap(
        symbolicIcon(isGood ? QStringLiteral("check") : QStringLiteral("warning"),
                     isGood ? kGoodColor : kBadColor)
            .pixmap(QSize(kMarkSize, kMarkSize), devicePixelRatioF()));
}

}  // namespace takebox
