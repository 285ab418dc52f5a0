#include "app/desktop/RecoveryOffer.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPointer>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <algorithm>
#include <future>
#include <memory>

#include "../../platform/movietoolbox/MemoryMovieFile.h"
#include "app/desktop/DesktopInterface.h"
#include "storage/WriterThreads.h"
#include "support/DVMaterial.h"
#include "support/Files.h"
#include "support/LogCapture.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

struct RecoveryOfferTest : ::testing::Test {
    QTemporaryDir folder;
    AbandonedRecording recording;

    RecoveryOfferTest() {
        recording.note.moviePath = folder.filePath(QStringLiteral("Take.mov"));
        recording.notePath = folder.filePath(QStringLiteral("1-0.recording"));
        test::writeFile(recording.notePath, {});
    }
    ~RecoveryOfferTest() override { WriterThreads::waitUntilFinished(); }

    /// That many recordings, with movies that do not exist.
    [[nodiscard]] std::vector<AbandonedRecording> recordings(int count) const {
        std::vector<AbandonedRecording> made;
        for (int i = 0; i < count; ++i) {
            made.push_back(recording);
            made.back().note.moviePath = folder.filePath(
                QStringLiteral(
                    "An interview with a name as long as names of interviews may be %1.mov")
                    .arg(i));
        }
        return made;
    }
    static void recover(RecoveryOffer& offer,
                        const QString& result = QStringLiteral("cannot be read")) {
        offer.setAttribute(Qt::WA_DeleteOnClose, false);
        offer.show();
        offer.findChild<QPushButton*>(QStringLiteral("recoverButton"))->click();
        EXPECT_TRUE(test::waitUntil([&] { return textOf(offer).contains(result); }));
        QCoreApplication::processEvents();
    }
    static QString textOf(const QDialog& dialog) { return dialog.findChild<QLabel*>()->text(); }
};

TEST_F(RecoveryOfferTest, namesTheRecordingAndBlocksNothing) {
    DesktopInterface interface;
    interface.offerRecovery({recording});
    const auto dialogs = QApplication::topLevelWidgets();
    const auto found = std::find_if(dialogs.begin(), dialogs.end(), [](QWidget* widget) {
        return widget->objectName() == QLatin1String("recoveryOffer");
    });
    ASSERT_NE(found, dialogs.end());
    EXPECT_TRUE((*found)->isVisible());
    EXPECT_FALSE((*found)->isModal());
    EXPECT_TRUE(textOf(*qobject_cast<QDialog*>(*found)).contains(QStringLiteral("Take.mov")));
}

TEST_F(RecoveryOfferTest, recoversInTheBackgroundAndTellsWhatBecameOfIt) {
    test::LogCapture log;
    RecoveryOffer offer({recording});
    recover(offer);  // there is no such movie
    EXPECT_TRUE(QFile::exists(recording.notePath)) << "it is offered again";
    EXPECT_TRUE(log.containsText("Take.mov cannot be read"));
}

TEST_F(RecoveryOfferTest, offersNoMoreWhatHasBeenRecovered) {
    test::writeFile(recording.note.moviePath, test::cutOffMovie(3));
    test::LogCapture log;
    RecoveryOffer offer({recording});
    recover(offer, QStringLiteral("recovered: 3 frames"));
    EXPECT_FALSE(QFile::exists(recording.notePath));
    EXPECT_TRUE(QFile::exists(folder.filePath(QStringLiteral("Take (original).mov"))));
}

TEST_F(RecoveryOfferTest, leavesEverythingAsItWasWhenItIsClosedMeanwhile) {
    const QByteArray content = test::cutOffMovie(3);
    test::writeFile(recording.note.moviePath, content);
    AbandonedRecording next = recording;
    next.note.moviePath = folder.filePath(QStringLiteral("Next.mov"));
    // The new movie cannot be begun before the window has gone.
    std::promise<void> hasGone;
    test::MemoryDisk disk;
    disk.beforeWrite = [gone = hasGone.get_future().share()] { gone.wait(); };
    const test::MemoryDiskForMovies guard(disk);
    test::LogCapture log;
    const QPointer<RecoveryOffer> offer =  // destroys itself
        std::make_unique<RecoveryOffer>(std::vector{recording, next}).release();
    offer->show();
    offer->findChild<QPushButton*>(QStringLiteral("recoverButton"))->click();
    offer->close();
    EXPECT_TRUE(test::waitUntil([&offer] { return offer.isNull(); }));
    hasGone.set_value();
    WriterThreads::waitUntilFinished();
    EXPECT_TRUE(log.containsText("Recovery: cancelled; the original is as it was"));
    EXPECT_FALSE(log.containsText("Next.mov")) << "nothing more is begun";
    EXPECT_TRUE(QFile::exists(recording.notePath)) << "it is offered again";
    EXPECT_EQ(test::contentsOf(recording.note.moviePath), content);
}

TEST_F(RecoveryOfferTest, showsTheWholeResult) {
    RecoveryOffer offer(recordings(10));
    recover(offer);
    const auto* const text = offer.findChild<QLabel*>();
    EXPECT_TRUE(textOf(offer).contains(QStringLiteral("be 9.mov")));
    EXPECT_GE(text->height(), text->heightForWidth(text->width()));
    EXPECT_TRUE(offer.rect().contains(QRect(text->mapTo(&offer, QPoint()), text->size())));
}

TEST_F(RecoveryOfferTest, scrollsWhatTheScreenHasNoRoomFor) {
    RecoveryOffer offer(recordings(60));
    EXPECT_TRUE(offer.screen()->availableGeometry().contains(offer.frameGeometry()));
    recover(offer);
    const auto* const text = offer.findChild<QLabel*>();
    const auto* const view = offer.findChild<QScrollArea*>();
    ASSERT_NE(view, nullptr);
    EXPECT_GE(text->height(), text->heightForWidth(text->width()));
    EXPECT_GT(view->verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(view->horizontalScrollBar()->maximum(), 0);
    EXPECT_TRUE(offer.screen()->availableGeometry().contains(offer.frameGeometry()));
}

TEST_F(RecoveryOfferTest, forgetsWhatNobodyWants) {
    RecoveryOffer offer({recording});
    offer.setAttribute(Qt::WA_DeleteOnClose, false);
    offer.show();
    offer.findChild<QPushButton*>(QStringLiteral("forgetButton"))->click();
    EXPECT_FALSE(offer.isVisible());
    EXPECT_FALSE(QFile::exists(recording.notePath));
}

}  // namespace
}  // namespace takebox
