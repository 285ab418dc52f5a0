#include "app/Options.h"

#include <gtest/gtest.h>

#include <QCoreApplication>

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

ParsedOptions parse(const QStringList& words) {
    return parseOptions(QStringList{u"takebox"_s} + words);
}

void expectUsageError(const QStringList& words, const QString& about) {
    const ParsedOptions parsed = parse(words);
    const std::string line = words.join(u' ').toStdString();
    EXPECT_FALSE(parsed.options) << line;
    EXPECT_EQ(parsed.exitStatus, 2) << line;
    EXPECT_TRUE(parsed.text.startsWith(u"takebox: "_s)) << parsed.text.toStdString();
    EXPECT_TRUE(parsed.text.endsWith(u'\n')) << parsed.text.toStdString();
    EXPECT_TRUE(parsed.text.contains(about)) << parsed.text.toStdString();
}

}  // namespace

TEST(Options, withoutAnyRunTheRecorderOnItsUsualPort) {
    const ParsedOptions parsed = parse({});
    ASSERT_TRUE(parsed.options);
    EXPECT_FALSE(parsed.options->headless);
    EXPECT_EQ(parsed.options->controlPort, 1026);
    EXPECT_TRUE(parsed.options->virtualDecks.empty());
    EXPECT_FALSE(parsed.options->recordSeconds);
    EXPECT_FALSE(parsed.options->diagnose);
    EXPECT_FALSE(parsed.options->discover);
    EXPECT_TRUE(parsed.options->remoteCommand.isEmpty());
    EXPECT_TRUE(parsed.options->checkPlayoutAddress.isEmpty());
}

TEST(Options, virtualDecksAreKeptInTheirOrder) {
    const ParsedOptions parsed =
        parse({u"--headless"_s, u"--virtual-deck"_s, u"pal,guid=00000000000000aa"_s,
               u"--virtual-deck=ntsc,speed=2"_s, u"--control-port"_s, u"0"_s});
    ASSERT_TRUE(parsed.options);
    EXPECT_TRUE(parsed.options->headless);
    EXPECT_EQ(parsed.options->controlPort, 0);
    ASSERT_EQ(parsed.options->virtualDecks.size(), 2U);
    EXPECT_EQ(parsed.options->virtualDecks[0].guid, 0xAAU);
    EXPECT_EQ(parsed.options->virtualDecks[1].speed, 2000);
}

TEST(Options, recordNeedsSecondsAndAFolder) {
    const ParsedOptions parsed = parse({u"--record"_s, u"2.5"_s, u"--to"_s, u"/takes"_s});
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(parsed.options->recordSeconds, 2.5);
    EXPECT_EQ(parsed.options->recordFolder, u"/takes"_s);
    expectUsageError({u"--record"_s, u"2"_s}, u"go together"_s);
    expectUsageError({u"--to"_s, u"/takes"_s}, u"go together"_s);
    for (const auto& seconds : {u"0"_s, u"-1"_s, u"nan"_s, u"inf"_s, u"x"_s, u""_s, u"1e9"_s}) {
        expectUsageError({u"--record="_s + seconds, u"--to"_s, u"/takes"_s}, u"above 0"_s);
    }
}

TEST(Options, portsOutsideTheRangeAreRefused) {
    for (const auto& port : {u"65536"_s, u"-1"_s, u"x"_s, u""_s, u"1026x"_s}) {
        expectUsageError({u"--control-port="_s + port}, u"0 to 65535"_s);
    }
    EXPECT_EQ(parse({u"--control-port=65535"_s}).options->controlPort, 65535);
}

TEST(Options, mistakesAreNamed) {
    expectUsageError({u"--no-such-option"_s}, u"no-such-option"_s);
    expectUsageError({u"word"_s}, u"\"word\""_s);
    expectUsageError({u"--virtual-deck"_s, u"/no/such/file.dv"_s}, u"/no/such/file.dv"_s);
    expectUsageError({u"--virtual-deck"_s, u"pal,speed=fast"_s}, u"speed"_s);
    expectUsageError({u"--remote"_s, u"host"_s}, u"--remote"_s);
    expectUsageError({u"--remote=host"_s}, u"--remote"_s);
    expectUsageError({u"--check-playout"_s, QString()}, u"--check-playout"_s);
    expectUsageError({u"--virtual-deck"_s, u"pal,guid=0000000000000001"_s, u"--virtual-deck"_s,
                      u"ntsc,guid=0000000000000001"_s},
                     u"guid=0000000000000001"_s);
}

TEST(Options, remoteTakesEveryWordThatFollows) {
    for (const auto& option :
         {QStringList{u"--remote"_s, u"host:1026"_s}, QStringList{u"--remote=host:1026"_s}}) {
        const ParsedOptions parsed =
            parse(option + QStringList{u"setrecname"_s, u"1"_s, u"--headless"_s});
        ASSERT_TRUE(parsed.options) << parsed.text.toStdString();
        EXPECT_FALSE(parsed.options->headless);
        EXPECT_EQ(parsed.options->remoteCommand,
                  (QStringList{u"host:1026"_s, u"setrecname"_s, u"1"_s, u"--headless"_s}));
    }
}

TEST(Options, helpAndVersionArePrintedWithSuccess) {
    const ParsedOptions help = parse({u"--help"_s});
    EXPECT_FALSE(help.options);
    EXPECT_EQ(help.exitStatus, 0);
    EXPECT_TRUE(help.text.startsWith(u"Usage: takebox [options]\n"_s)) << help.text.toStdString();
    for (const auto& option : {u"--virtual-deck"_s, u"--headless"_s, u"--control-port"_s,
                               u"--record"_s, u"--to"_s, u"--remote"_s, u"--discover"_s}) {
        EXPECT_TRUE(help.text.contains(option)) << option.toStdString();
    }
    const ParsedOptions version = parse({u"--version"_s});
    EXPECT_EQ(version.exitStatus, 0);
    EXPECT_EQ(version.text, u"Takebox DV " TAKEBOX_VERSION "\n"_s);
}

}  // namespace takebox
