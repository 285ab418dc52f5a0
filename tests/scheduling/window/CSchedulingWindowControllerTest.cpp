#include "scheduling/window/CSchedulingWindowController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeEdit>
#include <QTimer>

#include "display/widgets/Resources.h"
#include "scheduling/CScheduler.h"
#include "scheduling/FakeDecks.h"
#include "support/ManualClock.h"

namespace takebox {
namespace {

using ::testing::ElementsAre;

constexpr std::uint64_t kGuid = 0x0800460102030405;
constexpr std::uint64_t kOtherGuid = 0xFEDCBA9876543210;
const QDate kMonday(2024, 6, 3);

class SchedulingWindow : public ::testing::Test {
protected:
    SchedulingWindow() {
        loadResources();
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        Defaults::standard().reopen(folder.filePath(QStringLiteral("preferences.plist")));
        gSchedulingEvents = std::make_unique<SchedulingEvents>();
        decks.add(kOtherGuid).name = QStringLiteral("Archive deck");
        decks.add(kGuid);
        clock.setTime(QDateTime(kMonday, QTime(12, 0)));
        gScheduler = std::make_unique<CScheduler>(clock, decks);
        controller = std::make_unique<CSchedulingWindowController>(decks, clock);
        controller->setBeep([this] { ++beeps; });
        controller->showWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(controller->window()));
    }
    void TearDown() override {
        controller.reset();
        gScheduler.reset();
        gSchedulingEvents.reset();
        QLocale::setDefault(QLocale::c());
    }

    std::shared_ptr<CRecordingEvent> add(const char* name, QTime start, double duration,
                                         QDate date = kMonday) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setRecordingName(QString::fromLatin1(name));
        event->setStartTime(start.msecsSinceStartOfDay() / 1000.0);
        event->setDuration(duration);
        event->setDate(date);
        event->setDeviceGUID(kGuid);
        event->setDeviceString(QStringLiteral("Studio deck"));
        gSchedulingEvents->push_back(event);
        controller->showWindow();
        return event;
    }

    template <typename T>
    T& find(const char* name) const {
        auto* const found = controller->window()->findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(found, nullptr) << name;
        return *found;
    }
    QDialog& sheet() const { return find<QDialog>("eventSheetWindow"); }
    QTableView& table() const { return find<QTableView>("eventsTableView"); }
    [[nodiscard]] std::string hint() const {
        return find<QLabel>("hintLabel").text().toStdString();
    }
    [[nodiscard]] std::string cell(int row, int column) const {
        const auto* const model = table().model();
        return model->data(model->index(row, column)).toString().toStdString();
    }
    void setTime(const char* picker, QTime time) const { find<QTimeEdit>(picker).setTime(time); }
    [[nodiscard]] QTime timeOf(const char* picker) const { return find<QTimeEdit>(picker).time(); }
    void ok() const { controller->okButtonPushed(); }
    void cancel() const { controller->cancelButtonPushed(); }

    /// Runs `user` while the sheet that `opened` opens is on the screen. The user must close it.
    void inSheet(const std::function<void()>& opened, std::function<void()> user) {
        bool hasRun = false;
        QTimer::singleShot(0, [&] {
            EXPECT_TRUE(sheet().isVisible());
            hasRun = true;
            user();
            if (sheet().isVisible()) {
                ADD_FAILURE() << "the sheet was not closed";
                sheet().reject();
            }
        });
        opened();
        EXPECT_TRUE(hasRun);
    }
    void inNewEvent(std::function<void()> user) {
        inSheet([this] { controller->addEventButtonPushed(); }, std::move(user));
    }
    void inEvent(const std::shared_ptr<CRecordingEvent>& event, std::function<void()> user) {
        inSheet([&] { result = controller->editEvent(event); }, std::move(user));
    }

    QTemporaryDir folder;
    test::ManualClock clock;
    test::FakeDecks decks;
    std::unique_ptr<CSchedulingWindowController> controller;
    int beeps = 0;
    bool result = false;
};

