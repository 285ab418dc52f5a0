#include <gtest/gtest.h>

#include <QDBusConnection>
#include <QTemporaryDir>

#include "SessionBus.h"

namespace takebox {
namespace {

/// What the program prints: a process of its own, because one connects to the system's bus once.
QByteArray diagnosis() {
    const QTemporaryDir folder;
    return test::runClient(QStringLiteral(TAKEBOX_PROGRAM),
                           {QStringLiteral("--diagnose"), QStringLiteral("--to"), folder.path()})
        .output;
}

TEST(DiagnoseBus, looksForTheDaemonThatAnnouncesTheRecorder) {
    // The bus of this program is that of the system, too.
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", qgetenv("DBUS_SESSION_BUS_ADDRESS"));
    const QByteArray before = diagnosis();
    EXPECT_TRUE(before.contains("Announcement: no mDNS daemon runs\n    Install and start"))
        << before.constData();
    QDBusConnection bus = QDBusConnection::sessionBus();
    const QString daemon = QStringLiteral("org.freedesktop.Avahi");
    ASSERT_TRUE(bus.registerService(daemon));
    const QByteArray after = diagnosis();
    EXPECT_TRUE(after.contains("Announcement: the mDNS daemon runs\nSession bus: connected\n"))
        << after.constData();
    bus.unregisterService(daemon);
    qunsetenv("DBUS_SYSTEM_BUS_ADDRESS");
}

}  // namespace
}  // namespace takebox
