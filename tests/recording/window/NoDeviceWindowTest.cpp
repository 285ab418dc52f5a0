#include "recording/window/NoDeviceWindow.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QLabel>
#include <QMenuBar>
#include <QTemporaryDir>

#include "WindowFixture.h"
#include "display/widgets/Resources.h"

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
    QFile socket(devices.filePath(QStringLiteral("fw0")));
    ASSERT_TRUE(socket.open(QIODevice::WriteOnly));
    EXPECT_TRUE(test::waitUntil([&window] {
        return accessText(window) == QStringLiteral("The FireWire socket is ready.");
    }));
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
