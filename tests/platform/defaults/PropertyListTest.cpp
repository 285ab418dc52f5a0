#include "platform/defaults/BinaryPropertyListCheck.h"
#include "platform/defaults/PropertyList.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QDir>
#include <QSize>
#include <QTemporaryDir>
#include <clocale>
#include <cstdlib>
#include <limits>

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::contentsOf;

// Python's plistlib is the independent reader and writer. The script below knows one value of
// every key that the program stores; "write FORMAT FILE" writes it, "check FILE" compares.
constexpr auto kPython = R"python(
import datetime, plistlib, sys
values = {
    "Castline Addresses": ["127.0.0.1", "playout.example", ""],
    "Should Switch Castline": True,
    "Start/Stop VTR When Recording": False,
    "Erase Existing Files": True,
    "Launch Start Recording Script": True,
    "Start Recording Script Delay": 3,
    "Launch Stop Recording Script": False,
    "Stop Recording Script Delay": -2,
    "Recording Format": 9007199254740993,
    "Device Settings 0123456789abcdef": {
        "Auto Name Recordings": False,
        "Mono Tracks": True,
        "Loop Recording": True,
        "Reference Movie Duration": 3600.5,
        "Raw Recording Folder Path": "/Volumes/Raw & <Streams>",
        "Self-Contained Recording Folder Path": "/Volumes/\u00c9t\u00e9/\U0001F39E",
        "Reference Movie Folder Path": "/",
        "Recording Name": "Show \"1\"",
        "Device Name": "Deck 'A'",
        "Create Reference Movie": True,
        "Create Self-Contained Movie": False,
        "Timecode Source Index": 2,
        "Preset Timecode": 0.1,
    },
    "Scheduling Events": [{
        "UUID": "5C6CB1B5-6B64-4E35-9DC1-1F7F1C1B8E0F",
        "Date": datetime.datetime(2031, 12, 30, 23, 59, 59),
        **{f"Should Record On Day {i}": i % 2 == 1 for i in range(7)},
        "Start Time": 82800.0,
        "End Time": 90000.0,
        "Duration": 7200.0,
        "Device GUID": 0xfedcba9876543210,
        "Device String": "Deck",
        "Recording Name": "News",
        "Reference Movie Folder Path": "/a",
        "Self-Contained Movie Folder Path": "/b",
        "Raw Streams Folder Path": "/c",
        "Create Reference Movie": True,
        "Create Self-Contained Movie": False,
        "Auto Name File": False,
    }],
    "Bytes": bytes(range(256)),
    "Old": datetime.datetime(1904, 1, 1),
    "Far": datetime.datetime(2100, 2, 28, 12, 0, 0),
    "Lowest": -2**63,
    "Highest": 2**64 - 1,
    "Empty": {"Array": [], "Dictionary": {}, "Text": "", "Data": b""},
}
def same(a, b):
    if type(a) != type(b): return False
    if isinstance(a, dict): return a.keys() == b.keys() and all(same(a[k], b[k]) for k in a)
    if isinstance(a, list): return len(a) == len(b) and all(map(same, a, b))
    return a == b
if sys.argv[1] == "write":
    form = {"xml": plistlib.FMT_XML, "binary": plistlib.FMT_BINARY}[sys.argv[2]]
    with open(sys.argv[3], "wb") as f: plistlib.dump(values, f, fmt=form, sort_keys=False)
else:
    with open(sys.argv[2], "rb") as f: found = plistlib.load(f)
    sys.exit(0 if same(values, found) else "differs: %r" % found)
)python";

int runPython(const QStringList& arguments) {
    test::ChildProcess process;
    process.setErrors(test::ChildProcess::Errors::kForwarded);
    process.start(u"/usr/bin/python3"_s,
                  QStringList{u"-c"_s, QString::fromUtf8(kPython)} + arguments);
    return process.waitForFinished(60000) ? process.exitCode() : -1;
}

QVariant integer(qint64 value) {
    return QVariant::fromValue(value);
}

