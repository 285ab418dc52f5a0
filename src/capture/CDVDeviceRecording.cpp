// How a recording begins and ends, the files that it writes, and its counters.

#include <fcntl.h>
#include <unistd.h>

#include <QFile>
#include <cerrno>
#include <cstring>
#include <thread>

#include "capture/CDVDevice.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "storage/DVDescriptions.h"

namespace takebox {
namespace {

constexpr std::uint32_t kVideoBlocksPerBuffer = 10;
constexpr std::uint32_t kAudioBlocksPerBuffer = 20;
constexpr std::int32_t kAudioSampleRate = 48000;

}  // namespace

void CDVDevice::cutOffRecording() {
    if (!isRecording()) {
        return;
    }
    stopRecording(false);
    if (mDelegate != nullptr) {
        mDelegate->deviceDidStopRecording();
    }
}

std::int16_t CDVDevice::startRecordingWithPreAllocationDuration(double /*duration*/,
                                                                TimeCodeRecord startTimeCode) {
    leaveRecordingState();
    closeRawFiles();  // even without a recording: those of a start without a stream
    closeSelfContainedMovie();
    mEraseFile = Defaults::standard().boolForKey(OxaPrefEraseExistingFilesKey);
    mCurrentRecordingFrame = 0;
    resetLoopRecordedTime();
    updateRecordedTimeCode();  // nobody is to take the last recording's time for this one's
    mDCLOverrunCount = 0;
    mTally = std::make_shared<RecordingTally>(mCreateReferenceMovie, mCreateSelfContainedMovie);
    if (mCreateReferenceMovie) {
        openRawFiles();
    }
    if (mCreateSelfContainedMovie) {
        initializeSelfContainedMovieAtPath(mSelfContainedCapturePath, startTimeCode);
    }
    mLastDVFile = mDVOutputFile;
    mLastAudioFile = mAudioOutputFile;
    if (!mCaptureStream) {
        mTally->end();
        return 0;
    }
    mTapeController = std::make_unique<avc::TapeSubunitController>(*mCaptureDevice);
    mIsRecording.store(true, std::memory_order_seq_cst);
    if (Defaults::standard().boolForKey(OxaPrefStartStopVTRKey)) {
        mTapeController->Play(avc::kPlayForward, [](int result) {
            if (result != 0) {
                logMessage("Could not PLAY the device");
            }
        });
    }
    return 0;
}

void CDVDevice::openRawFiles() {
    mCurrentRecordingFilePath = mRawCapturePath;
    mRecordedAudioFrames = 0;
    if (mCurrentRecordingFilePath.isNull()) {
        logMessage("No name for the raw files can be used; they are not recorded");
        return;
    }
    mDVOutputFile = openRawFile(BufferedFile::initVideoBufferedFileWithPath(
        mCurrentRecordingFilePath + QStringLiteral(".dv"), frameSize(), kVideoBlocksPerBuffer));
    mAudioOutputFile = openRawFile(BufferedFile::initAudioBufferedFileWithPath(
        mCurrentRecordingFilePath + QStringLiteral(".aud"), mAudioFrameSize,
        kAudioBlocksPerBuffer));
}

void CDVDevice::initializeSelfContainedMovieAtPath(const QString& path,
                                                   TimeCodeRecord startTimeCode) {
    logMessage("Initializing Self-Contained Movie");
    const bool isPAL = framesPerSecond() == kPALGeometry.framesPerSecond;
    mSelfContainedMovie = QuickTimeMovie::make();
    mSelfContainedMovie->setIsPAL(isPAL);
    mSelfContainedMovie->setMovieFilePath(path);
    mSelfContainedMovie->setMonoTracks(mMonoTracks);
    mSelfContainedMovie->setDropFrame(false);
    mSelfContainedMovie->setAudioTracksCount(1);
    mSelfContainedMovie->setAudioTimeScale(kAudioSampleRate, 0);
    mSelfContainedMovie->setStartTimeCode(startTimeCode);
    mSelfContainedMovie->setAudioDescriptionHandle(createDVSoundDescriptionHandle(), 0);
    mSelfContainedMovie->setVideoFrameSize((isPAL ? kPALGeometry : kNTSCGeometry).frameSize);
    mSelfContainedMovie->setVideoDescriptionHandle(isPAL ? createDVPALImageDescriptionHandle()
                                                         : createDVNTSCImageDescriptionHandle());
    mSelfContainedMovie->setVideoTimeScale(static_cast<std::int32_t>(framesPerSecond() * 100));
    // The name is taken at once: the next recording must not choose it too, and a folder that
    // cannot be written shows before the first frame.
    const QByteArray pathOnDisk = QFile::encodeName(path);
    const int descriptor = ::open(pathOnDisk.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666);
    mHasSelfContainedFile = descriptor >= 0;
    if (mHasSelfContainedFile) {
        ::close(descriptor);
    } else {
        logMessage("Cannot open %s for writing: %s", pathOnDisk.constData(), strerror(errno));
    }
    mSelfContainedMovie->startWriteMovieThread();
}

void CDVDevice::closeSelfContainedMovie() {
    if (mSelfContainedMovie) {
        mSelfContainedMovie->stopWriteMovieThread();
        mSelfContainedMovie.reset();
    }
}

std::shared_ptr<BufferedFile> CDVDevice::openRawFile(std::shared_ptr<BufferedFile> file) const {
    if (file->openForWriting(mEraseFile) != 0) {
        logMessage("Cannot open %s for writing: %s", QFile::encodeName(file->path()).constData(),
                   strerror(file->openError()));
        return nullptr;
    }
    return file;
}

void CDVDevice::leaveRecordingState() {
    mIsRecording.store(false, std::memory_order_seq_cst);
    // The receive thread may be copying a frame: it is done in well under a millisecond.
    while (mIsInFrame.load(std::memory_order_seq_cst)) {
        std::this_thread::yield();
    }
    if (mTally) {
        mTally->end();
    }
}

void CDVDevice::closeRawFiles() {
    for (auto* file : {&mDVOutputFile, &mAudioOutputFile}) {
        if (*file) {
            (*file)->close();
            file->reset();
        }
    }
}

std::int16_t CDVDevice::stopRecording(bool stopTape) {
    if (!isRecording()) {
        return 0;
    }
    leaveRecordingState();
    if (stopTape && mTapeController) {
        mTapeController->Wind(avc::kWindStop, [](int result) {
            if (result != 0) {
                logMessage("Could not STOP the device");
            }
        });
    }
    mTapeController.reset();
    closeRawFiles();
    if (mSelfContainedMovie) {
        mSelfContainedMovie->stopWriteMovieThread();
    }
    mIsPaused.store(false, std::memory_order_relaxed);
    updateRecordedTimeCode();
    mCurrentRecordingFrame = 0;
    resetLoopRecordedTime();
    return 0;
}

void CDVDevice::pauseRecording(bool pause) {
    mIsPaused.store(isRecording() && pause, std::memory_order_relaxed);
    if (isPaused()) {
        mTally->hold();
    }
}

double CDVDevice::timeOfFrames(std::uint32_t frames) const {
    return nominalFramesPerSecond() > 0 ? frames / nominalFramesPerSecond() : 0.0;
}

void CDVDevice::updateRecordedTimeCode() {
    mRecordedTimeCode = mTimeCodeFormatter.stringForObjectValue(recordedTime());
}

QString CDVDevice::recordedTimeCode() {
    if (isRecording()) {
        updateRecordedTimeCode();
    }
    return mRecordedTimeCode;
}

void CDVDevice::incrementRecordingFrame() {
    mCurrentRecordingFrame.fetch_add(1, std::memory_order_relaxed);
    mCurrentLoopRecordingFrame.fetch_add(1, std::memory_order_relaxed);
}

RecordingReport CDVDevice::recordingReport() const {
    RecordingReport report;
    report.wantedRawFiles = mTally && mTally->wantsRawFiles();
    report.dvFile = mLastDVFile;
    report.audioFile = mLastAudioFile;
    report.movie = mSelfContainedMovie;
    report.tally = mTally;
    report.update();
    return report;
}

}  // namespace takebox
