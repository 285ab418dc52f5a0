#include "scheduling/window/CSchedulingWindowController.h"

#include <QApplication>
#include <QDialog>
#include <QFileDialog>
#include <QHeaderView>
#include <QPushButton>
#include <QShortcut>
#include <QSortFilterProxyModel>
#include <QStyle>
#include <QStyledItemDelegate>
#include <algorithm>

#include "display/widgets/Icons.h"
#include "display/widgets/WindowFit.h"
#include "scheduling/CScheduler.h"
#include "scheduling/ScheduledDecks.h"
#include "scheduling/window/ScheduledEventsModel.h"
#include "ui_Scheduling.h"
#include "ui_SchedulingEvent.h"

namespace takebox {
namespace {

constexpr double kRefreshInterval = 1.0;
// A long list is not measured whole for the width of its columns.
constexpr int kRowsToMeasure = 100;

/// Gives every cell room for the bold text that it has while its recording runs.
class RoomyDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override {
        QStyleOptionViewItem cell = option;
        initStyleOption(&cell, index);
        cell.font.setBold(true);
        cell.fontMetrics = QFontMetrics(cell.font);
        return cell.widget->style()->sizeFromContents(QStyle::CT_ItemViewItem, &cell, {},
                                                      cell.widget);
    }
};

}  // namespace

CSchedulingWindowController::CSchedulingWindowController(ScheduledDecks& decks, Clock& clock)
    : mDecks(decks),
      mClock(clock),
      mBeep(&QApplication::beep),
      mChooseFolder([this](const QString& title, const QString& folder) {
          return QFileDialog::getExistingDirectory(eventSheetWindow, title, folder);
      }),
      mUi(std::make_unique<Ui::Scheduling>()),
      mWindow(std::make_unique<QWidget>()),
      mSheet(std::make_unique<Ui::SchedulingEvent>()) {
    mUi->setupUi(mWindow.get());
    fitToScreen(*mWindow);
    mWindow->setWindowIcon(applicationIcon(QStringLiteral("TapedeckIcon")));
    // Owned by the window.
    eventSheetWindow = std::make_unique<QDialog>(mWindow.get()).release();
    mSheet->setupUi(eventSheetWindow);
    awakeFromNib();
}

CSchedulingWindowController::~CSchedulingWindowController() {
    mClock.cancel(mRefreshTimer);
}

void CSchedulingWindowController::awakeFromNib() {
    awakeListFromNib();
    awakeSheetFromNib();
    if (gScheduler) {
        connect(gScheduler.get(), &CScheduler::scheduleEventsChanged, this,
                &CSchedulingWindowController::scheduleEventsChanged);
    }
    mRefreshTimer = mClock.callEvery(kRefreshInterval, [this] {
        if (mWindow->isVisible()) {
            mModel->refreshStates();
        }
    });
}

void CSchedulingWindowController::awakeListFromNib() {
    using Controller = CSchedulingWindowController;
    mUi->addEventButton->setIcon(symbolicIcon(QStringLiteral("add")));
    mUi->deleteEventButton->setIcon(symbolicIcon(QStringLiteral("remove")));
    connect(mUi->addEventButton, &QPushButton::clicked, this, &Controller::addEventButtonPushed);
    connect(mUi->editEventButton, &QPushButton::clicked, this, &Controller::editEventButtonPushed);
    connect(mUi->deleteEventButton, &QPushButton::clicked, this,
            &Controller::deleteEventButtonPushed);
    connect(mUi->undoDeleteButton, &QPushButton::clicked, this,
            &Controller::undoDeleteButtonPushed);
    connect(mUi->closeButton, &QPushButton::clicked, mWindow.get(), &QWidget::close);
    awakeTable();
    eventsDidChange();
}

void CSchedulingWindowController::awakeTable() {
    mModel = std::make_unique<ScheduledEventsModel>(mDecks, mClock, this).release();
    arrayController = std::make_unique<QSortFilterProxyModel>(this).release();
    arrayController->setSourceModel(mModel);
    arrayController->setSortRole(ScheduledEventsModel::kSortRole);
    arrayController->setSortCaseSensitivity(Qt::CaseInsensitive);
    arrayController->setSortLocaleAware(true);
    mUi->eventsTableView->setModel(arrayController);
    mUi->eventsTableView->setItemDelegate(
        std::make_unique<RoomyDelegate>(mUi->eventsTableView).release());
    mUi->eventsTableView->horizontalHeader()->setResizeContentsPrecision(kRowsToMeasure);
    // A third click on a header gives back the user's own order, in which the window begins.
    mUi->eventsTableView->horizontalHeader()->setSortIndicatorClearable(true);
    mUi->eventsTableView->sortByColumn(-1, Qt::AscendingOrder);
    mUi->eventsTableView->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);

    using Controller = CSchedulingWindowController;
    connect(mUi->eventsTableView, &QTableView::doubleClicked, this, &Controller::doubleClick);
    connect(mUi->eventsTableView->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &Controller::showSelection);
    const auto shortcut = [this](const QKeySequence& keys, void (Controller::*action)()) {
        // Owned by the table.
        auto* const added = std::make_unique<QShortcut>(keys, mUi->eventsTableView).release();
        added->setContext(Qt::WidgetShortcut);
        connect(added, &QShortcut::activated, this, action);
    };
    shortcut(Qt::Key_Return, &Controller::editEventButtonPushed);
    shortcut(Qt::Key_Enter, &Controller::editEventButtonPushed);
    shortcut(QKeySequence::Delete, &Controller::deleteEventButtonPushed);
}

