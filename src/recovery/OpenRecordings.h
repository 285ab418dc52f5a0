#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <mutex>
#include <vector>

#include "recovery/Recovery.h"

namespace takebox {

/// A recording and its files.
struct RecordingNote {
    QString moviePath;      ///< self-contained movie; empty for none
    QString referencePath;  ///< empty for none
    RecordingFacts facts;

    [[nodiscard]] QStringList movies() const;
};

/// A note on the disk that a recording is under way, in a file of its own in the user's data folder
/// (openRecordingsFolder()). Whoever finds it when nobody holds it any more knows that the
/// recording was cut off. Main thread; the disk is left to threads of WriterThreads.
class OpenRecording : public std::enable_shared_from_this<OpenRecording> {
    struct Private {};

public:
    /// Writes the note; returns at once. A note that cannot be written is logged.
    [[nodiscard]] static std::shared_ptr<OpenRecording> begin(RecordingNote note);
    OpenRecording(Private, RecordingNote note);  ///< begin() calls it.
    ~OpenRecording();
    OpenRecording(const OpenRecording&) = delete;
    OpenRecording& operator=(const OpenRecording&) = delete;

    /// The recording is complete on the disk: removes the note; returns at once.
    void end();

private:
    void write();
    void remove();

    const RecordingNote mNote;
    const QString mPath;
    std::mutex mMutex;  // guards the two below
    bool mIsOver = false;
    int mDescriptor = -1;  // holds the lock on the note
};

/// A recording that was cut off: its note is there and nobody holds it.
struct AbandonedRecording {
    RecordingNote note;
    QString notePath;
};

[[nodiscard]] QString openRecordingsFolder();
[[nodiscard]] std::vector<AbandonedRecording> abandonedRecordings();
/// Removes the note: its recording has been recovered, or nobody wants it.
void forgetRecording(const AbandonedRecording& recording);
/// What a note tells of the recording with this movie; nothing much without a note.
[[nodiscard]] RecordingFacts factsOfRecording(const QString& moviePath);

}  // namespace takebox
