#include "capture/CDVDevice.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <QFile>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstring>
#include <thread>

#include "capture/AVCGlobals.h"
#include "capture/PreferenceKeys.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "storage/DVDescriptions.h"

namespace takebox {
namespace {

// DV modes of 525/60 material: SD, SDL, HD, DVCPRO HD, DVCPRO50, DVCPRO 25.
constexpr std::array<std::uint8_t, 6> kNTSCModes{0x00, 0x04, 0x08, 0x70, 0x74, 0x78};
// A PAL device's frame below this size is not a frame of its own.
constexpr std::uint32_t kSmallestPALFrame = 140000;
constexpr std::uint32_t kVideoBlocksPerBuffer = 10;
constexpr std::uint32_t kAudioBlocksPerBuffer = 20;
constexpr std::int32_t kAudioSampleRate = 48000;

bool hasDVCapability(const avc::AVCDevice& device) {
    return device.isDVTapeDevice() || device.isDVConverter();
}

DVStandard standardOf(const avc::AVCDevice& device) {
    const bool isNTSC =
        std::find(kNTSCModes.begin(), kNTSCModes.end(), device.dvMode()) != kNTSCModes.end();
    return isNTSC ? kStandardNTSC : kStandardPAL;
}

void printStartError(int error) {
    printMessage("Error %d(0x%x) in DVStartRecording\n", error, static_cast<unsigned>(error));
}

}  // namespace

std::unique_ptr<avc::AVCDeviceController> gAVCDeviceController;

std::shared_ptr<CDVDevice> CDVDevice::initWithGUID(std::uint64_t guid) {
    return std::make_shared<CDVDevice>(guid);
}

CDVDevice::CDVDevice(std::uint64_t guid)
    : mGUID(guid), mWakeUp(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (mWakeUp >= 0) {
        mWakeUpNotifier = std::make_unique<QSocketNotifier>(mWakeUp, QSocketNotifier::Read);
        QObject::connect(mWakeUpNotifier.get(), &QSocketNotifier::activated,
                         [this] { deliverNews(); });
    } else {
        logMessage("Too few file descriptors for %s: its counters and its picture stand still (%s)",
                   qUtf8Printable(deviceGUIDString()), strerror(errno));
    }
    const avc::AVCDevice* device =
        gAVCDeviceController ? gAVCDeviceController->findDeviceByGuid(guid) : nullptr;
    if (device != nullptr) {
        setStandard(standardOf(*device));
    }
    mPreview =
        std::make_unique<DVPreview>(nominalFramesPerSecond() <= kPALGeometry.nominalFramesPerSecond
                                        ? decompression::makeDVPALImageDescription()
                                        : decompression::makeDVNTSCImageDescription(),
                                    framesPerSecond());
    mTimeCodeFormatter.setFramesPerSecond(nominalFramesPerSecond());
    startPreview();
}

CDVDevice::~CDVDevice() {
    stopPreview();
    // A recording that still runs is closed, so that what was recorded is complete.
    if (isRecording()) {
        stopRecording(false);
    }
    closeRawFiles();
    closeSelfContainedMovie();
    mWakeUpNotifier.reset();
    if (mWakeUp >= 0) {
        ::close(mWakeUp);
    }
}

void CDVDevice::setDelegate(CDVDeviceDelegate* delegate) {
    mDelegate = delegate;
    mPreview->setDelegate(delegate);
}

QString CDVDevice::deviceGUIDString() const {
    return QString::asprintf("%016llx", static_cast<unsigned long long>(mGUID));
}

std::int16_t CDVDevice::startPreview() {
    mCaptureDevice = gAVCDeviceController ? gAVCDeviceController->findDeviceByGuid(mGUID) : nullptr;
    if (mCaptureDevice == nullptr) {
        logMessage("Cannot find device (err = %i)", ENODEV);
        printStartError(ENODEV);
        return ENODEV;
    }
    mOpenError = mCaptureDevice->openDevice(MyAVCDeviceMessageNotification, this);
    if (mOpenError != 0) {
        logMessage("Cannot open device (err = %i)", mOpenError);
        printStartError(mOpenError);
        mCaptureDevice = nullptr;  // its one user is somebody else, if anybody
        return static_cast<std::int16_t>(mOpenError);
    }
    if (hasDVCapability(*mCaptureDevice)) {
        logMessage("CaptureDevice = %" PRIxPTR ", SetRefCon = %" PRIxPTR,
                   reinterpret_cast<std::uintptr_t>(mCaptureDevice),
                   reinterpret_cast<std::uintptr_t>(this));
        avc::DVReceiverParameters parameters;
        parameters.frameProc = DVFrameReceivedHandler;
        parameters.frameRefCon = this;
        parameters.messageProc = DVReceiverMessageReceivedProc;
        parameters.messageRefCon = this;
        parameters.dvMode = mCaptureDevice->dvMode();
        mCaptureStream = mCaptureDevice->CreateDVReceiverForDevicePlug(parameters);
    }
    if (!mCaptureStream) {
        logMessage("Cannot StartAVCDeviceStream");
        return 0;
    }
    const int result = mCaptureDevice->StartAVCDeviceStream(*mCaptureStream);
    if (result != 0) {
        printStartError(result);
    }
    return static_cast<std::int16_t>(result);
}

QString CDVDevice::deviceFile() const {
    const avc::AVCDevice* record =
        gAVCDeviceController ? gAVCDeviceController->findDeviceByGuid(mGUID) : nullptr;
    return record != nullptr ? QString::fromStdString(record->deviceFile()) : QString();
}

void CDVDevice::retryPreview() {
    if (!mCaptureStream) {
        stopPreview();
        static_cast<void>(startPreview());
    }
}

bool CDVDevice::hasStandardOf(const avc::AVCDevice& record) const {
    return standard() == standardOf(record);
}

void CDVDevice::stopPreview() {
    if (mCaptureDevice == nullptr) {
        return;
    }
    if (mCaptureStream) {
        mCaptureDevice->StopAVCDeviceStream(*mCaptureStream);
        mCaptureDevice->DestroyAVCDeviceStream(mCaptureStream);
    }
    mCaptureDevice->closeDevice();
    mCaptureDevice = nullptr;
}

std::uint32_t CDVDevice::DVFrameReceivedHandler(std::uint32_t message, const std::uint8_t* data,
                                                std::uint32_t length, void* refCon) {
    static_cast<CDVDevice*>(refCon)->frameReceived(message, data, length);
    return avc::kFrameNotKept;
}

void CDVDevice::frameReceived(std::uint32_t message, const std::uint8_t* data,
                              std::uint32_t length) {
    if (message != avc::kFrameReceived) {
        if (message == avc::kFrameIncomplete || message == avc::kFramesMissing) {
            mNews.overruns.fetch_add(1, std::memory_order_relaxed);
            countProblem(message == avc::kFramesMissing ? length : 1);
            wakeMainThread();
        }
        return;
    }
    if (length < kSmallestPALFrame && standard() == kStandardPAL) {
        logFromReceiveThread("Inconsistent frame received!");
        whileRecording([this] { mTally->frameOfWrongSize(currentTimeCode().counter()); });
        return;
    }
    mReceivedFrames.fetch_add(1, std::memory_order_relaxed);
    extractTimeCode(data, length);
    extract16By9Flag(data, length);
    std::uint32_t audioBytes = 0;
    const std::uint32_t* audio = extractAudioSamples(data, length, audioBytes);

    whileRecording([&] {
        if (!mIsPaused.load(std::memory_order_relaxed)) {
            recordFrame(data, length, audio, audioBytes);
        }
    });
    if (mPreview->offerFrame(data, length)) {
        mNews.picture.store(true, std::memory_order_relaxed);
    }
    wakeMainThread();
}

template <class Act>
void CDVDevice::whileRecording(Act act) {
    mIsInFrame.store(true, std::memory_order_seq_cst);
    if (mIsRecording.load(std::memory_order_seq_cst)) {
        act();
    }
    mIsInFrame.store(false, std::memory_order_release);
}

void CDVDevice::countProblem(std::uint32_t frames) {
    whileRecording([this, frames] {
        mTally->problemMessage(isPaused() ? 0 : frames, currentTimeCode().counter());
    });
}

void CDVDevice::receiverMessage(std::uint32_t message, std::uint32_t parameter1,
                                std::uint32_t parameter2) {
    // A gap in time is one in the recording when that was running before the gap and is after it.
    const auto framesOfGap = [this, parameter1]() -> std::uint32_t {
        const double frames = std::round(parameter1 * framesPerSecond() / 1000.0);
        return isPaused() || !mTally->isRunning() ? 0 : static_cast<std::uint32_t>(frames);
    };
    if (message == avc::kReceiverOverrun) {
        incrementDCLOverrunCount();
        countProblem(parameter2);
    } else if (message == avc::kStreamInterrupted) {
        incrementDCLOverrunCount();
        whileRecording([&] {
            mTally->problemMessage(parameter2 == avc::kReconnected ? framesOfGap() : 0,
                                   currentTimeCode().counter());
        });
    } else if (message == avc::kStreamResumed) {
        whileRecording(
            [&] { mTally->framesNotReceived(framesOfGap(), currentTimeCode().counter()); });
    }
}

void CDVDevice::recordFrame(const std::uint8_t* data, std::uint32_t length,
                            const std::uint32_t* audio, std::uint32_t audioBytes) {
    mNews.recordedFrames.fetch_add(1, std::memory_order_relaxed);
    bool isInRawFiles = mDVOutputFile && mAudioOutputFile;
    if (mDVOutputFile || mAudioOutputFile) {
        const bool reset = mLoopRecording.load(std::memory_order_relaxed) &&
                           loopRecordedTime() >= mLoopDuration.load(std::memory_order_relaxed);
        if (mDVOutputFile) {
            isInRawFiles = mDVOutputFile->appendBlock(data, length, reset) && isInRawFiles;
        }
        if (mAudioOutputFile) {
            isInRawFiles = mAudioOutputFile->appendBlock(
                               reinterpret_cast<const std::uint8_t*>(audio), audioBytes, reset) &&
                           isInRawFiles;
        }
        if (reset) {
            resetLoopRecordedTime();
        }
    }
    mNews.recordedAudioFrames.fetch_add(audioBytes / 4, std::memory_order_relaxed);
    bool isInMovie = false;
    if (mSelfContainedMovie) {
        const bool hasPicture = mSelfContainedMovie->bufferedAddVideoSample(data, length);
        const bool hasSound =
            mSelfContainedMovie->bufferedAddAudioSample(audio, audioBytes, audioBytes / 4);
        isInMovie = hasPicture && hasSound;
    }
    mTally->frameRecorded(currentTimeCode().counter(), isInRawFiles, isInMovie);
}

void CDVDevice::wakeMainThread() {
    const std::uint64_t one = 1;
    // A full counter means that the main thread has been told already.
    [[maybe_unused]] const ssize_t ignored = ::write(mWakeUp, &one, sizeof one);
}

void CDVDevice::deliverNews() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = ::read(mWakeUp, &count, sizeof count);
    for (auto frames = mNews.recordedFrames.exchange(0, std::memory_order_relaxed); frames != 0;
         --frames) {
        incrementRecordingFrame();
    }
    incrementRecordedAudioFrames(mNews.recordedAudioFrames.exchange(0, std::memory_order_relaxed));
    mDCLOverrunCount.fetch_add(mNews.overruns.exchange(0, std::memory_order_relaxed),
                               std::memory_order_relaxed);
    if (mNews.picture.exchange(false, std::memory_order_relaxed)) {
        mPreview->decompressFrame(recordedFrames());
    }
}