void CSchedulingWindowController::showWindow() {
    eventsDidChange();
    mWindow->show();
    mWindow->raise();
    mWindow->activateWindow();
    mUi->eventsTableView->setFocus();
}

const SchedulingEvents& CSchedulingWindowController::scheduledEvents() {
    static const SchedulingEvents none;
    return gSchedulingEvents ? *gSchedulingEvents : none;
}

void CSchedulingWindowController::setScheduledEvents(const SchedulingEvents& events) {
    if (gSchedulingEvents) {
        *gSchedulingEvents = events;
        eventsDidChange();
    }
}

void CSchedulingWindowController::addEventButtonPushed() {
    mUi->eventsTableView->clearSelection();
    const auto event = std::make_shared<CRecordingEvent>();
    event->setDate(mClock.localNow().date());
    if (mDecks.countDevices() > 0) {
        const auto deck = mDecks.deckAtIndex(0);
        event->setDeviceGUID(deck->deviceGUID());
        event->setRecordingName(deck->recordingName());
        event->setReferenceMovieFolderPath(deck->referenceMovieFolderPath());
        event->setSelfContainedMovieFolderPath(deck->selfContainedRecordingFolderPath());
        event->setRawStreamsFolderPath(deck->rawRecordingFolderPath());
        event->setCreateReferenceMovie(deck->createReferenceMovie());
        event->setCreateSelfContainedMovie(deck->createSelfContainedMovie());
    }
    if (!editEvent(event)) {
        return;
    }
    if (!event->isValid() || !gSchedulingEvents) {
        mBeep();
        return;
    }
    gSchedulingEvents->push_back(event);
    // What the user has just typed is not to wait for the next edit.
    static_cast<void>(saveSchedulingEventsToPreferences());
    eventsDidChange();
    select(event);
}

void CSchedulingWindowController::editEventButtonPushed() {
    const auto event = selectedEvent();
    if (event && editEvent(event)) {
        eventsDidChange();
        select(event);
    }
}

void CSchedulingWindowController::deleteEventButtonPushed() {
    const auto event = selectedEvent();
    if (!event || !gSchedulingEvents) {
        return;
    }
    const auto place = std::ranges::find(*gSchedulingEvents, event);
    if (place == gSchedulingEvents->end()) {
        return;
    }
    mDeletedEvent = event;
    mDeletedPlace = static_cast<std::size_t>(place - gSchedulingEvents->begin());
    const int row = mUi->eventsTableView->selectionModel()->selectedRows().front().row();
    gSchedulingEvents->erase(place);
    eventsDidChange();
    mUi->eventsTableView->selectRow(std::min(row, arrayController->rowCount() - 1));
}

void CSchedulingWindowController::undoDeleteButtonPushed() {
    const auto event = std::exchange(mDeletedEvent, nullptr);
    if (!event || !gSchedulingEvents) {
        return;
    }
    const auto place = std::min(mDeletedPlace, gSchedulingEvents->size());
    gSchedulingEvents->insert(gSchedulingEvents->begin() + static_cast<std::ptrdiff_t>(place),
                              event);
    eventsDidChange();
    select(event);
}

void CSchedulingWindowController::scheduleEventsChanged() {
    mModel->refreshStates();
}

void CSchedulingWindowController::eventsDidChange() {
    const auto selected = selectedEvent();
    mModel->reload();
    mUi->eventsTableView->resizeColumnsToContents();
    select(selected);
    showSelection();
    showNotice();
    Q_EMIT scheduledEventsChanged();
}

std::shared_ptr<CRecordingEvent> CSchedulingWindowController::selectedEvent() const {
    const auto rows = mUi->eventsTableView->selectionModel()->selectedRows();
    return rows.isEmpty() ? nullptr : mModel->eventAt(arrayController->mapToSource(rows[0]).row());
}

void CSchedulingWindowController::select(const std::shared_ptr<CRecordingEvent>& event) {
    for (int row = 0; event && row < mModel->rowCount(); ++row) {
        if (mModel->eventAt(row) == event) {
            const auto index = arrayController->mapFromSource(mModel->index(row, 0));
            mUi->eventsTableView->selectRow(index.row());
            mUi->eventsTableView->scrollTo(index);
        }
    }
}

void CSchedulingWindowController::showSelection() {
    const bool isSelected = selectedEvent() != nullptr;
    mUi->editEventButton->setEnabled(isSelected);
    mUi->deleteEventButton->setEnabled(isSelected);
    mUi->undoDeleteButton->setVisible(mDeletedEvent != nullptr);
}

void CSchedulingWindowController::showNotice() {
    QString notice;
    auto picture = QStyle::SP_MessageBoxInformation;
    if (mModel->rowCount() == 0) {
        notice = tr("Nothing is scheduled. Add a recording to have it start and stop on its own.");
    } else if (mModel->hasOverlaps()) {
        notice =
            tr("Some recordings of one device overlap. The later one starts when the earlier "
               "one has ended.");
        picture = QStyle::SP_MessageBoxWarning;
    }
    const int size = mWindow->style()->pixelMetric(QStyle::PM_SmallIconSize);
    mUi->noticeIcon->setPixmap(mWindow->style()->standardIcon(picture).pixmap(size));
    mUi->noticeIcon->setVisible(!notice.isEmpty());
    mUi->noticeLabel->setVisible(!notice.isEmpty());
    mUi->noticeLabel->setText(notice);
}

}  // namespace takebox
