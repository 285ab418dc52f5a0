#include "platform/avc/virtualdeck/VirtualDeckSettings.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include "platform/avc/virtualdeck/TestSignal.h"
#include "support/Files.h"

namespace takebox::avc {
namespace {

using namespace Qt::StringLiterals;
using Source = VirtualDeckSettings::Source;

/// The sentence that the user gets; empty when the settings are right.
QString errorOf(const QString& spec) {
    QString error;
    return parseVirtualDeckSettings(spec, error) ? QString() : error;
}

VirtualDeckSettings parsed(const QString& spec) {
    QString error;
    const auto settings = parseVirtualDeckSettings(spec, error);
    EXPECT_TRUE(settings) << qPrintable(error);
    return settings.value_or(VirtualDeckSettings{});
}

QByteArray frames(DVStandard standard, int count) {
    const TestSignal signal(standard, false, {1, 2, 3, 4});
    std::vector<std::uint8_t> frame(signal.frameSize());
    QByteArray all;
    for (int i = 0; i < count; ++i) {
        signal.writeFrame(static_cast<std::uint64_t>(i), frame);
        all.append(reinterpret_cast<const char*>(frame.data()),
                   static_cast<qsizetype>(frame.size()));
    }
    return all;
}

class VirtualDeckSettingsOfAFile : public ::testing::Test {
protected:
    QString write(const QString& name, const QByteArray& bytes) {
        QString path = mFolder.filePath(name);
        test::writeFile(path, bytes);
        return path;
    }

