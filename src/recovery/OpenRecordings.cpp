#include "recovery/OpenRecordings.h"

#include <fcntl.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/defaults/AtomicFile.h"
#include "platform/defaults/PropertyList.h"
#include "platform/log/Log.h"
#include "platform/movietoolbox/ByteSource.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

const QString kMovieKey = QStringLiteral("Self-Contained Movie");
const QString kReferenceKey = QStringLiteral("Reference Movie");
const QString kRawKey = QStringLiteral("Raw Files");
const QString kTimeCodeKey = QStringLiteral("Start Timecode");
const QString kMonoKey = QStringLiteral("Mono Tracks");
const QString kSuffix = QStringLiteral(".recording");

QVariantMap valuesOf(const RecordingNote& note) {
    QVariantMap values{{kMovieKey, note.moviePath},
                       {kReferenceKey, note.referencePath},
                       {kRawKey, note.facts.rawPath},
                       {kMonoKey, note.facts.monoTracks}};
    if (note.facts.startTimeCode) {
        values.insert(kTimeCodeKey, qint64{note.facts.startTimeCode->counter()});
    }
    return values;
}

RecordingNote noteOf(const QVariantMap& values) {
    RecordingNote note;
    note.moviePath = values.value(kMovieKey).toString();
    note.referencePath = values.value(kReferenceKey).toString();
    note.facts.rawPath = values.value(kRawKey).toString();
    note.facts.monoTracks = values.value(kMonoKey).toBool();
    if (values.contains(kTimeCodeKey)) {
        note.facts.startTimeCode = TimeCodeRecord::fromCounter(values.value(kTimeCodeKey).toInt());
    }
    return note;
}

QString pathOfNewNote() {
    static std::atomic<unsigned> counter{0};
    return openRecordingsFolder() +
           QStringLiteral("/%1-%2").arg(getpid()).arg(counter.fetch_add(1)) + kSuffix;
}

bool isHeld(const QString& path) {
    int error = 0;
    const auto file = movietoolbox::FileBytes::open(QFile::encodeName(path).toStdString(), error);
    return file && file->isBeingRecorded();
}

template <class Visit>
void visitNotes(Visit visit) {
    const QDir folder(openRecordingsFolder());
    for (const QString& name : folder.entryList({QLatin1Char('*') + kSuffix}, QDir::Files)) {
        const QString path = folder.filePath(name);
        QFile file(path);
        if (const auto values =
                file.open(QIODevice::ReadOnly) ? readPropertyList(file.readAll()) : std::nullopt) {
            visit(path, noteOf(*values));
        }
    }
}

}  // namespace

QStringList RecordingNote::movies() const {
    QStringList movies;
    for (const QString& path : {moviePath, referencePath}) {
        if (!path.isEmpty()) {
            movies << path;
        }
    }
    return movies;
}

QString openRecordingsFolder() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
           QStringLiteral("/takebox/Open Recordings");
}

std::shared_ptr<OpenRecording> OpenRecording::begin(RecordingNote note) {
    auto recording = std::make_shared<OpenRecording>(Private{}, std::move(note));
    WriterThreads::start("note", [recording] { recording->write(); });
    return recording;
}

OpenRecording::OpenRecording(Private, RecordingNote note)
    : mNote(std::move(note)), mPath(pathOfNewNote()) {}

OpenRecording::~OpenRecording() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

void OpenRecording::write() {
    const std::lock_guard guard(mMutex);
    if (mIsOver) {
        return;
    }
    QDir().mkpath(openRecordingsFolder());
    if (const int error = replaceFile(mPath, writePropertyList(valuesOf(mNote))); error != 0) {
        logMessage("Cannot note that a recording has begun in %s: %s",
                   QFile::encodeName(mPath).constData(), strerror(error));
        return;
    }
    mDescriptor = ::open(QFile::encodeName(mPath).constData(), O_RDONLY | O_CLOEXEC);
    if (mDescriptor >= 0) {
        movietoolbox::markAsBeingRecorded(mDescriptor);
    }
}

void OpenRecording::end() {
    WriterThreads::start("note", [self = shared_from_this()] { self->remove(); });
}

void OpenRecording::remove() {
    const std::lock_guard guard(mMutex);
    mIsOver = true;
    ::unlink(QFile::encodeName(mPath).constData());
}

std::vector<AbandonedRecording> abandonedRecordings() {
    std::vector<AbandonedRecording> found;
    visitNotes([&found](const QString& path, const RecordingNote& note) {
        if (!isHeld(path)) {
            found.push_back({note, path});
        }
    });
    return found;
}

void forgetRecording(const AbandonedRecording& recording) {
    QFile::remove(recording.notePath);
}

RecordingFacts factsOfRecording(const QString& moviePath) {
    RecordingFacts facts;
    const QString wanted = QFileInfo(moviePath).absoluteFilePath();
    visitNotes([&](const QString& /*path*/, const RecordingNote& note) {
        if (QFileInfo(note.moviePath).absoluteFilePath() == wanted) {
            facts = note.facts;
        }
    });
    return facts;
}

}  // namespace takebox
