#include "app/DeckProperties.h"

#include <gtest/gtest.h>

#include <QFile>
#include <limits>

#include "RunningRecorder.h"
#include "app/ScriptableDecks.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::RunningRecorder;

TEST(DeckProperties, everyOneHasAValueOfItsType) {
    const RunningRecorder recorder;
    for (const DeckProperty& property : deckProperties()) {
        EXPECT_EQ(property.get(recorder.deck(0)).typeId(), property.type) << property.name;
    }
}

TEST(DeckProperties, everyOneIsDocumented) {
    QFile file(QStringLiteral(TAKEBOX_DOCS "/scripting.md"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    for (const DeckProperty& property : deckProperties()) {
        const QByteArray row = "| `" + QByteArray(property.name) + "` |";
        EXPECT_TRUE(text.contains(row)) << property.name;
    }
}

TEST(DeckProperties, whatIsSetIsRead) {
    RunningRecorder recorder;
    ScriptableDecks decks;
    for (const DeckProperty& property : deckProperties()) {
        const QString name = QString::fromLatin1(property.name);
        if (property.set == nullptr || name == u"isPaused"_s) {
            continue;
        }
        QVariant value = u"/other"_s;
        if (property.type == QMetaType::Bool) {
            value = !property.get(recorder.deck(0)).toBool();
        } else if (property.type == QMetaType::Double) {
            value = 1234.5;
        }
        EXPECT_TRUE(decks.setProperty(RunningRecorder::kPALGuid, name, value)) << property.name;
        EXPECT_EQ(decks.property(RunningRecorder::kPALGuid, name), value) << property.name;
    }
    EXPECT_NE(recorder.deck(1).recordingName(), u"/other"_s);
}

TEST(DeckProperties, pauseNeedsARecording) {
    const RunningRecorder recorder;
    ScriptableDecks decks;
    const auto& button = recorder.deck(0).outlets().pauseButton;
    EXPECT_TRUE(decks.runCommand(RunningRecorder::kPALGuid, u"pause"_s));
    EXPECT_FALSE(button.state()) << "there is nothing to pause";
    EXPECT_TRUE(decks.setProperty(RunningRecorder::kPALGuid, u"isPaused"_s, true));
    EXPECT_FALSE(button.state());
    EXPECT_EQ(decks.property(RunningRecorder::kPALGuid, u"isPaused"_s), QVariant(false));
    recorder.deck(0).recordButtonPushed();
    EXPECT_TRUE(decks.runCommand(RunningRecorder::kPALGuid, u"pause"_s));
    EXPECT_TRUE(button.state());
    EXPECT_TRUE(decks.setProperty(RunningRecorder::kPALGuid, u"isPaused"_s, false));
    EXPECT_FALSE(button.state());
}

TEST(DeckProperties, valuesOfAnotherKindAreRefused) {
    const DeckProperty& name = *deckPropertyNamed(u"recordingName"_s);
    const DeckProperty& loop = *deckPropertyNamed(u"loopRecording"_s);
    const DeckProperty& duration = *deckPropertyNamed(u"referenceMovieDuration"_s);
    EXPECT_FALSE(valueForDeckProperty(name, 1).isValid());
    EXPECT_FALSE(valueForDeckProperty(loop, 1).isValid());
    EXPECT_FALSE(valueForDeckProperty(duration, u"60"_s).isValid());
    EXPECT_FALSE(valueForDeckProperty(duration, true).isValid());
    EXPECT_FALSE(valueForDeckProperty(duration, std::numeric_limits<double>::infinity()).isValid());
    EXPECT_EQ(valueForDeckProperty(duration, 60), QVariant(60.0));
    EXPECT_EQ(deckPropertyNamed(u"nonsense"_s), nullptr);
}

TEST(DeckProperties, allAreNamedToScripts) {
    const QStringList names = ScriptableDecks().propertyNames();
    EXPECT_EQ(names.size(), static_cast<qsizetype>(deckProperties().size()));
    for (const DeckProperty& property : deckProperties()) {
        EXPECT_TRUE(names.contains(QLatin1String(property.name))) << property.name;
    }
}

TEST(DeckProperties, unknownDecksAndCommandsAreRefused) {
    const RunningRecorder recorder;
    ScriptableDecks decks;
    EXPECT_EQ(decks.guids(), (QStringList{RunningRecorder::kPALGuid, RunningRecorder::kNTSCGuid}));
    EXPECT_FALSE(decks.property(u"1"_s, u"deviceName"_s).isValid());
    EXPECT_FALSE(decks.setProperty(u"1"_s, u"recordingName"_s, u"x"_s));
    EXPECT_FALSE(decks.runCommand(u"1"_s, u"start"_s));
    EXPECT_FALSE(decks.runCommand(RunningRecorder::kPALGuid, u"rewind"_s));
    EXPECT_FALSE(decks.setProperty(RunningRecorder::kPALGuid, u"deviceName"_s, u"x"_s));
}

}  // namespace
}  // namespace takebox
