#include "remote/RemoteCommands.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <QFile>
#include <QImage>
#include <QRegularExpression>

#include "LoopbackClient.h"
#include "TestRecorder.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

const QByteArrayList kWords{"HELP",
                            "VERSION",
                            "FRAME",
                            "RECORD",
                            "STOP",
                            "STATUS",
                            "ELAPSED",
                            "DROPPEDFRAMES",
                            "REMAIN",
                            "TIMECODE",
                            "AUDIO1",
                            "AUDIOLEFT",
                            "AUDIO2",
                            "AUDIORIGHT",
                            "AUDIO3",
                            "AUDIO4",
                            "COUNT",
                            "DEVICENAME",
                            "GUID",
                            "SETRAWCAPTUREPATH",
                            "RAWCAPTUREPATH",
                            "SETREFMOVIEPATH",
                            "REFMOVIEPATH",
                            "SETDURATION",
                            "DURATION",
                            "SETRECNAME",
                            "RECNAME",
                            "SETMOVIECAPTUREPATH",
                            "MOVIECAPTUREPATH",
                            "SETAUTO",
                            "AUTO",
                            "SETCREATEREFMOVIE",
                            "CREATEREFMOVIE",
                            "SETCREATESELFMOVIE",
                            "CREATESELFMOVIE"};

constexpr char kHelp[] =
    "version\ncount\nguid <device index>\naudio1 <device index>\naudio2 <device index>\n"
    "audio3 <device index>\naudio4 <device index>\nstatus <device index>\nframe <device index>\n"
    "elapsed <device index>\ndroppedframes <device index>\nremain <device index>\n"
    "timecode <device index>\ndevicename <device index>\nrecord <device index>\n"
    "stop <device index>\nrawcapturepath <device index>\nsetrawcapturepath <device index> <path>\n"
    "moviecapturepath <device index>\nsetmoviecapturepath <device index> <path>\n"
    "recname <device index>\nsetrecname <device index> <recording name>\n"
    "refmoviepath <device index>\nsetrefmoviepath <device index> <path>\n"
    "duration <device index>\nsetduration <device index> <duration in seconds>\n"
    "auto <device index>\nsetauto <device index> <value: 1 or 0>\n"
    "createselfmovie <device index>\nsetcreateselfmovie <device index> <value: 1 or 0>\n"
    "createrefmovie <device index>\nsetcreaterefmovie <device index> <value: 1 or 0>";

/// A recorder and a client that asks it, over either address family.
class RemoteCommandsOver : public ::testing::TestWithParam<int> {
protected:
    void useDecks(const QStringList& decks) {
        mRecorder = std::make_unique<TestRecorder>(decks);
        mClient = std::make_unique<LoopbackClient>(GetParam(), mRecorder->port());
    }

    QByteArray ask(const QByteArray& line) { return mClient->ask(line); }
    [[nodiscard]] TestRecorder& recorder() { return *mRecorder; }
    [[nodiscard]] LoopbackClient& client() { return *mClient; }
    QByteArray folder() { return mRecorder->folder().toUtf8(); }

    LogCapture mLog;

private:
    std::unique_ptr<TestRecorder> mRecorder;
    std::unique_ptr<LoopbackClient> mClient;
};

INSTANTIATE_TEST_SUITE_P(BothFamilies, RemoteCommandsOver, ::testing::Values(AF_INET, AF_INET6),
                         [](const auto& row) { return row.param == AF_INET ? "IPv4" : "IPv6"; });

const QStringList kOneDeck{QStringLiteral("pal,guid=00000000000000AB,name=Studio deck")};
const QStringList kTwoDecks{QStringLiteral("pal,name=One"), QStringLiteral("ntsc,name=Two")};

