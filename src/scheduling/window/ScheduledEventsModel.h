#pragma once

#include <QAbstractTableModel>
#include <QIcon>
#include <vector>

#include "platform/runloop/Clock.h"
#include "scheduling/ScheduleOverview.h"

namespace takebox {

/// gSchedulingEvents as a table: what each event records, when, and how it stands. Main thread.
class ScheduledEventsModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { kDevice, kName, kWhen, kDuration, kWhat, kState, kColumnCount };
    /// What the rows of a column are sorted by.
    static constexpr int kSortRole = Qt::UserRole;

    /// Both outlive the model.
    ScheduledEventsModel(const ScheduledDecks& decks, const Clock& clock,
                         QObject* parent = nullptr);

    /// Takes up a list that has been changed.
    void reload();
    /// Shows states and countdowns as they are now.
    void refreshStates();

    [[nodiscard]] std::shared_ptr<CRecordingEvent> eventAt(int row) const;
    /// The names of the events that overlap the one of the row.
    [[nodiscard]] const QStringList& overlapsAt(int row) const;
    [[nodiscard]] bool hasOverlaps() const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    void readStatus();
    [[nodiscard]] const EventStatus& statusAt(int row) const;
    [[nodiscard]] QString text(int row, int column) const;
    [[nodiscard]] QString stateText(const EventStatus& status) const;
    [[nodiscard]] QString toolTip(int row) const;
    [[nodiscard]] QVariant sortKey(int row, int column) const;

    const ScheduledDecks& mDecks;
    const Clock& mClock;
    QIcon mWarningIcon;
    // By row.
    SchedulingEvents mEvents;
    std::vector<QStringList> mOverlaps;
    std::vector<EventStatus> mStatus;
    QDateTime mNow;  // at which mStatus holds
};

/// The names of the events of the list, other than the event itself, that it overlaps.
[[nodiscard]] QStringList namesOfOverlappingEvents(const CRecordingEvent& event,
                                                   const SchedulingEvents& events);

}  // namespace takebox
