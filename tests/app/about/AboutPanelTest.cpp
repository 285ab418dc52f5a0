#include "app/about/AboutPanel.h"

#include <gtest/gtest.h>

#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <cstdlib>

#include "display/widgets/Resources.h"

namespace takebox {
namespace {

TEST(AboutPanel, showsTheVersionInTheMiddleOfTheScreen) {
    loadResources();
    AboutPanel panel;
    panel.orderFront(QStringLiteral("version 1.2.3"));
    EXPECT_TRUE(panel.isVisible());
    EXPECT_EQ(panel.findChild<QLabel*>(QStringLiteral("aboutVersionField"))->text(),
              QStringLiteral("version 1.2.3"));
    const QPoint off = panel.geometry().center() - panel.screen()->availableGeometry().center();
    EXPECT_LE(std::abs(off.x()), 2);
    EXPECT_LE(std::abs(off.y()), 2);
}

TEST(AboutPanel, closesByItsButtonAndOpensAgain) {
    loadResources();
    AboutPanel panel;
    panel.orderFront(QStringLiteral("version 0.0.0"));
    panel.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Close)->click();
    EXPECT_FALSE(panel.isVisible());
    panel.orderFront(QStringLiteral("version 0.0.0"));
    EXPECT_TRUE(panel.isVisible());
}

}  // namespace
}  // namespace takebox
