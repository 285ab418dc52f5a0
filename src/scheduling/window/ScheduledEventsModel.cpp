#include "scheduling/window/ScheduledEventsModel.h"

#include <QApplication>
#include <QFont>
#include <QLocale>
#include <QStyle>
#include <algorithm>
#include <array>
#include <limits>

#include "display/TimeFormatter.h"
#include "scheduling/ScheduledDecks.h"

namespace takebox {
namespace {

QString textOfMovies(const CRecordingEvent& event) {
    if (event.createReferenceMovie() && event.createSelfContainedMovie()) {
        return ScheduledEventsModel::tr("Both movies");
    }
    if (event.createReferenceMovie()) {
        return ScheduledEventsModel::tr("Reference movie");
    }
    return event.createSelfContainedMovie() ? ScheduledEventsModel::tr("Self-contained movie")
                                            : ScheduledEventsModel::tr("Nothing");
}

QString namesOfDays(const CRecordingEvent& event) {
    if (event.date().isValid()) {
        return QLocale().toString(event.date(), QLocale::LongFormat);
    }
    QStringList names;
    for (int day = 0; day < CRecordingEvent::kDaysInWeek; ++day) {
        if (event.shouldRecordOnDay(day)) {
            names.append(QLocale().dayName(day == 0 ? Qt::Sunday : day));
        }
    }
    return names.isEmpty() ? ScheduledEventsModel::tr("On no day")
                           : names.join(QStringLiteral(", "));
}

}  // namespace

ScheduledEventsModel::ScheduledEventsModel(const ScheduledDecks& decks, const Clock& clock,
                                           QObject* parent)
    : QAbstractTableModel(parent),
      mDecks(decks),
      mClock(clock),
      mWarningIcon(QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning)) {
    reload();
}

void ScheduledEventsModel::reload() {
    beginResetModel();
    mEvents = gSchedulingEvents ? *gSchedulingEvents : SchedulingEvents();
    mOverlaps.clear();
    for (const auto& event : mEvents) {
        mOverlaps.push_back(namesOfOverlappingEvents(*event, mEvents));
    }
    readStatus();
    endResetModel();
}

void ScheduledEventsModel::readStatus() {
    mNow = mClock.localNow();
    mStatus = statusOfEvents(mEvents, mDecks, mNow);
}

void ScheduledEventsModel::refreshStates() {
    readStatus();
    if (!mEvents.empty()) {
        const int last = static_cast<int>(mEvents.size()) - 1;
        Q_EMIT dataChanged(index(0, 0), index(last, kColumnCount - 1));
    }
}

std::shared_ptr<CRecordingEvent> ScheduledEventsModel::eventAt(int row) const {
    return row >= 0 && row < rowCount() ? mEvents[static_cast<std::size_t>(row)] : nullptr;
}

const EventStatus& ScheduledEventsModel::statusAt(int row) const {
    return mStatus.at(static_cast<std::size_t>(row));
}

const QStringList& ScheduledEventsModel::overlapsAt(int row) const {
    return mOverlaps.at(static_cast<std::size_t>(row));
}

bool ScheduledEventsModel::hasOverlaps() const {
    return std::ranges::any_of(mOverlaps, [](const auto& names) { return !names.isEmpty(); });
}

int ScheduledEventsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(mEvents.size());
}

int ScheduledEventsModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : kColumnCount;
}

QVariant ScheduledEventsModel::data(const QModelIndex& index, int role) const {
    const int row = index.row();
    const int column = index.column();
    if (!eventAt(row)) {
        return {};
    }
    const auto& status = statusAt(row);
    const bool isMarked = (column == kDevice && status.isDeviceAbsent) ||
                          (column == kWhen && !overlapsAt(row).isEmpty());
    switch (role) {
        case Qt::DisplayRole:
            return text(row, column);
        case Qt::DecorationRole:
            return isMarked ? QVariant(mWarningIcon) : QVariant();
        case Qt::ToolTipRole:
        case Qt::AccessibleDescriptionRole:
            return toolTip(row);
        case Qt::FontRole: {
            QFont font;
            font.setBold(status.state == EventState::kRunning);
            return font;
        }
        case kSortRole:
            return sortKey(row, column);
        default:
            return {};
    }
}

