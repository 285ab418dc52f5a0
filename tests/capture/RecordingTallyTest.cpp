#include "capture/RecordingTally.h"

#include <gtest/gtest.h>

#include "capture/RecordingReport.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

std::int32_t at(std::uint8_t frame) {
    return TimeCodeRecord{1, 2, 3, frame}.counter();
}

TEST(RecordingTallyTest, CountsWhatIsReceivedAndWhatIsDropped) {
    RecordingTally tally(true, true);
    tally.frameRecorded(at(0), true, true);
    tally.frameRecorded(at(1), false, true);
    tally.frameRecorded(at(2), true, false);
    tally.frameRecorded(at(3), false, false);
    EXPECT_EQ(tally.receivedFrames(), 4U);
    EXPECT_EQ(tally.droppedFrames(), 3U);
    EXPECT_EQ(tally.firstTimeCode(), (TimeCodeRecord{1, 2, 3, 0}));
    EXPECT_EQ(tally.lastTimeCode(), (TimeCodeRecord{1, 2, 3, 3}));
    const std::vector<Loss> losses = tally.losses();
    ASSERT_EQ(losses.size(), 3U);
    EXPECT_EQ(losses[0].kind, LossKind::kRawFiles);
    EXPECT_EQ(losses[1].kind, LossKind::kMovie);
    EXPECT_EQ(losses[2].kind, LossKind::kBoth);
    EXPECT_EQ(losses[2].timeCode, (TimeCodeRecord{1, 2, 3, 3}));
    EXPECT_EQ(losses[2].firstFrame, 3U);
}

TEST(RecordingTallyTest, WhatIsNotWantedIsNotMissing) {
    RecordingTally tally(false, true);
    tally.frameRecorded(at(0), false, true);
    EXPECT_EQ(tally.droppedFrames(), 0U);
    EXPECT_TRUE(tally.losses().empty());
}

TEST(RecordingTallyTest, LossesInARowAreOneEntryWithTheFirstTimeCode) {
    RecordingTally tally(true, false);
    for (std::uint8_t frame = 0; frame < 10; ++frame) {
        tally.frameRecorded(at(frame), frame < 3 || frame == 7, false);
    }
    const std::vector<Loss> losses = tally.losses();
    ASSERT_EQ(losses.size(), 2U);
    EXPECT_EQ(losses[0].timeCode, (TimeCodeRecord{1, 2, 3, 3}));
    EXPECT_EQ(losses[0].frames, 4U);
    EXPECT_EQ(losses[1].timeCode, (TimeCodeRecord{1, 2, 3, 8}));
    EXPECT_EQ(losses[1].frames, 2U);
}

TEST(RecordingTallyTest, TheListIsBoundedAndTheRestIsCounted) {
    RecordingTally tally(true, false);
    const std::size_t rows = RecordingTally::kMaximumLosses + 7;
    for (std::size_t i = 0; i < rows; ++i) {
        tally.frameRecorded(at(0), false, false);
        tally.frameRecorded(at(0), true, false);
    }
    EXPECT_EQ(tally.losses().size(), RecordingTally::kMaximumLosses);
    EXPECT_EQ(tally.furtherLosses(), 7U);
    EXPECT_EQ(tally.droppedFrames(), rows);
}

TEST(RecordingTallyTest, AReportNamesLossesByTheirTimeCode) {
    const auto tally = std::make_shared<RecordingTally>(true, true);
    tally->frameRecorded(at(4), false, true);
    tally->problemMessage(2, at(4));
    tally->problemMessage(0, at(4));
    tally->frameOfWrongSize(at(5));
    RecordingReport report;
    report.tally = tally;
    report.update();
    EXPECT_EQ(report.frames, 1U);
    EXPECT_EQ(report.problems, 2U);
    EXPECT_EQ(report.inconsistentFrames, 1U);
    EXPECT_EQ(report.lostFrames(), 4U);
    EXPECT_EQ(report.receivedFrames(), 2U);
    EXPECT_EQ(report.recordedFrames(), 0U);
    const QStringList lines = report.lossesByTimeCode();
    ASSERT_EQ(lines.size(), 4);
    EXPECT_EQ(lines[0], QStringLiteral("01:02:03:04 frames missing in the raw files: 1"));
    EXPECT_EQ(lines[1], QStringLiteral("01:02:03:04 frames that did not arrive: 2"));
    EXPECT_EQ(lines[2], QStringLiteral("01:02:03:04 problems on the way from the deck: 1"));
    EXPECT_FALSE(report.isFinal());
    tally->end();
    EXPECT_TRUE(report.isFinal());
}

