#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QLineEdit>
#include <QPushButton>
#include <QScreen>
#include <QTabWidget>

#include "scheduling/window/SchedulingWindow.h"

namespace takebox {
namespace {

using namespace test;

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

TEST_F(SchedulingWindow, keepsTheSheetAndItsButtonsOnTheScreen) {
    QFont large = sheet().font();
    large.setPixelSize(50);
    sheet().setFont(large);
    inNewEvent([this] {
        const QRect room = sheet().screen()->availableGeometry();
        EXPECT_GE(sheet().frameGeometry().top(), room.top());
        EXPECT_LE(sheet().frameGeometry().bottom(), room.bottom());
        EXPECT_TRUE(sheet().rect().contains(find<QDialogButtonBox>("sheetButtons").geometry()));
        cancel();
    });
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

TEST_F(SchedulingWindow, storesEveryControlOfAnEditedEventAndSavesTheSchedule) {
    const auto event = add("News", QTime(20, 0), 60);
    inEvent(event, [this] {
        find<QLineEdit>("recordingNameField").setText(QStringLiteral("Weather"));
        find<QLineEdit>("referencePathField").setText(QStringLiteral("/ref"));
        find<QLineEdit>("selfContainedPathField").setText(QStringLiteral("/mov"));
        find<QLineEdit>("elementaryPathField").setText(QStringLiteral("/streams"));
        find<QCheckBox>("createReferenceMovieCheckBox").setChecked(false);
        find<QCheckBox>("createSelfContainedMovieCheckBox").setChecked(true);
        ok();
    });
    EXPECT_EQ(event->recordingName(), QStringLiteral("Weather"));
    EXPECT_EQ(event->referenceMovieFolderPath(), QStringLiteral("/ref"));
    EXPECT_EQ(event->selfContainedMovieFolderPath(), QStringLiteral("/mov"));
    EXPECT_EQ(event->rawStreamsFolderPath(), QStringLiteral("/streams"));
    EXPECT_FALSE(event->createReferenceMovie());
    EXPECT_TRUE(event->createSelfContainedMovie());
    const Defaults nextSession(Defaults::standard().path());
    const QVariantList saved = nextSession.arrayForKey(QStringLiteral("Scheduling Events"));
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(saved.front().toMap(), event->settingsDictionary());
}

TEST_F(SchedulingWindow, addsANewEventBehindTheOthers) {
    const auto first = add("News", QTime(20, 0), 60);
    inNewEvent([this] {
        setTime("durationPicker", QTime(0, 30));
        find<QCheckBox>("autoCheckBox").setChecked(true);
        ok();
    });
    ASSERT_EQ(gSchedulingEvents->size(), 2U);
    EXPECT_EQ(gSchedulingEvents->front(), first) << "they start in the order of the list";
    EXPECT_TRUE(gSchedulingEvents->back()->autoNameFile());
    EXPECT_EQ(gSchedulingEvents->back()->recordingName(), QStringLiteral("<<auto>>"));
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

TEST_F(SchedulingWindow, takesATimeThatIsTypedInOneGo) {
    inNewEvent([this] {
        auto& picker = find<QTimeEdit>("startTimePicker");
        const auto typed = [&picker](QDateTimeEdit::Section from, const char* time) {
            picker.setTime(QTime(20, 50, 40));
            picker.setSelectedSection(from);
            QTest::keyClicks(&picker, QString::fromLatin1(time));
            return picker.time();
        };
        EXPECT_EQ(typed(QDateTimeEdit::HourSection, "041030"), QTime(4, 10, 30));
        EXPECT_EQ(typed(QDateTimeEdit::HourSection, "04:10:30"), QTime(4, 10, 30));
        EXPECT_EQ(typed(QDateTimeEdit::HourSection, "04::30"), QTime(4, 50, 30)) << "goes on";
        EXPECT_EQ(typed(QDateTimeEdit::HourSection, "04"), QTime(4, 50, 40));
        QTest::keyClick(&picker, Qt::Key_Shift);
        QTest::keyClicks(&picker, QStringLiteral(":10"));
        EXPECT_EQ(picker.time(), QTime(4, 10, 40)) << "a colon that needs Shift";
        EXPECT_EQ(typed(QDateTimeEdit::MinuteSection, "10:30"), QTime(20, 10, 30));
        picker.selectAll();
        QTest::keyClicks(&picker, QStringLiteral("14:25:31"));
        EXPECT_EQ(picker.time(), QTime(14, 25, 31));
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

TEST_F(SchedulingWindow, forgetsThatTheSheetBeforeWasAccepted) {
    const auto event = add("News", QTime(20, 0), 60);
    inEvent(event, [this] { ok(); });
    EXPECT_TRUE(result);
    inEvent(event, [this] {
        find<QLineEdit>("recordingNameField").setText(QStringLiteral("Weather"));
        cancel();
    });
    EXPECT_FALSE(result);
    EXPECT_EQ(event->recordingName(), QStringLiteral("News"));
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

TEST_F(SchedulingWindow, asksTheDesktopForAFolder) {
    const QString before = folder.path();
    installTranslations(QLocale(QLocale::English));
    inNewEvent([&] {
        auto& field = find<QLineEdit>("referencePathField");
        field.setText(before);
        QTimer::singleShot(0, [&] {
            auto* const dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(dialog, nullptr);
            EXPECT_EQ(dialog->windowTitle(), QStringLiteral("Select a Folder"));
            EXPECT_EQ(dialog->directory().path(), before);
            QDir(before).mkdir(QStringLiteral("other"));
            dialog->selectFile(before + QStringLiteral("/other"));
            static_cast<QDialog*>(dialog)->accept();
        });
        find<QPushButton>("referenceFolderButton").click();
        EXPECT_EQ(field.text(), before + QStringLiteral("/other"));
        cancel();
    });
}

TEST_F(SchedulingWindow, refusesANewEventWhenTheScheduleHasGoneMeanwhile) {
    inNewEvent([this] {
        setTime("durationPicker", QTime(0, 1));
        gSchedulingEvents.reset();
        ok();
    });
    EXPECT_EQ(beeps, 1);
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

}  // namespace
}  // namespace takebox
