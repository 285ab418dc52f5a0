#include "capture/preview/DVPreview.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <thread>

#include "support/DVMaterial.h"

namespace takebox {
namespace {

using decompression::ImageDescription;
using decompression::makeDVNTSCImageDescription;
using decompression::makeDVPALImageDescription;

struct Onlooker : PreviewDelegate {
    bool isLooking = true;
    std::vector<QImage> images;

    void setPreviewImage(const QImage& image) override { images.push_back(image); }
    [[nodiscard]] bool wantsPreviewImage() const override { return isLooking; }
};

struct DVPreviewTest : ::testing::Test {
    DVPreview preview{makeDVPALImageDescription(), 25.0};
    Onlooker onlooker;
    std::vector<QByteArray> frames = test::makeDVFrames(true, false, 3);

    void SetUp() override {
        ASSERT_EQ(frames.size(), 3U) << "ffmpeg is needed to make test pictures";
        preview.setDelegate(&onlooker);
    }

    void offer(const QByteArray& frame) {
        preview.offerFrame(reinterpret_cast<const std::uint8_t*>(frame.constData()),
                           static_cast<std::uint32_t>(frame.size()));
    }
    void show(const QByteArray& frame, std::uint32_t recordedFrames = 0) {
        offer(frame);
        preview.decompressFrame(recordedFrames);
    }
};

TEST_F(DVPreviewTest, createsTheSessionWithTheFirstFrameAndShowsTheSecond) {
    show(frames[0]);
    EXPECT_TRUE(onlooker.images.empty());
    EXPECT_EQ(preview.frameCount(), 0U);
    EXPECT_EQ(preview.timeScale(), 2500);
    EXPECT_EQ(preview.previewBounds(), QRectF(0, 0, 180, 135));
    EXPECT_TRUE(preview.JPEGPreviewData().isEmpty());
    show(frames[1]);
    ASSERT_EQ(onlooker.images.size(), 1U);
    EXPECT_EQ(onlooker.images[0].size(), QSize(180, 135));
    EXPECT_EQ(preview.frameCount(), 1U);
}

TEST_F(DVPreviewTest, doesNothingWithoutANewFrame) {
    show(frames[0]);
    show(frames[1]);
    preview.decompressFrame(0);
    EXPECT_EQ(onlooker.images.size(), 1U);
}

TEST_F(DVPreviewTest, showsOnlyTheNewestFrameToABusyMainThread) {
    show(frames[0]);
    for (int i = 0; i < 10; ++i) {
        offer(frames[1]);
    }
    offer(frames[2]);
    for (int i = 0; i < 11; ++i) {
        preview.decompressFrame(0);
    }
    EXPECT_EQ(onlooker.images.size(), 1U);
}

TEST_F(DVPreviewTest, countsDisplayTimeInRecordedFrames) {
    show(frames[0], 5);
    EXPECT_EQ(preview.lastTime(), 0);
    show(frames[1], 0);
    EXPECT_EQ(preview.lastTime(), 0);
    show(frames[1], 3);
    EXPECT_EQ(preview.lastTime(), 300);
    show(frames[1], 0);
    EXPECT_EQ(preview.lastTime(), 0);
    EXPECT_EQ(onlooker.images.size(), 3U);
}

TEST_F(DVPreviewTest, startsItsTimeAgainAfterDays) {
    show(frames[0]);
    show(frames[1], 21474836);
    EXPECT_EQ(preview.lastTime(), 2147483600);
    show(frames[2], 21474837);
    EXPECT_EQ(preview.lastTime(), static_cast<std::int32_t>(2147483700LL - (1LL << 32)));
}

TEST_F(DVPreviewTest, widensThePictureOfWidePAL) {
    preview.set16By9(true);
    EXPECT_EQ(preview.previewBounds(), QRectF(0, 0, 240, 135));
    show(frames[0]);
    show(frames[1]);
    ASSERT_EQ(onlooker.images.size(), 1U);
    EXPECT_EQ(onlooker.images[0].size(), QSize(240, 135));
    preview.set16By9(false);
    show(frames[2]);
    EXPECT_EQ(onlooker.images[1].size(), QSize(180, 135));
}

TEST_F(DVPreviewTest, leavesThePictureOfWideNTSC) {
    DVPreview ntsc(makeDVNTSCImageDescription(), 29.97);
    ntsc.updatePreviewBounds();
    EXPECT_EQ(ntsc.previewBounds(), QRectF(0, 0, 180, 135));
    ntsc.set16By9(true);
    EXPECT_EQ(ntsc.previewBounds(), QRectF(0, 0, 180, 135));
}

TEST_F(DVPreviewTest, usesStoredSizesWithoutDisplaySizes) {
    ImageDescription pal = makeDVPALImageDescription();
    pal.displayWidth.reset();
    pal.displayHeight.reset();
    DVPreview palPreview(pal, 25.0);
    palPreview.set16By9(true);
    EXPECT_EQ(palPreview.previewBounds(), QRectF(0, 0, 169, 135));
    ImageDescription ntsc = makeDVNTSCImageDescription();
    ntsc.displayWidth.reset();
    ntsc.displayHeight.reset();
    DVPreview ntscPreview(ntsc, 29.97);
    ntscPreview.updatePreviewBounds();
    EXPECT_EQ(ntscPreview.previewBounds(), QRectF(0, 0, 203, 135));
}

TEST_F(DVPreviewTest, setsBoundsOfAnotherSize) {
    preview.setPreviewBounds({0, 0, 320, 135});
    EXPECT_EQ(preview.previewBounds(), QRectF(0, 0, 320, 135));
    preview.setPreviewBounds({10, 10, 320, 135});
    EXPECT_EQ(preview.previewBounds(), QRectF(0, 0, 320, 135));
}

TEST_F(DVPreviewTest, answersTheNewestPictureAsJPEG) {
    show(frames[0]);
    show(frames[1]);
    const QByteArray jpeg = preview.JPEGPreviewData();
    const QImage image = QImage::fromData(jpeg, "JPEG");
    ASSERT_EQ(image.size(), QSize(180, 135));
    EXPECT_EQ(preview.JPEGPreviewData(), jpeg);
    show(frames[2]);
    EXPECT_NE(preview.JPEGPreviewData(), jpeg);
}

TEST_F(DVPreviewTest, encodesAtAQuarterOfTheQuality) {
    show(frames[0]);
    show(frames[1]);
    ASSERT_EQ(onlooker.images.size(), 1U);
    QByteArray quarter;
    QBuffer buffer(&quarter);
    ASSERT_TRUE(onlooker.images[0].save(&buffer, "JPEG", 25));
    EXPECT_EQ(preview.JPEGPreviewData(), quarter);
}

TEST_F(DVPreviewTest, decodesForTheJPEGWhenNobodyLooks) {
    onlooker.isLooking = false;
    show(frames[0]);
    show(frames[1], 7);
    EXPECT_EQ(preview.frameCount(), 0U);
    EXPECT_TRUE(onlooker.images.empty());

    DVPreview looked(makeDVPALImageDescription(), 25.0);
    Onlooker present;
    looked.setDelegate(&present);
    for (const QByteArray& frame : {frames[0], frames[1]}) {
        looked.offerFrame(reinterpret_cast<const std::uint8_t*>(frame.constData()), 144000);
        looked.decompressFrame(7);
    }
    EXPECT_EQ(preview.JPEGPreviewData(), looked.JPEGPreviewData());
    EXPECT_EQ(preview.frameCount(), 1U);
    EXPECT_EQ(preview.lastTime(), 700);
}

TEST_F(DVPreviewTest, worksWithoutADelegate) {
    preview.setDelegate(nullptr);
    show(frames[0]);
    show(frames[1]);
    EXPECT_FALSE(preview.JPEGPreviewData().isEmpty());
}

TEST_F(DVPreviewTest, storesABareEndMarkerWithoutAnImage) {
    preview.updateJPEGPreviewDataWithImage({});
    EXPECT_EQ(preview.JPEGPreviewData(), QByteArray("\xFF\xD9"));
    show(frames[0]);
    show(frames[1]);
    EXPECT_GT(preview.JPEGPreviewData().size(), 2);
    preview.updateJPEGPreviewDataWithImage({});
    EXPECT_EQ(preview.JPEGPreviewData(), QByteArray("\xFF\xD9"));
}

TEST_F(DVPreviewTest, displaysOnlyEmittedPictures) {
    decompression::PixelBuffer buffer{4, 3, std::vector<std::uint32_t>(12, 0xFF102030)};
    preview.setPreviewBounds({0, 0, 4, 3});
    preview.displayData(&buffer, 0xFFFFFFFB, 0, 0, 0);
    preview.displayData(nullptr, 4, 0, 0, 0);
    EXPECT_TRUE(onlooker.images.empty());
    EXPECT_TRUE(preview.JPEGPreviewData().isEmpty());
    preview.displayData(&buffer, 4, 0, 0, 0);
    ASSERT_EQ(onlooker.images.size(), 1U);
    EXPECT_EQ(onlooker.images[0].pixel(3, 2), 0xFF102030);
}

TEST_F(DVPreviewTest, keepsThePictureWhenAFrameCannotBeDecoded) {
    show(frames[0]);
    show(frames[1]);
    const QByteArray jpeg = preview.JPEGPreviewData();
    show({});
    EXPECT_EQ(onlooker.images.size(), 1U);
    EXPECT_EQ(preview.JPEGPreviewData(), jpeg);
}

TEST_F(DVPreviewTest, agreesOnTheBoundsWhicheverThreadSetsThemLast) {
    for (int round = 0; round < 200; ++round) {
        const bool isWide = round % 2 == 0;
        std::jthread receiver([this, isWide] { preview.set16By9(isWide); });
        preview.updatePreviewBounds();
        receiver.join();
        EXPECT_EQ(preview.previewBounds().width(), isWide ? 240 : 180);
    }
}

TEST_F(DVPreviewTest, showsNothingOfPicturesThatAreNoDV) {
    ImageDescription uncompressed = makeDVPALImageDescription();
    uncompressed.codecType = decompression::fourCharCode("2vuy");
    DVPreview other(uncompressed, 25.0);
    other.setDelegate(&onlooker);
    for (const QByteArray& frame : frames) {
        other.offerFrame(reinterpret_cast<const std::uint8_t*>(frame.constData()), 144000);
        other.decompressFrame(0);
    }
    EXPECT_TRUE(onlooker.images.empty());
    EXPECT_EQ(other.frameCount(), 0U);
}

TEST(WithColor, givesUncompressedPicturesTheColorsThatTheyDoNotSay) {
    ImageDescription description;
    EXPECT_FALSE(withColor(description).color);
    description.codecType = decompression::fourCharCode("2vuy");
    EXPECT_EQ(withColor(description).color, (decompression::ColorParameters{6, 1, 6}));
    description.color = decompression::ColorParameters{1, 1, 1};
    EXPECT_EQ(withColor(description).color, (decompression::ColorParameters{1, 1, 1}));
}

TEST(ImageWithCVPixelBuffer, hasTheWantedSize) {
    decompression::PixelBuffer buffer{2, 2, {0xFF112233, 0xFF112233, 0xFF112233, 0xFF112233}};
    const QImage same = imageWithCVPixelBuffer(&buffer, {2, 2});
    EXPECT_EQ(same.pixel(1, 1), 0xFF112233);
    EXPECT_EQ(imageWithCVPixelBuffer(&buffer, {7, 5}).size(), QSize(7, 5));
    EXPECT_TRUE(imageWithCVPixelBuffer(&buffer, {}).isNull());
    EXPECT_TRUE(imageWithCVPixelBuffer(nullptr, {2, 2}).isNull());
    buffer.pixels[3] = 0xFF000000;
    EXPECT_EQ(same.pixel(1, 1), 0xFF112233) << "the image must not borrow the buffer";
}

}  // namespace
}  // namespace takebox