QVariant ScheduledEventsModel::headerData(int section, Qt::Orientation orientation,
                                          int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) {
        return {};
    }
    switch (section) {
        case kDevice:
            return tr("Device");
        case kName:
            return tr("Name");
        case kWhen:
            return tr("When");
        case kDuration:
            return tr("Duration");
        case kWhat:
            return tr("Records");
        case kState:
            return tr("State");
        default:
            return {};
    }
}

QString ScheduledEventsModel::text(int row, int column) const {
    const auto& event = *mEvents.at(static_cast<std::size_t>(row));
    switch (column) {
        case kDevice:
            return statusAt(row).isDeviceAbsent ? tr("%1 (not connected)").arg(event.deviceString())
                                                : event.deviceString();
        case kName:
            return titleOfEvent(event);
        case kWhen:
            return tr("%1, %2 to %3")
                .arg(event.daysString(), event.startTimeString(), event.endTimeString());
        case kDuration:
            return TimeFormatter().stringForObjectValue(event.duration());
        case kWhat:
            return textOfMovies(event);
        case kState:
            return stateText(statusAt(row));
        default:
            return {};
    }
}

QString ScheduledEventsModel::stateText(const EventStatus& status) const {
    switch (status.state) {
        case EventState::kRunning:
            return tr("Recording");
        case EventState::kWaiting:
            return status.isDeviceAbsent ? tr("Due, device is not connected")
                                         : tr("Due, device is busy");
        case EventState::kNext:
            return tr("Next, in %1").arg(textOfWaitUntil(status.next->start, mNow));
        case EventState::kScheduled:
            return tr("Scheduled");
        case EventState::kDone:
            return tr("Done");
        case EventState::kNever:
            return tr("Never: no day or no length");
    }
    return {};
}

QString ScheduledEventsModel::toolTip(int row) const {
    QStringList lines{namesOfDays(*mEvents.at(static_cast<std::size_t>(row)))};
    if (statusAt(row).isDeviceAbsent) {
        lines.append(
            tr("The device is not connected. If it comes back in time, the rest is recorded."));
    }
    if (!overlapsAt(row).isEmpty()) {
        lines.append(tr("Overlaps with %1 on the same device. The later one starts when the "
                        "earlier one has ended.")
                         .arg(overlapsAt(row).join(QStringLiteral(", "))));
    }
    return lines.join(u'\n');
}

QVariant ScheduledEventsModel::sortKey(int row, int column) const {
    // From what goes on to what is over.
    static constexpr std::array kOrder{EventState::kRunning, EventState::kWaiting,
                                       EventState::kNext,    EventState::kScheduled,
                                       EventState::kNever,   EventState::kDone};
    const auto& status = statusAt(row);
    switch (column) {
        case kWhen:
            return status.next ? status.next->start.toMSecsSinceEpoch()
                               : std::numeric_limits<qint64>::max();
        case kDuration:
            return mEvents.at(static_cast<std::size_t>(row))->duration();
        case kState:
            return static_cast<int>(std::ranges::find(kOrder, status.state) - kOrder.begin());
        default:
            return text(row, column);
    }
}

QStringList namesOfOverlappingEvents(const CRecordingEvent& event, const SchedulingEvents& events) {
    QStringList names;
    for (const auto& other : events) {
        if (other->uuid() != event.uuid() && event.isOverlappingEvent(*other)) {
            names.append(QStringLiteral("\"%1\"").arg(titleOfEvent(*other)));
        }
    }
    return names;
}

}  // namespace takebox
