#include "platform/avc/ieee1394/DVFrameAssembler.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/avc/AVCDevice.h"
#include "support/firewire/DVPackets.h"

namespace takebox::avc {
namespace {

using test::DVFrame;
using test::kDVPayloadSize;
using test::makeFrame;
using test::makePacket;
using test::packetsOf;

struct Event {
    std::uint32_t message;
    DVFrame data;
};

class Recorder final : public DVFrameSink {
public:
    void frame(std::uint32_t message, const std::uint8_t* data, std::uint32_t length) override {
        if (data == nullptr) {
            missing.push_back(length);
        }
        events.push_back({message, data != nullptr ? DVFrame(data, data + length) : DVFrame()});
    }
    void overrun(std::uint32_t cyclesLost, std::uint32_t framesLost) override {
        overruns.push_back(cyclesLost);
        missing.push_back(framesLost);
    }

    [[nodiscard]] std::string messages() const {
        std::string text;
        for (const auto& event : events) {
            text += std::to_string(event.message);
        }
        return text;
    }

    std::vector<Event> events;
    std::vector<std::uint32_t> overruns;
    std::vector<std::uint32_t> missing;  ///< frames of each gap that is told
};

/// Sends frames through an assembler as a device would: 15 data packets, then an empty one. The
/// packets whose numbers are in `lost` do not arrive.
class Sender {
public:
    explicit Sender(DVFrameAssembler& assembler) : mAssembler(assembler) {}

    void send(const DVFrame& frame) {
        for (int i = 0; i < packetsOf(frame); ++i) {
            sendPacket(frame, i);
        }
    }
    void sendPacket(const DVFrame& frame, int index) {
        if (sent % 15 == 14) {
            std::uint8_t header[8];
            test::fillHeader(header, node, dbc, test::isPAL(frame));
            mAssembler.packet(header, {cycle, ringWasFull});
            ++cycle;
        }
        const auto packet = makePacket(frame, index, node, dbc);
        if (lost.count(sent) == 0) {
            mAssembler.packet(packet, {cycle, ringWasFull});
        }
        ++sent;
        ++dbc;
        ++cycle;
    }

    std::set<int> lost;
    int sent = 0;
    std::uint8_t node = 1;
    std::uint8_t dbc = 77;
    std::uint64_t cycle = 100;
    bool ringWasFull = true;  ///< without which there is no overrun

private:
    DVFrameAssembler& mAssembler;
};

class DVFrameAssemblerOfBothStandards : public testing::TestWithParam<bool> {
protected:
    /// Made once: a sanitizer takes longer for a frame than for all of its packets.
    [[nodiscard]] const DVFrame& frame(std::uint32_t number) {
        auto& made = mFrames[number];
        if (made.empty()) {
            made = makeFrame(GetParam(), number);
        }
        return made;
    }
    [[nodiscard]] int packets() { return packetsOf(frame(0)); }

