#include "recording/window/TapedeckWindow.h"

#include <gtest/gtest.h>

#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPushButton>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <algorithm>

#include "WindowFixture.h"
#include "display/meters/CVuMeterView.h"
#include "display/widgets/PreviewView.h"
#include "display/widgets/ReadoutView.h"
#include "display/widgets/Resources.h"
#include "recording/window/CColorCustomView.h"
#include "storage/WriterThreads.h"
#include "support/DVMaterial.h"
#include "support/FileSizeLimit.h"

namespace takebox {
namespace {

class TapedeckWindowTest : public test::WindowFixture {
protected:
    [[nodiscard]] bool isEnabled(const char* name) { return control<QWidget>(name).isEnabled(); }
    [[nodiscard]] QString tally() { return control<QLabel>("tallyLabel").text(); }
    [[nodiscard]] QRgb colorOfFrame() {
        return window->grab().toImage().pixel(
            2, window->findChild<QWidget*>(QStringLiteral("monitorPanel"))
                   ->mapTo(window, QPoint(0, 20))
                   .y());
    }
    QAction* menuEntry(const QKeySequence& keys) {
        for (QAction* action : window->findChildren<QAction*>()) {
            if (action->shortcut() == keys) {
                return action;
            }
        }
        return nullptr;
    }
};

TEST_F(TapedeckWindowTest, beginsStopped) {
    openWindow();
    EXPECT_TRUE(isEnabled("recordButton"));
    EXPECT_FALSE(isEnabled("stopButton"));
    EXPECT_FALSE(isEnabled("pauseButton"));
    EXPECT_TRUE(isEnabled("settingsButton"));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Studio A"));
    EXPECT_EQ(tally(), QStringLiteral("STOPPED"));
    EXPECT_EQ(control<CColorCustomView>("blackBackgroundView").currentColor(), QColor(Qt::black));
    EXPECT_EQ(control<QLineEdit>("recordingNameField").text(), QStringLiteral("Untitled"));
    EXPECT_TRUE(isEnabled("recordingNameField"));
}

TEST_F(TapedeckWindowTest, showsLostFramesQuietlyWhileThereAreNone) {
    openWindow();
    const QLabel& field = control<QLabel>("lostFramesField");
    EXPECT_EQ(field.text(), QString()) << "of a deck that has recorded nothing";
    click("recordButton");
    EXPECT_EQ(field.text(), QStringLiteral("0 frames lost"));
    EXPECT_EQ(field.palette().color(QPalette::Window),
              control<QWidget>("monitorPanel").palette().color(QPalette::Window));
}

TEST_F(TapedeckWindowTest, countsLossesInWordsOfTheirNumber) {
    openWindow();
    const QLabel& field = control<QLabel>("lostFramesField");
    const auto expectText = [&](QLocale::Language language, const char* text) {
        installTranslations(QLocale(language));
        QCoreApplication::processEvents();
        EXPECT_EQ(field.text(), QString::fromUtf8(text));
    };
    click("recordButton");
    sendFrames(1);
    auto shortFrame = test::fakeFrame(true, 1);
    shortFrame.resize(shortFrame.size() / 2);
    deck->sendFrame(shortFrame);
    manualClock.advance(1);
    expectText(QLocale::English, "1 frame lost");
    expectText(QLocale::German, "1 Bild verloren");
    deck->sendFrame(shortFrame);
    deck->sendReceiverMessage(2);
    manualClock.advance(1);
    expectText(QLocale::German, "2 Bilder verloren · 1 Störung");
    EXPECT_TRUE(field.toolTip().contains(QStringLiteral("Bilder falscher Größe: ")))
        << field.toolTip().toStdString();
    EXPECT_TRUE(controller->losses().contains(QStringLiteral("frames of a wrong size: ")))
        << "log and bus are English";
    expectText(QLocale::English, "2 frames lost · 1 problem");
    EXPECT_TRUE(field.toolTip().startsWith(field.text()));
    click("stopButton");
}

TEST_F(TapedeckWindowTest, keepsItsLayoutWhenALossAppears) {
    for (const auto language : {QLocale::English, QLocale::German}) {
        installTranslations(QLocale(language));
        openWindow();
        const QSize least = window->minimumSizeHint();
        const QRect picture = control<PreviewView>("previewView").geometry();
        click("recordButton");
        const QSize size = window->size();
        deck->sendReceiverMessage(2);
        manualClock.advance(1);
        auto& field = control<QLabel>("lostFramesField");
        EXPECT_TRUE(field.text().contains(QStringLiteral(" · ")));
        field.setText(field.text().repeated(5));  // as with very large numbers
        QCoreApplication::processEvents();
        EXPECT_EQ(window->minimumSizeHint(), least);
        EXPECT_EQ(window->size(), size);
        EXPECT_EQ(control<PreviewView>("previewView").geometry(), picture);
        click("stopButton");
        closeEverything();
    }
    installTranslations(QLocale(QLocale::English));
}

TEST_F(TapedeckWindowTest, raisesAnAlarmWhileAFileCannotBeWritten) {
    openWindow();
    const auto& preview = control<PreviewView>("previewView");
    click("recordButton");
    EXPECT_TRUE(preview.alarm().isEmpty());
    {
        const test::FileSizeLimit limit(2000000);
        EXPECT_TRUE(test::waitUntil([&] {
            sendFrames(1);
            manualClock.advance(1);
            return !preview.alarm().isEmpty();
        }));
        EXPECT_EQ(preview.alarm(), QStringLiteral("Cannot write Untitled.dv: File too large"));
        EXPECT_EQ(tally(), QStringLiteral("▲ WRITE ERROR"));
        EXPECT_TRUE(preview.accessibleDescription().contains(preview.alarm()));
    }
    EXPECT_TRUE(test::waitUntil([&] {
        sendFrames(1);
        manualClock.advance(1);
        return preview.alarm().isEmpty();
    }));
    EXPECT_EQ(tally(), QStringLiteral("● RECORDING"));
    EXPECT_TRUE(control<QLabel>("lostFramesField")
                    .toolTip()
                    .contains(QStringLiteral("Untitled.dv could not be written: File too large")));
    click("stopButton");
}

TEST_F(TapedeckWindowTest, keepsTheAlarmOfARecordingThatEndedUnwritten) {
    openWindow();
    const auto& preview = control<PreviewView>("previewView");
    click("recordButton");
    {
        const test::FileSizeLimit limit(100000);
        sendFrames(3);
        click("stopButton");
        WriterThreads::waitUntilFinished();
    }
    manualClock.advance(1);
    EXPECT_TRUE(preview.alarm().startsWith(
        QStringLiteral("Untitled.dv could not be written: File too large")));
    EXPECT_EQ(tally(), QStringLiteral("STOPPED"));
    click("recordButton");
    EXPECT_TRUE(preview.alarm().isEmpty());
    click("stopButton");
}

TEST_F(TapedeckWindowTest, recordsPausesAndStopsByItsButtons) {
    openWindow();
    click("recordButton");
    EXPECT_TRUE(alerts.isEmpty()) << alerts.join(u' ').toStdString();
    EXPECT_TRUE(controller->device()->isRecording());
    EXPECT_FALSE(isEnabled("recordButton"));
    EXPECT_TRUE(isEnabled("stopButton"));
    EXPECT_TRUE(isEnabled("pauseButton"));
    EXPECT_FALSE(isEnabled("settingsButton"));
    EXPECT_TRUE(tally().contains(QStringLiteral("RECORDING")));
    EXPECT_EQ(colorOfFrame(), qRgb(0xD8, 0x1A, 0x10));
    EXPECT_EQ(control<QLabel>("tallyDetailLabel").text(), QStringLiteral("Untitled"));

    click("pauseButton");
    EXPECT_TRUE(controller->device()->isPaused());
    EXPECT_TRUE(tally().contains(QStringLiteral("PAUSED")));
    EXPECT_EQ(colorOfFrame(), qRgb(0xF5, 0xA6, 0x00));
    click("pauseButton");
    EXPECT_FALSE(controller->device()->isPaused());

    click("stopButton");
    EXPECT_FALSE(controller->device()->isRecording());
    EXPECT_TRUE(isEnabled("recordButton"));
    EXPECT_FALSE(isEnabled("stopButton"));
    EXPECT_FALSE(isEnabled("pauseButton"));
    EXPECT_TRUE(isEnabled("settingsButton"));
    EXPECT_EQ(tally(), QStringLiteral("STOPPED"));
    EXPECT_TRUE(QFileInfo::exists(folder.filePath(QStringLiteral("Untitled/Untitled.dv"))));
}

TEST_F(TapedeckWindowTest, obeysItsKeys) {
    openWindow();
    QTest::keyClick(window, Qt::Key_R, Qt::ControlModifier);
    EXPECT_TRUE(controller->device()->isRecording());
    QTest::keyClick(window, Qt::Key_P, Qt::ControlModifier);
    EXPECT_TRUE(controller->device()->isPaused());
    EXPECT_TRUE(control<QPushButton>("pauseButton").isChecked());
    QTest::keyClick(window, Qt::Key_P, Qt::ControlModifier);
    EXPECT_FALSE(controller->device()->isPaused());
    QTest::keyClick(window, Qt::Key_Period, Qt::ControlModifier);
    EXPECT_FALSE(controller->device()->isRecording());
}

TEST_F(TapedeckWindowTest, showsARefusedStartAsItWas) {
    openWindow();
    controller->settings().setCreateReferenceMovie(false);
    controller->settings().setCreateSelfContainedMovie(false);
    click("recordButton");
    ASSERT_EQ(alerts.size(), 2);
    EXPECT_EQ(alerts[0], QStringLiteral("No Recording Destination!"));
    EXPECT_TRUE(isEnabled("recordButton"));
    EXPECT_EQ(tally(), QStringLiteral("STOPPED"));
}

TEST_F(TapedeckWindowTest, showsTimeCodesAndLevels) {
    openWindow();
    sendFrames(13);
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("00:00:00:12"));
    EXPECT_EQ(control<ReadoutView>("elapsedTimeCodeField").text(), QStringLiteral("00:00:00:00"));
    EXPECT_NEAR(control<CVuMeterView>("leftVuMeter").doubleValue(), 0x4040 / 32768.0, 1e-9);
    EXPECT_NEAR(control<CVuMeterView>("rightVuMeter").doubleValue(), 0x4040 / 32768.0, 1e-9);
    click("recordButton");
    sendFrames(7);
    EXPECT_TRUE(test::waitUntil([this] {
        manualClock.advance(0.02);
        return control<ReadoutView>("elapsedTimeCodeField").text() == QStringLiteral("00:00:00:07");
    }));
    click("stopButton");
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("elapsedTimeCodeField").text(), QStringLiteral("00:00:00:00"));
}

