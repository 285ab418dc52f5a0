#include "recording/RecordingJournal.h"

#include <QFileInfo>
#include <utility>

#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr double kInterval = 0.5;  // seconds

}  // namespace

RecordingJournal::RecordingJournal(Clock& clock) : mClock(clock) {}

RecordingJournal::~RecordingJournal() {
    mClock.cancel(mTimer);
}

void RecordingJournal::follow(const QString& deviceName, const RecordingReport& report,
                              RecordingNote note) {
    const QString name = QFileInfo(note.movies().value(0)).completeBaseName();
    mEntries.push_back({deviceName, name, report, OpenRecording::begin(std::move(note))});
    if (mTimer == 0) {
        mTimer = mClock.callEvery(kInterval, [this] { endFinishedRecordings(); });
    }
}

void RecordingJournal::endFinishedRecordings() {
    std::erase_if(mEntries, [](Entry& entry) {
        if (!entry.report.isFinal()) {
            return false;
        }
        writeToLog(entry);
        entry.note->end();
        return true;
    });
    if (mEntries.empty()) {
        mClock.cancel(mTimer);
        mTimer = 0;
    }
}

void RecordingJournal::writeToLog(Entry& entry) {
    entry.report.update();
    const QByteArray device = entry.deviceName.toUtf8();
    logMessage(
        "%s: recording \"%s\" ended, %llu frames received, %llu recorded, %llu lost, %llu problem "
        "messages",
        device.constData(), entry.name.toUtf8().constData(),
        static_cast<unsigned long long>(entry.report.receivedFrames()),
        static_cast<unsigned long long>(entry.report.recordedFrames()),
        static_cast<unsigned long long>(entry.report.lostFrames()),
        static_cast<unsigned long long>(entry.report.problems));
    for (const QString& line : entry.report.lossesByTimeCode()) {
        logMessage("%s: lost at %s", device.constData(), line.toUtf8().constData());
    }
    for (const QString& loss : entry.report.losses()) {
        logMessage("%s: LOST: %s", device.constData(), loss.toUtf8().constData());
    }
}

}  // namespace takebox