TEST(RecordingTallyTest, AReportHasAPhraseForEachKindOfLoss) {
    const auto tally = std::make_shared<RecordingTally>(true, true);
    tally->frameRecorded(at(1), true, false);
    tally->frameRecorded(at(2), false, false);
    tally->problemMessage(0, at(3));
    tally->frameOfWrongSize(at(3));
    for (std::size_t i = 4; i < RecordingTally::kMaximumLosses + 2; ++i) {
        tally->frameRecorded(at(4), true, true);
        tally->frameRecorded(at(5), false, true);
    }
    RecordingReport report;
    report.tally = tally;
    const QStringList lines = report.lossesByTimeCode();
    ASSERT_EQ(lines.size(), RecordingTally::kMaximumLosses + 1);
    EXPECT_EQ(lines[0],
              QStringLiteral("01:02:03:01 frames missing in the self-contained movie: 1"));
    EXPECT_EQ(lines[1], QStringLiteral("01:02:03:02 frames missing in all files: 1"));
    EXPECT_TRUE(lines[2].endsWith(QStringLiteral("problems on the way from the deck: 1")));
    EXPECT_TRUE(lines[3].endsWith(QStringLiteral("frames of a wrong size: 1")));
    EXPECT_EQ(lines.back(), QStringLiteral("and 2 more"));
}

TEST(RecordingTallyTest, AReportSumsUpWhatWasLost) {
    RecordingReport report;
    EXPECT_EQ(report.losses(), QStringList{QStringLiteral("everything, no frame was received")});
    report.frames = 1;
    EXPECT_TRUE(report.losses().isEmpty());
    report.problems = 2;
    report.inconsistentFrames = 3;
    report.wantedRawFiles = true;
    EXPECT_EQ(report.losses(),
              (QStringList{QStringLiteral("frames on the way from the device, 2 times"),
                           QStringLiteral("3 frames of a wrong size"),
                           QStringLiteral("the .dv file could not be made"),
                           QStringLiteral("the .aud file could not be made")}));
}

TEST(RecordingTallyTest, AReportSaysThatADiskWasTooSlow) {
    // Nobody writes the file: what finds no room in it is dropped.
    const auto file =
        BufferedFile::initVideoBufferedFileWithPath(QStringLiteral("/takes/Take.dv"), 100, 10);
    const std::vector<std::uint8_t> block(100);
    while (file->droppedBlocks() < 3) {
        file->appendBlock(block.data(), 100, false);
    }
    RecordingReport report;
    report.frames = 100;
    report.wantedRawFiles = true;
    report.dvFile = file;
    report.audioFile =
        BufferedFile::initAudioBufferedFileWithPath(QStringLiteral("/takes/Take.aud"), 100, 10);
    EXPECT_EQ(report.losses(),
              QStringList{QStringLiteral("3 frames of Take.dv, the disk was too slow")});
}

TEST(RecordingTallyTest, AFrameThatSeveralFilesLackIsLostOnce) {
    // The disk takes nothing of the raw file, and from the 11th frame on the movie has no room.
    constexpr int kFrames = 20;
    const auto tally = std::make_shared<RecordingTally>(true, true);
    const auto file =
        BufferedFile::initVideoBufferedFileWithPath(QStringLiteral("/dev/full"), 100, 10);
    ASSERT_EQ(file->openForWriting(false), 0);
    const std::vector<std::uint8_t> block(100);
    for (int frame = 0; frame < kFrames; ++frame) {
        tally->frameRecorded(at(static_cast<std::uint8_t>(frame)),
                             file->appendBlock(block.data(), 100, false), frame < 10);
    }
    file->close();
    WriterThreads::waitUntilFinished();
    RecordingReport report;
    report.wantedRawFiles = true;
    report.dvFile = file;
    report.audioFile = file;
    report.tally = tally;
    report.update();
    EXPECT_EQ(report.lostFrames(), 20U);
    EXPECT_EQ(report.recordedFrames(), 0U);
    EXPECT_EQ(report.losses()[0], QStringLiteral("20 frames of full: No space left on device"));
}

}  // namespace
}  // namespace takebox
