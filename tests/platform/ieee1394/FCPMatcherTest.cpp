#include "platform/avc/ieee1394/FCPMatcher.h"

#include <gtest/gtest.h>

#include <array>

namespace takebox::avc {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint16_t kDeck = 0xFFC1;
const Bytes kPlay = {0x00, 0x20, 0xC3, 0x75};
const Bytes kAskState = {0x01, 0x20, 0xD0, 0x7F};

TEST(FCPMatcher, takesTheAnswerOfTheDeviceAsked) {
    FCPMatcher matcher(kPlay, kDeck);
    EXPECT_FALSE(matcher.isAnswered());
    matcher.fcpFrame(kDeck, true, Bytes{0x09, 0x20, 0xC3, 0x75});
    ASSERT_TRUE(matcher.isAnswered());
    EXPECT_EQ(matcher.answer()[0], kAccepted);
}

TEST(FCPMatcher, ignoresEverythingElse) {
    FCPMatcher matcher(kPlay, kDeck);
    matcher.fcpFrame(0xFFC2, true, Bytes{0x09, 0x20, 0xC3, 0x75});  // another node
    matcher.fcpFrame(kDeck, false, Bytes{0x09, 0x20, 0xC3, 0x75});  // a command to us
    matcher.fcpFrame(kDeck, true, Bytes{0x09, 0x20, 0xC4, 0x75});   // another opcode
    matcher.fcpFrame(kDeck, true, Bytes{0x09, 0x38, 0xC3, 0x75});   // another subunit
    matcher.fcpFrame(kDeck, true, Bytes{0x00, 0x20, 0xC3, 0x75});   // not a response code
    matcher.fcpFrame(kDeck, true, Bytes{0x19, 0x20, 0xC3, 0x75});   // not an AV/C frame
    matcher.fcpFrame(kDeck, true, Bytes{0x09, 0x20});               // short
    matcher.fcpFrame(kDeck, true, Bytes{});
    EXPECT_FALSE(matcher.isAnswered());
    EXPECT_FALSE(matcher.isInterim());
}

TEST(FCPMatcher, waitsForTheFinalAnswerAfterAnInterimOne) {
    FCPMatcher matcher(kPlay, kDeck);
    matcher.fcpFrame(kDeck, true, Bytes{0x0F, 0x20, 0xC3, 0x75});
    EXPECT_TRUE(matcher.isInterim());
    EXPECT_FALSE(matcher.isAnswered());
    matcher.fcpFrame(kDeck, true, Bytes{0x0A, 0x20, 0xC3, 0x75});
    ASSERT_TRUE(matcher.isAnswered());
    EXPECT_EQ(matcher.answer()[0], kRejected);
}

TEST(FCPMatcher, keepsTheFirstFinalAnswer) {
    FCPMatcher matcher(kPlay, kDeck);
    matcher.fcpFrame(kDeck, true, Bytes{0x0A, 0x20, 0xC3, 0x75});
    matcher.fcpFrame(kDeck, true, Bytes{0x09, 0x20, 0xC3, 0x75});
    EXPECT_EQ(matcher.answer()[0], kRejected);
}

TEST(FCPMatcher, theTransportStateIsAnsweredWithTheOpcodeOfTheMode) {
    FCPMatcher matcher(kAskState, kDeck);
    matcher.fcpFrame(kDeck, true, Bytes{0x0C, 0x20, 0xC4, 0x60});
    ASSERT_TRUE(matcher.isAnswered());
    EXPECT_EQ(matcher.answer()[2], 0xC4);
}

}  // namespace
}  // namespace takebox::avc