TEST_F(SchedulingWindow, beginsANewEventWithTheSettingsOfTheFirstDevice) {
    inNewEvent([this] {
        EXPECT_EQ(find<QTabWidget>("tabView").currentIndex(), 0);
        EXPECT_EQ(find<QDateEdit>("datePicker").date(), kMonday);
        EXPECT_EQ(find<QComboBox>("devicePopUpButton").currentText(),
                  QStringLiteral("Archive deck"));
        EXPECT_EQ(find<QComboBox>("devicePopUpButton").currentData().toString(),
                  QStringLiteral("fedcba9876543210"));
        EXPECT_EQ(find<QLineEdit>("recordingNameField").text(), QStringLiteral("Untitled"));
        EXPECT_EQ(find<QLineEdit>("referencePathField").text(), QStringLiteral("/reference"));
        EXPECT_EQ(find<QLineEdit>("selfContainedPathField").text(),
                  QStringLiteral("/self-contained"));
        EXPECT_EQ(find<QLineEdit>("elementaryPathField").text(), QStringLiteral("/raw"));
        EXPECT_FALSE(find<QCheckBox>("createReferenceMovieCheckBox").isChecked());
        EXPECT_TRUE(find<QCheckBox>("createSelfContainedMovieCheckBox").isChecked());
        EXPECT_FALSE(find<QCheckBox>("autoCheckBox").isChecked());
        cancel();
    });
    EXPECT_TRUE(gSchedulingEvents->empty());
    EXPECT_EQ(beeps, 0);
}

TEST_F(SchedulingWindow, addsAndSavesANewEvent) {
    inNewEvent([this] {
        find<QLineEdit>("recordingNameField").setText(QStringLiteral("News"));
        find<QComboBox>("devicePopUpButton").setCurrentIndex(1);
        setTime("startTimePicker", QTime(20, 0, 30));
        setTime("durationPicker", QTime(0, 30));
        ok();
    });
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    const auto& event = *gSchedulingEvents->front();
    EXPECT_EQ(event.recordingName(), QStringLiteral("News"));
    EXPECT_EQ(event.deviceGUID(), kGuid);
    EXPECT_EQ(event.deviceString(), QStringLiteral("Studio deck"));
    EXPECT_EQ(event.date(), kMonday);
    EXPECT_FALSE(event.isAnyDaySelected());
    EXPECT_EQ(event.startTime(), 72030.0);
    EXPECT_EQ(event.duration(), 1800.0);
    EXPECT_EQ(event.endTime(), 73830.0);
    EXPECT_FALSE(event.alreadyScheduled());
    const Defaults nextSession(Defaults::standard().path());
    EXPECT_EQ(nextSession.arrayForKey(QStringLiteral("Scheduling Events")).size(), 1);
    EXPECT_EQ(table().selectionModel()->selectedRows().size(), 1);
}

TEST_F(SchedulingWindow, storesTheTickedDaysOfAWeeklyEvent) {
    inNewEvent([this] {
        find<QTabWidget>("tabView").setCurrentIndex(1);
        find<QCheckBox>("mondayCheckBox").setChecked(true);
        find<QCheckBox>("fridayCheckBox").setChecked(true);
        setTime("durationPicker", QTime(0, 30));
        ok();
    });
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    const auto& event = *gSchedulingEvents->front();
    EXPECT_TRUE(event.date().isNull());
    for (int day = 0; day < 7; ++day) {
        EXPECT_EQ(event.shouldRecordOnDay(day), day == 1 || day == 5) << day;
    }
}

TEST_F(SchedulingWindow, showsTheDaysOfAWeeklyEventAndForgetsThemForADate) {
    const auto event = add("News", QTime(9, 0), 60, {});
    event->setShouldRecord(true, 0);
    event->setShouldRecord(true, 6);
    inEvent(event, [this] {
        EXPECT_EQ(find<QTabWidget>("tabView").currentIndex(), 1);
        EXPECT_TRUE(find<QCheckBox>("sundayCheckBox").isChecked());
        EXPECT_FALSE(find<QCheckBox>("mondayCheckBox").isChecked());
        EXPECT_TRUE(find<QCheckBox>("saturdayCheckBox").isChecked());
        find<QTabWidget>("tabView").setCurrentIndex(0);
        find<QDateEdit>("datePicker").setDate(kMonday.addDays(1));
        ok();
    });
    EXPECT_EQ(event->date(), kMonday.addDays(1));
    EXPECT_FALSE(event->isAnyDaySelected());
    inEvent(event, [this] {
        EXPECT_EQ(find<QTabWidget>("tabView").currentIndex(), 0);
        EXPECT_FALSE(find<QCheckBox>("sundayCheckBox").isChecked());
        cancel();
    });
}

