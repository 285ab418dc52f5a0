#include "app/RecoverFiles.h"

#include <unistd.h>

#include <QFileInfo>
#include <QObject>
#include <algorithm>
#include <chrono>
#include <csignal>

#include "platform/log/Log.h"
#include "recovery/OpenRecordings.h"
#include "recovery/Recovery.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

using Kind = RecoveryOutcome::Kind;
using Time = std::chrono::steady_clock;

constexpr int kBarWidth = 40;
constexpr std::chrono::milliseconds kBarInterval{100};

volatile std::sig_atomic_t gIsInterrupted = 0;

int exitStatusOf(Kind kind) {
    switch (kind) {
        case Kind::kRecovered:
        case Kind::kNothingToDo:
            return 0;
        case Kind::kNotAMovie:
        case Kind::kNothingRecorded:
            return 3;
        case Kind::kUnreadable:
            return 4;
        case Kind::kNoRoom:
            return 5;
        case Kind::kBeingRecorded:
            return 6;
        case Kind::kCancelled:
            return 130;
        case Kind::kFailed:
            break;
    }
    return 1;
}

/// The bar of one file, on the standard output when that is a terminal.
class ProgressBar {
public:
    explicit ProgressBar(const QString& path) : mName(QFileInfo(path).fileName()) {}

    void show(std::uint64_t done, std::uint64_t total) {
        const auto now = Time::now();
        if (!mIsTerminal || (done < total && now - mShown < kBarInterval) || total == 0) {
            return;
        }
        mShown = now;
        const int filled = static_cast<int>(kBarWidth * done / total);
        const QString bar = QString(filled, QLatin1Char('#')).leftJustified(kBarWidth);
        printMessage("\r\033[K%s [%s] %3d %%", mName.toUtf8().constData(), bar.toUtf8().constData(),
                     static_cast<int>(100 * done / total));
    }
    void clear() const {
        if (mIsTerminal) {
            printMessage("\r\033[K");
        }
    }

private:
    QString mName;
    bool mIsTerminal = ::isatty(STDOUT_FILENO) != 0;
    Time::time_point mShown;
};

/// The file's notes are of no use any more.
void forgetNotesOf(const QString& path) {
    const QString recovered = QFileInfo(path).absoluteFilePath();
    for (const AbandonedRecording& recording : abandonedRecordings()) {
        const QStringList movies = recording.note.movies();
        if (!movies.isEmpty() && QFileInfo(movies.first()).absoluteFilePath() == recovered) {
            forgetRecording(recording);
        }
    }
}

}  // namespace

int runRecover(const QStringList& paths) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        static_cast<void>(std::signal(number, [](int) { gIsInterrupted = 1; }));
    }
    int status = 0;
    for (const QString& path : paths) {
        ProgressBar bar(path);
        const RecoveryOutcome result =
            recoverFile(path, factsOfRecording(path), [&bar](auto done, auto total) {
                bar.show(done, total);
                return gIsInterrupted == 0;
            });
        bar.clear();
        if (result.isWell()) {
            printMessage("%s\n", result.message.toUtf8().constData());
            forgetNotesOf(path);
        } else {
            fprintf(stderr, "takebox: %s\n", result.message.toUtf8().constData());
        }
        status = std::max(status, exitStatusOf(result.kind));
        if (result.kind == Kind::kCancelled) {
            break;
        }
    }
    WriterThreads::waitUntilFinished();  // a movie counts when it is on the disk
    return status;
}

}  // namespace takebox