QVariantMap expectedEvent() {
    QVariantMap event{
        {u"UUID"_s, u"5C6CB1B5-6B64-4E35-9DC1-1F7F1C1B8E0F"_s},
        {u"Date"_s, QDateTime({2031, 12, 30}, {23, 59, 59}, Qt::UTC)},
        {u"Start Time"_s, 82800.0},
        {u"End Time"_s, 90000.0},
        {u"Duration"_s, 7200.0},
        {u"Device GUID"_s, QVariant::fromValue<quint64>(0xfedcba9876543210U)},
        {u"Device String"_s, u"Deck"_s},
        {u"Recording Name"_s, u"News"_s},
        {u"Reference Movie Folder Path"_s, u"/a"_s},
        {u"Self-Contained Movie Folder Path"_s, u"/b"_s},
        {u"Raw Streams Folder Path"_s, u"/c"_s},
        {u"Create Reference Movie"_s, true},
        {u"Create Self-Contained Movie"_s, false},
        {u"Auto Name File"_s, false},
    };
    for (int day = 0; day < 7; ++day) {
        event.insert(u"Should Record On Day %1"_s.arg(day), day % 2 == 1);
    }
    return event;
}

QVariantMap expectedSettings() {
    return {
        {u"Auto Name Recordings"_s, false},
        {u"Mono Tracks"_s, true},
        {u"Loop Recording"_s, true},
        {u"Reference Movie Duration"_s, 3600.5},
        {u"Raw Recording Folder Path"_s, u"/Volumes/Raw & <Streams>"_s},
        {u"Self-Contained Recording Folder Path"_s, u"/Volumes/\u00c9t\u00e9/\U0001F39E"_s},
        {u"Reference Movie Folder Path"_s, u"/"_s},
        {u"Recording Name"_s, u"Show \"1\""_s},
        {u"Device Name"_s, u"Deck 'A'"_s},
        {u"Create Reference Movie"_s, true},
        {u"Create Self-Contained Movie"_s, false},
        {u"Timecode Source Index"_s, integer(2)},
        {u"Preset Timecode"_s, 0.1},
    };
}

/// The same values as the script's, of the types that the store promises.
QVariantMap expectedValues() {
    QByteArray bytes;
    for (int i = 0; i < 256; ++i) {
        bytes.append(static_cast<char>(i));
    }
    return {
        {u"Castline Addresses"_s, QVariantList{u"127.0.0.1"_s, u"playout.example"_s, u""_s}},
        {u"Should Switch Castline"_s, true},
        {u"Start/Stop VTR When Recording"_s, false},
        {u"Erase Existing Files"_s, true},
        {u"Launch Start Recording Script"_s, true},
        {u"Start Recording Script Delay"_s, integer(3)},
        {u"Launch Stop Recording Script"_s, false},
        {u"Stop Recording Script Delay"_s, integer(-2)},
        {u"Recording Format"_s, integer(9007199254740993)},
        {u"Device Settings 0123456789abcdef"_s, expectedSettings()},
        {u"Scheduling Events"_s, QVariantList{expectedEvent()}},
        {u"Bytes"_s, bytes},
        {u"Old"_s, QDateTime({1904, 1, 1}, {0, 0}, Qt::UTC)},
        {u"Far"_s, QDateTime({2100, 2, 28}, {12, 0}, Qt::UTC)},
        {u"Lowest"_s, integer(std::numeric_limits<qint64>::min())},
        {u"Highest"_s, QVariant::fromValue(std::numeric_limits<quint64>::max())},
        {u"Empty"_s, QVariantMap{{u"Array"_s, QVariantList()},
                                 {u"Dictionary"_s, QVariantMap()},
                                 {u"Text"_s, u""_s},
                                 {u"Data"_s, QByteArray("")}}},
    };
}

