#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QTemporaryDir>

#include "platform/log/Log.h"
#include "support/firewire/FirewireBench.h"

// As the other test programs, on a bus that is not there.
int main(int argc, char** argv) {
    takebox::test::enterFirewireBench(argv);
    int result = 0;
    {
        const QTemporaryDir home;
        qputenv("HOME", home.path().toUtf8());
        QCoreApplication application(argc, argv);
        ::testing::InitGoogleTest(&argc, argv);
        result = RUN_ALL_TESTS();
    }
    takebox::drainReceiveThreadLog();
    takebox::test::leaveFirewireBench();
    return result;
}