TEST_F(TapedeckWindowTest, showsEachChannelOnItsMeter) {
    openWindow();
    auto frame = test::fakeFrame(true, 0);
    // The second half of a frame carries the right channel.
    std::fill(frame.begin() + static_cast<std::ptrdiff_t>(frame.size() / 2), frame.end(), 0);
    deck->sendFrame(frame);
    manualClock.advance(0.02);
    EXPECT_NEAR(control<CVuMeterView>("leftVuMeter").doubleValue(), 0x4040 / 32768.0, 1e-9);
    EXPECT_EQ(control<CVuMeterView>("rightVuMeter").doubleValue(), 0);
}

TEST_F(TapedeckWindowTest, runsWithTheWallClockOrThePresetWithoutAnySignal) {
    openWindow();
    manualClock.setTime(QDateTime(QDate(2024, 6, 3), QTime(10, 20, 30)));
    controller->settings().setTimecodeSourceIndex(1);
    manualClock.advance(0.02);
    EXPECT_TRUE(
        control<ReadoutView>("deviceTimeCodeField").text().startsWith(QStringLiteral("10:20:30")));
    controller->settings().setTimecodeSourceIndex(2);
    controller->settings().setPresetTimecode(3600);
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("01:00:00:00"));
    manualClock.advance(5);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("01:00:00:00"));
}