/// QVariant takes 1, 1.0 and true for equal; a property list does not.
void expectSame(const QVariant& found, const QVariant& expected, const QString& where) {
    ASSERT_EQ(found.typeId(), expected.typeId()) << qPrintable(where);
    if (expected.typeId() == QMetaType::QVariantMap) {
        const QVariantMap foundMap = found.toMap();
        const QVariantMap expectedMap = expected.toMap();
        ASSERT_EQ(foundMap.keys(), expectedMap.keys()) << qPrintable(where);
        for (const auto& [key, value] : expectedMap.asKeyValueRange()) {
            expectSame(foundMap.value(key), value, where + u'/' + key);
        }
    } else if (expected.typeId() == QMetaType::QVariantList) {
        const QVariantList foundList = found.toList();
        const QVariantList expectedList = expected.toList();
        ASSERT_EQ(foundList.size(), expectedList.size()) << qPrintable(where);
        for (qsizetype i = 0; i < expectedList.size(); ++i) {
            expectSame(foundList[i], expectedList[i], where + u'[' + QString::number(i));
        }
    } else {
        EXPECT_EQ(found, expected) << qPrintable(where);
    }
}

class ForeignList : public ::testing::TestWithParam<const char*> {};

TEST_P(ForeignList, isReadWithEveryKeyAndType) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"foreign.plist"_s);
    ASSERT_EQ(runPython({u"write"_s, QString::fromLatin1(GetParam()), path}), 0);
    const auto values = readPropertyList(contentsOf(path));
    ASSERT_TRUE(values.has_value());
    expectSame(*values, expectedValues(), {});
}

INSTANTIATE_TEST_SUITE_P(Formats, ForeignList, ::testing::Values("xml", "binary"));

TEST(PropertyList, foreignReaderFindsEveryKeyAndTypeThatWeWrite) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"ours.plist"_s);
    test::writeFile(path, writePropertyList(expectedValues()));
    EXPECT_EQ(runPython({u"check"_s, path}), 0);
}

TEST(PropertyList, readsWhatItWrites) {
    const auto values = readPropertyList(writePropertyList(expectedValues()));
    ASSERT_TRUE(values.has_value());
    expectSame(*values, expectedValues(), {});
}

TEST(PropertyList, orderOfKeysDoesNotMatter) {
    const auto values = readPropertyList(
        "<plist><dict><key>z</key><integer>1</integer><key>a</key><true/></dict></plist>");
    ASSERT_TRUE(values.has_value());
    EXPECT_EQ(values->keys(), (QStringList{u"a"_s, u"z"_s}));
}

TEST(PropertyList, localDateIsTheSameMomentAfterReading) {
    const QDateTime local({2026, 6, 15}, {1, 30}, Qt::LocalTime);
    const auto values = readPropertyList(writePropertyList({{u"Date"_s, local}}));
    ASSERT_TRUE(values.has_value());
    EXPECT_EQ(values->value(u"Date"_s).toDateTime(), local);
}

TEST(PropertyList, realsKeepTheirFractionWhereTheCommaSeparatesIt) {
    const QTemporaryDir folder;
    const QString made = folder.filePath(u"de_DE.UTF-8"_s);
    if (test::ChildProcess::execute(u"localedef"_s,
                                    {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s, made}) != 0) {
        std::puts("No locale definitions here: the locale of the process is all that was tried");
    }
    qputenv("LOCPATH", folder.path().toUtf8());
    const std::string before = setlocale(LC_ALL, nullptr);
    setlocale(LC_ALL, "de_DE.UTF-8");
    const QByteArray written = writePropertyList({{u"Duration"_s, 3600.5}});
    const auto values = readPropertyList(written);
    setlocale(LC_ALL, before.c_str());
    qunsetenv("LOCPATH");
    EXPECT_TRUE(written.contains("<real>3600.5</real>")) << written.constData();
    ASSERT_TRUE(values.has_value());
    EXPECT_EQ(values->value(u"Duration"_s), QVariant(3600.5));
}

TEST(PropertyList, charactersThatXmlCannotCarryAreReplaced) {
    const QVariantMap values{{u"Na\x01me"_s, QString(u"a\u0000b\tc"_s)}};
    const auto read = readPropertyList(writePropertyList(values));
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->value(u"Na\uFFFDme"_s).toString(), u"a\uFFFDb\tc"_s);
}

