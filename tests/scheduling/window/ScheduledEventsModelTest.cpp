#include <QIcon>
#include <QSignalSpy>
#include <QSortFilterProxyModel>
#include <QStyledItemDelegate>

#include "scheduling/window/SchedulingWindow.h"

namespace takebox {
namespace {

using namespace test;

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

TEST_F(SchedulingWindow, hasRoomForTheRowOfARunningRecording) {
    add("A recording with a name of some length", QTime(12, 0, 5), 60);
    gScheduler->start();
    clock.advance(5);
    ASSERT_EQ(cell(0, 5), "Recording");
    QStyleOptionViewItem option;
    option.initFrom(&table());
    option.widget = &table();
    const QStyledItemDelegate plain;
    for (int column = 0; column < table().model()->columnCount(); ++column) {
        const auto index = table().model()->index(0, column);
        EXPECT_TRUE(index.data(Qt::FontRole).value<QFont>().bold());
        EXPECT_GE(table().columnWidth(column), plain.sizeHint(option, index).width()) << column;
    }
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

std::string mondayInFull() {
    return QLocale().toString(kMonday, QLocale::LongFormat).toStdString();
}

TEST_F(SchedulingWindow, tellsTheDaysOfAnEventInFull) {
    const auto event = add("News", QTime(20, 0), 1800);
    EXPECT_EQ(toolTip(0), mondayInFull());
    event->setDate({});
    for (const int day : {0, 2, 6}) {
        event->setShouldRecord(true, day);
    }
    EXPECT_EQ(toolTip(0), "Sunday, Tuesday, Saturday");
    for (const int day : {0, 2, 6}) {
        event->setShouldRecord(false, day);
    }
    EXPECT_EQ(toolTip(0), "On no day");
}

TEST_F(SchedulingWindow, saysWhatBecomesOfAnEventWhoseDeviceIsAbsent) {
    add("News", QTime(12, 0, 0), 60);
    decks.remove(kGuid);
    clock.advance(1);
    EXPECT_EQ(toolTip(0),
              mondayInFull() +
                  "\nThe device is not connected. If it comes back in time, the rest is recorded.");
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
    EXPECT_NE(toolTip(0).find("\"Weather\""), std::string::npos);
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

TEST_F(SchedulingWindow, hasNothingToShowBesideItsEvents) {
    add("News", QTime(20, 0), 1800);
    const auto* const model =
        qobject_cast<const QSortFilterProxyModel*>(table().model())->sourceModel();
    EXPECT_TRUE(model->index(0, 1).data().isValid());
    EXPECT_FALSE(model->data(QModelIndex()).isValid());
    EXPECT_TRUE(model->headerData(0, Qt::Horizontal).isValid());
    EXPECT_FALSE(model->headerData(model->columnCount(), Qt::Horizontal).isValid());
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

}  // namespace
}  // namespace takebox
