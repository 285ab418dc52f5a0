#include <gtest/gtest.h>

#include "ScriptRunner.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::ScriptRunner;

class FakeDecks : public ScriptDecks {
public:
    QStringList guids() const override { return connected; }
    QStringList propertyNames() const override { return {u"deviceName"_s, u"recordedFrames"_s}; }
    QVariant property(const QString& guid, const QString& name) const override {
        return connected.contains(guid) ? values.value(name) : QVariant();
    }
    bool setProperty(const QString& guid, const QString& name, const QVariant& value) override {
        if (!connected.contains(guid) || name == u"deviceName"_s) {
            return false;
        }
        values.insert(name, value);
        return true;
    }
    bool runCommand(const QString& guid, const QString& command) override {
        commands.append(guid + u' ' + command);
        return connected.contains(guid);
    }

    QStringList connected{u"1"_s, u"2"_s};
    QVariantMap values{{u"deviceName"_s, u"Deck"_s}, {u"recordedFrames"_s, 25},
                       {u"isRecording"_s, true},     {u"isPaused"_s, false},
                       {u"recordedTime"_s, 1.5},     {u"deviceTimecodeString"_s, u"01:02:03:04"_s}};
    QStringList commands;
};

TEST(DeckLibrary, decksShowTheirProperties) {
    FakeDecks decks;
    ScriptRunner runner(&decks);
    EXPECT_EQ(runner.run("return #takebox.decks"), QVariant::fromValue<qint64>(2));
    EXPECT_EQ(runner.run("return takebox.decks[2].guid"), QVariant(u"2"_s));
    EXPECT_EQ(runner.run("local d = takebox.decks[1] "
                         "return table.concat({d.name, d.deviceName, tostring(d.recording), "
                         "tostring(d.paused), d.recordedtime, d.timecode, d.recordedFrames}, ' ')"),
              QVariant(u"Deck Deck true false 1.5 01:02:03:04 25"_s));
    EXPECT_EQ(
        runner.run("local t = {} for k, v in pairs(takebox.decks[1]) do t[#t + 1] = k .. v end "
                   "return table.concat(t, ' ')"),
        QVariant(u"deviceNameDeck recordedFrames25"_s));
    EXPECT_EQ(runner.run("return takebox.decks[1] == takebox.decks[1] "
                         "and takebox.decks[1] ~= takebox.decks[2]"),
              QVariant(true));
}

TEST(DeckLibrary, settingsAreSet) {
    FakeDecks decks;
    ScriptRunner runner(&decks);
    EXPECT_TRUE(
        runner.run("takebox.decks[1].recordingName = 'News' takebox.decks[1].paused = true"));
    EXPECT_EQ(decks.values.value(u"recordingName"_s), QVariant(u"News"_s));
    EXPECT_EQ(decks.values.value(u"isPaused"_s), QVariant(true));
}

TEST(DeckLibrary, commandsReachTheDeck) {
    FakeDecks decks;
    ScriptRunner runner(&decks);
    EXPECT_TRUE(runner.run("local d = takebox.decks[2] d:start() d:pause() d:resume() d:stop()"));
    EXPECT_EQ(decks.commands,
              (QStringList{u"2 start"_s, u"2 pause"_s, u"2 resume"_s, u"2 stop"_s}));
}

TEST(DeckLibrary, mistakesAreErrorsOfTheScript) {
    FakeDecks decks;
    ScriptRunner runner(&decks);
    for (const char* text : {"return takebox.decks[1].nonsense", "takebox.decks[1].name = 'x'",
                             "takebox.decks[1].recordingName = {}", "takebox.decks[1].start()",
                             "local t = takebox.decks[1] takebox.decks[3]:start()"}) {
        EXPECT_EQ(runner.run(text), std::nullopt) << text;
    }
}

TEST(DeckLibrary, deckThatIsGoneIsAnError) {
    struct Vanishing : FakeDecks {
        bool runCommand(const QString& /*guid*/, const QString& /*command*/) override {
            connected.clear();
            return true;
        }
    } decks;
    ScriptRunner runner(&decks);
    EXPECT_EQ(runner.run("local d = takebox.decks[1] d:stop() "
                         "return not pcall(function() return d.name end)"),
              QVariant(true));
}

TEST(DeckLibrary, withoutDecksTheListIsEmpty) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("return #takebox.decks"), QVariant::fromValue<qint64>(0));
}

TEST(DeckLibrary, logWritesALine) {
    test::LogCapture log;
    ScriptRunner runner;
    EXPECT_TRUE(runner.run("takebox.log('100% done') takebox.log(7)"));
    EXPECT_EQ(log.count("100% done"), 1);
    EXPECT_EQ(log.count("7"), 1);
}

}  // namespace
}  // namespace takebox
