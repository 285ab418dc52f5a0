#include "app/preferences/PreferenceController.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include "capture/PreferenceKeys.h"
#include "display/widgets/Resources.h"
#include "platform/defaults/Defaults.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

struct PreferenceControllerTest : ::testing::Test {
    QTemporaryDir folder;
    PreferenceController controller;

    void SetUp() override {
        loadResources();
        Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
        Defaults::standard().registerDefaults({{OxaPrefShouldSwitchCastlineKey, false},
                                               {OxaPrefStartStopVTRKey, true},
                                               {OxaPrefCastlineAddressesKey, QVariantList()}});
    }
    template <typename Widget>
    Widget& control(const char* name) {
        return *controller.window()->findChild<Widget*>(QString::fromLatin1(name));
    }
    // What another start of the program would find.
    [[nodiscard]] Defaults stored() const { return Defaults(Defaults::standard().path()); }
    void type(const char* name, const QString& text) {
        auto& field = control<QLineEdit>(name);
        field.selectAll();
        QTest::keyClicks(&field, text);
        QTest::keyClick(&field, Qt::Key_Return);
    }
    void editAddress(int row, const QString& text) {
        auto& view = control<QListView>("castlineAddressesTableView");
        view.setCurrentIndex(view.model()->index(row, 0));
        if (view.findChild<QLineEdit*>() == nullptr) {
            view.edit(view.currentIndex());
        }
        auto* editor = view.findChild<QLineEdit*>();
        ASSERT_NE(editor, nullptr);
        editor->setText(text);
        QTest::keyClick(editor, Qt::Key_Return);
        ASSERT_TRUE(test::waitUntil([&view] { return view.findChild<QLineEdit*>() == nullptr; }));
    }
    [[nodiscard]] static QStringList addresses() {
        return Defaults::standard().objectForKey(OxaPrefCastlineAddressesKey).toStringList();
    }
};

