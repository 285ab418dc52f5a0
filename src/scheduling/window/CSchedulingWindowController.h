#pragma once

#include <QObject>
#include <QString>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

#include "platform/runloop/Clock.h"
#include "scheduling/SchedulingEvents.h"

class QCheckBox;
class QDialog;
class QLineEdit;
class QSortFilterProxyModel;
class QWidget;

namespace Ui {
class Scheduling;
class SchedulingEvent;
}  // namespace Ui

namespace takebox {

class ScheduledDecks;
class ScheduledEventsModel;

/// The window that lists the scheduled recordings, and the sheet in which one is edited. Main
/// thread; made by the application when it is first asked for, and kept.
///
/// The sheet is modal and editEvent() runs an event loop until it is closed: only what a person
/// does in the window leads there.
class CSchedulingWindowController : public QObject {
    Q_OBJECT

public:
    /// Both outlive the controller.
    CSchedulingWindowController(ScheduledDecks& decks, Clock& clock);
    ~CSchedulingWindowController() override;

    void showWindow();
    [[nodiscard]] QWidget* window() const { return mWindow.get(); }

    /// The application's list of events.
    [[nodiscard]] static const SchedulingEvents& scheduledEvents();
    void setScheduledEvents(const SchedulingEvents& events);

    // List.
    void addEventButtonPushed();
    void editEventButtonPushed();
    /// Not written to the preferences before the next edit or the end of the program.
    void deleteEventButtonPushed();
    void undoDeleteButtonPushed();
    void doubleClick() { editEventButtonPushed(); }
    /// An event has started or may start again, or the device list has changed.
    void scheduleEventsChanged();

    // Sheet.
    /// Lets the user edit the event. @return whether it was changed; it then has been taken over
    /// and the list has been saved.
    bool editEvent(const std::shared_ptr<CRecordingEvent>& event);
    void updateDisplay(CRecordingEvent& event);
    /// Stores what the sheet shows into the event, which may then start afresh.
    void updateEvent(CRecordingEvent& event) const;
    void loadDevicePopUpButton();
    /// Whether what the sheet shows can be taken over.
    [[nodiscard]] bool validateUserInterface() const { return !firstProblem(); }
    void okButtonPushed();
    void cancelButtonPushed();
    void startPickerChanged();
    void durationPickerChanged();
    void endPickerChanged();
    void autoCheckBoxChanged();
    void selectReferenceMovieFolderButtonPushed();
    void selectSelfContainedMovieFolderButtonPushed();
    void selectElementaryStreamsFolderButtonPushed();

    /// How the user is told that something was refused, and asked for a folder (title, folder to
    /// begin with; empty when none was chosen). The desktop's own unless a test says otherwise.
    void setBeep(std::function<void()> beep) { mBeep = std::move(beep); }
    void setFolderChooser(std::function<QString(const QString&, const QString&)> chooser) {
        mChooseFolder = std::move(chooser);
    }

Q_SIGNALS:
    /// Events have been added, changed or removed.
    void scheduledEventsChanged();

private:
    /// What keeps the sheet from being taken over, and the field to put it right in.
    struct Problem {
        QString text;
        QWidget* field;
    };

    void awakeFromNib();
    void awakeListFromNib();
    void awakeTable();
    void awakeSheetFromNib();
    void awakePickers();
    void awakeWeekdays();
    void sheetDidEnd(int returnCode);
    [[nodiscard]] std::optional<Problem> firstProblem() const;
    [[nodiscard]] QStringList warnings() const;
    void showHint();
    void chooseFolder(QLineEdit* field);
    [[nodiscard]] std::shared_ptr<CRecordingEvent> selectedEvent() const;
    void select(const std::shared_ptr<CRecordingEvent>& event);
    void eventsDidChange();
    void showNotice();
    void showSelection();

    ScheduledDecks& mDecks;
    Clock& mClock;
    Clock::Timer mRefreshTimer = 0;
    std::function<void()> mBeep;
    std::function<QString(const QString&, const QString&)> mChooseFolder;

    std::unique_ptr<Ui::Scheduling> mUi;
    std::unique_ptr<QWidget> mWindow;
    ScheduledEventsModel* mModel = nullptr;
    QSortFilterProxyModel* arrayController = nullptr;
    std::shared_ptr<CRecordingEvent> mDeletedEvent;
    std::size_t mDeletedPlace = 0;

    std::unique_ptr<Ui::SchedulingEvent> mSheet;
    QDialog* eventSheetWindow = nullptr;                                        // mWindow's
    std::array<QCheckBox*, CRecordingEvent::kDaysInWeek> mWeekdayCheckBoxes{};  // from Sunday
    std::shared_ptr<CRecordingEvent> mEditedEvent;
    bool _result = false;
};

}  // namespace takebox
