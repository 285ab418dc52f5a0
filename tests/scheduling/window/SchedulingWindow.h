#pragma once

#include <gtest/gtest.h>

#include <QDialog>
#include <QLabel>
#include <QLocale>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeEdit>
#include <QTimer>
#include <functional>
#include <memory>

#include "display/widgets/Resources.h"
#include "platform/defaults/Defaults.h"
#include "scheduling/CScheduler.h"
#include "scheduling/FakeDecks.h"
#include "scheduling/window/CSchedulingWindowController.h"
#include "support/ManualClock.h"

namespace takebox::test {

inline constexpr std::uint64_t kGuid = 0x0800460102030405;
inline constexpr std::uint64_t kOtherGuid = 0xFEDCBA9876543210;
inline const QDate kMonday(2024, 6, 3);

/// The window of a schedule for two decks, at noon on a Monday.
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
    [[nodiscard]] std::string toolTip(int row) const {
        const auto* const model = table().model();
        return model->data(model->index(row, 0), Qt::ToolTipRole).toString().toStdString();
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
    ManualClock clock;
    FakeDecks decks;
    std::unique_ptr<CSchedulingWindowController> controller;
    int beeps = 0;
    bool result = false;
};

}  // namespace takebox::test
