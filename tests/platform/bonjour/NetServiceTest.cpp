#include "platform/bonjour/NetService.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QElapsedTimer>
#include <optional>

#include "PrivateMdns.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using std::chrono::milliseconds;
using ::testing::Contains;
using ::testing::ElementsAre;

const QString kType = QStringLiteral("_takebox._tcp.");
constexpr milliseconds kSoon(20);

// The private daemon calls its host "takebox-test".
constexpr char kAnnounced[] =
    "Announced on the network as \"takebox-test\", _takebox._tcp. port 4711";
constexpr char kNotAnnounced[] = "Not announced on the network";

int countOf(LogCapture& log, const char* fragment) {
    int count = 0;
    for (const auto& line : log.lines()) {
        count += line.find(fragment) != std::string::npos ? 1 : 0;
    }
    return count;
}

TEST(NetService, isSeenWithNameTypeAndPortUntilItIsDestroyed) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    LogCapture log;
    std::optional<NetService> service(std::in_place, QString(), kType, QString(), 4711);
    ASSERT_TRUE(waitUntil([&] { return log.count(kAnnounced) == 1; }));
    EXPECT_THAT(PrivateMdns::browse(),
                ElementsAre(QStringLiteral("takebox-test _takebox._tcp 4711")));
    service.reset();
    EXPECT_TRUE(waitUntil([] { return PrivateMdns::browse().isEmpty(); }));
}

TEST(NetService, carriesTheNameItIsGiven) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    const NetService service(QStringLiteral("local"), kType, QStringLiteral("Machine room"), 4711);
    EXPECT_TRUE(waitUntil([] {
        return PrivateMdns::browse() ==
               QStringList(QStringLiteral("Machine\\032room _takebox._tcp 4711"));
    }));
}

TEST(NetService, takesANumberWhenItsNameIsInUse) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    const QString name = QStringLiteral("Desk");
    const NetService first(QString(), kType, name, 4711);
    ASSERT_TRUE(waitUntil([] { return PrivateMdns::browse().size() == 1; }));
    const NetService second(QString(), kType, name, 4712, kSoon);
    ASSERT_TRUE(waitUntil([] { return PrivateMdns::browse().size() == 2; }));
    EXPECT_THAT(PrivateMdns::browse(),
                Contains(QStringLiteral("Desk\\032\\0352 _takebox._tcp 4712")));
}

TEST(NetService, waitsForADaemonThatIsNotThereYetAndSaysSoOnce) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.stopDaemon();
    LogCapture log;
    const NetService service(QString(), kType, QString(), 4711, kSoon);
    ASSERT_TRUE(waitUntil([&] { return log.containsText(kNotAnnounced); }));
    mdns.startDaemon();
    EXPECT_TRUE(waitUntil([&] { return log.count(kAnnounced) == 1; }));
    EXPECT_EQ(countOf(log, kNotAnnounced), 1);
}

TEST(NetService, isAnnouncedAgainByADaemonThatHasBeenRestarted) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    LogCapture log;
    const NetService service(QString(), kType, QString(), 4711, kSoon);
    ASSERT_TRUE(waitUntil([&] { return log.count(kAnnounced) == 1; }));
    mdns.stopDaemon();
    ASSERT_TRUE(waitUntil([&] { return log.containsText(kNotAnnounced); }));
    mdns.startDaemon();
    EXPECT_TRUE(waitUntil([&] { return log.count(kAnnounced) == 2; }));
    EXPECT_THAT(PrivateMdns::browse(),
                ElementsAre(QStringLiteral("takebox-test _takebox._tcp 4711")));
}

TEST(NetService, doesNotWaitForADaemonThatHangs) {
    PrivateMdns& mdns = PrivateMdns::shared();
    if (!mdns.isAvailable()) {
        GTEST_SKIP() << "no service daemon can be run here";
    }
    mdns.startDaemon();
    mdns.pauseDaemon();
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    const NetService service(QString(), kType, QString(), 4711, kSoon);
    EXPECT_LT(timer.elapsed(), 5000);  // who asks the daemon itself waits 25 s
    mdns.resumeDaemon();
    EXPECT_TRUE(waitUntil([&] { return log.count(kAnnounced) == 1; }));
}

TEST(NetService, canBeDestroyedWhileThereIsNoDaemon) {
    PrivateMdns::shared().stopDaemon();
    LogCapture log;
    QElapsedTimer timer;
    timer.start();
    {
        const NetService service(QString(), kType, QString(), 4711, std::chrono::hours(1));
        ASSERT_TRUE(waitUntil([&] { return log.containsText(kNotAnnounced); }));
    }
    EXPECT_LT(timer.elapsed(), 60000);
}

}  // namespace
}  // namespace takebox::test
