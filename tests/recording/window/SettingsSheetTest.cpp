// The sheet with a deck's settings, driven through its controls.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTest>

#include "WindowFixture.h"
#include "display/widgets/ReadoutView.h"
#include "support/OrdinaryUser.h"

namespace takebox {
namespace {

class SettingsSheetTest : public test::WindowFixture {
protected:
    void SetUp() override {
        WindowFixture::SetUp();
        openWindow();
    }
    [[nodiscard]] QDialog& sheet() { return control<QDialog>("settingsPanel"); }
    void pressButton(QDialogButtonBox::StandardButton button) {
        QTest::mouseClick(control<QDialogButtonBox>("settingsButtonBox").button(button),
                          Qt::LeftButton);
    }
    void type(const char* field, const QString& text) {
        auto& edit = control<QLineEdit>(field);
        edit.setFocus();
        edit.selectAll();
        if (text.isEmpty()) {
            QTest::keyClick(&edit, Qt::Key_Delete);
        } else {
            QTest::keyClicks(&edit, text);
        }
    }
    [[nodiscard]] std::string hint() {
        return control<QLabel>("settingsHintLabel").text().toStdString();
    }
    [[nodiscard]] CDVDeviceSettings& settings() { return controller->settings(); }
};

TEST_F(SettingsSheetTest, isFilledFromTheSettings) {
    settings().setMonoTracks(true);
    settings().setReferenceMovieDuration(90);
    settings().setTimecodeSourceIndex(2);
    settings().setPresetTimecode(3723.5);
    settings().setLoopRecording(true);
    settings().setCreateSelfContainedMovie(true);
    settings().setCreateReferenceMovie(false);
    click("settingsButton");
    EXPECT_TRUE(sheet().isVisible());
    EXPECT_EQ(control<QLabel>("deviceGUIDField").text(), QStringLiteral("00112233445566aa"));
    EXPECT_EQ(control<QLineEdit>("customDeviceNameField").text(), QStringLiteral("Studio A"));
    EXPECT_EQ(control<QLineEdit>("rawFolderPathField").text(), folder.path());
    EXPECT_EQ(control<QLineEdit>("referenceMovieDurationField").text(), QStringLiteral("90"));
    EXPECT_TRUE(control<QCheckBox>("monoTracksCheckBox").isChecked());
    EXPECT_TRUE(control<QCheckBox>("loopRecordingCheckBox").isChecked());
    EXPECT_TRUE(control<QCheckBox>("selfContainedMovieCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("referenceMovieCheckBox").isChecked());
    EXPECT_EQ(control<QComboBox>("timecodeSourcePopUpButton").currentIndex(), 2);
    EXPECT_EQ(control<QLineEdit>("presetTimecodeField").text(), QStringLiteral("01:02:03:12"));
    EXPECT_TRUE(control<QLineEdit>("presetTimecodeField").isEnabled());
}

TEST_F(SettingsSheetTest, countsTheFramesOfAPresetAtTheRateOfTheDeck) {
    closeEverything();
    openWindow(0x00);  // NTSC
    settings().setTimecodeSourceIndex(2);
    settings().setPresetTimecode(3723.5);
    click("settingsButton");
    EXPECT_EQ(control<QLineEdit>("presetTimecodeField").text(), QStringLiteral("01:02:03:14"));
    manualClock.advance(0.02);
    EXPECT_EQ(control<ReadoutView>("deviceTimeCodeField").text(), QStringLiteral("01:02:03:14"));
    type("presetTimecodeField", QStringLiteral("00:00:01:15"));
    pressButton(QDialogButtonBox::Ok);
    EXPECT_NEAR(settings().presetTimecode(), 1.5005, 0.0001);
}

TEST_F(SettingsSheetTest, showsADurationInPlainDigits) {
    for (const auto& [duration, shown] :
         {std::pair(100000.0, "100000"), std::pair(2000000.0, "2000000"), std::pair(0.04, "0.04"),
          std::pair(12.5, "12.5"), std::pair(0.0, "0")}) {
        settings().setReferenceMovieDuration(duration);
        click("settingsButton");
        EXPECT_EQ(control<QLineEdit>("referenceMovieDurationField").text(),
                  QString::fromLatin1(shown));
        pressButton(QDialogButtonBox::Ok);
        EXPECT_EQ(settings().referenceMovieDuration(), duration);
    }
}

TEST_F(SettingsSheetTest, storesEveryControlOnOK) {
    click("settingsButton");
    type("customDeviceNameField", QStringLiteral("Gallery"));
    type("rawFolderPathField", QStringLiteral("/raw"));
    type("selfContainedMovieFolderPathField", QStringLiteral("/movies"));
    type("referenceMovieFolderPathField", QStringLiteral("/refs"));
    type("referenceMovieDurationField", QStringLiteral("12.5"));
    click("monoTracksCheckBox");
    click("loopRecordingCheckBox");
    click("selfContainedMovieCheckBox");
    click("referenceMovieCheckBox");
    control<QComboBox>("timecodeSourcePopUpButton").setCurrentIndex(2);
    type("presetTimecodeField", QStringLiteral("100"));
    pressButton(QDialogButtonBox::Ok);
    EXPECT_FALSE(sheet().isVisible());
    EXPECT_EQ(settings().deviceName(), QStringLiteral("Gallery"));
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Gallery"));
    EXPECT_EQ(settings().rawRecordingFolderPath(), QStringLiteral("/raw"));
    EXPECT_EQ(settings().selfContainedRecordingFolderPath(), QStringLiteral("/movies"));
    EXPECT_EQ(settings().referenceMovieFolderPath(), QStringLiteral("/refs"));
    EXPECT_EQ(settings().referenceMovieDuration(), 12.5);
    EXPECT_TRUE(settings().monoTracks());
    EXPECT_TRUE(settings().loopRecording());
    EXPECT_TRUE(settings().createSelfContainedMovie());
    EXPECT_FALSE(settings().createReferenceMovie());
    EXPECT_EQ(settings().timecodeSourceIndex(), 2);
    EXPECT_EQ(settings().presetTimecode(), 1.0);

    CDVDeviceSettings stored;
    stored.setDeviceGUID(settings().deviceGUID());
    stored.loadSettings();
    EXPECT_EQ(stored.deviceName(), QStringLiteral("Gallery"));
}

TEST_F(SettingsSheetTest, storesValuesAsTheyAre) {
    click("settingsButton");
    type("rawFolderPathField", {});
    type("referenceMovieDurationField", QStringLiteral("nothing"));
    pressButton(QDialogButtonBox::Ok);
    EXPECT_TRUE(settings().rawRecordingFolderPath().isEmpty());
    EXPECT_EQ(settings().referenceMovieDuration(), 0);
}

TEST_F(SettingsSheetTest, takesTheFieldThatIsBeingEditedWhenReturnIsPressed) {
    click("settingsButton");
    type("customDeviceNameField", QStringLiteral("Van"));
    QTest::keyClick(&control<QLineEdit>("customDeviceNameField"), Qt::Key_Return);
    EXPECT_FALSE(sheet().isVisible());
    EXPECT_EQ(settings().deviceName(), QStringLiteral("Van"));
}

TEST_F(SettingsSheetTest, storesNothingOnCancel) {
    click("settingsButton");
    type("customDeviceNameField", QStringLiteral("Gallery"));
    click("monoTracksCheckBox");
    pressButton(QDialogButtonBox::Cancel);
    EXPECT_FALSE(sheet().isVisible());
    EXPECT_EQ(settings().deviceName(), QStringLiteral("Studio A"));
    EXPECT_FALSE(settings().monoTracks());
    EXPECT_EQ(window->windowTitle(), QStringLiteral("Studio A"));
    click("settingsButton");
    EXPECT_EQ(control<QLineEdit>("customDeviceNameField").text(), QStringLiteral("Studio A"));
    EXPECT_FALSE(control<QCheckBox>("monoTracksCheckBox").isChecked());
    QTest::keyClick(&sheet(), Qt::Key_Escape);
    EXPECT_FALSE(sheet().isVisible());
    EXPECT_FALSE(controller->isSettingsSheetShown());
}

TEST_F(SettingsSheetTest, enablesThePresetOnlyForItsSource) {
    click("settingsButton");
    auto& source = control<QComboBox>("timecodeSourcePopUpButton");
    auto& preset = control<QLineEdit>("presetTimecodeField");
    EXPECT_FALSE(preset.isEnabled());
    source.setCurrentIndex(2);
    EXPECT_TRUE(preset.isEnabled());
    source.setCurrentIndex(-1);
    EXPECT_TRUE(preset.isEnabled()) << "no source changes nothing";
    source.setCurrentIndex(1);
    EXPECT_FALSE(preset.isEnabled());
}

TEST_F(SettingsSheetTest, keepsItsContentsWhenAskedForAgain) {
    click("settingsButton");
    type("customDeviceNameField", QStringLiteral("Gallery"));
    click("settingsButton");
    EXPECT_TRUE(sheet().isVisible());
    EXPECT_EQ(control<QLineEdit>("customDeviceNameField").text(), QStringLiteral("Gallery"));
}

TEST_F(SettingsSheetTest, opensOnTheScreenAsAWhole) {
    const QRect room = window->screen()->availableGeometry();
    window->move(room.right() - 50, room.bottom() - 50);
    click("settingsButton");
    EXPECT_TRUE(room.contains(sheet().frameGeometry()));
    EXPECT_GE(sheet().height(), sheet().sizeHint().height()) << "nothing has to scroll";
}

TEST_F(SettingsSheetTest, scrollsWhatTheScreenHasNoRoomForAndKeepsItsButtons) {
    QFont large = sheet().font();
    large.setPixelSize(50);
    sheet().setFont(large);
    click("settingsButton");
    const QRect room = window->screen()->availableGeometry();
    EXPECT_GE(sheet().frameGeometry().top(), room.top());
    EXPECT_LE(sheet().frameGeometry().bottom(), room.bottom());
    QCoreApplication::processEvents();
    auto& buttons = control<QDialogButtonBox>("settingsButtonBox");
    EXPECT_TRUE(sheet().rect().contains(buttons.geometry()));
    auto& last = control<QCheckBox>("monoTracksCheckBox");
    EXPECT_TRUE(last.visibleRegion().isEmpty());
    last.setFocus();
    QTest::keyClick(&last, Qt::Key_Backtab);
    QTest::keyClick(sheet().focusWidget(), Qt::Key_Tab);
    EXPECT_FALSE(last.visibleRegion().isEmpty()) << "the content follows the focus";
}

TEST_F(SettingsSheetTest, saysWhyNothingWouldBeRecorded) {
    settings().setCreateReferenceMovie(true);
    settings().setCreateSelfContainedMovie(false);
    click("settingsButton");
    EXPECT_EQ(hint(), "");
    EXPECT_FALSE(control<QLabel>("settingsHintIcon").isVisible());
    type("rawFolderPathField", folder.filePath(QStringLiteral("not there")));
    EXPECT_EQ(hint(), "Folder of raw files does not exist now.");
    EXPECT_TRUE(control<QLabel>("settingsHintIcon").isVisible());
    type("selfContainedMovieFolderPathField", QString());
    EXPECT_EQ(hint(), "Folder of raw files does not exist now.") << "that movie is not ticked";
    click("referenceMovieCheckBox");
    EXPECT_EQ(hint(), "No movie is ticked: nothing would be recorded.");
    click("selfContainedMovieCheckBox");
    EXPECT_EQ(hint(), "Folder of self-contained movies does not exist now.");
    type("selfContainedMovieFolderPathField", folder.path());
    EXPECT_EQ(hint(), "");
}

TEST_F(SettingsSheetTest, saysWhereTheUserMayNotWrite) {
    const QString closed = folder.filePath(QStringLiteral("closed"));
    ASSERT_EQ(::chmod(qPrintable(folder.path()), 0777), 0);
    ASSERT_EQ(::mkdir(qPrintable(closed), 0500), 0);
    ASSERT_EQ(::chmod(qPrintable(closed), 0555), 0);
    settings().setRawRecordingFolderPath(closed);
    const test::OrdinaryUser user;
    click("settingsButton");
    EXPECT_EQ(hint(), "Folder of raw files: you may not write there.");
    type("rawFolderPathField", folder.path());
    EXPECT_EQ(hint(), "");
}

TEST_F(SettingsSheetTest, leavesTheOtherControlsAlive) {
    click("settingsButton");
    EXPECT_FALSE(sheet().isModal());
    click("recordButton");
    EXPECT_TRUE(controller->device()->isRecording());
    click("stopButton");
    EXPECT_FALSE(controller->device()->isRecording());
    EXPECT_TRUE(sheet().isVisible());
}

TEST_F(SettingsSheetTest, choosesAFolderIntoItsField) {
    QDir(folder.path()).mkdir(QStringLiteral("chosen"));
    const QString chosen = folder.filePath(QStringLiteral("chosen"));
    click("settingsButton");
    type("rawFolderPathField", folder.path());
    for (const char* name : {"selectRawFolderButton", "selectReferenceMovieFolderButton",
                             "selectSelfContainedMovieFolderButton"}) {
        click(name);
        auto* dialog = window->findChild<QFileDialog*>(QStringLiteral("folderChooser"));
        ASSERT_NE(dialog, nullptr) << name;
        EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Select a Folder"));
        EXPECT_EQ(dialog->fileMode(), QFileDialog::Directory);
        EXPECT_TRUE(dialog->testOption(QFileDialog::ShowDirsOnly));
        EXPECT_EQ(dialog->directory().absolutePath(), folder.path());
        Q_EMIT dialog->fileSelected(chosen);
        dialog->close();
        EXPECT_TRUE(test::waitUntil([this] {
            return window->findChild<QFileDialog*>(QStringLiteral("folderChooser")) == nullptr;
        }));
    }
    EXPECT_EQ(control<QLineEdit>("rawFolderPathField").text(), chosen);
    EXPECT_EQ(control<QLineEdit>("referenceMovieFolderPathField").text(), chosen);
    EXPECT_EQ(control<QLineEdit>("selfContainedMovieFolderPathField").text(), chosen);
    EXPECT_EQ(settings().rawRecordingFolderPath(), folder.path());
    pressButton(QDialogButtonBox::Cancel);
    EXPECT_EQ(settings().rawRecordingFolderPath(), folder.path());
}

TEST_F(SettingsSheetTest, proposesTheFolderOfTheSameNameBelow) {
    const QString outer = folder.filePath(QStringLiteral("Takes"));
    QDir().mkpath(outer + QStringLiteral("/Takes"));
    settings().setRawRecordingFolderPath(outer);
    click("settingsButton");
    click("selectRawFolderButton");
    auto* dialog = window->findChild<QFileDialog*>(QStringLiteral("folderChooser"));
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->directory().absolutePath().toStdString(), outer.toStdString());
    EXPECT_EQ(dialog->selectedFiles().value(0).toStdString(), outer.toStdString() + "/Takes");
    dialog->reject();
}

TEST_F(SettingsSheetTest, leavesTheFieldWhenNoFolderIsChosen) {
    click("settingsButton");
    click("selectRawFolderButton");
    auto* dialog = window->findChild<QFileDialog*>(QStringLiteral("folderChooser"));
    ASSERT_NE(dialog, nullptr);
    dialog->reject();
    EXPECT_EQ(control<QLineEdit>("rawFolderPathField").text(), folder.path());
}

}  // namespace
}  // namespace takebox
