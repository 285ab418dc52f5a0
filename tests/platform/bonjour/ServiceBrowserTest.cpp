#include "platform/bonjour/ServiceBrowser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QDir>
#include <future>
#include <optional>

#include "PrivateMdns.h"
#include "platform/bonjour/NetService.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;

const QString kType = QStringLiteral("_takebox._tcp.");

TEST(ServiceBrowser, findsEachServiceOnceWithItsAddresses) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    LogCapture log;
    const NetService first(QString(), kType, QStringLiteral("B"), 4711);
    const NetService second(QString(), kType, QStringLiteral("A"), 4712);
    ASSERT_TRUE(waitUntil([&] { return log.lines().size() == 2; }));
    const auto found = findServices(kType, std::chrono::seconds(2));
    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 2U);
    EXPECT_EQ((*found)[0].name, QStringLiteral("A"));
    EXPECT_EQ((*found)[0].host, QStringLiteral("takebox-test.local"));
    EXPECT_EQ((*found)[0].port, 4712);
    EXPECT_THAT((*found)[0].addresses, Contains(QStringLiteral("127.0.0.1")));
    EXPECT_EQ((*found)[1].name, QStringLiteral("B"));
    EXPECT_EQ((*found)[1].port, 4711);
}

qsizetype threads() {
    return QDir(QStringLiteral("/proc/self/task"))
        .entryList(QDir::NoDotAndDotDot | QDir::Dirs)
        .size();
}

TEST(ServiceBrowser, leavesOutAServiceThatGoesMeanwhile) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    LogCapture log;
    const NetService stays(QString(), kType, QStringLiteral("Stays"), 4711);
    std::optional<NetService> goes(std::in_place, QString(), kType, QStringLiteral("Goes"), 4712);
    ASSERT_TRUE(waitUntil([&] { return log.lines().size() == 2; }));
    // Each operation has a thread of the library's: the one that browses and, when both services
    // have been seen, those that ask where they are.
    const qsizetype before = threads();
    auto result = std::async(std::launch::async, findServices, kType, std::chrono::seconds(3));
    ASSERT_TRUE(waitUntil([before] { return threads() >= before + 4; }));
    goes.reset();
    const auto found = result.get();
    ASSERT_TRUE(found);
    ASSERT_EQ(found->size(), 1U);
    EXPECT_EQ((*found)[0].name, QStringLiteral("Stays"));
}

TEST(ServiceBrowser, findsNothingWhereNothingIsAnnounced) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    const auto found = findServices(QStringLiteral("_takebox-none._tcp."), milliseconds(500));
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->empty());
}

TEST(ServiceBrowser, tellsWhenThereIsNoDaemon) {
    PrivateMdns::shared().stopDaemon();
    EXPECT_FALSE(findServices(kType, std::chrono::hours(1)));
}

}  // namespace
}  // namespace takebox::test