TEST_P(RemoteCommandsOver, areAllRefusedWithoutADeck) {
    useDecks({});
    for (const QByteArray& word : kWords) {
        EXPECT_EQ(ask(word), "INCORRECT INDEX") << word.constData();
        EXPECT_EQ(ask(word + " 1 x"), "INCORRECT INDEX") << word.constData();
    }
    EXPECT_EQ(ask("nonsense"), "INCORRECT INDEX");
    EXPECT_EQ(ask(""), "INCORRECT INDEX");
}

TEST_P(RemoteCommandsOver, areRefusedForADeckThatIsNotThere) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("count"), "1");
    EXPECT_EQ(ask("status 2"), "INCORRECT INDEX");
    EXPECT_EQ(ask("help 2"), "INCORRECT INDEX");
    EXPECT_EQ(ask("status 8"), "INCORRECT INDEX");
    EXPECT_EQ(ask("status 9"), "IDLE");
    EXPECT_EQ(ask("status 1"), "IDLE");
    EXPECT_EQ(ask("status"), "IDLE");
}

TEST_P(RemoteCommandsOver, giveTheHelpTextByteForByte) {
    useDecks(kOneDeck);
    client().send("help\r\n");
    EXPECT_EQ(client().receive(sizeof kHelp + 1), QByteArray(kHelp) + "\n\r");
    EXPECT_TRUE(client().unread().isEmpty());
}

TEST_P(RemoteCommandsOver, listWordsInTheHelpTextThatAreKnown) {
    for (const QByteArray& line : QByteArray(kHelp).split('\n')) {
        EXPECT_TRUE(kWords.contains(line.split(' ').first().toUpper())) << line.constData();
    }
}

TEST_P(RemoteCommandsOver, answerWhatNeverChanges) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("version"), "100");
    EXPECT_EQ(ask("droppedframes 1"), "Dropped Frames: 0");
    EXPECT_EQ(ask("audio3 1"), "0.0");
    EXPECT_EQ(ask("audio4 1"), "0.0");
    EXPECT_EQ(ask("elapsed 1"), "00:00:00:00");
}

TEST_P(RemoteCommandsOver, tellWhichDecksThereAre) {
    useDecks(kTwoDecks);
    EXPECT_EQ(ask("count"), "2");
    EXPECT_EQ(ask("devicename 1"), "One");
    EXPECT_EQ(ask("devicename 2"), "Two");
    EXPECT_NE(ask("guid 1"), ask("guid 2"));
}

TEST_P(RemoteCommandsOver, giveTheGuidAsSixteenDigits) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("guid 1"), "00000000000000ab");
}

TEST_P(RemoteCommandsOver, doNotMindTheCaseOfTheWord) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("Status 1"), "IDLE");
    EXPECT_EQ(ask("sTATUS 1"), "IDLE");
}

TEST_P(RemoteCommandsOver, areNotKnownWhenTheyDifferAtAll) {
    useDecks(kOneDeck);
    for (const char* line :
         {"", "statu 1", "statuss 1", " status 1", "status\t1", "1", "\xFF\xFE\x01"}) {
        EXPECT_EQ(ask(line), "UNKNOWN COMMAND") << line;
    }
}

TEST_P(RemoteCommandsOver, giveLevelsWithSixDecimals) {
    useDecks(kOneDeck);
    const QRegularExpression number(QStringLiteral(R"(^-?\d+\.\d{6}$)"));
    for (const char* word : {"audio1", "audioleft", "audio2", "audioright"}) {
        const QString level = QString::fromUtf8(ask(QByteArray(word) + " 1"));
        EXPECT_TRUE(number.match(level).hasMatch()) << level.toStdString();
    }
    // The test signal has a tone on both channels.
    EXPECT_TRUE(waitUntil([&] { return ask("audio1").toDouble() > 0.01; }));
    EXPECT_TRUE(waitUntil([&] { return ask("audioright").toDouble() > 0.01; }));
}

