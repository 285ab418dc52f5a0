#include "storage/ChunkRing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace takebox::test {
namespace {

constexpr std::uint32_t kVideoChunk = 840000;
constexpr std::uint32_t kNTSCFrame = 120000;
constexpr std::uint32_t kPALFrame = 144000;

/// Frames of one size whose first byte is their number.
class Frames {
public:
    explicit Frames(std::uint32_t size) : mFrame(size) {}

    ChunkRing::Added addTo(ChunkRing& ring) {
        std::memset(mFrame.data(), mNumber++, 1);
        const auto size = static_cast<std::uint32_t>(mFrame.size());
        return ring.add(mFrame.data(), size, 1, size);
    }
    void addTo(ChunkRing& ring, int count) {
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(addTo(ring).isKept) << "frame " << i;
        }
    }

private:
    std::vector<unsigned char> mFrame;
    unsigned char mNumber = 0;
};

int firstNumberIn(const ChunkToWrite* chunk) {
    return chunk == nullptr ? -1 : static_cast<int>(chunk->bytes().front());
}

TEST(ChunkToWrite, isFreeWhenNew) {
    const ChunkToWrite chunk(100);
    EXPECT_EQ(chunk.size(), 100U);
    EXPECT_EQ(chunk.offset(), 0U);
    EXPECT_EQ(chunk.sampleCount(), 0U);
    EXPECT_EQ(chunk.sequenceNumber(), 0U);
    EXPECT_FALSE(chunk.isFull());
}

TEST(ChunkToWrite, appendsAndCountsSizes) {
    ChunkToWrite chunk(100);
    chunk.copyBuffer("abc", 3);
    chunk.addSamples(1, 3);
    chunk.copyBuffer("defdef", 6);
    chunk.addSamples(2, 3);
    chunk.copyBuffer("g", 1);
    chunk.addSamples(1, 1);
    EXPECT_EQ(chunk.offset(), 10U);
    EXPECT_EQ(chunk.sampleCount(), 4U);
    EXPECT_EQ(std::memcmp(chunk.bytes().data(), "abcdefdefg", 10), 0);
    ASSERT_EQ(chunk.sampleSizes().size(), 2U);
    EXPECT_EQ(chunk.sampleSizes()[0], (movietoolbox::SampleSizeRun{3, 3}));
    EXPECT_EQ(chunk.sampleSizes()[1], (movietoolbox::SampleSizeRun{1, 1}));
}

TEST(ChunkRing, marksAChunkFullOnlyWhenTheNextFrameDoesNotFit) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 7);
    ChunkToWrite* const first = ring.chunkWithSequenceNumber(1);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->offset(), kVideoChunk) << "filled to the last byte";
    EXPECT_FALSE(first->isFull());
    EXPECT_EQ(ring.nextFullChunk(), nullptr);
    EXPECT_TRUE(frames.addTo(ring).hasFilledChunk);
    EXPECT_TRUE(first->isFull());
    EXPECT_EQ(ring.nextFullChunk(), first);
    EXPECT_EQ(ring.chunkWithSequenceNumber(2)->offset(), kNTSCFrame);
}

TEST(ChunkRing, opensAChunkForTheSixthPALFrame) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kPALFrame);
    frames.addTo(ring, 5);
    EXPECT_EQ(ring.chunkWithSequenceNumber(2), nullptr);
    frames.addTo(ring, 1);
    EXPECT_EQ(ring.chunkWithSequenceNumber(1)->sampleCount(), 5U);
    EXPECT_EQ(ring.chunkWithSequenceNumber(2)->sampleCount(), 1U);
}

TEST(ChunkRing, circulatesItsChunks) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    int next = 0;
    for (int round = 0; round < 30; ++round) {
        frames.addTo(ring, 7);
        while (ChunkToWrite* const chunk = ring.nextFullChunk()) {
            EXPECT_EQ(firstNumberIn(chunk), next % 256);
            EXPECT_EQ(chunk->sampleCount(), 7U);
            next += 7;
            ring.chunkWasWritten(*chunk);
            EXPECT_EQ(chunk->offset(), 0U);
            EXPECT_FALSE(chunk->isFull());
        }
    }
    EXPECT_EQ(next, 29 * 7);
    EXPECT_EQ(ring.droppedSamples(), 0U);
}

TEST(ChunkRing, writesAPartlyFilledChunkInTheDrain) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 9);
    ChunkToWrite* const first = ring.nextChunkOfDrain();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->sampleCount(), 7U);
    ring.chunkWasWritten(*first);
    ChunkToWrite* const second = ring.nextChunkOfDrain();
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->sampleCount(), 2U);
    ring.chunkWasWritten(*second);
    EXPECT_EQ(ring.nextChunkOfDrain(), nullptr);
}

TEST(ChunkRing, drainsNothingWhenNothingCame) {
    ChunkRing ring(kVideoChunk);
    EXPECT_EQ(ring.nextChunkOfDrain(), nullptr);
}

