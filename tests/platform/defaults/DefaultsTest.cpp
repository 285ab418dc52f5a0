#include "platform/defaults/Defaults.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "platform/defaults/PropertyList.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::contentsOf;
using test::writeFile;

TEST(Defaults, standardPathLiesBelowHome) {
    EXPECT_EQ(
        Defaults::standardPath(),
        qEnvironmentVariable("HOME") + u"/Library/Preferences/com.marvanemedia.TakeboxDV.plist"_s);
    EXPECT_EQ(Defaults::standard().path(), Defaults::standardPath());
}

TEST(Defaults, valuesComeBackFromAFileInFoldersThatAreMade) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"Library/Preferences/a.plist"_s);
    Defaults defaults(path);
    defaults.setObject(u"Delay"_s, 3);
    defaults.setObject(u"Names"_s, QStringList{u"a"_s, u"b"_s});
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_TRUE(defaults.synchronize());
    Defaults again(path);
    EXPECT_EQ(again.objectForKey(u"Delay"_s).typeId(), QMetaType::LongLong);
    EXPECT_EQ(again.integerForKey(u"Delay"_s), 3);
    EXPECT_EQ(again.arrayForKey(u"Names"_s), (QVariantList{u"a"_s, u"b"_s}));
}

TEST(Defaults, valueHasTheSameTypeBeforeAndAfterItIsStored) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    defaults.setObject(u"int"_s, 1);
    defaults.setObject(u"float"_s, 1.0F);
    defaults.setObject(u"bool"_s, true);
    const auto types = [](const Defaults& store) {
        return std::tuple(store.objectForKey(u"int"_s).typeId(),
                          store.objectForKey(u"float"_s).typeId(),
                          store.objectForKey(u"bool"_s).typeId());
    };
    EXPECT_EQ(types(defaults), std::tuple(QMetaType::LongLong, QMetaType::Double, QMetaType::Bool));
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_EQ(types(Defaults(defaults.path())), types(defaults));
}

TEST(Defaults, registeredValueHoldsWhereNoneIsSetAndIsNotStored) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    defaults.registerDefaults({{u"Start/Stop VTR When Recording"_s, true}, {u"Delay"_s, 5}});
    EXPECT_TRUE(defaults.boolForKey(u"Start/Stop VTR When Recording"_s));
    EXPECT_FALSE(defaults.boolForKey(u"Erase Existing Files"_s));
    defaults.setObject(u"Start/Stop VTR When Recording"_s, false);
    EXPECT_FALSE(defaults.boolForKey(u"Start/Stop VTR When Recording"_s));
    ASSERT_TRUE(defaults.synchronize());
    EXPECT_FALSE(contentsOf(defaults.path()).contains("Delay"));
    defaults.removeObject(u"Start/Stop VTR When Recording"_s);
    EXPECT_TRUE(defaults.boolForKey(u"Start/Stop VTR When Recording"_s));
}

TEST(Defaults, invalidValueRemovesTheKey) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    defaults.setObject(u"a"_s, 1);
    defaults.setObject(u"a"_s, QVariant());
    EXPECT_FALSE(defaults.objectForKey(u"a"_s).isValid());
}

TEST(Defaults, unchangedValuesAreNotWritten) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_FALSE(QFile::exists(defaults.path()));
}

/// What a value gives when it is asked for as another type.
struct Conversion {
    QVariant value;
    bool asBool;
    qint64 asInteger;
    double asDouble;
    QString asString;
};

