// The sheet of the scheduling window, in which one event is edited.

#include <QBoxLayout>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QTabWidget>
#include <QTimeEdit>
#include <cmath>
#include <type_traits>

#include "scheduling/ScheduleOverview.h"
#include "scheduling/ScheduledDecks.h"
#include "scheduling/window/CSchedulingWindowController.h"
#include "scheduling/window/ScheduledEventsModel.h"

namespace takebox {
namespace {

constexpr int kSecondsInDay = 86400;
constexpr int kAccepted = 1;
constexpr int kCancelled = 0;
constexpr int kDateTab = 0;
constexpr int kWeeklyTab = 1;

constexpr std::array kWeekdayNames{"sunday",   "monday", "tuesday", "wednesday",
                                   "thursday", "friday", "saturday"};

int secondsShown(const QTimeEdit* picker) {
    return picker->time().msecsSinceStartOfDay() / 1000;
}

// Shows the time of day that so many seconds after midnight are, on whatever day.
void showSeconds(QTimeEdit* picker, double seconds) {
    const QSignalBlocker blocker(picker);
    const auto inDay = static_cast<int>(std::fmod(seconds, kSecondsInDay));
    const int timeOfDay = (inDay + kSecondsInDay) % kSecondsInDay;
    picker->setTime(QTime::fromMSecsSinceStartOfDay(timeOfDay * 1000));
}

QString timeFormatWithSeconds() {
    const bool isTwelveHours =
        QLocale().timeFormat(QLocale::ShortFormat).contains(u'a', Qt::CaseInsensitive);
    return isTwelveHours ? QStringLiteral("h:mm:ss AP") : QStringLiteral("HH:mm:ss");
}

}  // namespace

void CSchedulingWindowController::awakeSheetFromNib() {
    const auto outlet = [this](auto*& field, const char* name) {
        field = eventSheetWindow->findChild<std::remove_reference_t<decltype(field)>>(
            QString::fromLatin1(name));
    };
    outlet(devicePopUpButton, "devicePopUpButton");
    outlet(recordingNameField, "recordingNameField");
    outlet(autoCheckBox, "autoCheckBox");
    outlet(tabView, "tabView");
    outlet(datePicker, "datePicker");
    outlet(startTimePicker, "startTimePicker");
    outlet(durationPicker, "durationPicker");
    outlet(endTimePicker, "endTimePicker");
    outlet(createReferenceMovieCheckBox, "createReferenceMovieCheckBox");
    outlet(createSelfContainedMovieCheckBox, "createSelfContainedMovieCheckBox");
    outlet(referencePathField, "referencePathField");
    outlet(selfContainedPathField, "selfContainedPathField");
    outlet(elementaryPathField, "elementaryPathField");
    outlet(hintIcon, "hintIcon");
    outlet(hintLabel, "hintLabel");
    awakeWeekdays();
    awakePickers();

    using Controller = CSchedulingWindowController;
    connect(autoCheckBox, &QCheckBox::toggled, this, &Controller::autoCheckBoxChanged);
    const auto button = [this](const char* name, void (Controller::*action)()) {
        connect(eventSheetWindow->findChild<QPushButton*>(QString::fromLatin1(name)),
                &QPushButton::clicked, this, action);
    };
    button("referenceFolderButton", &Controller::selectReferenceMovieFolderButtonPushed);
    button("selfContainedFolderButton", &Controller::selectSelfContainedMovieFolderButtonPushed);
    button("elementaryFolderButton", &Controller::selectElementaryStreamsFolderButtonPushed);
    auto* const buttons =
        eventSheetWindow->findChild<QDialogButtonBox*>(QStringLiteral("sheetButtons"));
    connect(buttons, &QDialogButtonBox::accepted, this, &Controller::okButtonPushed);
    connect(buttons, &QDialogButtonBox::rejected, this, &Controller::cancelButtonPushed);

    // Every change may take away a hint or call for one.
    connect(tabView, &QTabWidget::currentChanged, this, &Controller::showHint);
    connect(devicePopUpButton, &QComboBox::currentIndexChanged, this, &Controller::showHint);
    for (auto* const field :
         {recordingNameField, referencePathField, selfContainedPathField, elementaryPathField}) {
        connect(field, &QLineEdit::textChanged, this, &Controller::showHint);
    }
    const auto boxes = eventSheetWindow->findChildren<QCheckBox*>();
    for (auto* const box : boxes) {
        connect(box, &QCheckBox::toggled, this, &Controller::showHint);
    }
}

void CSchedulingWindowController::awakePickers() {
    startTimePicker->setDisplayFormat(timeFormatWithSeconds());
    endTimePicker->setDisplayFormat(timeFormatWithSeconds());
    // A duration reads as hours and minutes in every language, never with "PM".
    durationPicker->setLocale(QLocale(QLocale::English, QLocale::UnitedKingdom));
    durationPicker->setDisplayFormat(QStringLiteral("HH:mm:ss"));

    using Controller = CSchedulingWindowController;
    connect(startTimePicker, &QTimeEdit::timeChanged, this, &Controller::startPickerChanged);
    connect(durationPicker, &QTimeEdit::timeChanged, this, &Controller::durationPickerChanged);
    connect(endTimePicker, &QTimeEdit::timeChanged, this, &Controller::endPickerChanged);
    connect(datePicker, &QDateEdit::dateChanged, this, &Controller::showHint);
}

void CSchedulingWindowController::awakeWeekdays() {
    for (std::size_t day = 0; day < kWeekdayNames.size(); ++day) {
        auto* const box = eventSheetWindow->findChild<QCheckBox*>(
            QString::fromLatin1(kWeekdayNames.at(day)) + QStringLiteral("CheckBox"));
        const int weekday = day == 0 ? Qt::Sunday : static_cast<int>(day);
        box->setText(QLocale().standaloneDayName(weekday, QLocale::ShortFormat));
        box->setAccessibleName(QLocale().standaloneDayName(weekday));
        mWeekdayCheckBoxes.at(day) = box;
    }
    // In the order of the user's calendar, which does not begin on Sunday everywhere.
    auto* const layout = eventSheetWindow->findChild<QBoxLayout*>(QStringLiteral("weeklyLayout"));
    const int first = QLocale().firstDayOfWeek();
    QWidget* before = tabView;
    for (int i = 0; i < CRecordingEvent::kDaysInWeek; ++i) {
        auto* const box = mWeekdayCheckBoxes.at(
            static_cast<std::size_t>((first + i) % CRecordingEvent::kDaysInWeek));
        layout->removeWidget(box);
        layout->addWidget(box);
        QWidget::setTabOrder(before, box);
        before = box;
    }
}

bool CSchedulingWindowController::editEvent(const std::shared_ptr<CRecordingEvent>& event) {
    mEditedEvent = event;
    loadDevicePopUpButton();
    updateDisplay(*event);
    recordingNameField->setFocus();
    recordingNameField->selectAll();
    eventSheetWindow->setWindowModality(Qt::WindowModal);
    sheetDidEnd(eventSheetWindow->exec());
    if (_result) {
        updateEvent(*event);
        static_cast<void>(saveSchedulingEventsToPreferences());
    }
    mEditedEvent.reset();
    return _result;
}

void CSchedulingWindowController::sheetDidEnd(int returnCode) {
    if (returnCode == kAccepted || returnCode == kCancelled) {
        _result = returnCode == kAccepted;
    }
}

void CSchedulingWindowController::loadDevicePopUpButton() {
    devicePopUpButton->clear();
    for (int index = 0; index < mDecks.countDevices(); ++index) {
        const auto deck = mDecks.deckAtIndex(index);
        devicePopUpButton->addItem(deck->deviceName(), deck->guid());
    }
}

void CSchedulingWindowController::updateDisplay(CRecordingEvent& event) {
    const bool isWeekly = !event.date().isValid();
    tabView->setCurrentIndex(isWeekly ? kWeeklyTab : kDateTab);
    for (int day = 0; day < CRecordingEvent::kDaysInWeek; ++day) {
        mWeekdayCheckBoxes.at(static_cast<std::size_t>(day))
            ->setChecked(isWeekly && event.shouldRecordOnDay(day));
    }
    datePicker->setDate(isWeekly ? mClock.localNow().date() : event.date());
    if (event.startTime() < 0) {
        event.setStartTime(event.startTime() + kSecondsInDay);
    }
    if (event.endTime() < 0) {
        event.setEndTime(event.endTime() + kSecondsInDay);
    }
    showSeconds(startTimePicker, event.startTime());
    showSeconds(endTimePicker, event.endTime());
    showSeconds(durationPicker, event.duration());
    devicePopUpButton->setPlaceholderText(
        devicePopUpButton->count() == 0 ? tr("No device is connected")
        : event.deviceString().isEmpty()
            ? tr("Choose a device")
            : tr("%1 is not connected; choose a device").arg(event.deviceString()));
    devicePopUpButton->setCurrentIndex(mDecks.indexOfDeviceWithGUID(event.deviceGUID()));
    recordingNameField->setText(event.recordingName());
    referencePathField->setText(event.referenceMovieFolderPath());
    selfContainedPathField->setText(event.selfContainedMovieFolderPath());
    elementaryPathField->setText(event.rawStreamsFolderPath());
    createReferenceMovieCheckBox->setChecked(event.createReferenceMovie());
    createSelfContainedMovieCheckBox->setChecked(event.createSelfContainedMovie());
    autoCheckBox->setChecked(event.autoNameFile());
    autoCheckBoxChanged();
    showHint();
}

void CSchedulingWindowController::updateEvent(CRecordingEvent& event) const {
    const bool isWeekly = tabView->currentIndex() == kWeeklyTab;
    event.setDate(isWeekly ? QDate() : datePicker->date());
    for (int day = 0; day < CRecordingEvent::kDaysInWeek; ++day) {
        const bool isTicked = mWeekdayCheckBoxes.at(static_cast<std::size_t>(day))->isChecked();
        event.setShouldRecord(isWeekly && isTicked, day);
    }
    // In this order: the duration decides, and an end on the next day lies beyond midnight.
    event.setStartTime(secondsShown(startTimePicker));
    event.setEndTime(secondsShown(endTimePicker));
    event.setDuration(secondsShown(durationPicker));
    event.setRecordingName(recordingNameField->text());
    event.setReferenceMovieFolderPath(referencePathField->text());
    event.setSelfContainedMovieFolderPath(selfContainedPathField->text());
    event.setRawStreamsFolderPath(elementaryPathField->text());
    event.setCreateReferenceMovie(createReferenceMovieCheckBox->isChecked());
    event.setCreateSelfContainedMovie(createSelfContainedMovieCheckBox->isChecked());
    event.setAutoNameFile(autoCheckBox->isChecked());
    const QString guid = devicePopUpButton->currentData().toString();
    for (int index = 0; index < mDecks.countDevices(); ++index) {
        const auto deck = mDecks.deckAtIndex(index);
        if (deck->guid() == guid) {
            event.setDeviceGUID(deck->deviceGUID());
            break;
        }
    }
    event.setDeviceString(devicePopUpButton->currentText());
    event.setAlreadyScheduled(false);
}

std::optional<CSchedulingWindowController::Problem> CSchedulingWindowController::firstProblem()
    const {
    if (recordingNameField->text().isEmpty()) {
        return Problem{tr("Give the recording a name."), recordingNameField};
    }
    for (auto* const field : {referencePathField, selfContainedPathField, elementaryPathField}) {
        if (field->text().isEmpty()) {
            return Problem{tr("%1 is missing.").arg(field->accessibleName()), field};
        }
    }
    if (devicePopUpButton->currentIndex() < 0) {
        return Problem{tr("Choose the device to record from."), devicePopUpButton};
    }
    if (secondsShown(durationPicker) == 0) {
        return Problem{tr("Set a duration, or an end after the start."), durationPicker};
    }
    return std::nullopt;
}

QStringList CSchedulingWindowController::warnings() const {
    QStringList texts;
    CRecordingEvent draft;
    if (mEditedEvent) {
        draft.setUuid(mEditedEvent->uuid());
    }
    updateEvent(draft);
    if (!draft.date().isValid() && !draft.isAnyDaySelected()) {
        texts.append(tr("No day is ticked: this recording will never start."));
    } else if (!nextOccurrence(draft, mClock.localNow())) {
        texts.append(tr("This time is over: the recording will not start."));
    }
    const auto overlapping = namesOfOverlappingEvents(draft, scheduledEvents());
    if (!overlapping.isEmpty()) {
        texts.append(
            tr("Overlaps with %1 on the same device.").arg(overlapping.join(QStringLiteral(", "))));
    }
    if (!draft.createReferenceMovie() && !draft.createSelfContainedMovie()) {
        texts.append(tr("No movie is ticked: nothing would be recorded."));
    }
    for (const auto* field : {referencePathField, selfContainedPathField, elementaryPathField}) {
        const bool isUsed = field == selfContainedPathField ? draft.createSelfContainedMovie()
                                                            : draft.createReferenceMovie();
        if (isUsed && !QFileInfo(field->text()).isDir()) {
            texts.append(tr("%1 does not exist now.").arg(field->accessibleName()));
        }
    }
    return texts;
}

void CSchedulingWindowController::showHint() {
    const auto problem = firstProblem();
    const QString hint = problem ? problem->text : warnings().join(u' ');
    const auto picture = problem ? QStyle::SP_MessageBoxInformation : QStyle::SP_MessageBoxWarning;
    const int size = eventSheetWindow->style()->pixelMetric(QStyle::PM_SmallIconSize);
    hintIcon->setPixmap(eventSheetWindow->style()->standardIcon(picture).pixmap(size));
    hintIcon->setVisible(!hint.isEmpty());
    hintLabel->setText(hint);
    hintLabel->setFont(eventSheetWindow->font());
}

void CSchedulingWindowController::okButtonPushed() {
    if (const auto problem = firstProblem()) {
        mBeep();
        showHint();
        QFont bold = hintLabel->font();
        bold.setBold(true);
        hintLabel->setFont(bold);
        problem->field->setFocus();
        return;
    }
    // A field that is being edited takes its text when it loses the focus.
    eventSheetWindow->setFocus();
    eventSheetWindow->done(kAccepted);
}

void CSchedulingWindowController::cancelButtonPushed() {
    eventSheetWindow->done(kCancelled);
}

void CSchedulingWindowController::startPickerChanged() {
    showSeconds(endTimePicker, secondsShown(startTimePicker) + secondsShown(durationPicker));
    showHint();
}

void CSchedulingWindowController::durationPickerChanged() {
    startPickerChanged();
}

void CSchedulingWindowController::endPickerChanged() {
    showSeconds(durationPicker, secondsShown(endTimePicker) - secondsShown(startTimePicker));
    showHint();
}

void CSchedulingWindowController::autoCheckBoxChanged() {
    const bool isAutomatic = autoCheckBox->isChecked();
    if (isAutomatic) {
        recordingNameField->setText(QStringLiteral("<<auto>>"));
    }
    recordingNameField->setEnabled(!isAutomatic);
}

void CSchedulingWindowController::selectReferenceMovieFolderButtonPushed() {
    chooseFolder(referencePathField);
}

void CSchedulingWindowController::selectSelfContainedMovieFolderButtonPushed() {
    chooseFolder(selfContainedPathField);
}

void CSchedulingWindowController::selectElementaryStreamsFolderButtonPushed() {
    chooseFolder(elementaryPathField);
}

void CSchedulingWindowController::chooseFolder(QLineEdit* field) {
    // The title that the device window's folder choosers have.
    const QString title =
        QCoreApplication::translate("takebox::CDVDeviceWindowController", "SelectFolder");
    const QString chosen = mChooseFolder(title, field->text());
    if (!chosen.isEmpty()) {
        field->setText(chosen);
    }
}

}  // namespace takebox
