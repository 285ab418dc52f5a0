#include "PrivateMdns.h"
#include "support/ChildProcess.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace takebox::test {
namespace {
constexpr int kPatienceMilliseconds = 60000;
constexpr char kBusAddress[] = "DBUS_SYSTEM_BUS_ADDRESS";
}  // namespace

PrivateMdns& PrivateMdns::shared() {
    static PrivateMdns mdns;
    return mdns;
}

PrivateMdns::PrivateMdns() {
    mProcess.setErrors(ChildProcess::Errors::kForwarded);
    mProcess.start(QStringLiteral("python3"), {QStringLiteral(PRIVATE_MDNS)});
    const QByteArray line = readLine();
    mIsAvailable = line.startsWith("unix:");
    if (mIsAvailable) {
        qputenv(kBusAddress, line);
    } else {
        printf("This machine cannot run a service daemon for the test: %s\n", line.constData());
    }
}

PrivateMdns::~PrivateMdns() {
    mProcess.closeWriteChannel();
    mProcess.waitForFinished(kPatienceMilliseconds);
}

void PrivateMdns::startDaemon() {
    if (mIsAvailable && !mDaemonRuns) {
        command("start");
        mDaemonRuns = true;
    }
}

void PrivateMdns::stopDaemon() {
    if (mIsAvailable && mDaemonRuns) {
        command("stop");
        mDaemonRuns = false;
    }
}

QStringList PrivateMdns::browse() {
    ChildProcess browser;
    browser.start(QStringLiteral("avahi-browse"),
                  {QStringLiteral("--resolve"), QStringLiteral("--parsable"),
                   QStringLiteral("--terminate"), QStringLiteral("_takebox._tcp")});
    EXPECT_TRUE(browser.waitForFinished(kPatienceMilliseconds));
    QStringList found;
    // =;interface;protocol;name;type;domain;host;address;port;text
    for (const QByteArray& line : browser.readAllStandardOutput().split('\n')) {
        const QList<QByteArray> fields = line.split(';');
        if (fields.size() >= 9 && fields[0] == "=") {
            found.append(QString::fromUtf8(fields[3] + ' ' + fields[4] + ' ' + fields[8]));
        }
    }
    found.removeDuplicates();
    return found;
}

void PrivateMdns::command(const char* word) {
    mProcess.write(QByteArray(word) + '\n');
    EXPECT_EQ(readLine(), "done") << word;
}

QByteArray PrivateMdns::readLine() {
    while (!mProcess.canReadLine() && mProcess.waitForReadyRead(kPatienceMilliseconds)) {
    }
    return mProcess.readLine().trimmed();
}

}  // namespace takebox::test