TEST_F(TapedeckWindowTest, showsTheRecordedTimeBesideAPreset) {
    openWindow();
    controller->settings().setTimecodeSourceIndex(2);
    controller->settings().setPresetTimecode(3600);
    click("recordButton");
    sendFrames(7);
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("01:00:00:00"));
    EXPECT_EQ(control<ReadoutView>("elapsedTimeCodeField").text(), QStringLiteral("00:00:00:07"));
    controller->settings().setTimecodeSourceIndex(7);
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("01:00:00:00"))
        << "no source changes nothing";
    click("stopButton");
}

TEST_F(TapedeckWindowTest, showsThePictureInItsShape) {
    openWindow();
    control<QWidget>("blackBackgroundView").hide();
    controller->setPreviewImage(QImage(180, 135, QImage::Format_RGB32));
    EXPECT_FALSE(control<QWidget>("blackBackgroundView").isHidden());
    auto& preview = control<PreviewView>("previewView");
    const QRectF narrow = preview.imageRect();
    EXPECT_NEAR(narrow.width() / narrow.height(), 4.0 / 3, 0.01);
    controller->setPreviewImage(QImage(240, 135, QImage::Format_RGB32));
    const QRectF wide = preview.imageRect();
    EXPECT_NEAR(wide.width() / wide.height(), 16.0 / 9, 0.01);
    EXPECT_TRUE(QRectF(preview.rect()).adjusted(-1, -1, 1, 1).contains(wide));
}

