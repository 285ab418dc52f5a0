#include "remote/Command.h"

#include <gtest/gtest.h>

#include <limits>

#include "remote/TCPConnection.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

struct Line {
    QByteArray bytes;
    QString word;
    std::int32_t deviceIndex;
    QString argument;
};

class CommandLine : public ::testing::TestWithParam<Line> {};

TEST_P(CommandLine, isTakenApart) {
    const auto command = Command::fromBytes(GetParam().bytes, nullptr);
    EXPECT_EQ(command->commandString(), GetParam().word);
    EXPECT_EQ(command->deviceIndex(), GetParam().deviceIndex);
    EXPECT_EQ(command->argument(), GetParam().argument);
    EXPECT_FALSE(command->argument().isNull());
}

INSTANTIATE_TEST_SUITE_P(
    DeviceNumbers, CommandLine,
    ::testing::Values(
        Line{"status 2\r\n", u"STATUS"_s, 1, u""_s}, Line{"status", u"STATUS"_s, 0, u""_s},
        Line{"status 0", u"STATUS"_s, 0, u"0"_s}, Line{"status 1", u"STATUS"_s, 0, u""_s},
        Line{"status 8", u"STATUS"_s, 7, u""_s}, Line{"status 9", u"STATUS"_s, 0, u"9"_s},
        Line{"status -1", u"STATUS"_s, 0, u"-1"_s}, Line{"status 3rd", u"STATUS"_s, 2, u""_s},
        Line{"status x3", u"STATUS"_s, 0, u"x3"_s},
        Line{"status 4294967297", u"STATUS"_s, 0, u"4294967297"_s},
        Line{"setrecname Take 7", u"SETRECNAME"_s, 0, u"Take 7"_s}));

INSTANTIATE_TEST_SUITE_P(
    Spaces, CommandLine,
    ::testing::Values(Line{"setrecname 3 My  Take", u"SETRECNAME"_s, 2, u"My  Take"_s},
                      Line{"setrecname  3 Take", u"SETRECNAME"_s, 0, u" 3 Take"_s},
                      Line{"setrecname 3  Take ", u"SETRECNAME"_s, 2, u" Take "_s},
                      Line{" status", u""_s, 0, u"status"_s},
                      Line{"status ", u"STATUS"_s, 0, u""_s}, Line{" ", u""_s, 0, u""_s}));

INSTANTIATE_TEST_SUITE_P(
    ControlCharacters, CommandLine,
    ::testing::Values(Line{"\r\n", u""_s, 0, u""_s}, Line{"", u""_s, 0, u""_s},
                      Line{"\t\x01Status 1\x7f\r\n\r\n", u"STATUS"_s, 0, u""_s},
                      Line{"status 1\nstatus 2\n", u"STATUS"_s, 0, u"2"_s},
                      Line{"setrecname 1 a\tb\n", u"SETRECNAME"_s, 0, u"a\tb"_s},
                      Line{QByteArray("\0status 2\0\r\n", 12), u"STATUS"_s, 1, u""_s},
                      Line{QByteArray("setrecname 1 a\0b", 16), u"SETRECNAME"_s, 0,
                           QString::fromUtf16(u"a\0b", 3)}));

INSTANTIATE_TEST_SUITE_P(
    BeyondASCII, CommandLine,
    ::testing::Values(Line{"setrecname 1 B\xC3\xA4nd", u"SETRECNAME"_s, 0, u"B\u00E4nd"_s},
                      Line{"\xFF\xFE", u"\uFFFD\uFFFD"_s, 0, u""_s},
                      Line{"setrecname 1 a\xE4", u"SETRECNAME"_s, 0, u"a\uFFFD"_s}));

TEST(CommandResponse, endsWithLineFeedAndCarriageReturn) {
    Command command(nullptr);
    command.setResponseString(u"IDLE"_s);
    EXPECT_EQ(command.responseData(), QByteArray("IDLE\x0A\x0D"));
}

TEST(CommandResponse, isUtf8) {
    Command command(nullptr);
    command.setResponseString(u"B\u00E4nd"_s);
    EXPECT_EQ(command.responseData(), QByteArray("B\xC3\xA4nd\n\r"));
}

TEST(CommandResponse, namesAnAbsentTextButNotAnEmptyOne) {
    Command command(nullptr);
    command.setResponseString(QString());
    EXPECT_EQ(command.responseData(), QByteArray("(null)\n\r"));
    command.setResponseString(u""_s);
    EXPECT_EQ(command.responseData(), QByteArray("\n\r"));
}

TEST(CommandResponse, keepsBytesAsTheyAre) {
    Command command(nullptr);
    command.setResponseData(QByteArray("\xFF\xD8\0\n", 4));
    EXPECT_EQ(command.responseData(), QByteArray("\xFF\xD8\0\n", 4));
}

TEST(CommandResponse, goesNowhereOnceTheConnectionIsClosed) {
    Command command(std::make_shared<TCPConnection>());
    command.setResponseString(u"IDLE"_s);
    command.sendResponse();
}

TEST(LeadingInteger, readsSignAndDigitsAndStops) {
    EXPECT_EQ(leadingInteger(u"1"_s), 1);
    EXPECT_EQ(leadingInteger(u"-1"_s), -1);
    EXPECT_EQ(leadingInteger(u"+2 takes"_s), 2);
    EXPECT_EQ(leadingInteger(u"256"_s), 256);
    EXPECT_EQ(leadingInteger(u"0x10"_s), 0);
    EXPECT_EQ(leadingInteger(u""_s), 0);
    EXPECT_EQ(leadingInteger(u"yes"_s), 0);
    EXPECT_EQ(leadingInteger(u"--1"_s), 0);
    EXPECT_EQ(leadingInteger(u"\u0661"_s), 0);  // an Arabic digit
}

TEST(LeadingInteger, staysWithin32Bits) {
    EXPECT_EQ(leadingInteger(u"2147483648"_s), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(leadingInteger(u"-2147483649"_s), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(leadingInteger(QString(3000, QLatin1Char('9'))),
              std::numeric_limits<std::int32_t>::max());
}

TEST(LeadingDecimal, readsANumberAndStops) {
    EXPECT_EQ(leadingDecimal(u"1.5"_s), 1.5);
    EXPECT_EQ(leadingDecimal(u"90 seconds"_s), 90.0);
    EXPECT_EQ(leadingDecimal(u"1,5"_s), 1.0);
    EXPECT_EQ(leadingDecimal(u"2e3"_s), 2000.0);
    EXPECT_EQ(leadingDecimal(u"+2"_s), 2.0);
    EXPECT_EQ(leadingDecimal(u"-2.5"_s), -2.5);
    EXPECT_EQ(leadingDecimal(u".5"_s), 0.5);
}

TEST(LeadingDecimal, isZeroForWhatIsNoNumber) {
    for (const auto& text : {u""_s, u"."_s, u"-"_s, u"+"_s, u"+-1"_s, u"inf"_s, u"-inf"_s, u"nan"_s,
                             u"1e999"_s, u"sixty"_s}) {
        EXPECT_EQ(leadingDecimal(text), 0.0) << text.toStdString();
    }
}

}  // namespace
}  // namespace takebox::test