    Recorder recorder;
    DVFrameAssembler assembler{4, recorder};
    Sender sender{assembler};

private:
    std::map<std::uint32_t, DVFrame> mFrames;
};

INSTANTIATE_TEST_SUITE_P(Standard, DVFrameAssemblerOfBothStandards, testing::Bool(),
                         [](const auto& standard) { return standard.param ? "PAL" : "NTSC"; });

TEST_P(DVFrameAssemblerOfBothStandards, framesComeOutAsTheyWereSentAndAtOnce) {
    for (std::uint32_t i = 0; i < 40; ++i) {
        sender.send(frame(i));
        ASSERT_EQ(recorder.events.size(), i + 1);
        EXPECT_EQ(recorder.events.back().message, kFrameReceived);
        EXPECT_EQ(recorder.events.back().data, frame(i));
    }
    EXPECT_TRUE(recorder.overruns.empty());
}

TEST_P(DVFrameAssemblerOfBothStandards, anyLostPacketCostsItsFrameOnly) {
    for (int i = 0; i < packets(); ++i) {
        Recorder seen;
        DVFrameAssembler each(4, seen);
        Sender from(each);
        from.lost = {packets() + i};
        for (std::uint32_t number = 0; number < 4; ++number) {
            from.send(frame(number));
        }
        ASSERT_EQ(seen.messages(), "0100") << "packet " << i;
        EXPECT_EQ(seen.events[2].data, frame(2));
        EXPECT_EQ(seen.events[3].data, frame(3));
    }
}

TEST_P(DVFrameAssemblerOfBothStandards, aHoleIsEmptyAndDoesNotShowAnOldFrame) {
    sender.lost = {5 * packets() + 7};
    for (std::uint32_t i = 0; i < 6; ++i) {
        sender.send(frame(i));
    }
    ASSERT_EQ(recorder.messages(), "000001");
    auto expected = frame(5);
    std::fill_n(expected.begin() + 7 * static_cast<long>(kDVPayloadSize), kDVPayloadSize, 0);
    EXPECT_EQ(recorder.events[5].data, expected);
}

TEST_P(DVFrameAssemblerOfBothStandards, wholeFramesMissingAreToldOnceForTheirGap) {
    for (int i = packets(); i < 3 * packets(); ++i) {
        sender.lost.insert(i);
    }
    for (std::uint32_t i = 0; i < 5; ++i) {
        sender.send(frame(i));
    }
    EXPECT_EQ(recorder.messages(), "0200");
    EXPECT_EQ(recorder.missing, std::vector<std::uint32_t>{2});
    EXPECT_EQ(recorder.events[2].data, frame(3));
    EXPECT_TRUE(recorder.overruns.empty());
}

TEST_P(DVFrameAssemblerOfBothStandards, aGapOverThreeFramesTellsBothEndsAndTheMiddle) {
    for (int i = packets() + 100; i < 3 * packets() + 50; ++i) {
        sender.lost.insert(i);
    }
    for (std::uint32_t i = 0; i < 5; ++i) {
        sender.send(frame(i));
    }
    EXPECT_EQ(recorder.messages(), "01210");
    EXPECT_EQ(recorder.missing, std::vector<std::uint32_t>{1});
    EXPECT_EQ(recorder.events[4].data, frame(4));
}

TEST_P(DVFrameAssemblerOfBothStandards, aGapFromOneFrameIntoALaterPlaceOfTheNextDoesNotFuseThem) {
    // From packet 100 to packet 200 of the following frame: the place alone would look like a gap
    // of 100 packets within one frame.
    for (int i = packets() + 100; i < 2 * packets() + 200; ++i) {
        sender.lost.insert(i);
    }
    for (std::uint32_t i = 0; i < 4; ++i) {
        sender.send(frame(i));
    }
    EXPECT_EQ(recorder.messages(), "0110");
}

TEST_P(DVFrameAssemblerOfBothStandards, nothingIsDeliveredBeforeTheFirstFrameStart) {
    for (int i = 1; i < packets(); ++i) {
        sender.sendPacket(frame(0), i);
    }
    EXPECT_TRUE(recorder.events.empty());
    sender.send(frame(1));
    EXPECT_EQ(recorder.messages(), "0");
}

TEST_P(DVFrameAssemblerOfBothStandards, doubledPacketsAreTakenOnce) {
    for (int i = 0; i < packets(); ++i) {
        sender.sendPacket(frame(0), i);
        --sender.dbc;
        sender.sendPacket(frame(0), i);
    }
    EXPECT_EQ(recorder.messages(), "0");
    EXPECT_EQ(recorder.events[0].data, frame(0));
}

TEST_P(DVFrameAssemblerOfBothStandards, packetsOfAnotherSenderAreLeftOut) {
    assembler.setSource(1);
    DVFrameAssembler::Packet foreign{};
    for (std::uint32_t number = 0; number < 3; ++number) {
        for (int i = 0; i < packets(); ++i) {
            sender.sendPacket(frame(number), i);
            const auto other = makePacket(frame(90), i, 2, static_cast<std::uint8_t>(i));
            foreign = assembler.packet(other, {sender.cycle, true});
        }
    }
    EXPECT_EQ(recorder.messages(), "000");
    EXPECT_EQ(recorder.events[2].data, frame(2));
    EXPECT_EQ(foreign, DVFrameAssembler::Packet::kForeign);
}

TEST_P(DVFrameAssemblerOfBothStandards, aRenumberedSenderIsFollowedWithoutLoss) {
    assembler.setSource(1);
    for (int i = 0; i < packets(); ++i) {
        if (i == 100) {
            assembler.renumberSource(2);
            assembler.renumberSource(3);  // two resets before the next packet
        }
        sender.node = i < 120 ? 1 : 3;  // what was sent before the resets comes first
        sender.sendPacket(frame(0), i);
    }
    EXPECT_EQ(recorder.messages(), "0");
    const auto other = makePacket(frame(1), 0, 1, sender.dbc);
    EXPECT_EQ(assembler.packet(other, {sender.cycle, true}), DVFrameAssembler::Packet::kForeign)
        << "the former number may be another node's now";
}

TEST_P(DVFrameAssemblerOfBothStandards, silenceOfMoreThanAFrameWithABrokenCounterIsOneOverrun) {
    sender.send(frame(0));
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(1), i);
    }
    sender.cycle += 600;
    sender.dbc = static_cast<std::uint8_t>(sender.dbc + 50);
    for (int i = 100; i < packets(); ++i) {
        sender.sendPacket(frame(3), i);
    }
    sender.send(frame(4));
    ASSERT_EQ(recorder.overruns.size(), 1U);
    EXPECT_GE(recorder.overruns[0], 600U);
    EXPECT_EQ(recorder.messages(), "00") << "the frames at the gap's ends are not told again";
    EXPECT_EQ(recorder.events[1].data, frame(4));
}