TEST_P(RemoteCommandsOver, giveTimeCodeAndTheTimeLeftOnTheDisk) {
    useDecks({QStringLiteral("pal,start=10:00:00:00")});
    EXPECT_TRUE(waitUntil([&] { return ask("timecode 1").startsWith("10:00:0"); }));
    EXPECT_EQ(ask("remain 1"), recorder().controller(0).remainingDiskSpaceAsTimecode().toUtf8());
    EXPECT_FALSE(ask("remain 1").isEmpty());
}

TEST_P(RemoteCommandsOver, recordAndStop) {
    useDecks(kTwoDecks);
    EXPECT_EQ(ask("setrecname 2 Take"), "OK");
    EXPECT_EQ(ask("setcreaterefmovie 2 1"), "OK");
    EXPECT_EQ(ask("record 2"), "OK");
    EXPECT_EQ(ask("status 2"), "REC");
    EXPECT_EQ(ask("status 1"), "IDLE");
    EXPECT_TRUE(waitUntil([&] { return ask("elapsed 2") >= "00:00:00:05"; }));
    EXPECT_EQ(ask("elapsed 1"), "00:00:00:00");
    EXPECT_EQ(ask("stop 2"), "OK");
    EXPECT_EQ(ask("status 2"), "IDLE");
    EXPECT_EQ(ask("elapsed 2"), "00:00:00:00");
    EXPECT_TRUE(QFile::exists(recorder().folder() + QStringLiteral("/Take/Take.dv")));
}

TEST_P(RemoteCommandsOver, answerARecordThatOnlyRaisesAnAlertAndGoOn) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("setcreaterefmovie 1 0"), "OK");
    EXPECT_EQ(ask("setcreateselfmovie 1 0"), "OK");
    EXPECT_EQ(ask("record 1"), "OK");
    EXPECT_EQ(recorder().alerts(), QStringList(QStringLiteral("No Recording Destination!")));
    EXPECT_EQ(ask("status 1"), "IDLE");
}

TEST_P(RemoteCommandsOver, sendNothingForAFrameWithoutAPicture) {
    useDecks({QStringLiteral("pal,cue=yes")});  // sends no frames until it is told to play
    client().send("frame 1\r\n");
    EXPECT_TRUE(waitUntil([&] { return mLog.containsText("Added connection."); }));
    // Had anything been sent for the frame, it would stand before this answer.
    LoopbackClient other(GetParam(), recorder().port());
    EXPECT_EQ(other.ask("version"), "100");
    client().send("version\r\n");
    EXPECT_EQ(client().receive(5), QByteArray("100\n\r"));
}

TEST_P(RemoteCommandsOver, sendAPictureAsJpegAndNothingElse) {
    useDecks(kOneDeck);
    ASSERT_TRUE(
        waitUntil([&] { return !recorder().controller(0).device()->JPEGPreviewData().isEmpty(); }));
    client().send("frame 1\r\n");
    EXPECT_TRUE(waitUntil([&] { return client().hasReceived("\xFF\xD9"); }));
    EXPECT_TRUE(client().unread().startsWith("\xFF\xD8"));
    EXPECT_TRUE(client().unread().endsWith("\xFF\xD9"));
    EXPECT_EQ(QImage::fromData(client().unread(), "JPEG").height(), 135);
}

struct PathCommand {
    const char* set;
    const char* get;
};

constexpr std::array kPathCommands{PathCommand{"setrawcapturepath", "rawcapturepath"},
                                   PathCommand{"setrefmoviepath", "refmoviepath"},
                                   PathCommand{"setmoviecapturepath", "moviecapturepath"}};

TEST_P(RemoteCommandsOver, setFoldersThatExist) {
    useDecks(kTwoDecks);
    for (const auto& [set, get] : kPathCommands) {
        const QString path =
            recorder().folder() + QStringLiteral("/My  B\u00E4nder ") + QString::fromLatin1(get);
        ASSERT_TRUE(QDir().mkdir(path));
        EXPECT_EQ(ask(QByteArray(set) + " 2 " + path.toUtf8()), "OK");
        EXPECT_EQ(ask(QByteArray(get) + " 2"), path.toUtf8());
        EXPECT_EQ(ask(QByteArray(get) + " 1"), folder());
    }
}

