#include "display/widgets/WindowFit.h"

#include <gtest/gtest.h>

namespace takebox {
namespace {

TEST(ContentScrollView, asksForTheRoomOfItsContent) {
    ContentScrollView view;
    QScrollArea plain;
    plain.setFrameShape(QFrame::NoFrame);
    EXPECT_EQ(view.sizeHint(), plain.sizeHint()) << "without one, as any other";
    auto* const content = std::make_unique<QWidget>().release();
    content->setMinimumSize(700, 900);
    view.setWidget(content);  // which owns it
    EXPECT_GT(view.sizeHint().width(), 700);
    EXPECT_EQ(view.sizeHint().height(), 900);
}

}  // namespace
}  // namespace takebox
