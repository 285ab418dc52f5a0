#include "recording/window/NoDeviceWindow.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QFile>
#include <QLabel>
#include <QLocale>
#include <QMenuBar>
#include <QTemporaryDir>

#include "WindowFixture.h"
#include "capture/AVCGlobals.h"
#include "display/widgets/Resources.h"
#include "support/FakeDevice.h"
#include "support/Files.h"
#include "support/OrdinaryUser.h"

namespace takebox {
namespace {

QString accessText(const NoDeviceWindow& window) {
    return window.findChild<QLabel*>(QStringLiteral("accessLabel"))->text();
}

TEST(NoDeviceWindow, saysWhatTheSocketIsLikeAndFollowsIt) {
    loadResources();
    const QTemporaryDir devices;
    test::CountingCommands commands;
    NoDeviceWindow window(commands, devices.path());
    EXPECT_TRUE(accessText(window).contains(QStringLiteral("no FireWire socket")));
    test::writeFile(devices.filePath(QStringLiteral("fw0")), {});
    EXPECT_TRUE(test::waitUntil([&window] {
        return accessText(window) == QStringLiteral("The FireWire socket is ready.");
    }));
}

TEST(NoDeviceWindow, saysWhatToDoForASocketThatMayNotBeUsed) {
    loadResources();
    const QTemporaryDir devices;
    const QString socket = devices.filePath(QStringLiteral("fw0"));
    test::writeFile(socket, {});
    QFile::setPermissions(socket, {});
    const test::OrdinaryUser user;
    test::CountingCommands commands;
    const NoDeviceWindow window(commands, devices.path());
    EXPECT_EQ(accessText(window),
              QStringLiteral("There is a FireWire socket, but you may not use it. Add yourself to "
                             "the group “video” and log in again."));
}

TEST(NoDeviceWindow, followsTheLanguage) {
    loadResources();
    const QTemporaryDir devices;
    test::CountingCommands commands;
    const NoDeviceWindow window(commands, devices.path());
    const QString english = accessText(window);
    installTranslations(QLocale(QLocale::German));
    QCoreApplication::processEvents();
    EXPECT_EQ(window.findChild<QLabel*>(QStringLiteral("headlineLabel"))->text(),
              QStringLiteral("Kein Gerät gefunden"));
    EXPECT_TRUE(accessText(window).startsWith(QStringLiteral("Dieser Rechner")));
    installTranslations(QLocale(QLocale::English));
    QCoreApplication::processEvents();
    EXPECT_EQ(accessText(window), english);
}

TEST(NoDeviceWindow, namesADeviceWhoseSignalCannotBeRecorded) {
    loadResources();
    auto fake = std::make_unique<test::FakeDevice>(1);
    fake->setName("Camcorder HD");
    fake->setCapabilities(false, false);
    std::vector<std::unique_ptr<avc::AVCDevice>> devices;
    devices.push_back(std::move(fake));
    avc::CreateAVCDeviceController(gAVCDeviceController, test::fakeBackends(std::move(devices)),
                                   nullptr, nullptr);
    test::CountingCommands commands;
    const QTemporaryDir sockets;
    {
        NoDeviceWindow window(commands, sockets.path());
        EXPECT_TRUE(
            accessText(window).startsWith(QStringLiteral("Camcorder HD is connected, but")));
        static_cast<test::FakeDevice*>(gAVCDeviceController->deviceAtIndex(0))->attach(false);
        EXPECT_TRUE(test::waitUntil([&window] {
            return accessText(window).contains(QStringLiteral("no FireWire socket"));
        }));
    }
    avc::DestroyAVCDeviceController(gAVCDeviceController);
}

TEST(NoDeviceWindow, hasTheMenusOfTheProgram) {
    loadResources();
    test::CountingCommands commands;
    NoDeviceWindow window(commands);
    QStringList titles;
    for (const QAction* menu : window.findChild<QMenuBar*>()->actions()) {
        titles << menu->text();
    }
    EXPECT_EQ(titles.join(u' '), QStringLiteral("&File &Edit &Window &Help"));
}

}  // namespace
}  // namespace takebox