TEST_F(TapedeckWindowTest, decodesNoPictureWhileClosed) {
    openWindow();
    EXPECT_TRUE(controller->wantsPreviewImage());
    window->close();
    EXPECT_FALSE(controller->wantsPreviewImage());
    EXPECT_TRUE(controller->device()->hasStream());
    controller->showWindow();
    EXPECT_TRUE(controller->wantsPreviewImage());
}

TEST_F(TapedeckWindowTest, showsTheNewestPictureWhenItIsShownAgain) {
    openWindow();
    auto pictures = test::makeDVFrames(true, false, 2);
    ASSERT_EQ(pictures.size(), 2U);
    const auto send = [this](const QByteArray& frame) {
        deck->sendFrame({frame.begin(), frame.end()});
        QCoreApplication::processEvents();
    };
    const DVPreview& preview = controller->device()->preview();
    manualClock.advance(0.02);
    send(pictures[0]);
    send(pictures[0]);
    EXPECT_EQ(preview.frameCount(), 1U);
    const QImage before = controller->previewImage();
    window->close();
    manualClock.advance(0.02);
    send(pictures[1]);
    EXPECT_EQ(preview.frameCount(), 1U);
    controller->showWindow();
    manualClock.advance(0.02);
    EXPECT_EQ(preview.frameCount(), 2U) << "without another frame";
    EXPECT_NE(controller->previewImage(), before);
}

TEST_F(TapedeckWindowTest, recordsOnWhenClosed) {
    openWindow();
    click("recordButton");
    QTest::keyClick(window, Qt::Key_W, Qt::ControlModifier);
    EXPECT_FALSE(window->isVisible());
    EXPECT_TRUE(controller->device()->isRecording());
    controller->showWindow();
    EXPECT_TRUE(window->isVisible());
    EXPECT_TRUE(tally().contains(QStringLiteral("RECORDING")));
    click("stopButton");
}

TEST_F(TapedeckWindowTest, goesWithItsDeckWhateverIsOpen) {
    openWindow();
    click("recordButton");
    sendFrames(2);
    window->resize(900, 600);
    controller->advancedSettingsButtonPushed();
    controller->selectRawFolderButtonPushed();
    QCoreApplication::processEvents();
    controller->stopUpdates();
    closeEverything();
    QCoreApplication::processEvents();
    for (const QWidget* widget : QApplication::topLevelWidgets()) {
        EXPECT_FALSE(widget->isVisible()) << widget->metaObject()->className();
    }
}

TEST_F(TapedeckWindowTest, keepsTheDiskTimeUpToDateAfterItsUpdatesStopped) {
    openWindow();
    auto& left = control<ReadoutView>("remainingDiskTimeField");
    EXPECT_FALSE(left.text().isEmpty());
    controller->stopUpdates();
    controller->outlets().remainingDiskTimeField.setDoubleValue(1);
    EXPECT_EQ(left.text(), QStringLiteral("00:00:01"));
    manualClock.advance(1.0);
    EXPECT_NE(left.text(), QStringLiteral("00:00:01"));
    EXPECT_EQ(left.text(), controller->remainingDiskSpaceAsTimecode());
}

TEST_F(TapedeckWindowTest, standsWhereTheGridPutsIt) {
    openWindow();
    const QRect screen = window->screen()->geometry();
    window->setFrameTopLeftPoint(40, screen.height() - 30);
    EXPECT_EQ(window->pos(), QPoint(40, screen.y() + 30));
    EXPECT_EQ(window->frame().size(), window->frameGeometry().size());
}