void CDVDevice::DVReceiverMessageReceivedProc(std::uint32_t message, std::uint32_t parameter1,
                                              std::uint32_t parameter2, void* refCon) {
    static_cast<CDVDevice*>(refCon)->receiverMessage(message, parameter1, parameter2);
}

std::int32_t CDVDevice::MyAVCDeviceMessageNotification(avc::AVCDevice* /*device*/,
                                                       std::uint32_t message,
                                                       std::int32_t /*parameter*/, void* refCon) {
    if (message == avc::kDeviceCloseRequest) {
        static_cast<CDVDevice*>(refCon)->cutOffRecording();
    }
    return 0;
}

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
    deliverNews();
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
    deliverNews();
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

double CDVDevice::recordedTime() const {
    return nominalFramesPerSecond() > 0 ? mCurrentRecordingFrame / nominalFramesPerSecond() : 0.0;
}

double CDVDevice::loopRecordedTime() const {
    const auto frames = mCurrentLoopRecordingFrame.load(std::memory_order_relaxed);
    return nominalFramesPerSecond() > 0 ? frames / nominalFramesPerSecond() : 0.0;
}

void CDVDevice::updateRecordedTimeCode() {
    mRecordedTimeCode = mTimeCodeFormatter.stringForObjectValue(recordedTime());
}

void CDVDevice::incrementRecordingFrame() {
    ++mCurrentRecordingFrame;
    mCurrentLoopRecordingFrame.fetch_add(1, std::memory_order_relaxed);
    updateRecordedTimeCode();
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

void CDVDevice::updatePreviewBounds() {
    mPreview->set16By9(is16By9());
}

}  // namespace takebox
