#include "app/desktop/RecoveryOffer.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPointer>
#include <QTemporaryDir>
#include <algorithm>

#include "app/desktop/DesktopInterface.h"
#include "storage/WriterThreads.h"
#include "support/Files.h"
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
    RecoveryOffer offer({recording});
    offer.setAttribute(Qt::WA_DeleteOnClose, false);
    offer.show();
    offer.findChild<QPushButton*>(QStringLiteral("recoverButton"))->click();
    // There is no such movie.
    EXPECT_TRUE(
        test::waitUntil([&] { return textOf(offer).contains(QStringLiteral("cannot be read")); }));
    EXPECT_TRUE(QFile::exists(recording.notePath)) << "it is offered again";
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
