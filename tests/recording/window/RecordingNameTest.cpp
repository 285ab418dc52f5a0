// The name of a recording in the window of its deck: typed, automatic, and shown while it records.

#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include "WindowFixture.h"
#include "platform/defaults/Defaults.h"

namespace takebox {
namespace {

class RecordingNameTest : public test::WindowFixture {};

TEST_F(RecordingNameTest, takesTheNameThatIsBeingTypedWhenAKeyStartsTheRecording) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    name.setFocus();
    name.selectAll();
    QTest::keyClicks(&name, QStringLiteral("Interview.mov"));
    QTest::keyClick(window, Qt::Key_R, Qt::ControlModifier);
    EXPECT_EQ(controller->recordingName(), QStringLiteral("Interview.mov"));
    EXPECT_EQ(control<QLabel>("tallyDetailLabel").text(), QStringLiteral("Interview"));
    click("stopButton");
}

TEST_F(RecordingNameTest, takesTheNameThatIsBeingTypedWhenAnotherStartsTheRecording) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    name.setFocus();
    name.selectAll();
    QTest::keyClicks(&name, QStringLiteral("Interview"));
    controller->recordButtonPushed();  // as the schedule and remote clients do
    EXPECT_EQ(name.text(), QStringLiteral("Interview"));
    EXPECT_EQ(control<QLabel>("tallyDetailLabel").text(), QStringLiteral("Interview"));
    click("stopButton");
    EXPECT_EQ(controller->recordingName(), QStringLiteral("Interview"));
}

TEST_F(RecordingNameTest, isKeptInThePreferencesWhenTypingEnds) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    name.selectAll();
    QTest::keyClicks(&name, QStringLiteral("Concert"));
    QTest::keyClick(&name, Qt::Key_Return);
    manualClock.advance(0);
    const Defaults nextSession(Defaults::standard().path());
    const QVariantMap stored =
        nextSession.objectForKey(QStringLiteral("Device Settings 00112233445566aa")).toMap();
    EXPECT_EQ(stored.value(QStringLiteral("Recording Name")), QStringLiteral("Concert"));
}

TEST_F(RecordingNameTest, showsTheNameThatAnotherGivesWhileOneIsBeingTyped) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    name.setFocus();
    QTest::keyClicks(&name, QStringLiteral(" and more"));
    controller->setRecordingName(QStringLiteral("Untitled"));  // as it was before
    EXPECT_EQ(name.text(), QStringLiteral("Untitled"));
    controller->recordButtonPushed();
    EXPECT_EQ(control<QLabel>("tallyDetailLabel").text(), QStringLiteral("Untitled"));
    click("stopButton");
}

TEST_F(RecordingNameTest, namesAutomaticallyAndGivesTheTypedNameBack) {
    openWindow();
    auto& name = control<QLineEdit>("recordingNameField");
    name.selectAll();
    QTest::keyClicks(&name, QStringLiteral("Concert"));
    click("autoCheckBox");
    EXPECT_EQ(name.text(), QStringLiteral("<<auto>>"));
    EXPECT_FALSE(name.isEnabled());
    EXPECT_TRUE(controller->autoNameRecordings());
    click("autoCheckBox");
    EXPECT_EQ(name.text(), QStringLiteral("Concert"));
    EXPECT_TRUE(name.isEnabled());
}

TEST_F(RecordingNameTest, showsTheNameOfARecordingLetterByLetter) {
    openWindow();
    controller->setAutoNameRecordings(false);
    controller->setRecordingName(QStringLiteral("<i>Take"));
    click("recordButton");
    const auto& name = control<QLabel>("tallyDetailLabel");
    EXPECT_EQ(name.text(), QStringLiteral("<i>Take"));
    EXPECT_EQ(name.textFormat(), Qt::PlainText);
    click("stopButton");
}

}  // namespace
}  // namespace takebox
