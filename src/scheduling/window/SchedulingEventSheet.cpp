// The sheet of the scheduling window, in which one event is edited.

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDateEdit>
#include <QDialog>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTabWidget>
#include <QTimeEdit>
#include <cmath>
#include <utility>

#include "display/widgets/SheetHint.h"
#include "display/widgets/WindowFit.h"
#include "scheduling/ScheduleOverview.h"
#include "scheduling/ScheduledDecks.h"
#include "scheduling/window/CSchedulingWindowController.h"
#include "scheduling/window/ScheduledEventsModel.h"
#include "ui_SchedulingEvent.h"

namespace takebox {
namespace {

constexpr int kSecondsInDay = 86400;
constexpr int kAccepted = 1;
constexpr int kCancelled = 0;
constexpr int kDateTab = 0;
constexpr int kWeeklyTab = 1;

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

/// Lets a time be typed into a field that by itself knows single sections only: its hours, minutes
/// or seconds, of which each is full already.
class SectionTyping : public QObject {
public:
    explicit SectionTyping(QDateTimeEdit* picker) : QObject(picker), mPicker(picker) {
        field()->installEventFilter(this);
        mPicker->installEventFilter(this);
    }

    bool eventFilter(QObject* object, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonRelease && object != mPicker) {
            mSectionOfDigit = QDateTimeEdit::NoSection;
            if (!field()->hasSelectedText()) {
                mPicker->setSelectedSection(mPicker->currentSection());
            }
        }
        if (event->type() == QEvent::KeyPress && object == mPicker) {
            return isDone(*static_cast<QKeyEvent*>(event));
        }
        return QObject::eventFilter(object, event);
    }

private:
    [[nodiscard]] QLineEdit* field() const { return mPicker->findChild<QLineEdit*>(); }

    /// A digit over everything begins in the first section. The separator behind a section that has
    /// gone on to the next one when it was full does not go on once more.
    bool isDone(const QKeyEvent& key) {
        if (key.key() == Qt::Key_Shift) {
            return false;  // the separator is still to come
        }
        const QChar typed = key.text().isEmpty() ? QChar() : key.text().front();
        const bool isDigit = typed.isDigit();
        if (isDigit && field()->selectedText() == field()->text()) {
            mPicker->setSelectedSection(mPicker->sectionAt(0));
        }
        const auto section = mPicker->currentSection();
        const auto before =
            std::exchange(mSectionOfDigit, isDigit ? section : QDateTimeEdit::NoSection);
        const bool isSeparator = typed.isPrint() && !typed.isLetterOrNumber();
        return isSeparator && before != QDateTimeEdit::NoSection && before != section;
    }

    QDateTimeEdit* mPicker;
    QDateTimeEdit::Section mSectionOfDigit = QDateTimeEdit::NoSection;  // of the last key, if one
};

}  // namespace

void CSchedulingWindowController::awakeSheetFromNib() {
    awakeWeekdays();
    awakePickers();

    using Controller = CSchedulingWindowController;
    connect(mSheet->autoCheckBox, &QCheckBox::toggled, this, &Controller::autoCheckBoxChanged);
    connect(mSheet->referenceFolderButton, &QPushButton::clicked, this,
            &Controller::selectReferenceMovieFolderButtonPushed);
    connect(mSheet->selfContainedFolderButton, &QPushButton::clicked, this,
            &Controller::selectSelfContainedMovieFolderButtonPushed);
    connect(mSheet->elementaryFolderButton, &QPushButton::clicked, this,
            &Controller::selectElementaryStreamsFolderButtonPushed);
    connect(mSheet->sheetButtons, &QDialogButtonBox::accepted, this, &Controller::okButtonPushed);
    connect(mSheet->sheetButtons, &QDialogButtonBox::rejected, this,
            &Controller::cancelButtonPushed);

    // Every change may take away a hint or call for one.
    connect(mSheet->tabView, &QTabWidget::currentChanged, this, &Controller::showHint);
    connect(mSheet->devicePopUpButton, &QComboBox::currentIndexChanged, this,
            &Controller::showHint);
    for (auto* const field : {mSheet->recordingNameField, mSheet->referencePathField,
                              mSheet->selfContainedPathField, mSheet->elementaryPathField}) {
        connect(field, &QLineEdit::textChanged, this, &Controller::showHint);
    }
    const auto boxes = eventSheetWindow->findChildren<QCheckBox*>();
    for (auto* const box : boxes) {
        connect(box, &QCheckBox::toggled, this, &Controller::showHint);
    }
}

