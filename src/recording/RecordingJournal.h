#pragma once

#include <QString>
#include <memory>
#include <vector>

#include "capture/RecordingReport.h"
#include "platform/runloop/Clock.h"
#include "recovery/OpenRecordings.h"

namespace takebox {

/// Follows each recording until all of it is on the disk: keeps the note that tells a later start
/// of the program when it was cut off, and writes to the log what was recorded and what was lost.
/// Main thread; owned by the application.
class RecordingJournal {
public:
    explicit RecordingJournal(Clock& clock);
    ~RecordingJournal();
    RecordingJournal(const RecordingJournal&) = delete;
    RecordingJournal& operator=(const RecordingJournal&) = delete;

    /// A recording of the device has begun.
    void follow(const QString& deviceName, const RecordingReport& report, RecordingNote note);

    /// Ends what is complete on the disk. Also called by itself now and then, and by the
    /// application when every writer has finished.
    void endFinishedRecordings();

private:
    struct Entry {
        QString deviceName;
        QString name;  ///< of its first movie
        RecordingReport report;
        std::shared_ptr<OpenRecording> note;
    };

    static void writeToLog(Entry& entry);

    Clock& mClock;
    Clock::Timer mTimer = 0;
    std::vector<Entry> mEntries;
};

}  // namespace takebox