TEST_F(SchedulingWindow, takesDigitsWhereATimeWasClicked) {
    inNewEvent([this] {
        auto& picker = find<QTimeEdit>("startTimePicker");
        auto& field = *picker.findChild<QLineEdit*>();
        const auto clickBefore = [&field](int character) {
            QPoint place(0, field.height() / 2);
            while (field.cursorPositionAt(place) < character && place.x() < field.width()) {
                place.rx() += 1;
            }
            QTest::mouseClick(&field, Qt::LeftButton, Qt::NoModifier, place);
        };
        clickBefore(4);
        QTest::keyClicks(&field, QStringLiteral("34"));
        clickBefore(1);
        QTest::keyClicks(&field, QStringLiteral("12"));
        EXPECT_EQ(picker.time(), QTime(12, 34));
        cancel();
    });
}

TEST_F(SchedulingWindow, refusesADurationOfNothing) {
    inNewEvent([this] {
        ok();
        EXPECT_EQ(beeps, 1);
        EXPECT_TRUE(sheet().isVisible());
        EXPECT_EQ(hint(), "Set a duration, or an end after the start.");
        EXPECT_EQ(sheet().focusWidget(), &find<QTimeEdit>("durationPicker"));
        setTime("endTimePicker", QTime(0, 1));
        ok();
    });
    EXPECT_EQ(beeps, 1);
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    EXPECT_EQ(gSchedulingEvents->front()->duration(), 60.0);
}

TEST_F(SchedulingWindow, refusesAnEmptyField) {
    inNewEvent([this] {
        setTime("durationPicker", QTime(0, 1));
        for (const auto* name : {"recordingNameField", "referencePathField",
                                 "selfContainedPathField", "elementaryPathField"}) {
            auto& field = find<QLineEdit>(name);
            const QString before = field.text();
            field.clear();
            EXPECT_FALSE(controller->validateUserInterface());
            const int beepsBefore = beeps;
            ok();
            EXPECT_EQ(beeps, beepsBefore + 1);
            EXPECT_FALSE(hint().empty());
            EXPECT_EQ(sheet().focusWidget(), &field);
            field.setText(before);
            EXPECT_TRUE(controller->validateUserInterface());
        }
        cancel();
    });
}

TEST_F(SchedulingWindow, asksForTheDeviceAgainWhenItHasGone) {
    const auto event = add("News", QTime(20, 0), 60);
    decks.remove(kGuid);
    inEvent(event, [this] {
        EXPECT_EQ(find<QComboBox>("devicePopUpButton").count(), 1);
        EXPECT_EQ(find<QComboBox>("devicePopUpButton").currentIndex(), -1);
        ok();
        EXPECT_EQ(beeps, 1);
        EXPECT_EQ(hint(), "Choose the device to record from.");
        find<QComboBox>("devicePopUpButton").setCurrentIndex(0);
        ok();
    });
    EXPECT_EQ(event->deviceGUID(), kOtherGuid);
    EXPECT_EQ(event->deviceString(), QStringLiteral("Archive deck"));
}

TEST_F(SchedulingWindow, changesNothingWhenCancelled) {
    const auto event = add("News", QTime(20, 0), 60);
    event->setAlreadyScheduled(true);
    const auto before = event->settingsDictionary();
    inEvent(event, [this] {
        find<QLineEdit>("recordingNameField").setText(QStringLiteral("Weather"));
        setTime("startTimePicker", QTime(1, 0));
        QTest::keyClick(&sheet(), Qt::Key_Escape);
    });
    EXPECT_FALSE(result);
    EXPECT_EQ(event->settingsDictionary(), before);
    EXPECT_TRUE(event->alreadyScheduled());
}

TEST_F(SchedulingWindow, letsAnEditedEventStartAfresh) {
    const auto event = add("News", QTime(20, 0), 60);
    event->setAlreadyScheduled(true);
    inEvent(event, [this] { ok(); });
    EXPECT_TRUE(result);
    EXPECT_FALSE(event->alreadyScheduled());
}

TEST_F(SchedulingWindow, movesTheEndWithStartAndDuration) {
    inNewEvent([this] {
        setTime("startTimePicker", QTime(23, 0));
        setTime("durationPicker", QTime(2, 0));
        EXPECT_EQ(timeOf("endTimePicker"), QTime(1, 0));
        setTime("startTimePicker", QTime(10, 0));
        EXPECT_EQ(timeOf("endTimePicker"), QTime(12, 0));
        EXPECT_EQ(timeOf("durationPicker"), QTime(2, 0));
        setTime("startTimePicker", QTime(23, 0));
        ok();
    });
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    EXPECT_EQ(gSchedulingEvents->front()->endTime(), 90000.0);
    EXPECT_EQ(gSchedulingEvents->front()->duration(), 7200.0);
}

