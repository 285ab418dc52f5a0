#include "platform/avc/virtualdeck/TapeTimeCode.h"

#include <gtest/gtest.h>

namespace takebox::avc {
namespace {

TEST(TapeTimeCode, countsOnAtTheNominalRateRoundMidnight) {
    EXPECT_EQ((TapeTimeCode{0, 0, 59, 29}.advancedBy(1, DVStandard::kNTSC)),
              (TapeTimeCode{0, 1, 0, 0}));
    EXPECT_EQ((TapeTimeCode{23, 59, 59, 24}.advancedBy(1, DVStandard::kPAL)), (TapeTimeCode{}));
    EXPECT_EQ((TapeTimeCode{1, 0, 0, 0}.advancedBy(24ULL * 3600 * 30 + 31, DVStandard::kNTSC)),
              (TapeTimeCode{1, 0, 1, 1}));
}

TEST(TapeTimeCode, readsOnlyWholeTimeCodes) {
    EXPECT_EQ(TapeTimeCode::parse(QStringLiteral("23:59:58:29")), (TapeTimeCode{23, 59, 58, 29}));
    for (const char* text : {"", "1:00:00:00", "24:00:00:00", "00:60:00:00", "00:00:60:00",
                             "00:00:00:30", "00:00:00;00", "00:00:00:00 ", "00:00:00"}) {
        EXPECT_FALSE(TapeTimeCode::parse(QString::fromUtf8(text))) << text;
    }
}

TEST(TapeTimeCode, isPackedAsDecimalDigitsWithoutFlags) {
    const TapeTimeCode timeCode{12, 34, 56, 19};
    EXPECT_EQ(timeCode.packData(), (std::array<std::uint8_t, 4>{0x19, 0x56, 0x34, 0x12}));
    EXPECT_EQ(TapeTimeCode::fromPackData(timeCode.packData()), timeCode);
    EXPECT_STREQ(timeCode.text().data(), "12:34:56:19");
}

TEST(TapeTimeCode, isReadFromAPackWhateverItsFlags) {
    const std::array<std::uint8_t, 4> flagged{0x59, 0xD8, 0xC8, 0xC9};
    EXPECT_EQ(TapeTimeCode::fromPackData(flagged), (TapeTimeCode{9, 48, 58, 19}));
    const std::array<std::uint8_t, 4> none{0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_FALSE(TapeTimeCode::fromPackData(none));
}

}  // namespace
}  // namespace takebox::avc
