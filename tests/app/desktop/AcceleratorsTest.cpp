// A key that two controls of a window want reaches neither.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QGroupBox>
#include <QKeySequence>
#include <QLabel>
#include <QLocale>
#include <QMainWindow>
#include <QMenuBar>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <map>

#include "app/CTapedeckApplication.h"
#include "app/desktop/DesktopInterface.h"
#include "app/desktop/RecoveryOffer.h"
#include "capture/CDVDevicesController.h"
#include "display/widgets/Resources.h"
#include "platform/defaults/Defaults.h"
#include "recording/CDVDeviceWindowController.h"
#include "recording/window/NoDeviceWindow.h"
#include "storage/WriterThreads.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using Texts = QStringList;

Texts textsOf(const QMenu& menu) {
    Texts texts;
    for (const QAction* action : menu.actions()) {
        texts << action->text();
    }
    return texts;
}

/// What stands on the window itself, shown or not.
Texts textsOf(const QWidget& window) {
    Texts texts;
    for (const QWidget* widget : window.findChildren<QWidget*>()) {
        if (widget->window() != &window) {
            continue;
        }
        if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            texts << button->text();
        } else if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            texts << (label->buddy() != nullptr ? label->text() : QString());
        } else if (const auto* box = qobject_cast<const QGroupBox*>(widget)) {
            texts << box->title();
        } else if (const auto* tabs = qobject_cast<const QTabWidget*>(widget)) {
            for (int i = 0; i < tabs->count(); ++i) {
                texts << tabs->tabText(i);
            }
        } else if (const auto* menus = qobject_cast<const QMenuBar*>(widget)) {
            for (const QAction* action : menus->actions()) {
                texts << action->text();
            }
        }
    }
    return texts;
}

void expectDistinct(const Texts& texts, const std::string& place) {
    std::map<QString, QString> owners;
    for (const QString& text : texts) {
        const QString key = QKeySequence::mnemonic(text).toString();
        if (key.isEmpty()) {
            continue;
        }
        const auto [owner, isFirst] = owners.emplace(key, text);
        EXPECT_TRUE(isFirst) << place << ": " << key.toStdString() << " is wanted by \""
                             << owner->second.toStdString() << "\" and \"" << text.toStdString()
                             << "\"";
    }
}

class AcceleratorsTest : public ::testing::TestWithParam<QLocale::Language> {
protected:
    QTemporaryDir folder;
    DesktopInterface interface;
    std::unique_ptr<CTapedeckApplication> application;

    void SetUp() override {
        installTranslations(QLocale(GetParam()));
        Defaults::standard().reopen(folder.filePath(QStringLiteral("defaults.plist")));
        CTapedeckApplication::initialize();
        application = std::make_unique<CTapedeckApplication>(
            *parseOptions({QStringLiteral("takebox"), QStringLiteral("--control-port"),
                           QStringLiteral("0"), QStringLiteral("--virtual-deck"),
                           QStringLiteral("pal")})
                 .options,
            interface);
        interface.setApplication(application.get());
        ASSERT_TRUE(application->finishLaunching());
    }
    void TearDown() override {
        interface.setApplication(nullptr);
        application.reset();
        WriterThreads::waitUntilFinished();
        installTranslations(QLocale(QLocale::English));
    }
};

TEST_P(AcceleratorsTest, belongToOneControlOfAWindow) {
    CTapedeckApplication::controllerAtIndex(0)->advancedSettingsButtonPushed();
    interface.editScheduledEvents();
    interface.showPreferencePanel();
    interface.orderFrontStandardAboutPanel();
    interface.offerRecovery({AbandonedRecording()});
    const NoDeviceWindow noDevice(interface);
    QStringList visited;
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        const std::string name = window->objectName().toStdString();
        if (const auto* menu = qobject_cast<const QMenu*>(window)) {
            expectDistinct(textsOf(*menu), "menu " + menu->title().toStdString());
        } else {
            visited << window->objectName();
            expectDistinct(textsOf(*window), name);
        }
    }
    for (const char* name :
         {"TapedeckWindow", "settingsPanel", "schedulingWindow", "eventSheetWindow",
          "preferencesWindow", "aboutPanel", "recoveryOffer", "NoDeviceWindow"}) {
        EXPECT_TRUE(visited.contains(QString::fromLatin1(name))) << name;
    }
}

INSTANTIATE_TEST_SUITE_P(Languages, AcceleratorsTest,
                         ::testing::Values(QLocale::English, QLocale::German),
                         [](const auto& language) {
                             return QLocale::languageToString(language.param).toStdString();
                         });

}  // namespace
}  // namespace takebox