TEST_F(SchedulingWindow, changesTheDurationWithTheEnd) {
    inNewEvent([this] {
        setTime("startTimePicker", QTime(10, 0));
        setTime("endTimePicker", QTime(11, 30));
        EXPECT_EQ(timeOf("durationPicker"), QTime(1, 30));
        EXPECT_EQ(timeOf("startTimePicker"), QTime(10, 0));
        setTime("endTimePicker", QTime(9, 0));
        EXPECT_EQ(timeOf("durationPicker"), QTime(23, 0)) << "on the next day";
        cancel();
    });
}

TEST_F(SchedulingWindow, putsRightAStartBeforeMidnight) {
    const auto event = add("News", QTime(0, 0), 60);
    event->setStartTime(-3600);
    inEvent(event, [this] {
        EXPECT_EQ(timeOf("startTimePicker"), QTime(23, 0));
        EXPECT_EQ(timeOf("endTimePicker"), QTime(23, 1));
        ok();
    });
    EXPECT_EQ(event->startTime(), 82800.0);
    EXPECT_EQ(event->endTime(), 82860.0);
}

TEST_F(SchedulingWindow, putsRightAnEndBeforeMidnight) {
    const auto event = add("News", QTime(0, 0), 60);
    event->setStartTime(-3600);
    event->setDuration(60);
    controller->updateDisplay(*event);
    EXPECT_EQ(event->startTime(), 82800.0);
    event->setStartTime(0);
    event->setEndTime(-60);
    controller->updateDisplay(*event);
    EXPECT_EQ(event->endTime(), 86340.0);
    EXPECT_EQ(timeOf("endTimePicker"), QTime(23, 59));
}

TEST_F(SchedulingWindow, showsAnEndOnTheNextDayAsATimeOfDay) {
    const auto event = add("Night", QTime(23, 0), 7200);
    inEvent(event, [this] {
        EXPECT_EQ(timeOf("startTimePicker"), QTime(23, 0));
        EXPECT_EQ(timeOf("endTimePicker"), QTime(1, 0));
        EXPECT_EQ(timeOf("durationPicker"), QTime(2, 0));
        ok();
    });
    EXPECT_EQ(event->endTime(), 90000.0);
}

TEST_F(SchedulingWindow, takesTheNameAwayWithAutomaticNaming) {
    inNewEvent([this] {
        setTime("durationPicker", QTime(0, 1));
        auto& name = find<QLineEdit>("recordingNameField");
        find<QCheckBox>("autoCheckBox").setChecked(true);
        EXPECT_FALSE(name.isEnabled());
        EXPECT_EQ(name.text(), QStringLiteral("<<auto>>"));
        EXPECT_TRUE(controller->validateUserInterface());
        find<QCheckBox>("autoCheckBox").setChecked(false);
        EXPECT_TRUE(name.isEnabled());
        EXPECT_EQ(name.text(), QStringLiteral("<<auto>>"));
        ok();
    });
    ASSERT_EQ(gSchedulingEvents->size(), 1U);
    EXPECT_EQ(gSchedulingEvents->front()->recordingName(), QStringLiteral("<<auto>>"));
    EXPECT_FALSE(gSchedulingEvents->front()->autoNameFile());
}

TEST_F(SchedulingWindow, showsAnAutomaticallyNamedEventSo) {
    const auto event = add("News", QTime(20, 0), 60);
    event->setAutoNameFile(true);
    inEvent(event, [this] {
        EXPECT_FALSE(find<QLineEdit>("recordingNameField").isEnabled());
        EXPECT_EQ(find<QLineEdit>("recordingNameField").text(), QStringLiteral("<<auto>>"));
        ok();
    });
    EXPECT_TRUE(event->autoNameFile());
}