TEST_P(RemoteCommandsOver, refuseFoldersThatDoNotExist) {
    useDecks(kOneDeck);
    QFile file(recorder().folder() + QStringLiteral("/file"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    for (const auto& [set, get] : kPathCommands) {
        for (const QByteArray& path :
             {QByteArray("~"), QByteArray("~/Movies"), folder() + "/missing", folder() + "/file",
              QByteArray(), QByteArray(":/"), folder() + QByteArray("\0x", 2)}) {
            EXPECT_EQ(ask(QByteArray(set) + " 1 " + path), "INCORRECT PATH") << path.constData();
        }
        EXPECT_EQ(ask(QByteArray(get) + " 1"), folder());
    }
}

TEST_P(RemoteCommandsOver, setADurationLongerThanASecond) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("setduration 1 1.5"), "OK");
    EXPECT_EQ(ask("duration 1"), "1.500000");
    EXPECT_EQ(ask("setduration 1 90 seconds"), "OK");
    for (const char* value : {"1", "1.0", "0", "-5", "", "x", "inf", "1e999"}) {
        EXPECT_EQ(ask(QByteArray("setduration 1 ") + value), "INCORRECT DURATION") << value;
    }
    EXPECT_EQ(ask("duration 1"), "90.000000");
}

TEST_P(RemoteCommandsOver, setTheRecordingName) {
    useDecks(kOneDeck);
    EXPECT_EQ(ask("setrecname 1 My  Take 7"), "OK");
    EXPECT_EQ(ask("recname 1"), "My  Take 7");
    EXPECT_EQ(ask("setrecname 1 \xC3\x84rger"), "OK");
    EXPECT_EQ(ask("recname 1"), "\xC3\x84rger");
    EXPECT_EQ(ask("setrecname Take 7"), "OK");
    EXPECT_EQ(ask("recname"), "Take 7");
    EXPECT_EQ(ask("setrecname 1"), "OK");
    EXPECT_EQ(ask("recname 1"), "");
}

TEST_P(RemoteCommandsOver, setFlagsFromTheLowEightBits) {
    useDecks(kOneDeck);
    constexpr std::array kFlags{PathCommand{"setauto", "auto"},
                                PathCommand{"setcreaterefmovie", "createrefmovie"},
                                PathCommand{"setcreateselfmovie", "createselfmovie"}};
    const std::vector<std::pair<QByteArray, QByteArray>> values{
        {"1", "1"},  {"0", "0"},   {"2", "1"},   {"256", "0"},
        {"-1", "1"}, {"yes", "0"}, {"257", "1"}, {"", "0"}};
    for (const auto& [set, get] : kFlags) {
        for (const auto& [value, result] : values) {
            EXPECT_EQ(ask(QByteArray(set) + " 1 " + value), "OK") << value.constData();
            EXPECT_EQ(ask(QByteArray(get) + " 1"), result) << value.constData();
        }
    }
}

TEST_P(RemoteCommandsOver, answerNullForATextThatIsAbsent) {
    useDecks(kOneDeck);
    recorder().controller(0).settings().setDeviceName(QString());
    EXPECT_EQ(ask("devicename 1"), "(null)");
}

TEST(RemoteCommandsDocument, describesEveryWord) {
    QFile document(QStringLiteral(PROJECT_FOLDER "/docs/remote-control.md"));
    ASSERT_TRUE(document.open(QIODevice::ReadOnly));
    const QByteArray text = document.readAll();
    for (const QByteArray& word : kWords) {
        EXPECT_TRUE(text.contains('`' + word + '`')) << word.constData();
    }
}

}  // namespace
}  // namespace takebox::test
