#include "display/Decibels.h"

#include <gtest/gtest.h>

namespace takebox {
namespace {

TEST(Decibels, fromAmplitudes) {
    EXPECT_EQ(ampdb(1), 0);
    EXPECT_NEAR(ampdb(0.5), -6.02, 0.005);
    EXPECT_TRUE(std::isinf(ampdb(0)));
    EXPECT_LT(ampdb(0), 0);
}

TEST(Decibels, toAmplitudes) {
    EXPECT_EQ(dbamp(0), 1);
    EXPECT_NEAR(dbamp(-20), 0.1, 1e-12);
    EXPECT_NEAR(dbamp(ampdb(0.3)), 0.3, 1e-12);
}

}  // namespace
}  // namespace takebox
