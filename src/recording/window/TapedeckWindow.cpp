#include "TapedeckWindow.h"

#include <QAction>
#include <QDir>
#include <QEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMap>
#include <QMenu>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <utility>

#include "ApplicationCommands.h"
#include "MainMenu.h"
#include "OutletBinding.h"
#include "display/widgets/Icons.h"
#include "display/widgets/LiteralText.h"
#include "display/widgets/SheetHint.h"
#include "display/widgets/WindowFit.h"
#include "recording/CDVDeviceWindowController.h"
#include "ui_TapedeckWindow.h"

namespace takebox {
namespace {

constexpr int kSignalCheckInterval = 100;  // milliseconds
constexpr int kSignalTimeout = 1000;       // milliseconds without a frame

const QColor kMonitorColor(0x14, 0x17, 0x1B);
const QColor kMonitorTextColor(0xA9, 0xB4, 0xC0);
const QColor kRecordColor(0xE0, 0x24, 0x1A);
const QColor kLossColor(0xB0, 0x12, 0x0A);

// How the window says, so that nobody can overlook it, what the deck is doing.
struct Tally {
    const char* text = nullptr;
    QColor background;
    QColor foreground;
    const char* icon = nullptr;
};

const Tally& tallyOf(bool isRecording, bool isPaused, bool isRefused) {
    static const Tally stopped{QT_TRANSLATE_NOOP("takebox::TapedeckWindow", "STOPPED"),
                               {0x2B, 0x32, 0x3A},
                               {0xC9, 0xD2, 0xDC},
                               "TapedeckStoppedIcon"};
    static const Tally recording{QT_TRANSLATE_NOOP("takebox::TapedeckWindow", "● RECORDING"),
                                 {0xD8, 0x1A, 0x10},
                                 Qt::white,
                                 "TapedeckIcon"};
    static const Tally paused{QT_TRANSLATE_NOOP("takebox::TapedeckWindow", "❚❚ PAUSED"),
                              {0xF5, 0xA6, 0x00},
                              Qt::black,
                              "TapedeckPausedIcon"};
    static const Tally refused{QT_TRANSLATE_NOOP("takebox::TapedeckWindow", "▲ WRITE ERROR"),
                               {0xFF, 0xD4, 0x00},
                               Qt::black,
                               "TapedeckIcon"};
    return !isRecording ? stopped : isRefused ? refused : isPaused ? paused : recording;
}

int shownCount(qint64 count) {
    return static_cast<int>(std::min<qint64>(count, std::numeric_limits<int>::max()));
}

QString reasonOf(int error) {
    return error == ENOSPC || error == EDQUOT ? TapedeckWindow::tr("the disk is full")
                                              : QString::fromLocal8Bit(std::strerror(error));
}

QPalette paletteOf(const QColor& background, const QColor& foreground) {
    QPalette palette;
    palette.setColor(QPalette::Window, background);
    palette.setColor(QPalette::WindowText, foreground);
    return palette;
}

}  // namespace

TapedeckWindow::TapedeckWindow(CDVDeviceWindowController& controller, ApplicationCommands& commands)
    : mController(controller), mCommands(commands), mUi(std::make_unique<Ui::TapedeckWindow>()) {
    mUi->setupUi(this);
    styleMonitor();
    styleButtons();
    makeMenus();
    bindControls();
    bindSettingsSheet();
    connect(&mController, &CDVDeviceWindowController::previewImageChanged, this,
            &TapedeckWindow::showPreviewImage);
    connect(&mController, &CDVDeviceWindowController::recordingStateChanged, this,
            &TapedeckWindow::showRecordingState);
    connect(&mController, &CDVDeviceWindowController::lossesChanged, this,
            &TapedeckWindow::showLosses);
    showRecordingState();
    showLosses();

    connect(&mSignalTimer, &QTimer::timeout, this, &TapedeckWindow::checkSignal);
    mSinceLastFrame.start();
    mSignalTimer.start(kSignalCheckInterval);
}

TapedeckWindow::~TapedeckWindow() = default;

void TapedeckWindow::styleMonitor() {
    mUi->monitorPanel->setPalette(paletteOf(kMonitorColor, kMonitorTextColor));
    mUi->blackBackgroundView->setCurrentColor(Qt::black);
    QFont tallyFont = mUi->tallyLabel->font();
    tallyFont.setPixelSize(16);
    tallyFont.setLetterSpacing(QFont::AbsoluteSpacing, 1);
    mUi->tallyLabel->setFont(tallyFont);
    QFont labelFont = font();
    labelFont.setPixelSize(11);
    for (QLabel* label :
         {mUi->deviceTimeCodeLabel, mUi->elapsedTimeCodeLabel, mUi->remainingDiskTimeLabel,
          mUi->leftMeterLabel, mUi->rightMeterLabel, mUi->lostFramesField}) {
        label->setFont(labelFont);
    }
}

void TapedeckWindow::styleButtons() {
    mUi->recordButton->setIcon(symbolicIcon(QStringLiteral("record"), kRecordColor));
    mUi->stopButton->setIcon(symbolicIcon(QStringLiteral("stop")));
    mUi->pauseButton->setIcon(symbolicIcon(QStringLiteral("pause")));
    mUi->schedulingButton->setIcon(symbolicIcon(QStringLiteral("schedule")));
    mUi->settingsButton->setIcon(symbolicIcon(QStringLiteral("settings")));
    for (QPushButton* button :
         {mUi->selectSelfContainedMovieFolderButton, mUi->selectRawFolderButton,
          mUi->selectReferenceMovieFolderButton}) {
        button->setIcon(symbolicIcon(QStringLiteral("folder")));
        button->setAutoDefault(false);
    }
}

void TapedeckWindow::makeMenus() {
    DeviceWindowOutlets& outlets = mController.outlets();
    auto* deck = new QMenu(tr("&Deck"), this);
    const auto add = [&](const QString& title, const QString& keys, ButtonOutlet& outlet,
                         void (CDVDeviceWindowController::*operation)()) {
        QAction* entry = deck->addAction(title, QKeySequence(keys));
        bindControl(*entry, outlet, [this, &controller = mController, operation] {
            endEditing(*this);
            (controller.*operation)();
        });
        return entry;
    };
    add(tr("&Record"), QStringLiteral("Ctrl+R"), outlets.recordButton,
        &CDVDeviceWindowController::recordButtonPushed);
    add(tr("&Stop"), QStringLiteral("Ctrl+."), outlets.stopButton,
        &CDVDeviceWindowController::stopButtonPushed);
    add(tr("&Pause"), QStringLiteral("Ctrl+P"), outlets.pauseButton,
        &CDVDeviceWindowController::pauseButtonPushed)
        ->setCheckable(true);
    deck->addSeparator();
    add(tr("&Automatic Name"), {}, outlets.autoCheckBox,
        &CDVDeviceWindowController::autoCheckBoxChanged)
        ->setCheckable(true);
    deck->addSeparator();
    QAction* settings =
        deck->addAction(tr("Deck Se&ttings…"), QKeySequence(QStringLiteral("Ctrl+I")));
    bindControl(*settings, outlets.settingsButton, [this] { mUi->settingsButton->click(); });
    makeMainMenu(*mUi->menuBar, mCommands, deck);
}

void TapedeckWindow::bindControls() {
    DeviceWindowOutlets& outlets = mController.outlets();
    CDVDeviceWindowController& controller = mController;
    const auto perform = [&controller](void (CDVDeviceWindowController::*operation)()) {
        return [&controller, operation] { (controller.*operation)(); };
    };
    bindControl(*mUi->recordButton, outlets.recordButton,
                perform(&CDVDeviceWindowController::recordButtonPushed));
    bindControl(*mUi->stopButton, outlets.stopButton,
                perform(&CDVDeviceWindowController::stopButtonPushed));
    bindControl(*mUi->pauseButton, outlets.pauseButton,
                perform(&CDVDeviceWindowController::pauseButtonPushed));
    bindControl(*mUi->autoCheckBox, outlets.autoCheckBox,
                perform(&CDVDeviceWindowController::autoCheckBoxChanged));
    bindControl(*mUi->recordingNameField, outlets.recordingNameField,
                perform(&CDVDeviceWindowController::recordingNameFieldChanged));
    bindControl(*mUi->settingsButton, outlets.settingsButton, [this] {
        if (mUi->settingsPanel->isVisible()) {
            showSettingsSheet();  // what has been typed into the open sheet stays
        } else {
            mController.advancedSettingsButtonPushed();
        }
    });
    connect(mUi->schedulingButton, &QPushButton::clicked, this,
            [this] { mController.schedulingButtonPushed(); });
    bindControl(*mUi->deviceTimeCodeField, outlets.deviceTimeCodeField);
    bindControl(*mUi->elapsedTimeCodeField, outlets.elapsedTimeCodeField);
    bindControl(*mUi->remainingDiskTimeField, outlets.remainingDiskTimeField);
    bindControl(*mUi->leftVuMeter, outlets.leftVuMeter);
    bindControl(*mUi->rightVuMeter, outlets.rightVuMeter);
    const auto showTitle = [this, &outlets] { setWindowTitle(outlets.windowTitle.stringValue()); };
    connect(&outlets.windowTitle, &ControlOutlet::changed, this, showTitle);
    showTitle();
}

void TapedeckWindow::bindSettingsSheet() {
    DeviceWindowOutlets& outlets = mController.outlets();
    const auto nothing = [] {};
    bindControl(*mUi->customDeviceNameField, outlets.customDeviceNameField, nothing);
    bindControl(*mUi->deviceGUIDField, outlets.deviceGUIDField);
    bindControl(*mUi->selfContainedMovieCheckBox, outlets.selfContainedMovieCheckBox, nothing);
    bindControl(*mUi->selfContainedMovieFolderPathField, outlets.selfContainedMovieFolderPathField,
                nothing);
    bindControl(*mUi->referenceMovieCheckBox, outlets.referenceMovieCheckBox, nothing);
    bindControl(*mUi->rawFolderPathField, outlets.rawFolderPathField, nothing);
    bindControl(*mUi->referenceMovieFolderPathField, outlets.referenceMovieFolderPathField,
                nothing);
    bindControl(*mUi->referenceMovieDurationField, outlets.referenceMovieDurationField, nothing);
    bindControl(*mUi->loopRecordingCheckBox, outlets.loopRecordingCheckBox, nothing);
    bindControl(*mUi->monoTracksCheckBox, outlets.monoTracksCheckBox, nothing);
    bindControl(*mUi->presetTimecodeField, outlets.presetTimecodeField, nothing);
    bindControl(*mUi->timecodeSourcePopUpButton, outlets.timecodeSourcePopUpButton,
                [this] { mController.timecodeSourcePopUpButtonChanged(); });

    connect(mUi->selectSelfContainedMovieFolderButton, &QPushButton::clicked, this,
            [this] { mController.selectSelfContainedMovieFolderButtonPushed(); });
    connect(mUi->selectRawFolderButton, &QPushButton::clicked, this,
            [this] { mController.selectRawFolderButtonPushed(); });
    connect(mUi->selectReferenceMovieFolderButton, &QPushButton::clicked, this,
            [this] { mController.selectReferenceMovieFolderButtonPushed(); });
    // Every change may take away a hint or call for one.
    for (auto* const field : {mUi->selfContainedMovieFolderPathField, mUi->rawFolderPathField,
                              mUi->referenceMovieFolderPathField}) {
        connect(field, &QLineEdit::textChanged, this, &TapedeckWindow::showSettingsHint);
    }
    for (auto* const box : {mUi->selfContainedMovieCheckBox, mUi->referenceMovieCheckBox}) {
        connect(box, &QCheckBox::toggled, this, &TapedeckWindow::showSettingsHint);
    }
    connect(mUi->settingsPanel, &QDialog::accepted, this, [this] {
        endEditing(*mUi->settingsPanel);
        mController.okAdvancedSettingsPanelButtonPushed();
    });
    connect(mUi->settingsPanel, &QDialog::rejected, this,
            [this] { mController.cancelAdvancedSettingsPanelButtonPushed(); });
    connect(mUi->settingsButtonBox, &QDialogButtonBox::accepted, mUi->settingsPanel,
            &QDialog::accept);
    connect(mUi->settingsButtonBox, &QDialogButtonBox::rejected, mUi->settingsPanel,
            &QDialog::reject);
}

QRect TapedeckWindow::frame() const {
    if (isVisible()) {
        return frameGeometry();
    }
    // The desktop has not yet said how large its title bar is.
    return QRect(pos(), size()).adjusted(0, 0, 0, style()->pixelMetric(QStyle::PM_TitleBarHeight));
}

void TapedeckWindow::setFrameTopLeftPoint(int x, int y) {
    const QRect area = screen()->geometry();
    move(x, area.y() + area.height() - y);
}

void TapedeckWindow::show() {
    QMainWindow::show();
    setWindowState(windowState() & ~Qt::WindowMinimized);
    raise();
    activateWindow();
}

void TapedeckWindow::showSettingsSheet() {
    showSettingsHint();
    // Not modal: the deck can be stopped while its settings are open.
    fitToScreen(*mUi->settingsPanel);
    fitToScreen(*mUi->settingsPanel, {geometry().x() + (width() - mUi->settingsPanel->width()) / 2,
                                      geometry().y() + mUi->menuBar->height()});
    mUi->settingsPanel->show();
    mUi->settingsPanel->raise();
    mUi->settingsPanel->activateWindow();
    mUi->customDeviceNameField->setFocus();
}

void TapedeckWindow::showSettingsHint() {
    const bool isReference = mUi->referenceMovieCheckBox->isChecked();
    const auto warnings = movieWarnings(
        {{mUi->selfContainedMovieFolderPathField, mUi->selfContainedMovieCheckBox->isChecked()},
         {mUi->rawFolderPathField, isReference},
         {mUi->referenceMovieFolderPathField, isReference}});
    showHint(*mUi->settingsHintIcon, *mUi->settingsHintLabel, QStyle::SP_MessageBoxWarning,
             warnings.join(u' '));
}

void TapedeckWindow::closeSettingsSheet() {
    mUi->settingsPanel->hide();
}

void TapedeckWindow::chooseFolder(const QString& title, const QString& folder,
                                  std::function<void(const QString&)> chosen) {
    auto* dialog = new QFileDialog(mUi->settingsPanel, title);
    dialog->setObjectName(QStringLiteral("folderChooser"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setDirectory(folder.isEmpty() ? QDir::homePath() : folder);
    // Only a name that is there can be proposed: the dialog refuses others.
    const QString proposedName = QFileInfo(folder).fileName();
    if (!proposedName.isEmpty() && QFileInfo(QDir(folder), proposedName).isDir()) {
        dialog->selectFile(proposedName);
    }
    connect(dialog, &QFileDialog::fileSelected, this, std::move(chosen));
    dialog->open();
}

bool TapedeckWindow::event(QEvent* event) {
    if (event->type() == QEvent::ToolTip && mController.device()) {
        // Worked out when it is looked at: it tells how long it is until the next recording.
        setToolTip(literalText(mCommands.scheduleOfDevice(mController.device()->deviceGUID())));
    }
    return QMainWindow::event(event);
}

void TapedeckWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::LanguageChange) {
        mUi->retranslateUi(this);
        setWindowTitle(mController.outlets().windowTitle.stringValue());
        showRecordingState();
        showLosses();
    }
}

void TapedeckWindow::showPreviewImage() {
    if (mUi->blackBackgroundView->isHidden()) {
        mUi->blackBackgroundView->show();
    }
    mUi->previewView->setImage(mController.previewImage());
}

void TapedeckWindow::showRecordingState() {
    const auto device = mController.device();
    const bool isRecording = device && device->isRecording();
    const auto refusedFiles = mController.refusedFiles();
    const bool isRefused =
        std::ranges::any_of(refusedFiles, &CDVDeviceWindowController::RefusedFile::isStillRefused);
    const Tally& tally = tallyOf(isRecording, device && device->isPaused(), isRefused);
    mUi->tallyFrame->setPalette(paletteOf(tally.background, tally.foreground));
    mUi->tallyLabel->setPalette(mUi->tallyFrame->palette());
    mUi->tallyDetailLabel->setPalette(mUi->tallyFrame->palette());
    mUi->tallyLabel->setText(tr(tally.text));
    const QString movie = mController.currentSelfContainedMoviePath().isEmpty()
                              ? mController.currentReferenceMoviePath()
                              : mController.currentSelfContainedMoviePath();
    mUi->tallyDetailLabel->setText(isRecording ? QFileInfo(movie).completeBaseName() : QString());
    setWindowIcon(applicationIcon(QString::fromLatin1(tally.icon)));
    showRefusedFiles();
}

void TapedeckWindow::showRefusedFiles() {
    const auto device = mController.device();
    const QString text = device && device->isRecording() ? tr("Cannot write %1: %2")
                                                         : tr("%1 could not be written: %2");
    QMap<QString, QStringList> namesByReason;
    for (const auto& file : mController.refusedFiles()) {
        if (file.isStillRefused) {
            namesByReason[reasonOf(file.error)] << file.name;
        }
    }
    QStringList lines;
    for (auto entry = namesByReason.cbegin(); entry != namesByReason.cend(); ++entry) {
        lines << text.arg(entry.value().join(QStringLiteral(", ")), entry.key());
    }
    mUi->previewView->setAlarm(lines.join(QLatin1Char('\n')));
}

void TapedeckWindow::showLosses() {
    showRecordingState();  // a disk may have begun or ceased to refuse
    const qint64 frames = mController.lostFrames();
    const qint64 messages = mController.problemMessages();
    const bool isQuiet = frames == 0 && messages == 0;
    // A deck that has come back knows nothing of the recording that its absence cut off.
    QStringList counts;
    if (mController.hasRecording()) {
        counts << tr("%n frame(s) lost", nullptr, shownCount(frames));
    }
    if (messages != 0) {
        counts << tr("%n problem(s)", nullptr, shownCount(messages));
    }
    mUi->lostFramesField->setText(counts.join(QStringLiteral(" · ")));
    mUi->lostFramesField->setAccessibleDescription(mUi->lostFramesField->text());
    mUi->lostFramesField->setPalette(isQuiet ? mUi->monitorPanel->palette()
                                             : paletteOf(kLossColor, Qt::white));
    QStringList details(mUi->lostFramesField->text());  // the field may be too narrow for it
    details << (isQuiet ? tr("Frames that the recording lacks")
                        : tr("What the recording lacks, by its time code:"));
    details << mController.lossesIn(&inDesktopLanguage);
    for (const auto& file : mController.refusedFiles()) {
        details << tr("%1 could not be written: %2").arg(file.name, reasonOf(file.error));
    }
    details.removeAll(QString());
    mUi->lostFramesField->setToolTip(literalText(details.join(QLatin1Char('\n'))));
}

void TapedeckWindow::checkSignal() {
    const auto device = mController.device();
    if (!device) {
        return;
    }
    if (const std::uint64_t frames = device->receivedFrames(); frames != mReceivedFrames) {
        mReceivedFrames = frames;
        mSinceLastFrame.restart();
        mUi->previewView->setNotice({}, {});
        showLevelsAsLive(true);
    } else if (mSinceLastFrame.elapsed() >= kSignalTimeout) {
        mUi->previewView->setNotice(tr("No signal"), whyNoSignal(*device));
        showLevelsAsLive(false);
    }
}

void TapedeckWindow::showLevelsAsLive(bool areLive) {
    mUi->leftVuMeter->setEnabled(areLive);
    mUi->rightVuMeter->setEnabled(areLive);
}

QString TapedeckWindow::whyNoSignal(const CDVDevice& device) {
    if (device.hasStream()) {
        switch (device.streamProblem()) {
            case avc::StreamProblem::kNone:
                return tr("Press Play on the deck, or check its input.");
            case avc::StreamProblem::kOtherSignal:
                return tr(
                    "The deck sends a signal that cannot be recorded, such as HDV. Switch "
                    "its output to DV.");
            case avc::StreamProblem::kChannelInUse:
                return tr(
                    "Another receiver uses the deck's channel. Quit other programs that "
                    "receive DV, or connect the other deck to a card of its own.");
            case avc::StreamProblem::kRefused:
                return tr(
                    "The deck accepts no connection. Switch it off and on, or unplug its "
                    "FireWire cable and plug it in again.");
            case avc::StreamProblem::kNotReceived:
                return tr(
                    "The deck cannot be received. Unplug its FireWire cable and plug it in "
                    "again; the log has the reason.");
        }
    }
    if (device.openError() == EACCES || device.openError() == EPERM) {
        return tr("No permission to use %1 (%2). Add yourself to the group video or install the "
                  "udev rule.")
            .arg(device.deviceName(), device.deviceFile());
    }
    return tr(
        "The deck cannot be opened. Check its cable and power, and whether another program "
        "uses it.");
}

}  // namespace takebox