TEST_P(DVFrameAssemblerOfBothStandards, anEmptyPacketFirstAfterTheGapDoesNotHideTheOverrun) {
    sender.send(frame(0));
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(1), i);
    }
    sender.cycle += 2 * static_cast<unsigned>(packets()) * 16 / 15;
    sender.dbc = static_cast<std::uint8_t>(sender.dbc + 2 * packets());
    std::uint8_t empty[8];
    test::fillHeader(empty, sender.node, sender.dbc, GetParam());
    EXPECT_EQ(assembler.packet(empty, {sender.cycle, true}), DVFrameAssembler::Packet::kEmpty);
    for (int i = 10; i < packets(); ++i) {
        sender.sendPacket(frame(3), i);
    }
    sender.send(frame(4));
    EXPECT_EQ(recorder.missing, std::vector<std::uint32_t>{3});
    EXPECT_EQ(recorder.overruns.size(), 1U);
    EXPECT_EQ(recorder.messages(), "00");
}

TEST_P(DVFrameAssemblerOfBothStandards, anOverrunOfMinutesIsCountedToTheFrame) {
    sender.send(frame(0));
    constexpr int kFrames = 25 * 60 * 3;
    sender.cycle += GetParam() ? kFrames * 320ULL : kFrames * 8008ULL / 30;
    sender.dbc = static_cast<std::uint8_t>(sender.dbc + kFrames * packets());
    sender.send(frame(1));
    EXPECT_EQ(recorder.missing, std::vector<std::uint32_t>{kFrames});
    EXPECT_EQ(recorder.messages(), "00");
}

TEST_P(DVFrameAssemblerOfBothStandards, otherCycleNumbersAfterABusResetAreNoOverrun) {
    sender.send(frame(0));
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(1), i);
    }
    sender.ringWasFull = false;
    sender.cycle += 5000;
    sender.dbc = static_cast<std::uint8_t>(sender.dbc + 50);
    for (int i = 60; i < packets(); ++i) {
        sender.sendPacket(frame(1), i);
    }
    sender.send(frame(2));
    EXPECT_EQ(recorder.messages(), "010");
    EXPECT_TRUE(recorder.overruns.empty());
}