    QTemporaryDir mFolder;
};

TEST(VirtualDeckSettings, areUsualWithoutKeys) {
    const auto settings = parsed(u"ntsc"_s);
    EXPECT_EQ(settings.source, Source::kNTSC);
    EXPECT_FALSE(settings.guid);
    EXPECT_TRUE(settings.name.isEmpty());
    EXPECT_EQ(settings.speed, kRealTime);
    EXPECT_TRUE(settings.loop);
    EXPECT_FALSE(settings.cue);
    EXPECT_FALSE(settings.wide);
    EXPECT_FALSE(settings.start);
    EXPECT_TRUE(settings.faults.empty());
    EXPECT_EQ(parsed(u"pal"_s).source, Source::kPAL);
}

TEST(VirtualDeckSettings, readEveryKey) {
    const auto settings = parsed(
        u"pal,guid=00a0B1c2d3E4f506,name=Studio 2, left,speed=2.5,loop=no,cue=yes,"
        u"wide=yes,start=10:20:30:24,fault=short@100:5000,fault=vanish@250:75,"
        u"fault=incomplete@120,fault=missing@130,fault=overrun@140:9,fault=interrupt@150,"
        u"fault=close@200"_s);
    EXPECT_EQ(settings.guid, 0x00A0B1C2D3E4F506U);
    EXPECT_EQ(settings.name, u"Studio 2, left"_s);
    EXPECT_EQ(settings.speed, 2500);
    EXPECT_FALSE(settings.loop);
    EXPECT_TRUE(settings.cue);
    EXPECT_TRUE(settings.wide);
    EXPECT_EQ(settings.start, (TapeTimeCode{10, 20, 30, 24}));
    ASSERT_EQ(settings.faults.size(), 7U);
    EXPECT_EQ(settings.faults[0].kind, DeckFault::kShortFrame);
    EXPECT_EQ(settings.faults[0].frame, 100U);
    EXPECT_EQ(settings.faults[0].value, 5000U);
    EXPECT_EQ(settings.faults[1].kind, DeckFault::kDisappearance);
    EXPECT_EQ(settings.faults[1].value, 75U);
    EXPECT_EQ(settings.faults[2].kind, DeckFault::kIncompleteFrame);
    EXPECT_EQ(settings.faults[3].kind, DeckFault::kMissingFrame);
    EXPECT_EQ(settings.faults[4].kind, DeckFault::kOverrun);
    EXPECT_EQ(settings.faults[4].value, 9U);
    EXPECT_EQ(settings.faults[5].kind, DeckFault::kInterruption);
    EXPECT_EQ(settings.faults[6].kind, DeckFault::kCloseRequest);
}

TEST(VirtualDeckSettings, areRefusedWithASentence) {
    const QStringList wrong{
        u""_s,
        u",name=x"_s,
        u"ntsc,guid=123"_s,
        u"ntsc,guid=00a0b1c2d3e4f50g"_s,
        u"ntsc,speed=0"_s,
        u"ntsc,speed=-1"_s,
        u"ntsc,speed=fast"_s,
        u"ntsc,speed=nan"_s,
        u"ntsc,speed=inf"_s,
        u"ntsc,speed=1001"_s,
        u"ntsc,speed=0.0001"_s,
        u"ntsc,loop=maybe"_s,
        u"ntsc,cue="_s,
        u"ntsc,wide=16:9"_s,
        u"ntsc,start=1:2:3:4"_s,
        u"pal,start=00:00:00:25"_s,
        u"ntsc,fault=short"_s,
        u"ntsc,fault=melt@5"_s,
        u"ntsc,fault=short@-5"_s,
        u"ntsc,fault=short@5:"_s,
        u"ntsc,colour=red"_s,
        u"ntsc,speed=2,colour=red"_s,
        u"/nowhere/at/all.dv"_s,
        u"/"_s,
        u"/dev/null"_s,
    };
    for (const QString& spec : wrong) {
        const QString error = errorOf(spec);
        EXPECT_TRUE(error.endsWith(u'.')) << qPrintable(spec) << ": " << qPrintable(error);
    }
}

TEST(VirtualDeckSettings, nameWhatIsWrong) {
    EXPECT_EQ(errorOf(u"ntsc,loop=maybe"_s),
              u"Virtual deck: loop=maybe is wrong, loop= is for yes or no."_s);
    EXPECT_EQ(errorOf(u"pal,colour=red"_s),
              u"A virtual deck has no setting \"colour=red\", only guid, name, speed, loop, start, "
              u"cue, wide, fault."_s);
    EXPECT_EQ(errorOf(u"/nowhere/at/all.dv"_s),
              u"Cannot open \"/nowhere/at/all.dv\": No such file or directory."_s);
    EXPECT_EQ(errorOf(u"/dev/null"_s), u"\"/dev/null\" is not a regular file."_s);
}

TEST_F(VirtualDeckSettingsOfAFile, takeItsNameWithCommasAndEqualSigns) {
    const QString path = write(u"take 1, a=b,c.dv"_s, frames(DVStandard::kNTSC, 2));
    const auto settings = parsed(path + u",loop=no,start=01:02:03:05"_s);
    EXPECT_EQ(settings.source, Source::kFile);
    EXPECT_EQ(settings.filePath, path);
    EXPECT_FALSE(settings.loop);
    EXPECT_EQ(settings.start, (TapeTimeCode{1, 2, 3, 5}));
}

TEST_F(VirtualDeckSettingsOfAFile, refuseWhatIsNotDV) {
    const QByteArray ntsc = frames(DVStandard::kNTSC, 2);
    const auto refusal = [this](const QByteArray& bytes) {
        const QString path = write(u"x.dv"_s, bytes);
        return errorOf(path).replace(path, u"x"_s);
    };
    EXPECT_EQ(refusal({}), u"\"x\" is not a file of DV frames: it is too short (0 bytes)."_s);
    EXPECT_EQ(refusal("DV"), u"\"x\" is not a file of DV frames: it is too short (2 bytes)."_s);
    EXPECT_EQ(refusal(QByteArray(200000, 'x')),
              u"\"x\" is not a file of DV frames: it does not begin with a DIF header."_s);
    EXPECT_EQ(
        refusal(ntsc.first(4400)),
        u"\"x\" is not a file of DV frames: it is too short, a frame has 120000 bytes and the "
        u"file only 4400."_s);
    EXPECT_EQ(refusal(ntsc.first(120000) + QByteArray(80, '\x55') + ntsc),
              u"\"x\" is not a file of DV frames: no DIF header at byte 120000, where frame 2 "
              u"begins."_s);
}

TEST_F(VirtualDeckSettingsOfAFile, refuseATimeCodeThatItLacks) {
    const QString path = write(u"x.dv"_s, frames(DVStandard::kPAL, 3));
    EXPECT_EQ(errorOf(path + u",start=01:02:03:07"_s),
              u"\"%1\" has no frame with the time code 01:02:03:07."_s.arg(path));
}

TEST_F(VirtualDeckSettingsOfAFile, refuseAnAspectOfTheirOwn) {
    const QString path = write(u"x.dv"_s, frames(DVStandard::kPAL, 1));
    EXPECT_TRUE(errorOf(path + u",wide=yes"_s).contains(u"a file has its own aspect"_s));
}

}  // namespace
}  // namespace takebox::avc