std::vector<Conversion> conversions() {
    constexpr auto kHighest = std::numeric_limits<qint64>::max();
    return {
        {true, true, 1, 1, u"1"_s},
        {false, false, 0, 0, u"0"_s},
        {1, true, 1, 1, u"1"_s},
        {-7, true, -7, -7, u"-7"_s},
        {QVariant::fromValue(kHighest), true, kHighest, 9223372036854775807.0,
         u"9223372036854775807"_s},
        {QVariant::fromValue<quint64>(0xfedcba9876543210U), true,
         static_cast<qint64>(0xfedcba9876543210U), 18364758544493064720.0,
         u"18364758544493064720"_s},
        {2.7, true, 2, 2.7, u"2.7"_s},
        {-2.7, true, -2, -2.7, u"-2.7"_s},
        {0.5, true, 0, 0.5, u"0.5"_s},
        {3600.0, true, 3600, 3600, u"3600"_s},
        {1e300, true, kHighest, 1e300, u"1e+300"_s},
        {-1e300, true, std::numeric_limits<qint64>::min(), -1e300, u"-1e+300"_s},
        {u"3600"_s, true, 3600, 3600, u"3600"_s},
        {u" +12.5 s"_s, true, 12, 12.5, u" +12.5 s"_s},
        {u"-3 dB"_s, true, -3, -3, u"-3 dB"_s},
        {u"1e3"_s, true, 1000, 1000, u"1e3"_s},
        {u".5"_s, true, 0, 0.5, u".5"_s},
        {u"9223372036854775807"_s, true, kHighest, 9223372036854775807.0, u"9223372036854775807"_s},
        {u"99999999999999999999"_s, true, kHighest, 1e20, u"99999999999999999999"_s},
        {u"YES"_s, true, 0, 0, u"YES"_s},
        {u"yes"_s, true, 0, 0, u"yes"_s},
        {u"true"_s, true, 0, 0, u"true"_s},
        {u"1"_s, true, 1, 1, u"1"_s},
        {u"NO"_s, false, 0, 0, u"NO"_s},
        {u"0"_s, false, 0, 0, u"0"_s},
        {u"infinity"_s, false, 0, 0, u"infinity"_s},
        {u"nan"_s, false, 0, 0, u"nan"_s},
        {u"yesterday"_s, false, 0, 0, u"yesterday"_s},
        {u""_s, false, 0, 0, u""_s},
        {QVariant(), false, 0, 0, {}},
        {QByteArray("1"), false, 0, 0, {}},
        {QDateTime({2026, 1, 1}, {0, 0}), false, 0, 0, {}},
        {QVariantList{1}, false, 0, 0, {}},
        {QVariantMap{{u"a"_s, 1}}, false, 0, 0, {}},
    };
}

TEST(Defaults, valuesOfNeighbouringTypesConvert) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    for (const Conversion& row : conversions()) {
        SCOPED_TRACE(qPrintable(QDebug::toString(row.value)));
        defaults.setObject(u"key"_s, row.value);
        EXPECT_EQ(defaults.boolForKey(u"key"_s), row.asBool);
        EXPECT_EQ(defaults.integerForKey(u"key"_s), row.asInteger);
        EXPECT_EQ(defaults.doubleForKey(u"key"_s), row.asDouble);
        EXPECT_EQ(defaults.floatForKey(u"key"_s), static_cast<float>(row.asDouble));
        EXPECT_EQ(Defaults::stringOf(defaults.objectForKey(u"key"_s)), row.asString);
        EXPECT_EQ(Defaults::boolOf(row.value), row.asBool);
        EXPECT_EQ(Defaults::integerOf(row.value), row.asInteger);
        EXPECT_EQ(Defaults::doubleOf(row.value), row.asDouble);
        EXPECT_EQ(Defaults::stringOf(row.value), row.asString);
    }
    EXPECT_EQ(Defaults::integerOf(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Defaults, containersDoNotConvert) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    defaults.setObject(u"text"_s, u"a"_s);
    EXPECT_TRUE(defaults.arrayForKey(u"text"_s).isEmpty());
    EXPECT_TRUE(defaults.arrayForKey(u"absent"_s).isEmpty());
}

TEST(Defaults, fileThatCannotBeReadIsLeftAsItIs) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.plist"_s);
    ASSERT_TRUE(QDir().mkpath(path));  // in the place of a disk that fails
    test::LogCapture log;
    Defaults defaults(path);
    EXPECT_TRUE(log.containsText("cannot be read"));
    defaults.setObject(u"Key"_s, 1);
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(defaults.integerForKey(u"Key"_s), 1);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{u"a.plist"_s});
}

