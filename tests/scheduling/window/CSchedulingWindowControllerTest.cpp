#include "scheduling/window/CSchedulingWindowController.h"

#include <gmock/gmock.h>

#include <QApplication>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>

#include "scheduling/window/SchedulingWindow.h"

namespace takebox {
namespace {

using namespace test;
using ::testing::ElementsAre;

TEST_F(SchedulingWindow, editsTheEventOfTheSelectedRow) {
    const QSignalSpy changed(controller.get(),
                             &CSchedulingWindowController::scheduledEventsChanged);
    add("B", QTime(20, 0), 60);
    const auto event = add("A", QTime(21, 0), 60);
    const auto before = changed.count();
    table().clearSelection();
    controller->editEventButtonPushed();
    EXPECT_FALSE(sheet().isVisible()) << "nothing is selected";
    table().sortByColumn(1, Qt::AscendingOrder);
    table().selectRow(0);
    inSheet([this] { QTest::keyClick(&table(), Qt::Key_Return); },
            [this] {
                EXPECT_EQ(find<QLineEdit>("recordingNameField").text(), QStringLiteral("A"));
                find<QLineEdit>("recordingNameField").setText(QStringLiteral("C"));
                ok();
            });
    EXPECT_EQ(event->recordingName(), QStringLiteral("C"));
    EXPECT_EQ(changed.count(), before + 1);
    EXPECT_EQ(cell(1, 1), "C") << "sorted into its new place";
}

TEST_F(SchedulingWindow, selectsNothingWhileANewEventIsEdited) {
    add("A", QTime(20, 0), 60);
    table().selectRow(0);
    inNewEvent([this] {
        EXPECT_TRUE(table().selectionModel()->selectedRows().isEmpty());
        EXPECT_FALSE(find<QPushButton>("deleteEventButton").isEnabled());
        cancel();
    });
    EXPECT_TRUE(table().selectionModel()->selectedRows().isEmpty());
}

TEST_F(SchedulingWindow, deletesTheSelectedEventAndPutsItBack) {
    const auto first = add("A", QTime(20, 0), 60);
    const auto second = add("B", QTime(21, 0), 60);
    ASSERT_TRUE(saveSchedulingEventsToPreferences());
    table().clearSelection();
    controller->deleteEventButtonPushed();
    EXPECT_EQ(gSchedulingEvents->size(), 2U) << "nothing is selected";
    EXPECT_FALSE(find<QPushButton>("deleteEventButton").isEnabled());

    table().selectRow(0);
    QTest::keyClick(&table(), Qt::Key_Delete);
    EXPECT_THAT(*gSchedulingEvents, ElementsAre(second));
    EXPECT_EQ(table().model()->rowCount(), 1);
    EXPECT_EQ(Defaults::standard().arrayForKey(QStringLiteral("Scheduling Events")).size(), 2)
        << "not written before the next edit";
    find<QPushButton>("undoDeleteButton").click();
    EXPECT_THAT(*gSchedulingEvents, ElementsAre(first, second));
    EXPECT_FALSE(find<QPushButton>("undoDeleteButton").isVisible());
}

TEST_F(SchedulingWindow, leavesAListThatHasChangedBehindItsBack) {
    const auto event = add("A", QTime(20, 0), 60);
    controller->undoDeleteButtonPushed();
    EXPECT_THAT(*gSchedulingEvents, ElementsAre(event)) << "nothing was deleted";
    table().selectRow(0);
    const auto other = std::make_shared<CRecordingEvent>();
    *gSchedulingEvents = {other};
    controller->deleteEventButtonPushed();
    EXPECT_THAT(*gSchedulingEvents, ElementsAre(other)) << "the selected one is gone already";
}

TEST_F(SchedulingWindow, editsTheEventThatIsDoubleClicked) {
    add("A", QTime(20, 0), 60);
    const QPoint place = table().visualRect(table().model()->index(0, 1)).center();
    inSheet(
        [&] {
            QTest::mouseClick(table().viewport(), Qt::LeftButton, {}, place);
            QTest::mouseDClick(table().viewport(), Qt::LeftButton, {}, place);
        },
        [this] {
            EXPECT_EQ(find<QLineEdit>("recordingNameField").text(), QStringLiteral("A"));
            cancel();
        });
}

TEST_F(SchedulingWindow, replacesTheListOfEvents) {
    add("A", QTime(20, 0), 60);
    controller->setScheduledEvents({});
    EXPECT_TRUE(gSchedulingEvents->empty());
    EXPECT_TRUE(CSchedulingWindowController::scheduledEvents().empty());
    EXPECT_EQ(table().model()->rowCount(), 0);
}

/// The windows as pictures, for whoever changes them: into the folder TAKEBOX_SCREENSHOTS.
class SchedulingPictures : public SchedulingWindow, public ::testing::WithParamInterface<bool> {
protected:
    SchedulingPictures() {
        if (GetParam()) {
            QPalette dark(QColor(45, 45, 45), QColor(35, 35, 35));
            dark.setColor(QPalette::Highlight, QColor(61, 122, 184));
            QApplication::setPalette(dark);
            QApplication::processEvents();
        }
    }
    void TearDown() override {
        QApplication::setPalette(before);
        SchedulingWindow::TearDown();
    }

    static void save(QWidget* window, const char* name) {
        const QPixmap picture = window->grab();
        EXPECT_FALSE(picture.isNull());
        const QString pictures = qEnvironmentVariable("TAKEBOX_SCREENSHOTS");
        const auto* const look = GetParam() ? "-dark.png" : "-light.png";
        if (!pictures.isEmpty()) {
            EXPECT_TRUE(picture.save(pictures + u'/' + QString::fromLatin1(name) +
                                     QString::fromLatin1(look)));
        }
    }

    QPalette before = QApplication::palette();
};

TEST_P(SchedulingPictures, canBeLookedAt) {
    add("News", QTime(12, 0, 0), 1800)->setAlreadyScheduled(true);
    decks.all().back()->isRecording = true;
    add("Weather", QTime(13, 0), 60);
    const auto weekly = add("Council meeting", QTime(20, 0), 7200, {});
    weekly->setShouldRecord(true, 1);
    weekly->setShouldRecord(true, 4);
    add("Overlapping", QTime(21, 0), 600);
    add("Archive", QTime(23, 0), 7200, kMonday.addDays(2))->setDeviceGUID(4711);
    add("Yesterday", QTime(9, 0), 60, kMonday.addDays(-1));
    controller->showWindow();
    table().selectRow(2);
    save(controller->window(), "scheduling");
    inEvent(weekly, [&] {
        save(&sheet(), "scheduling-weekly");
        cancel();
    });
    inNewEvent([&] {
        ok();
        save(&sheet(), "scheduling-refused");
        cancel();
    });
}

INSTANTIATE_TEST_SUITE_P(LightAndDark, SchedulingPictures, ::testing::Bool());

}  // namespace
}  // namespace takebox