void CSchedulingWindowController::awakePickers() {
    mSheet->startTimePicker->setDisplayFormat(timeFormatWithSeconds());
    mSheet->endTimePicker->setDisplayFormat(timeFormatWithSeconds());
    // A duration reads as hours and minutes in every language, never with "PM".
    mSheet->durationPicker->setLocale(QLocale(QLocale::English, QLocale::UnitedKingdom));
    mSheet->durationPicker->setDisplayFormat(QStringLiteral("HH:mm:ss"));

    const auto pickers = eventSheetWindow->findChildren<QDateTimeEdit*>();
    for (auto* const picker : pickers) {
        new SectionTyping(picker);  // owned by the picker
    }

    using Controller = CSchedulingWindowController;
    connect(mSheet->startTimePicker, &QTimeEdit::timeChanged, this,
            &Controller::startPickerChanged);
    connect(mSheet->durationPicker, &QTimeEdit::timeChanged, this,
            &Controller::durationPickerChanged);
    connect(mSheet->endTimePicker, &QTimeEdit::timeChanged, this, &Controller::endPickerChanged);
    connect(mSheet->datePicker, &QDateEdit::dateChanged, this, &Controller::showHint);
}

void CSchedulingWindowController::awakeWeekdays() {
    mWeekdayCheckBoxes = {mSheet->sundayCheckBox,   mSheet->mondayCheckBox,
                          mSheet->tuesdayCheckBox,  mSheet->wednesdayCheckBox,
                          mSheet->thursdayCheckBox, mSheet->fridayCheckBox,
                          mSheet->saturdayCheckBox};
    for (std::size_t day = 0; day < mWeekdayCheckBoxes.size(); ++day) {
        auto* const box = mWeekdayCheckBoxes.at(day);
        const int weekday = day == 0 ? Qt::Sunday : static_cast<int>(day);
        box->setText(QLocale().standaloneDayName(weekday, QLocale::ShortFormat));
        box->setAccessibleName(QLocale().standaloneDayName(weekday));
    }
    // In the order of the user's calendar, which does not begin on Sunday everywhere.
    const int first = QLocale().firstDayOfWeek();
    QWidget* before = mSheet->tabView;
    for (int i = 0; i < CRecordingEvent::kDaysInWeek; ++i) {
        auto* const box = mWeekdayCheckBoxes.at(
            static_cast<std::size_t>((first + i) % CRecordingEvent::kDaysInWeek));
        mSheet->weeklyLayout->removeWidget(box);
        mSheet->weeklyLayout->addWidget(box);
        QWidget::setTabOrder(before, box);
        before = box;
    }
}

bool CSchedulingWindowController::editEvent(const std::shared_ptr<CRecordingEvent>& event) {
    mEditedEvent = event;
    loadDevicePopUpButton();
    updateDisplay(*event);
    mSheet->recordingNameField->setFocus();
    mSheet->recordingNameField->selectAll();
    eventSheetWindow->setWindowModality(Qt::WindowModal);
    fitToScreen(*eventSheetWindow);
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
    mSheet->devicePopUpButton->clear();
    for (int index = 0; index < mDecks.countDevices(); ++index) {
        const auto deck = mDecks.deckAtIndex(index);
        mSheet->devicePopUpButton->addItem(deck->deviceName(), deck->guid());
    }
}

void CSchedulingWindowController::updateDisplay(CRecordingEvent& event) {
    const bool isWeekly = !event.date().isValid();
    mSheet->tabView->setCurrentIndex(isWeekly ? kWeeklyTab : kDateTab);
    for (int day = 0; day < CRecordingEvent::kDaysInWeek; ++day) {
        mWeekdayCheckBoxes.at(static_cast<std::size_t>(day))
            ->setChecked(isWeekly && event.shouldRecordOnDay(day));
    }
    mSheet->datePicker->setDate(isWeekly ? mClock.localNow().date() : event.date());
    if (event.startTime() < 0) {
        event.setStartTime(event.startTime() + kSecondsInDay);
    }
    if (event.endTime() < 0) {
        event.setEndTime(event.endTime() + kSecondsInDay);
    }
    showSeconds(mSheet->startTimePicker, event.startTime());
    showSeconds(mSheet->endTimePicker, event.endTime());
    showSeconds(mSheet->durationPicker, event.duration());
    mSheet->devicePopUpButton->setPlaceholderText(
        mSheet->devicePopUpButton->count() == 0 ? tr("No device is connected")
        : event.deviceString().isEmpty()
            ? tr("Choose a device")
            : tr("%1 is not connected; choose a device").arg(event.deviceString()));
    mSheet->devicePopUpButton->setCurrentIndex(mDecks.indexOfDeviceWithGUID(event.deviceGUID()));
    mSheet->recordingNameField->setText(event.recordingName());
    mSheet->referencePathField->setText(event.referenceMovieFolderPath());
    mSheet->selfContainedPathField->setText(event.selfContainedMovieFolderPath());
    mSheet->elementaryPathField->setText(event.rawStreamsFolderPath());
    mSheet->createReferenceMovieCheckBox->setChecked(event.createReferenceMovie());
    mSheet->createSelfContainedMovieCheckBox->setChecked(event.createSelfContainedMovie());
    mSheet->autoCheckBox->setChecked(event.autoNameFile());
    autoCheckBoxChanged();
    showHint();
}

