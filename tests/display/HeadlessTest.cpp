#include <gtest/gtest.h>

#include "display/CDiskTimeFormatter.h"

namespace takebox {
namespace {

TEST(CDiskTimeFormatterHeadless, hasAColorWithoutADesktopToAsk) {
    EXPECT_EQ(CDiskTimeFormatter().attributedStringForObjectValue(0, {}).color(),
              QColor(Qt::darkBlue));
}

}  // namespace
}  // namespace takebox