TEST_F(SchedulingWindow, takesFoldersFromTheChooser) {
    QStringList asked;
    controller->setFolderChooser([&](const QString&, const QString& from) {
        asked.append(from);
        return asked.size() == 4 ? QString() : QStringLiteral("/chosen %1").arg(asked.size());
    });
    inNewEvent([this] {
        for (const auto* name : {"referenceFolderButton", "selfContainedFolderButton",
                                 "elementaryFolderButton", "elementaryFolderButton"}) {
            find<QPushButton>(name).click();
        }
        EXPECT_EQ(find<QLineEdit>("referencePathField").text(), QStringLiteral("/chosen 1"));
        EXPECT_EQ(find<QLineEdit>("selfContainedPathField").text(), QStringLiteral("/chosen 2"));
        EXPECT_EQ(find<QLineEdit>("elementaryPathField").text(), QStringLiteral("/chosen 3"));
        cancel();
    });
    EXPECT_EQ(asked, QStringList({QStringLiteral("/reference"), QStringLiteral("/self-contained"),
                                  QStringLiteral("/raw"), QStringLiteral("/chosen 3")}));
}

TEST_F(SchedulingWindow, warnsInTheSheetWithoutForbidding) {
    const auto event = add("News", QTime(20, 0), 3600);
    event->setRawStreamsFolderPath(folder.path());
    event->setReferenceMovieFolderPath(folder.path());
    add("Weather", QTime(20, 30), 60);
    inEvent(event, [this] {
        EXPECT_EQ(hint(), "Overlaps with \"Weather\" on the same device.");
        setTime("startTimePicker", QTime(21, 0));
        EXPECT_EQ(hint(), "");
        find<QDateEdit>("datePicker").setDate(kMonday.addDays(-1));
        EXPECT_EQ(hint(), "This time is over: the recording will not start.");
        find<QTabWidget>("tabView").setCurrentIndex(1);
        EXPECT_EQ(hint(), "No day is ticked: this recording will never start.");
        find<QCheckBox>("tuesdayCheckBox").setChecked(true);
        EXPECT_EQ(hint(), "");
        find<QCheckBox>("createReferenceMovieCheckBox").setChecked(false);
        EXPECT_EQ(hint(), "No movie is ticked: nothing would be recorded.");
        find<QCheckBox>("createSelfContainedMovieCheckBox").setChecked(true);
        find<QLineEdit>("selfContainedPathField").setText(QStringLiteral("/no/such"));
        EXPECT_EQ(hint(), "Folder for self-contained movies does not exist now.");
        ok();
    });
    EXPECT_TRUE(result);
    EXPECT_EQ(beeps, 0);
}

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

TEST_F(SchedulingWindow, replacesTheListOfEvents) {
    add("A", QTime(20, 0), 60);
    controller->setScheduledEvents({});
    EXPECT_TRUE(gSchedulingEvents->empty());
    EXPECT_TRUE(CSchedulingWindowController::scheduledEvents().empty());
    EXPECT_EQ(table().model()->rowCount(), 0);
}

TEST_F(SchedulingWindow, showsWhatIsScheduled) {
    const auto event = add("News", QTime(20, 0), 1800);
    event->setCreateSelfContainedMovie(true);
    EXPECT_EQ(cell(0, 0), "Studio deck");
    EXPECT_EQ(cell(0, 1), "News");
    EXPECT_EQ(cell(0, 2), "03/06/2024, 20:00:00 to 20:30:00");
    EXPECT_EQ(cell(0, 3), "00:30:00");
    EXPECT_EQ(cell(0, 4), "Both movies");
    EXPECT_EQ(cell(0, 5), "Next, in 8 h");
    event->setDate({});
    event->setShouldRecord(true, 2);
    controller->scheduleEventsChanged();
    EXPECT_EQ(cell(0, 2), "--T----, 20:00:00 to 20:30:00");
    EXPECT_EQ(cell(0, 5), "Next, in 1 d 8 h");
}

TEST_F(SchedulingWindow, followsTheStateOfItsEvents) {
    add("News", QTime(12, 0, 5), 60);
    add("Later", QTime(15, 0), 60);
    add("Past", QTime(9, 0), 60);
    add("Never", QTime(9, 0), 60, {});
    gScheduler->start();
    EXPECT_EQ(cell(0, 5), "Next, in 5 s");
    EXPECT_EQ(cell(1, 5), "Scheduled");
    EXPECT_EQ(cell(2, 5), "Done");
    EXPECT_EQ(cell(3, 5), "Never: no day or no length");
    const QSignalSpy changes(table().model(), &QAbstractItemModel::dataChanged);
    clock.advance(5);
    EXPECT_EQ(changes.count(), 5 + 1) << "each second, and at once for the start";
    EXPECT_EQ(cell(0, 5), "Recording");
    EXPECT_EQ(cell(1, 5), "Next, in 2 h 59 min");
    clock.advance(70);
    EXPECT_EQ(cell(0, 5), "Done");
}