void CSchedulingWindowController::updateEvent(CRecordingEvent& event) const {
    const bool isWeekly = mSheet->tabView->currentIndex() == kWeeklyTab;
    event.setDate(isWeekly ? QDate() : mSheet->datePicker->date());
    for (int day = 0; day < CRecordingEvent::kDaysInWeek; ++day) {
        const bool isTicked = mWeekdayCheckBoxes.at(static_cast<std::size_t>(day))->isChecked();
        event.setShouldRecord(isWeekly && isTicked, day);
    }
    // In this order: the duration decides, and an end on the next day lies beyond midnight.
    event.setStartTime(secondsShown(mSheet->startTimePicker));
    event.setEndTime(secondsShown(mSheet->endTimePicker));
    event.setDuration(secondsShown(mSheet->durationPicker));
    event.setRecordingName(mSheet->recordingNameField->text());
    event.setReferenceMovieFolderPath(mSheet->referencePathField->text());
    event.setSelfContainedMovieFolderPath(mSheet->selfContainedPathField->text());
    event.setRawStreamsFolderPath(mSheet->elementaryPathField->text());
    event.setCreateReferenceMovie(mSheet->createReferenceMovieCheckBox->isChecked());
    event.setCreateSelfContainedMovie(mSheet->createSelfContainedMovieCheckBox->isChecked());
    event.setAutoNameFile(mSheet->autoCheckBox->isChecked());
    const QString guid = mSheet->devicePopUpButton->currentData().toString();
    for (int index = 0; index < mDecks.countDevices(); ++index) {
        const auto deck = mDecks.deckAtIndex(index);
        if (deck->guid() == guid) {
            event.setDeviceGUID(deck->deviceGUID());
            break;
        }
    }
    event.setDeviceString(mSheet->devicePopUpButton->currentText());
    event.setAlreadyScheduled(false);
}

std::optional<CSchedulingWindowController::Problem> CSchedulingWindowController::firstProblem()
    const {
    if (mSheet->recordingNameField->text().isEmpty()) {
        return Problem{tr("Give the recording a name."), mSheet->recordingNameField};
    }
    for (auto* const field : {mSheet->referencePathField, mSheet->selfContainedPathField,
                              mSheet->elementaryPathField}) {
        if (field->text().isEmpty()) {
            return Problem{tr("%1 is missing.").arg(field->accessibleName()), field};
        }
    }
    if (mSheet->devicePopUpButton->currentIndex() < 0) {
        return Problem{tr("Choose the device to record from."), mSheet->devicePopUpButton};
    }
    if (secondsShown(mSheet->durationPicker) == 0) {
        return Problem{tr("Set a duration, or an end after the start."), mSheet->durationPicker};
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
    return texts +
           movieWarnings({{mSheet->referencePathField, draft.createReferenceMovie()},
                          {mSheet->selfContainedPathField, draft.createSelfContainedMovie()},
                          {mSheet->elementaryPathField, draft.createReferenceMovie()}});
}

void CSchedulingWindowController::showHint() {
    const auto problem = firstProblem();
    const QString hint = problem ? problem->text : warnings().join(u' ');
    const auto picture = problem ? QStyle::SP_MessageBoxInformation : QStyle::SP_MessageBoxWarning;
    takebox::showHint(*mSheet->hintIcon, *mSheet->hintLabel, picture, hint);
    mSheet->hintLabel->setFont(eventSheetWindow->font());
}

void CSchedulingWindowController::okButtonPushed() {
    if (const auto problem = firstProblem()) {
        mBeep();
        showHint();
        QFont bold = mSheet->hintLabel->font();
        bold.setBold(true);
        mSheet->hintLabel->setFont(bold);
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
    showSeconds(mSheet->endTimePicker,
                secondsShown(mSheet->startTimePicker) + secondsShown(mSheet->durationPicker));
    showHint();
}

void CSchedulingWindowController::durationPickerChanged() {
    startPickerChanged();
}

void CSchedulingWindowController::endPickerChanged() {
    showSeconds(mSheet->durationPicker,
                secondsShown(mSheet->endTimePicker) - secondsShown(mSheet->startTimePicker));
    showHint();
}

void CSchedulingWindowController::autoCheckBoxChanged() {
    const bool isAutomatic = mSheet->autoCheckBox->isChecked();
    if (isAutomatic) {
        mSheet->recordingNameField->setText(QStringLiteral("<<auto>>"));
    }
    mSheet->recordingNameField->setEnabled(!isAutomatic);
}

void CSchedulingWindowController::selectReferenceMovieFolderButtonPushed() {
    chooseFolder(mSheet->referencePathField);
}

void CSchedulingWindowController::selectSelfContainedMovieFolderButtonPushed() {
    chooseFolder(mSheet->selfContainedPathField);
}

void CSchedulingWindowController::selectElementaryStreamsFolderButtonPushed() {
    chooseFolder(mSheet->elementaryPathField);
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
