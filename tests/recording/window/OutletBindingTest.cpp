#include "recording/window/OutletBinding.h"

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include "display/CDiskTimeFormatter.h"
#include "display/Outlets.h"
#include "display/TimeCodeFormatter.h"
#include "display/meters/CVuMeterView.h"
#include "display/widgets/ReadoutView.h"

namespace takebox {
namespace {

TEST(OutletBinding, tiesACheckBoxBothWays) {
    ButtonOutlet outlet;
    QCheckBox box;
    box.resize(100, 30);
    int actions = 0;
    bindControl(box, outlet, [&actions] { ++actions; });
    outlet.setState(true);
    EXPECT_TRUE(box.isChecked());
    EXPECT_EQ(actions, 0);
    outlet.setEnabled(false);
    EXPECT_FALSE(box.isEnabled());
    outlet.setEnabled(true);
    box.click();
    EXPECT_FALSE(outlet.state());
    EXPECT_EQ(actions, 1);
}

TEST(OutletBinding, takesATextAsItIsTypedAndActsWhenEditingEnds) {
    FieldOutlet outlet;
    QLineEdit field;
    int actions = 0;
    bindControl(field, outlet, [&actions] { ++actions; });
    outlet.setStringValue(QStringLiteral("one"));
    EXPECT_EQ(field.text(), QStringLiteral("one"));
    QTest::keyClicks(&field, QStringLiteral(" two"));
    EXPECT_EQ(outlet.stringValue(), QStringLiteral("one two"));
    EXPECT_EQ(actions, 0);
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(outlet.stringValue(), QStringLiteral("one two"));
    EXPECT_EQ(actions, 1);
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(actions, 1) << "nothing was edited";
}

TEST(OutletBinding, takesAClearedFieldAsAnEmptyText) {
    FieldOutlet outlet;
    QLineEdit field;
    bindControl(field, outlet, [] {});
    outlet.setStringValue(QStringLiteral("a"));
    field.setFocus();
    QTest::keyClick(&field, Qt::Key_Backspace);
    EXPECT_EQ(field.text(), QString());
    EXPECT_TRUE(outlet.stringValue().isEmpty());
    EXPECT_FALSE(outlet.stringValue().isNull()) << "settings would take it for none at all";
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_FALSE(outlet.stringValue().isNull());
}

TEST(OutletBinding, typesOnWhereTheCursorStands) {
    FieldOutlet outlet;
    QLineEdit field;
    bindControl(field, outlet, [] {});
    outlet.setStringValue(QStringLiteral("ad"));
    field.setCursorPosition(1);
    QTest::keyClicks(&field, QStringLiteral("bc"));
    outlet.setEnabled(false);
    outlet.setEnabled(true);
    EXPECT_EQ(field.text(), QStringLiteral("abcd"));
    EXPECT_EQ(field.cursorPosition(), 3);
    outlet.setStringValue(QStringLiteral("ad"));
    EXPECT_EQ(field.text(), QStringLiteral("ad")) << "another has set it while it was typed";
}

TEST(OutletBinding, putsBackWhatTheFormatterRefuses) {
    TimeCodeFormatter formatter;
    FieldOutlet outlet;
    outlet.setFormatter(&formatter);
    outlet.setDoubleValue(3600);
    QLineEdit field;
    int actions = 0;
    bindControl(field, outlet, [&actions] { ++actions; });
    EXPECT_EQ(field.text(), QStringLiteral("01:00:00:00"));
    field.clear();
    QTest::keyClicks(&field, QStringLiteral("nonsense"));
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(field.text(), QStringLiteral("01:00:00:00"));
    EXPECT_EQ(actions, 0);
    field.clear();
    QTest::keyClicks(&field, QStringLiteral("112"));
    QTest::keyClick(&field, Qt::Key_Return);
    EXPECT_EQ(field.text(), QStringLiteral("00:00:01:12"));
    EXPECT_EQ(actions, 1);
}

TEST(OutletBinding, tiesAPopUpBothWays) {
    PopUpOutlet outlet;
    QComboBox popUp;
    popUp.addItems({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
    int actions = 0;
    bindControl(popUp, outlet, [&actions] { ++actions; });
    outlet.selectItemAtIndex(2);
    EXPECT_EQ(popUp.currentIndex(), 2);
    EXPECT_EQ(actions, 0);
    popUp.setCurrentIndex(1);
    EXPECT_EQ(outlet.indexOfSelectedItem(), 1);
    EXPECT_EQ(actions, 1);
    outlet.selectItemAtIndex(7);
    EXPECT_EQ(popUp.currentIndex(), -1);
    EXPECT_EQ(outlet.indexOfSelectedItem(), 7) << "a value from elsewhere stays as it is";
}

TEST(OutletBinding, colorsAReadoutByItsFormatter) {
    const CDiskTimeFormatter formatter;
    FieldOutlet outlet;
    outlet.setFormatter(&formatter);
    ReadoutView readout;
    bindControl(readout, outlet);
    outlet.setDoubleValue(7200);
    EXPECT_EQ(readout.text(), QStringLiteral("02:00:00"));
    EXPECT_EQ(readout.color(), QColor::fromRgbF(0.0F, 0.6F, 0.0F));
    outlet.setDoubleValue(1900);
    EXPECT_EQ(readout.color(), QColor::fromRgbF(1.0F, 0.5F, 0.0F));
    outlet.setDoubleValue(60);
    EXPECT_EQ(readout.color(), QColor::fromRgbF(1.0F, 0.0F, 0.0F));
}

TEST(OutletBinding, showsLevelsAndLabels) {
    FieldOutlet level;
    CVuMeterView meter;
    bindControl(meter, level);
    level.setDoubleValue(0.25);
    EXPECT_EQ(meter.doubleValue(), 0.25);
    FieldOutlet text;
    QLabel label;
    bindControl(label, text);
    text.setStringValue(QStringLiteral("0011"));
    EXPECT_EQ(label.text(), QStringLiteral("0011"));
}

TEST(OutletBinding, forgetsAControlThatIsGone) {
    FieldOutlet outlet;
    auto field = std::make_unique<QLineEdit>();
    bindControl(*field, outlet, [] {});
    field.reset();
    outlet.setStringValue(QStringLiteral("nobody shows it"));
    EXPECT_EQ(outlet.stringValue(), QStringLiteral("nobody shows it"));
}

}  // namespace
}  // namespace takebox