TEST_F(SchedulingWindow, marksAnEventWhoseDeviceIsAbsent) {
    add("News", QTime(12, 0, 0), 60);
    const auto icon = [this] {
        const auto* const model = table().model();
        return model->data(model->index(0, 0), Qt::DecorationRole).value<QIcon>();
    };
    EXPECT_TRUE(icon().isNull());
    EXPECT_EQ(cell(0, 5), "Due, device is busy");
    decks.remove(kGuid);
    clock.advance(1);
    EXPECT_EQ(cell(0, 0), "Studio deck (not connected)");
    EXPECT_FALSE(icon().isNull());
    EXPECT_EQ(cell(0, 5), "Due, device is not connected");
    decks.add(kGuid);
    clock.advance(1);
    EXPECT_EQ(cell(0, 0), "Studio deck");
}

TEST_F(SchedulingWindow, warnsInTheListOfOverlaps) {
    auto& notice = find<QLabel>("noticeLabel");
    EXPECT_TRUE(notice.text().startsWith(QStringLiteral("Nothing is scheduled")));
    add("News", QTime(20, 0), 1800);
    EXPECT_FALSE(notice.isVisible());
    const auto other = add("Weather", QTime(20, 30), 60);
    EXPECT_TRUE(notice.isVisible());
    const auto* const model = table().model();
    EXPECT_FALSE(model->data(model->index(0, 2), Qt::DecorationRole).value<QIcon>().isNull());
    EXPECT_TRUE(model->data(model->index(0, 2), Qt::ToolTipRole)
                    .toString()
                    .contains(QStringLiteral("\"Weather\"")));
    other->setDeviceGUID(kOtherGuid);
    controller->showWindow();
    EXPECT_FALSE(notice.isVisible());
}

TEST_F(SchedulingWindow, sortsByEveryColumnAndBackToTheUsersOrder) {
    add("b", QTime(9, 0), 300, kMonday.addDays(1));
    add("C", QTime(13, 0), 60, kMonday);
    add("a", QTime(8, 0), 5000, kMonday.addDays(9));
    const auto names = [this] { return cell(0, 1) + cell(1, 1) + cell(2, 1); };
    EXPECT_EQ(names(), "bCa");
    table().sortByColumn(1, Qt::AscendingOrder);
    EXPECT_EQ(names(), "abC");
    table().sortByColumn(2, Qt::AscendingOrder);
    EXPECT_EQ(names(), "Cba") << "by the next start, not by the text";
    table().sortByColumn(3, Qt::AscendingOrder);
    EXPECT_EQ(names(), "Cba");
    table().sortByColumn(5, Qt::AscendingOrder);
    EXPECT_EQ(names().front(), 'C') << "the next one first";
    table().sortByColumn(-1, Qt::AscendingOrder);
    EXPECT_EQ(names(), "bCa");
}

TEST_F(SchedulingWindow, givesEveryControlANameToReadOut) {
    for (const auto* const widget : sheet().findChildren<QWidget*>()) {
        if (widget->focusPolicy() == Qt::NoFocus ||
            widget->parent()->inherits("QAbstractSpinBox") ||
            widget->parent()->inherits("QComboBox") || widget->inherits("QTabBar") ||
            widget->inherits("QCalendarWidget") || !widget->isEnabled()) {
            continue;
        }
        const auto* const button = qobject_cast<const QAbstractButton*>(widget);
        EXPECT_TRUE(!widget->accessibleName().isEmpty() ||
                    (button != nullptr && !button->text().isEmpty()))
            << widget->metaObject()->className() << ' ' << qPrintable(widget->objectName());
    }
}

TEST_F(SchedulingWindow, showsAThousandEvents) {
    for (int i = 0; i < 1000; ++i) {
        auto event = std::make_shared<CRecordingEvent>();
        event->setRecordingName(QString::number(i));
        event->setDeviceGUID(kGuid);
        event->setDate(kMonday.addDays(i));
        event->setDuration(60);
        gSchedulingEvents->push_back(event);
    }
    controller->showWindow();
    EXPECT_EQ(table().model()->rowCount(), 1000);
    EXPECT_EQ(cell(999, 1), "999");
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