TEST_F(TapedeckWindowTest, offersTheCommandsOfTheProgram) {
    openWindow();
    click("schedulingButton");
    menuEntry(QKeySequence(QStringLiteral("Ctrl+E")))->trigger();
    EXPECT_EQ(commands.schedules, 2);
    menuEntry(QKeySequence(QStringLiteral("Ctrl+,")))->trigger();
    EXPECT_EQ(commands.preferences, 1);
    menuEntry(QKeySequence(QStringLiteral("Ctrl+Q")))->trigger();
    EXPECT_EQ(commands.quits, 1);
    for (QAction* action : window->findChildren<QAction*>()) {
        if (action->text() == QStringLiteral("&About Takebox DV")) {
            action->trigger();
        }
    }
    EXPECT_EQ(commands.abouts, 1);
}

TEST_F(TapedeckWindowTest, passesEditCommandsToTheFieldWithTheFocus) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    window->activateWindow();
    name.setFocus();
    ASSERT_TRUE(test::waitUntil([&name] { return name.hasFocus(); }));
    menuEntry(QKeySequence(QKeySequence::SelectAll))->trigger();
    EXPECT_EQ(name.selectedText(), QStringLiteral("Untitled"));
    control<QPushButton>("recordButton").setFocus();
    menuEntry(QKeySequence(QKeySequence::SelectAll))->trigger();
    menuEntry(QKeySequence(QKeySequence::Cut))->trigger();
    EXPECT_EQ(name.text(), QStringLiteral("Untitled"));
}

TEST_F(TapedeckWindowTest, namesEveryControlForScreenReaders) {
    openWindow();
    for (const QWidget* widget : window->findChildren<QWidget*>()) {
        const bool isControl = qobject_cast<const QAbstractButton*>(widget) != nullptr ||
                               qobject_cast<const QLineEdit*>(widget) != nullptr ||
                               qobject_cast<const ReadoutView*>(widget) != nullptr ||
                               qobject_cast<const CVuMeterView*>(widget) != nullptr;
        const bool isOurs = !widget->objectName().isEmpty() &&
                            !widget->objectName().startsWith(QStringLiteral("qt_"));
        if (isControl && isOurs) {
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->objectName().toStdString();
            EXPECT_FALSE(widget->toolTip().isEmpty() &&
                         qobject_cast<const QLineEdit*>(widget) == nullptr)
                << widget->objectName().toStdString();
        }
    }
}

TEST_F(TapedeckWindowTest, isReachedByTabInReadingOrder) {
    openWindow();
    window->activateWindow();
    control<QPushButton>("recordButton").setFocus();
    QStringList order;
    for (int i = 0; i < 5; ++i) {
        order << window->focusWidget()->objectName();
        QTest::keyClick(window->focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(order.join(u' '), QStringLiteral("recordButton recordingNameField autoCheckBox "
                                               "schedulingButton settingsButton"));
}

TEST_F(TapedeckWindowTest, speaksGerman) {
    openWindow();
    installTranslations(QLocale(QLocale::German));
    QCoreApplication::processEvents();
    EXPECT_EQ(control<QPushButton>("recordButton").text(), QStringLiteral("&Aufnahme"));
    EXPECT_EQ(tally(), QStringLiteral("GESTOPPT"));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Studio A"));
    installTranslations(QLocale(QLocale::English));
    QCoreApplication::processEvents();
    EXPECT_EQ(control<QPushButton>("recordButton").text(), QStringLiteral("&Record"));
}

TEST_F(TapedeckWindowTest, isShownWithoutADeck) {
    openWindow();
    closeEverything();
    controller = std::make_shared<CDVDeviceWindowController>(nullptr, *this);
    controller->showWindow();
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(tally(), QStringLiteral("STOPPED"));
    // The timer looks for a signal; without a deck there is none to miss.
    auto* const timer = window->findChild<QTimer*>(QString(), Qt::FindDirectChildrenOnly);
    ASSERT_NE(timer, nullptr);
    const QSignalSpy looks(timer, &QTimer::timeout);
    EXPECT_TRUE(test::waitUntil([&looks] { return looks.count() >= 1; }));
    EXPECT_TRUE(control<PreviewView>("previewView").notice().isEmpty());
}

}  // namespace
}  // namespace takebox
