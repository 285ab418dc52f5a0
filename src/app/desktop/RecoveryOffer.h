#pragma once

#include <QDialog>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <memory>
#include <vector>

#include "display/widgets/WindowFit.h"
#include "recovery/OpenRecordings.h"

namespace takebox {

/// Offers, and carries out, the recovery of recordings that were cut off. Blocks nothing: the decks
/// can be used meanwhile, and the work is done on a thread of WriterThreads. Main thread; closes
/// and destroys itself.
class RecoveryOffer : public QDialog {
    Q_OBJECT

public:
    explicit RecoveryOffer(std::vector<AbandonedRecording> recordings);
    /// Recovery that is under way is ended; the files stay as they were.
    ~RecoveryOffer() override;

private:
    struct Work;

    void recover();
    void forget();
    void showProgress();
    void showResult();

    std::vector<AbandonedRecording> mRecordings;
    std::shared_ptr<Work> mWork;  // null before it is begun
    QTimer mTimer;
    ContentScrollView mTextView;
    QLabel mText;
    QProgressBar mProgress;
    QPushButton mRecoverButton;
    QPushButton mForgetButton;
    QPushButton mCloseButton;
};

}  // namespace takebox