TEST(PropertyList, valuesOfOtherTypesAreLeftOut) {
    EXPECT_FALSE(propertyListValue(QSize(1, 2)).isValid());
    EXPECT_FALSE(propertyListValue(QDateTime()).isValid());
    const QVariantMap known =
        propertyListValue(QVariantMap{{u"a"_s, QVariantList{QSize(1, 2), 7}}}).toMap();
    expectSame(known, QVariantMap{{u"a"_s, QVariantList{QVariant::fromValue<qint64>(7)}}}, {});
}

TEST(PropertyList, everythingElseIsRefused) {
    const QByteArray whole = writePropertyList({{u"a"_s, true}});
    for (const QByteArray& bytes :
         {QByteArray(), QByteArray("bplist00"), QByteArray("not a list"), QByteArray(4096, '\0'),
          QByteArray("<plist><array/></plist>"), QByteArray("<plist><string>x</string></plist>"),
          whole.left(whole.size() / 2),
          QByteArray("<plist>") + QByteArray("<array>").repeated(1000),
          QByteArray("<plist>") + QByteArray("<dict><key>a</key>").repeated(300000)}) {
        EXPECT_FALSE(readPropertyList(bytes).has_value()) << bytes.left(80).constData();
    }
}

/// A binary list of these objects, each named by one byte, with the first as its root.
QByteArray binaryList(const QList<QByteArray>& objects) {
    QByteArray bytes = "bplist00";
    QByteArray offsets;
    for (const QByteArray& object : objects) {
        offsets.append(static_cast<char>(bytes.size()));
        bytes += object;
    }
    const auto number = [](qsizetype value) {
        return QByteArray(7, '\0') + static_cast<char>(value);
    };
    return bytes + offsets + QByteArray(6, '\0') + "\1\1" + number(objects.size()) + number(0) +
           number(bytes.size());
}

TEST(PropertyList, binaryObjectsOfUnknownTypesAreLeftOut) {
    const QByteArray reference("\x80\1", 2);  // as in archives of objects
    EXPECT_EQ(readPropertyList(binaryList({QByteArray("\xD1\1\2", 3), "\x51k", reference})),
              QVariantMap());
}

TEST(PropertyList, binaryObjectsThatWouldEndTheProcessAreRefused) {
    const QByteArray dictionary("\xD1\1\2", 3);  // of one pair: objects 1 and 2
    const QByteArray yes("\x09", 1);
    EXPECT_TRUE(readPropertyList(binaryList({dictionary, "\x51k", yes})).has_value());

    QList<QByteArray> doublings{dictionary, "\x51k"};  // each value is twice the next one
    for (char i = 3; i < 60; ++i) {
        doublings.append(QByteArray("\xA2") + i + i);
    }
    doublings.append(yes);
    const QList<QByteArray> wrong[] = {
        {dictionary, yes, yes},                          // a key that is no string
        {dictionary, QByteArray("\x52k\0", 3), yes},     // a zero character in a key
        {dictionary, QByteArray("\x61\0\0", 3), yes},    // the same in UTF-16
        {dictionary, "\x51k", QByteArray("\xA1\2", 2)},  // a list that holds itself
        {dictionary, "\x51k", QByteArray("\xA1\7", 2)},  // a reference to nothing
        {dictionary, "\x51k", "\xAF\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"},  // endless
        {dictionary, "\x51k", QByteArray("\xAF\x20\0", 3)},  // a count that is no whole number
        {dictionary, "\x51k", QByteArray("\xAF\x14", 2)},    // a count of 16 bytes
        doublings,
    };
    for (const auto& objects : wrong) {
        EXPECT_FALSE(isSoundBinaryPropertyList(binaryList(objects), kMaximumPropertyListDepth))
            << (&objects - wrong);
        EXPECT_FALSE(readPropertyList(binaryList(objects)).has_value()) << (&objects - wrong);
    }
    // An object whose place would stand behind the end of the file.
    QByteArray tooShort = binaryList({dictionary, "\x51k", QByteArray("\xA1\x30", 2)});
    tooShort[tooShort.size() - 17] = '\xFF';  // so many objects, it says
    EXPECT_FALSE(isSoundBinaryPropertyList(tooShort, kMaximumPropertyListDepth));
}

}  // namespace
}  // namespace takebox