TEST_P(DVFrameAssemblerOfBothStandards, anOverrunAfterWhichTheCounterFitsIsTold) {
    sender.send(frame(0));
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(1), i);
    }
    // So many whole frames are a multiple of the counter's 256.
    const int frames = GetParam() ? 64 : 128;
    sender.cycle += static_cast<std::uint64_t>(frames * packets() + 90) * 16 / 15;
    sender.dbc = static_cast<std::uint8_t>(sender.dbc + 90);
    for (int i = 100; i < packets(); ++i) {
        sender.sendPacket(frame(2), i);
    }
    sender.send(frame(3));
    EXPECT_EQ(recorder.missing, std::vector<std::uint32_t>{static_cast<std::uint32_t>(frames) + 1});
    EXPECT_EQ(recorder.messages(), "00");
}

TEST_P(DVFrameAssemblerOfBothStandards, overrunsWithinOneFrameAreAllTold) {
    sender.send(frame(0));
    std::uint32_t expected = 0;
    for (const int reached : {100, 150, 200}) {
        const int before = expected == 0 ? packets() : reached - 40;
        const int gap = 3 * packets() + reached - before;
        sender.cycle += static_cast<std::uint64_t>(gap) * 16 / 15;
        sender.dbc = static_cast<std::uint8_t>(sender.dbc + gap);
        for (int i = reached; i < reached + 10; ++i) {
            sender.sendPacket(frame(4), i);
        }
        expected += 3;
    }
    for (int i = 210; i < packets(); ++i) {
        sender.sendPacket(frame(4), i);
    }
    sender.send(frame(5));
    EXPECT_EQ(recorder.messages(), "00");
    EXPECT_EQ(recorder.missing, (std::vector<std::uint32_t>{3, 3, 3}));
    EXPECT_EQ(recorder.events[1].data, frame(5));
}

TEST_P(DVFrameAssemblerOfBothStandards, anOverrunTellsHowManyFramesItCost) {
    // From within a frame, or from its end, to the start of one or into it.
    for (const int begun : {0, 10}) {
        for (const int reached : {0, 100}) {
            Recorder seen;
            DVFrameAssembler each(4, seen);
            Sender from(each);
            from.send(frame(0));
            for (int i = 0; i < begun; ++i) {
                from.sendPacket(frame(1), i);
            }
            const int gap = 3 * packets() + reached - begun;
            from.dbc = static_cast<std::uint8_t>(from.dbc + gap);
            from.cycle += static_cast<unsigned>(gap) * 16 / 15;
            for (int i = reached; i < packets(); ++i) {
                from.sendPacket(frame(4), i);
            }
            from.send(frame(5));
            const std::uint32_t broken = reached != 0 ? 1 : 0;
            ASSERT_EQ(seen.overruns.size(), 1U);
            EXPECT_EQ(seen.missing, std::vector<std::uint32_t>{3 + broken}) << begun << reached;
        }
    }
}

TEST_P(DVFrameAssemblerOfBothStandards, silenceAloneIsNoLoss) {
    for (int i = 0; i < packets(); ++i) {
        sender.sendPacket(frame(0), i);
        if (i == 30) {
            sender.cycle += 1000;
        }
    }
    EXPECT_EQ(recorder.messages(), "0");
    EXPECT_TRUE(recorder.overruns.empty());
}

TEST_P(DVFrameAssemblerOfBothStandards, aRestartDropsTheFrameBegunWithoutTellingIt) {
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(0), i);
    }
    assembler.restart();
    for (int i = 10; i < packets(); ++i) {
        sender.sendPacket(frame(0), i);
    }
    sender.send(frame(1));
    EXPECT_EQ(recorder.messages(), "0");
    EXPECT_EQ(recorder.events[0].data, frame(1));
}

TEST_P(DVFrameAssemblerOfBothStandards, theStandardMayChangeBetweenFrames) {
    sender.send(frame(0));
    const auto other = makeFrame(!GetParam(), 1);
    sender.send(other);
    sender.send(frame(2));
    EXPECT_EQ(recorder.messages(), "000");
    EXPECT_EQ(recorder.events[1].data, other);
    EXPECT_EQ(recorder.events[2].data, frame(2));
}