TEST_F(PreferenceControllerTest, beginsWithTheDefaultsOfAFreshStore) {
    EXPECT_EQ(controller.window(), nullptr);
    controller.showWindow();
    EXPECT_TRUE(controller.window()->isVisible());
    EXPECT_TRUE(control<QCheckBox>("startStopVTRCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("eraseExistingFilesCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("switchCastlineCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("launchStartRecordingScriptCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("launchStopRecordingScriptCheckBox").isChecked());
    EXPECT_EQ(control<QLineEdit>("startRecordingScriptDelayField").text(), QStringLiteral("0"));
    EXPECT_TRUE(controller.castlineAddressesArray().isEmpty());
}

TEST_F(PreferenceControllerTest, isNoHigherThanTheScreen) {
    const QFont font = QApplication::font();
    QFont large = font;
    large.setPixelSize(60);
    QApplication::setFont(large);
    controller.showWindow();
    const QWidget& window = *controller.window();
    EXPECT_LE(window.frameGeometry().height(), window.screen()->availableGeometry().height());
    const auto* const view = window.findChild<QScrollArea*>();
    ASSERT_NE(view, nullptr);
    EXPECT_GT(view->verticalScrollBar()->maximum(), 0);
    QApplication::setFont(font);
}

TEST_F(PreferenceControllerTest, hasRoomForEverything) {
    controller.showWindow();
    const auto* const view = controller.window()->findChild<QScrollArea*>();
    ASSERT_NE(view, nullptr);
    EXPECT_EQ(view->verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(view->horizontalScrollBar()->maximum(), 0);
}

TEST_F(PreferenceControllerTest, showsWhatIsStored) {
    Defaults& defaults = Defaults::standard();
    defaults.setObject(OxaPrefEraseExistingFilesKey, true);
    defaults.setObject(OxaPrefStartStopVTRKey, false);
    defaults.setObject(OxaPrefLaunchStopRecordingScriptKey, true);
    defaults.setObject(OxaPrefStopRecordingScriptDelayKey, qint64{12});
    defaults.setObject(OxaPrefCastlineAddressesKey,
                       QVariantList{QStringLiteral("10.0.0.1"), QStringLiteral("playout")});
    defaults.setObject(OxaPrefRecordingFormatKey, qint64{1});
    controller.showWindow();
    EXPECT_TRUE(control<QCheckBox>("eraseExistingFilesCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("startStopVTRCheckBox").isChecked());
    EXPECT_TRUE(control<QCheckBox>("launchStopRecordingScriptCheckBox").isChecked());
    EXPECT_EQ(control<QLineEdit>("stopRecordingScriptDelayField").text(), QStringLiteral("12"));
    EXPECT_EQ(controller.castlineAddressesArray().join(u' '), QStringLiteral("10.0.0.1 playout"));
    EXPECT_EQ(control<QComboBox>("recordingFormatPopUpButton").currentIndex(), 0)
        << "the format is stored, not loaded";
}

TEST_F(PreferenceControllerTest, writesEachCheckBoxAtOnce) {
    controller.showWindow();
    struct CheckBox {
        const char* name;
        QString key;
    };
    for (const auto& [name, key] :
         {CheckBox{"switchCastlineCheckBox", OxaPrefShouldSwitchCastlineKey},
          CheckBox{"startStopVTRCheckBox", OxaPrefStartStopVTRKey},
          CheckBox{"eraseExistingFilesCheckBox", OxaPrefEraseExistingFilesKey},
          CheckBox{"launchStartRecordingScriptCheckBox", OxaPrefLaunchStartRecordingScriptKey},
          CheckBox{"launchStopRecordingScriptCheckBox", OxaPrefLaunchStopRecordingScriptKey}}) {
        auto& box = control<QCheckBox>(name);
        box.click();
        EXPECT_EQ(stored().objectForKey(key).typeId(), QMetaType::Bool) << name;
        EXPECT_EQ(stored().boolForKey(key), box.isChecked()) << name;
        box.click();
        EXPECT_EQ(stored().boolForKey(key), box.isChecked()) << name;
    }
}

TEST_F(PreferenceControllerTest, writesWholeSeconds) {
    controller.showWindow();
    type("startRecordingScriptDelayField", QStringLiteral("2.7"));
    EXPECT_EQ(stored().objectForKey(OxaPrefStartRecordingScriptDelayKey), QVariant(qint64{2}));
    EXPECT_EQ(control<QLineEdit>("startRecordingScriptDelayField").text(), QStringLiteral("2"));
    type("stopRecordingScriptDelayField", QStringLiteral("soon"));
    EXPECT_EQ(stored().objectForKey(OxaPrefStopRecordingScriptDelayKey), QVariant(qint64{0}));
}

TEST_F(PreferenceControllerTest, leavesADelayThatIsOnlyPassedThrough) {
    controller.showWindow();
    auto& field = control<QLineEdit>("startRecordingScriptDelayField");
    Defaults::standard().setObject(OxaPrefStartRecordingScriptDelayKey, 4.5);
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(Defaults::standard().objectForKey(OxaPrefStartRecordingScriptDelayKey), 4.5);
}

TEST_F(PreferenceControllerTest, writesTheIndexOfTheFormat) {
    controller.showWindow();
    auto& popUp = control<QComboBox>("recordingFormatPopUpButton");
    QTest::keyClick(&popUp, Qt::Key_Down);
    EXPECT_EQ(stored().objectForKey(OxaPrefRecordingFormatKey), QVariant(qint64{1}));
}

TEST_F(PreferenceControllerTest, doesNotKeepAnAddressThatWasOnlyAdded) {
    controller.showWindow();
    control<QPushButton>("addCastlineButton").click();
    EXPECT_EQ(controller.castlineAddressesArray(), QStringList{QStringLiteral("127.0.0.1")});
    controller.window()->close();
    EXPECT_TRUE(addresses().isEmpty());
    EXPECT_TRUE(stored().arrayForKey(OxaPrefCastlineAddressesKey).isEmpty());
}

TEST_F(PreferenceControllerTest, keepsAnAddressThatWasEdited) {
    controller.showWindow();
    control<QPushButton>("addCastlineButton").click();
    editAddress(0, QStringLiteral("playout.example"));
    EXPECT_EQ(addresses(), QStringList{QStringLiteral("playout.example")});
    EXPECT_TRUE(stored().arrayForKey(OxaPrefCastlineAddressesKey).isEmpty())
        << "the list reaches the disk with the next preference";
    control<QCheckBox>("switchCastlineCheckBox").click();
    EXPECT_EQ(stored().arrayForKey(OxaPrefCastlineAddressesKey).size(), 1);
    editAddress(0, QString());
    EXPECT_EQ(addresses(), QStringList{QString()}) << "any text is stored";
}

TEST_F(PreferenceControllerTest, deletesTheSelectedAddressOnly) {
    Defaults::standard().setObject(
        OxaPrefCastlineAddressesKey,
        QVariantList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
    controller.showWindow();
    control<QPushButton>("deleteCastlineButton").click();
    EXPECT_EQ(addresses().size(), 3);
    auto& view = control<QListView>("castlineAddressesTableView");
    view.setCurrentIndex(view.model()->index(1, 0));
    control<QPushButton>("deleteCastlineButton").click();
    EXPECT_EQ(addresses().join(u' '), QStringLiteral("a c"));
    EXPECT_EQ(controller.castlineAddressesArray().join(u' '), QStringLiteral("a c"));
}

TEST_F(PreferenceControllerTest, setsControlsWithoutWriting) {
    controller.showWindow();
    controller.setShouldSwitchCastline(true);
    controller.setStartStopVTR(false);
    controller.setEraseExistingFiles(true);
    controller.setLaunchStartRecordingScript(true);
    controller.setLaunchStopRecordingScript(true);
    controller.setStartRecordingScriptDelay(5);
    controller.setStopRecordingScriptDelay(6);
    EXPECT_TRUE(control<QCheckBox>("switchCastlineCheckBox").isChecked());
    EXPECT_FALSE(control<QCheckBox>("startStopVTRCheckBox").isChecked());
    EXPECT_EQ(control<QLineEdit>("stopRecordingScriptDelayField").text(), QStringLiteral("6"));
    EXPECT_FALSE(Defaults::standard().boolForKey(OxaPrefShouldSwitchCastlineKey));
    EXPECT_TRUE(Defaults::standard().boolForKey(OxaPrefStartStopVTRKey));
    EXPECT_EQ(Defaults::standard().integerForKey(OxaPrefStopRecordingScriptDelayKey), 0);
}

TEST_F(PreferenceControllerTest, namesEveryControlForScreenReaders) {
    controller.showWindow();
    for (const QWidget* widget : controller.window()->findChildren<QWidget*>()) {
        const auto* button = qobject_cast<const QAbstractButton*>(widget);
        const bool isNamed =
            !widget->accessibleName().isEmpty() || (button != nullptr && !button->text().isEmpty());
        if (button != nullptr || qobject_cast<const QLineEdit*>(widget) != nullptr ||
            qobject_cast<const QComboBox*>(widget) != nullptr) {
            EXPECT_TRUE(isNamed) << widget->objectName().toStdString();
            EXPECT_FALSE(widget->toolTip().isEmpty()) << widget->objectName().toStdString();
        }
    }
}

}  // namespace
}  // namespace takebox
