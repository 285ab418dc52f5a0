#include "recording/DiskSpaceWatch.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <limits>
#include <string>

namespace takebox {
namespace {

const QString kDeck = QStringLiteral("Studio A");

TEST(DiskSpaceWatchTest, WarnsOnceBelowThePresetTimeAndOnceAtFiveMinutes) {
    DiskSpaceWatch watch;
    EXPECT_FALSE(watch.check(3601, 3600, kDeck));
    const auto first = watch.check(3599, 3600, kDeck);
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->message.contains(kDeck));
    EXPECT_TRUE(first->message.contains(QStringLiteral("59:59")));
    EXPECT_FALSE(watch.check(3000, 3600, kDeck));
    EXPECT_TRUE(watch.check(299, 3600, kDeck));
    EXPECT_FALSE(watch.check(10, 3600, kDeck));
}

TEST(DiskSpaceWatchTest, TellsAPresetTimeOfAnyLength) {
    const auto presetOf = [](double preset) {
        const QString message = DiskSpaceWatch().check(60, preset, kDeck)->message;
        return message.section(QLatin1Char(' '), -1).toStdString();
    };
    EXPECT_EQ(presetOf(61.5), "1:01.");
    EXPECT_EQ(presetOf(6e12), "100000000000:00.");
    EXPECT_EQ(presetOf(6e12 + 59), "100000000000:59.");
    EXPECT_EQ(presetOf(std::numeric_limits<double>::max()).find('-'), std::string::npos);
    EXPECT_EQ(presetOf(std::numeric_limits<double>::infinity()), "inf:00.");
}

TEST(DiskSpaceWatchTest, WarnsAgainWhenThereWasRoomInBetween) {
    DiskSpaceWatch watch;
    EXPECT_TRUE(watch.check(299, 60, kDeck));
    EXPECT_FALSE(watch.check(301, 60, kDeck));
    EXPECT_TRUE(watch.check(299, 60, kDeck));
    watch.reset();
    EXPECT_TRUE(watch.check(299, 60, kDeck));
}

TEST(DiskSpaceWatchTest, FoldersOnOneDiskShareItsRoom) {
    const QString folder = QDir::tempPath();
    const auto one = secondsUntilFull({folder}, 1e6);
    const auto two = secondsUntilFull({folder, folder}, 1e6);
    ASSERT_TRUE(one && two);
    EXPECT_NEAR(*two / *one, 0.5, 0.1);
    EXPECT_FALSE(secondsUntilFull({QString()}, 1e6));
    const QTemporaryDir other;  // of the same disk
    const auto both = secondsUntilFull({folder, other.path()}, 1e6);
    ASSERT_TRUE(both);
    EXPECT_NEAR(*both / *one, 0.5, 0.1);
}

TEST(DiskSpaceWatchTest, AFolderThatIsNotThereCountsForNothing) {
    const QString folder = QDir::tempPath();
    const QString missing = folder + QStringLiteral("/not/there");
    EXPECT_FALSE(roomInFolder(missing));
    EXPECT_FALSE(secondsUntilFull({missing}, 1e6));
    const auto one = secondsUntilFull({folder}, 1e6);
    const auto both = secondsUntilFull({missing, folder}, 1e6);
    ASSERT_TRUE(one && both);
    EXPECT_NEAR(*both / *one, 1.0, 0.1);
}

TEST(DiskSpaceWatchTest, EachOfTwoDisksHasItsRoom) {
    const QString folder = QDir::tempPath();
    const QString memory = QStringLiteral("/dev/shm");
    const auto one = secondsUntilFull({folder}, 1e6);
    const auto other = secondsUntilFull({memory}, 1e6);
    const auto both = secondsUntilFull({folder, memory}, 1e6);
    ASSERT_TRUE(one && both);
    if (!other || QStorageInfo(folder).device() == QStorageInfo(memory).device()) {
        GTEST_SKIP() << "there is no second disk here";
    }
    EXPECT_NEAR(*both / std::min(*one, *other), 1.0, 0.1);
}

}  // namespace
}  // namespace takebox
