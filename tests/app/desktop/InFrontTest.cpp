#include <gtest/gtest.h>

#include <QApplication>
#include <QEvent>
#include <QStringList>
#include <QWidget>

#include "app/desktop/DesktopInterface.h"
#include "recovery/OpenRecordings.h"

namespace takebox {
namespace {

/// What the program tells when it starts must not lie behind the windows that it opens then.
struct InFrontTest : ::testing::Test {
    /// Notes the visible windows that ask for the front.
    struct Front : QObject {
        QStringList windows;

        Front() { qApp->installEventFilter(this); }
        bool eventFilter(QObject* watched, QEvent* event) override {
            const auto* window = qobject_cast<QWidget*>(watched);
            if (event->type() == QEvent::ZOrderChange && window != nullptr && window->isVisible()) {
                windows << window->windowTitle();
            }
            return false;
        }
    };
    DesktopInterface interface;
    Front front;

    ~InFrontTest() override {
        for (QWidget* window : QApplication::topLevelWidgets()) {
            window->close();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
};

TEST_F(InFrontTest, putsTheOfferOfRecoveryThere) {
    interface.offerRecovery({AbandonedRecording()});
    EXPECT_EQ(front.windows, QStringList{QStringLiteral("Recordings That Were Cut Off")});
}

TEST_F(InFrontTest, putsThemThereAgainWhenTheDecksComeToTheFront) {
    interface.offerRecovery({AbandonedRecording()});
    interface.showWarning(QStringLiteral("Careful"), QStringLiteral("It is late."));
    front.windows.clear();
    interface.activate();
    front.windows.sort();
    EXPECT_EQ(front.windows, (QStringList{QStringLiteral("Careful"),
                                          QStringLiteral("Recordings That Were Cut Off")}));
}

TEST_F(InFrontTest, putsWarningsAndAlertsThere) {
    interface.showWarning(QStringLiteral("Careful"), QStringLiteral("It is late."));
    interface.showCriticalAlert(QStringLiteral("No room!"), QStringLiteral("Make room."));
    EXPECT_EQ(front.windows, (QStringList{QStringLiteral("Careful"), QStringLiteral("No room!")}));
}

}  // namespace
}  // namespace takebox
