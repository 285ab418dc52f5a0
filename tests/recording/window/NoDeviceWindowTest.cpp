#include "recording/window/NoDeviceWindow.h"

#include <gtest/gtest.h>

#include <QLabel>
#include <QMenuBar>
#include <QTemporaryDir>

#include "WindowFixture.h"
#include "display/widgets/Resources.h"
#include "support/Files.h"

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
