#include "capture/CDVDevice.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cmath>
#include <cstring>

#include "capture/AVCGlobals.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

// DV modes of 525/60 material: SD, SDL, HD, DVCPRO HD, DVCPRO50, DVCPRO 25.
constexpr std::array<std::uint8_t, 6> kNTSCModes{0x00, 0x04, 0x08, 0x70, 0x74, 0x78};
// A PAL device's frame below this size is not a frame of its own.
constexpr std::uint32_t kSmallestPALFrame = 140000;

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
                         [this] { deliverPicture(); });
    } else {
        logMessage("Too few file descriptors for %s: its picture stands still (%s)",
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
    setPictureIsWatched(delegate != nullptr && delegate->wantsPreviewImage());
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
            incrementDCLOverrunCount();
            countProblem(message == avc::kFramesMissing ? length : 1);
        }
        return;
    }
    if (length < kSmallestPALFrame && standard() == kStandardPAL) {
        logFromReceiveThread("Inconsistent frame received!");
        whileRecording([this] { mTally->frameOfWrongSize(currentTimeCode().counter()); });
        return;
    }
    extractTimeCode(data, length);
    mReceivedFrames.fetch_add(1, std::memory_order_release);  // who sees it sees the time code
    extract16By9Flag(data, length);
    std::uint32_t audioBytes = 0;
    const std::uint32_t* audio = extractAudioSamples(data, length, audioBytes);

    whileRecording([&] {
        if (!mIsPaused.load(std::memory_order_relaxed)) {
            recordFrame(data, length, audio, audioBytes);
        }
    });
    mPreview->offerFrame(data, length);
    if (mIsPictureWatched.load(std::memory_order_relaxed)) {
        wakeMainThread();
    }
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
    incrementRecordingFrame();
    incrementRecordedAudioFrames(audioBytes / 4);
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

void CDVDevice::deliverPicture() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = ::read(mWakeUp, &count, sizeof count);
    mPreview->decompressFrame(recordedFrames());
}

void CDVDevice::setPictureIsWatched(bool isWatched) {
    const bool wasWatched =
        mIsPictureWatched.exchange(isWatched && mWakeUp >= 0, std::memory_order_relaxed);
    if (isWatched && !wasWatched) {
        mPreview->decompressFrame(recordedFrames());
    }
}

QByteArray CDVDevice::JPEGPreviewData() {
    mPreview->decompressFrame(recordedFrames());
    return mPreview->JPEGPreviewData();
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

void CDVDevice::updatePreviewBounds() {
    mPreview->set16By9(is16By9());
}

}  // namespace takebox
