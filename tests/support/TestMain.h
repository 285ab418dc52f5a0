#pragma once

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "platform/log/Log.h"

namespace takebox::test {

/// What main() of every test program does. The program has a HOME of its own, no session bus (where
/// the user's own recorder may be) and an event loop to run.
template <typename Application>
int runTests(int argc, char** argv) {
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    qunsetenv("XDG_DATA_HOME");
    qunsetenv("XDG_CONFIG_HOME");
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/dev/null");
    const Application application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    drainReceiveThreadLog();
    return result;
}

}  // namespace takebox::test
