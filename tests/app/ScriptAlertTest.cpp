#include "app/ScriptAlert.h"

#include <gtest/gtest.h>

#include <QPushButton>

#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

TEST(ScriptAlert, asksAfterTenSecondsAndGoesAwayWithTheScript) {
    ScriptAlert supervisor;
    EXPECT_FALSE(supervisor.shouldEndScript(u"Mail"_s, 9.9));
    EXPECT_EQ(supervisor.alert(), nullptr);
    EXPECT_FALSE(supervisor.shouldEndScript(u"Mail"_s, 10));
    ASSERT_NE(supervisor.alert(), nullptr);
    EXPECT_TRUE(supervisor.alert()->isVisible());
    EXPECT_TRUE(supervisor.alert()->text().contains(u"\"Mail\""_s));
    EXPECT_FALSE(supervisor.shouldEndScript(u"Mail"_s, 100));
    supervisor.scriptDidEnd(u"Mail"_s);
    EXPECT_EQ(supervisor.alert(), nullptr);
}

TEST(ScriptAlert, buttonEndsTheScript) {
    test::LogCapture log;
    ScriptAlert supervisor;
    ASSERT_FALSE(supervisor.shouldEndScript(u"Mail"_s, 11));
    ASSERT_EQ(supervisor.alert()->buttons().size(), 1);
    supervisor.alert()->buttons().first()->click();
    EXPECT_TRUE(supervisor.shouldEndScript(u"Mail"_s, 12));
    EXPECT_TRUE(log.containsText("The script \"Mail\" was ended by the user"));
}

TEST(ScriptAlert, nextScriptIsAskedAboutAnew) {
    ScriptAlert supervisor;
    ASSERT_FALSE(supervisor.shouldEndScript(u"Mail"_s, 11));
    supervisor.scriptDidEnd(u"Mail"_s);
    EXPECT_FALSE(supervisor.shouldEndScript(u"Copy"_s, 1));
    EXPECT_EQ(supervisor.alert(), nullptr);
}

}  // namespace
}  // namespace takebox