TEST(Defaults, damagedFileIsKeptUnderADatedNameWithAWarning) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.plist"_s);
    writeFile(path, "<plist><dict><key>Delay</key>");
    test::LogCapture log;
    Defaults defaults(path);
    EXPECT_TRUE(log.containsText("Warning: the preferences file " + path.toStdString()));
    EXPECT_FALSE(QFile::exists(path));
    const QStringList kept = QDir(folder.path()).entryList({u"a.damaged-*.plist"_s});
    ASSERT_EQ(kept.size(), 1);
    EXPECT_TRUE(kept[0].contains(QDate::currentDate().toString(u"yyyyMM"_s)));
    EXPECT_EQ(contentsOf(folder.filePath(kept[0])), "<plist><dict><key>Delay</key>");
    EXPECT_TRUE(log.containsText(kept[0].toStdString()));

    writeFile(path, "damaged again in the same second");
    defaults.reopen(path);
    EXPECT_EQ(QDir(folder.path()).entryList({u"a.damaged-*.plist"_s}).size(), 2);
    defaults.setObject(u"Delay"_s, 1);
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(Defaults(path).integerForKey(u"Delay"_s), 1);
}

TEST(Defaults, damagedFileThatCannotBeMovedAsideIsNotWrittenOver) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(QString(255, u'a'));  // no name is longer
    writeFile(path, "damaged");
    test::LogCapture log;
    Defaults defaults(path);
    EXPECT_TRUE(log.containsText(": cannot move the damaged file aside (File name too long)"));
    defaults.setObject(u"Delay"_s, 1);
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(contentsOf(path), "damaged");
    EXPECT_EQ(defaults.integerForKey(u"Delay"_s), 1);
}

// As root every folder can be written to: a name that cannot be a folder stands for it.
TEST(Defaults, unwritableFolderIsLoggedOnceAndValuesHold) {
    const QTemporaryDir folder;
    const QString blocker = folder.filePath(u"home"_s);
    writeFile(blocker, "a file where the folder should be");
    test::LogCapture log;
    Defaults defaults(blocker + u"/Library/a.plist"_s);
    defaults.setObject(u"Delay"_s, 3);
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(defaults.integerForKey(u"Delay"_s), 3);
    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_TRUE(log.containsText("The preferences could not be saved to"));

    ASSERT_TRUE(QFile::remove(blocker));
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(Defaults(defaults.path()).integerForKey(u"Delay"_s), 3);
}

TEST(Defaults, fullDiskLeavesTheOldFileWhole) {
    const QTemporaryDir folder;
    Defaults defaults(folder.filePath(u"a.plist"_s));
    defaults.setObject(u"Delay"_s, 3);
    ASSERT_TRUE(defaults.synchronize());
    const QByteArray before = contentsOf(defaults.path());

    signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
    rlimit full = usual;
    full.rlim_cur = 100;
    test::LogCapture log;
    defaults.setObject(u"Text"_s, QString(10000, u'x'));
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
    const bool saved = defaults.synchronize();
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
    EXPECT_FALSE(saved);
    EXPECT_EQ(contentsOf(defaults.path()), before);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden).size(), 1);
    EXPECT_TRUE(defaults.synchronize());
}

[[noreturn]] void saveForever(const QString& path) {
    Defaults defaults(path);
    for (qint64 i = 0;; ++i) {
        defaults.setObject(u"Count"_s, QVariant::fromValue(i));
        defaults.setObject(u"Text"_s, QString(i % 50000, u'x'));
        if (!defaults.synchronize()) {
            _exit(1);
        }
    }
}

TEST(Defaults, killedAtAnyMomentTheFileIsTheOldOrTheNewOne) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.plist"_s);
    Defaults first(path);
    first.setObject(u"Count"_s, -1);
    ASSERT_TRUE(first.synchronize());
    std::mt19937 random(20);
    std::uniform_int_distribution<useconds_t> moments(0, 20000);
    for (int i = 0; i < 100; ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            saveForever(path);
        }
        usleep(moments(random));
        ASSERT_EQ(kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));
        const auto values = readPropertyList(contentsOf(path));
        ASSERT_TRUE(values.has_value()) << "kill " << i;
        if (values->contains(u"Text"_s)) {
            ASSERT_EQ(values->value(u"Text"_s).toString().size(),
                      values->value(u"Count"_s).toLongLong() % 50000);
        }
    }
    EXPECT_TRUE(readPropertyList(contentsOf(path))->contains(u"Text"_s)) << "no child ever saved";
    Defaults last(path);
    EXPECT_EQ(QDir(folder.path()).entryList(QDir::Files | QDir::Hidden), QStringList{u"a.plist"_s});
}

}  // namespace
}  // namespace takebox
