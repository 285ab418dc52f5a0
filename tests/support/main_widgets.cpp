#include <gtest/gtest.h>

#include <QApplication>
#include <QTemporaryDir>

#include "platform/log/Log.h"

// As main.cpp, with windows: on a platform that needs no display.
int main(int argc, char** argv) {
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qunsetenv("XDG_DATA_HOME");
    qunsetenv("XDG_CONFIG_HOME");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/dev/null");
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    takebox::drainReceiveThreadLog();
    return result;
}
