#include "RecoveryOffer.h"

#include <QDir>
#include <QHBoxLayout>
#include <QVBoxLayout>
#include <atomic>
#include <mutex>
#include <utility>

#include "platform/log/Log.h"
#include "storage/WriterThreads.h"

namespace takebox {
namespace {

constexpr int kProgressInterval = 100;  // milliseconds
constexpr int kProgressSteps = 1000;
constexpr int kTextWidth = 480;  // pixels: paths, and few lines of text

}  // namespace

/// What the recovering thread and the dialog share.
struct RecoveryOffer::Work {
    std::vector<AbandonedRecording> recordings;
    std::atomic<bool> isCancelled{false};
    std::atomic<bool> isDone{false};
    std::atomic<int> step{0};  // of kProgressSteps, of the movie that is being recovered
    std::mutex mutex;          // guards messages
    QStringList messages;

    void run() {
        for (const AbandonedRecording& recording : recordings) {
            bool isWell = true;
            for (const QString& path : recording.note.movies()) {
                const RecoveryOutcome result =
                    recoverFile(path, recording.note.facts, [this](auto done, auto total) {
                        step = static_cast<int>(kProgressSteps * done / total);
                        return !isCancelled;
                    });
                isWell = isWell && result.isWell();
                logMessage("Recovery: %s", qUtf8Printable(result.message));
                const std::lock_guard guard(mutex);
                messages << result.localMessage;
            }
            if (isWell) {
                forgetRecording(recording);
            }
            if (isCancelled) {
                break;
            }
        }
        isDone = true;
    }
};

RecoveryOffer::RecoveryOffer(std::vector<AbandonedRecording> recordings)
    : mRecordings(std::move(recordings)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("recoveryOffer"));
    setWindowTitle(tr("Recordings That Were Cut Off"));
    QStringList names;
    for (const AbandonedRecording& recording : mRecordings) {
        names << QDir::toNativeSeparators(recording.note.movies().value(0));
    }
    mText.setText(
        tr("The program ended while it was recording:\n%1\n\nWhat had reached the disk can "
           "be made whole movies. The original files are kept.")
            .arg(names.join(QLatin1Char('\n'))));
    mText.setWordWrap(true);
    mText.setMinimumWidth(kTextWidth);
    mText.setAlignment(Qt::AlignLeft | Qt::AlignTop);
    mText.setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    mTextView.setWidget(&mText);
    mProgress.setRange(0, kProgressSteps);
    mProgress.hide();
    mRecoverButton.setText(tr("&Recover"));
    mRecoverButton.setObjectName(QStringLiteral("recoverButton"));
    mForgetButton.setText(tr("&Do Not Ask Again"));
    mForgetButton.setObjectName(QStringLiteral("forgetButton"));
    mForgetButton.setAutoDefault(false);
    mCloseButton.setText(tr("&Not Now"));
    mCloseButton.setAutoDefault(false);
    mRecoverButton.setDefault(true);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(&mForgetButton);
    buttons->addStretch();
    buttons->addWidget(&mCloseButton);
    buttons->addWidget(&mRecoverButton);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(&mTextView);
    layout->addWidget(&mProgress);
    layout->addLayout(buttons);

    connect(&mRecoverButton, &QPushButton::clicked, this, &RecoveryOffer::recover);
    connect(&mForgetButton, &QPushButton::clicked, this, &RecoveryOffer::forget);
    connect(&mCloseButton, &QPushButton::clicked, this, &QDialog::close);
    connect(&mTimer, &QTimer::timeout, this, &RecoveryOffer::showProgress);
    fitToScreen(*this);
}

RecoveryOffer::~RecoveryOffer() {
    if (mWork) {
        mWork->isCancelled = true;
    }
}

void RecoveryOffer::recover() {
    mWork = std::make_shared<Work>();
    mWork->recordings = mRecordings;
    WriterThreads::start("recovery", [work = mWork] { work->run(); });
    mRecoverButton.setEnabled(false);
    mForgetButton.setEnabled(false);
    mCloseButton.setText(tr("&Cancel"));
    mProgress.show();
    mTimer.start(kProgressInterval);
}

void RecoveryOffer::forget() {
    for (const AbandonedRecording& recording : mRecordings) {
        forgetRecording(recording);
    }
    close();
}

void RecoveryOffer::showProgress() {
    mProgress.setValue(mWork->step);
    if (mWork->isDone) {
        mTimer.stop();
        showResult();
    }
}

void RecoveryOffer::showResult() {
    const std::lock_guard guard(mWork->mutex);
    mText.setText(mWork->messages.join(QLatin1String("\n\n")));
    mProgress.hide();
    mRecoverButton.hide();
    mForgetButton.hide();
    mCloseButton.setText(tr("&Close"));
    fitToScreen(*this, pos());
}

}  // namespace takebox