TEST_P(DVFrameAssemblerOfBothStandards, theStandardMayChangeWithinAFrame) {
    for (int i = 0; i < 10; ++i) {
        sender.sendPacket(frame(0), i);
    }
    const auto other = makeFrame(!GetParam(), 1);
    sender.send(other);
    EXPECT_EQ(recorder.messages(), "10");
    EXPECT_EQ(recorder.events[1].data, other);
}

TEST_P(DVFrameAssemblerOfBothStandards, aPacketDamagedInItsPlaceLeavesAHole) {
    for (int i = 0; i < packets(); ++i) {
        if (i == 20) {
            auto damaged = frame(0);
            damaged[20 * kDVPayloadSize + 2] = 0xFF;
            sender.sendPacket(damaged, i);
        } else {
            sender.sendPacket(frame(0), i);
        }
    }
    sender.send(frame(1));
    EXPECT_EQ(recorder.messages(), "10");
}

TEST(DVFrameAssembler, aFrameIsLongAsItsHeaderSaysNotAsThePacketsSay) {
    Recorder recorder;
    DVFrameAssembler assembler(4, recorder);
    const auto frame = makeFrame(true, 0);
    std::uint8_t dbc = 0;
    for (int i = 0; i < packetsOf(frame); ++i) {
        auto packet = makePacket(frame, i, 0, dbc++);
        packet[5] = 0x00;  // packets that claim 60 fields
        assembler.packet(packet, {static_cast<std::uint64_t>(i), false});
    }
    ASSERT_EQ(recorder.messages(), "0");
    EXPECT_EQ(recorder.events[0].data, frame);
}

TEST(DVFrameAssembler, otherFormatsAreNotTaken) {
    Recorder recorder;
    DVFrameAssembler assembler(4, recorder);
    const auto frame = makeFrame(false, 0);
    struct Change {
        std::size_t byte;
        std::uint8_t value;
    };
    // Transport stream, SDL, DVCPRO50, HD, other data block size.
    for (const auto change :
         {Change{4, 0xA0}, Change{5, 0x04}, Change{5, 0x74}, Change{5, 0x08}, Change{1, 0xF4}}) {
        auto packet = makePacket(frame, 0, 0, 0);
        packet[change.byte] = change.value;
        EXPECT_EQ(assembler.packet(packet, {0, false}), DVFrameAssembler::Packet::kNotDV);
    }
    EXPECT_EQ(assembler.packet({}, {0, false}), DVFrameAssembler::Packet::kNotDV);
    auto dvcpro = makePacket(frame, 0, 0, 0);
    dvcpro[5] = 0x78;
    EXPECT_EQ(assembler.packet(dvcpro, {0, false}), DVFrameAssembler::Packet::kData);
}

TEST(DVFrameAssembler, noiseNeitherCrashesNorMakesFrames) {
    std::uint64_t cycle = 0;
    Recorder recorder;
    DVFrameAssembler assembler(4, recorder);
    std::uint32_t state = 1;
    std::vector<std::uint8_t> noise(600);
    for (int round = 0; round < 20000; ++round) {
        for (auto& byte : noise) {
            state = state * 1664525U + 1013904223U;
            byte = static_cast<std::uint8_t>(state >> 24);
        }
        noise[1] = 120;
        noise[4] = 0x80;
        noise[5] = static_cast<std::uint8_t>(noise[5] & 0x80);
        const std::size_t sizes[] = {488, 488, 488, noise[6], 8, 600};
        cycle += noise[7] * 31U;
        assembler.packet(std::span(noise).first(sizes[round % 6]), {cycle, noise[6] % 2 == 0});
    }
    EXPECT_EQ(std::count_if(recorder.events.begin(), recorder.events.end(),
                            [](const Event& event) { return event.message == kFrameReceived; }),
              0);
}

}  // namespace
}  // namespace takebox::avc