TEST(ChunkRing, dropsWhatFindsNoRoom) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 42);
    EXPECT_FALSE(ring.isFrozen());
    EXPECT_FALSE(frames.addTo(ring).isKept) << "the 43rd";
    EXPECT_TRUE(ring.isFrozen());
    EXPECT_EQ(ring.samplesBeforeUnderrun(), 42U);
    EXPECT_FALSE(frames.addTo(ring).isKept);
    EXPECT_EQ(ring.droppedSamples(), 2U);
}

// The required form of an underrun: numbering starts again, the writer waits for the old sequence.
TEST(ChunkRing, startsNumberingAgainAfterAnUnderrunAndIsNotReadAnyMore) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 42);
    EXPECT_FALSE(frames.addTo(ring).isKept);
    for (int chunk = 0; chunk < 6; ++chunk) {
        ChunkToWrite* const full = ring.nextFullChunk();
        ASSERT_NE(full, nullptr);
        EXPECT_EQ(firstNumberIn(full), chunk * 7);
        ring.chunkWasWritten(*full);
    }
    // The ring is free; it fills up once more, with numbers 1 to 6.
    frames.addTo(ring, 42);
    for (std::uint32_t number = 1; number <= 6; ++number) {
        ASSERT_NE(ring.chunkWithSequenceNumber(number), nullptr);
    }
    EXPECT_EQ(ring.chunkWithSequenceNumber(7), nullptr);
    EXPECT_FALSE(frames.addTo(ring).isKept) << "from now on every frame is dropped";
    EXPECT_FALSE(frames.addTo(ring).isKept);
    EXPECT_EQ(ring.nextFullChunk(), nullptr);
    EXPECT_EQ(ring.nextChunkOfDrain(), nullptr);
    EXPECT_EQ(ring.droppedSamples(), 1U + 42 + 2) << "the queued ones are lost as well";
    EXPECT_EQ(ring.samplesBeforeUnderrun(), 42U);
}

TEST(ChunkRing, keepsTheOldSequenceWhenChunksBecomeFreeOneByOne) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 42);
    int written = 0;
    for (int chunk = 0; chunk < 6; ++chunk) {
        // Each chunk that becomes free is filled with the new sequence at once.
        while (frames.addTo(ring).isKept) {
        }
        ChunkToWrite* const full = ring.nextFullChunk();
        ASSERT_NE(full, nullptr);
        EXPECT_EQ(firstNumberIn(full), written);
        written += static_cast<int>(full->sampleCount());
        ring.chunkWasWritten(*full);
    }
    EXPECT_EQ(written, 42);
    while (frames.addTo(ring).isKept) {
    }
    EXPECT_EQ(ring.nextFullChunk(), nullptr);
    EXPECT_EQ(ring.nextChunkOfDrain(), nullptr);
}

TEST(ChunkRing, drainsTheChunksThatWereFullAtTheUnderrun) {
    ChunkRing ring(kVideoChunk);
    Frames frames(kNTSCFrame);
    frames.addTo(ring, 42);
    EXPECT_FALSE(frames.addTo(ring).isKept);
    ring.chunkWasWritten(*ring.nextFullChunk());
    frames.addTo(ring, 3);  // of the new sequence: not drained
    int drained = 0;
    while (ChunkToWrite* const chunk = ring.nextChunkOfDrain()) {
        EXPECT_EQ(firstNumberIn(chunk), 7 + drained);
        drained += static_cast<int>(chunk->sampleCount());
        ring.chunkWasWritten(*chunk);
    }
    EXPECT_EQ(drained, 35);
}

TEST(ChunkRing, refusesWhatIsLargerThanAChunk) {
    ChunkRing ring(1000);
    const std::vector<char> frame(1001);
    EXPECT_FALSE(ring.add(frame.data(), 1001, 1, 1001).isKept);
    EXPECT_TRUE(ring.add(frame.data(), 1000, 1, 1000).isKept);
    EXPECT_FALSE(ring.isFrozen());
    EXPECT_EQ(ring.droppedSamples(), 1U);
}

TEST(ChunkRing, movesOnWhenSizesChangeTooOftenForOneChunk) {
    ChunkRing ring(100000);
    const std::vector<char> frame(2);
    std::uint64_t kept = 0;
    for (std::uint32_t i = 0; i < 300; ++i) {
        kept += ring.add(frame.data(), 1 + i % 2, 1, 1 + i % 2).isKept ? 1 : 0;
    }
    EXPECT_EQ(kept, 300U);
    std::uint64_t found = 0;
    while (ChunkToWrite* const chunk = ring.nextChunkOfDrain()) {
        std::uint64_t bytes = 0;
        for (const auto& run : chunk->sampleSizes()) {
            bytes += std::uint64_t{run.count} * run.size;
        }
        EXPECT_EQ(bytes, chunk->offset());
        found += chunk->sampleCount();
        ring.chunkWasWritten(*chunk);
    }
    EXPECT_EQ(found, 300U);
}

}  // namespace
}  // namespace takebox::test
