#pragma once

#include <QSocketNotifier>
#include <QString>
#include <atomic>
#include <cstdint>
#include <memory>

#include "capture/CDVDeviceDelegate.h"
#include "capture/DVFrameParser.h"
#include "capture/RecordingReport.h"
#include "capture/preview/DVPreview.h"
#include "display/TimeCodeFormatter.h"
#include "platform/avc/AVCDevice.h"
#include "platform/avc/TapeSubunitController.h"

namespace takebox {

/// One DV device: receives its frames from creation to destruction, parses them, and records them
/// on command. See DVFrameParser for what is read out of the frames.
///
/// Threads. Everything is called on the main thread, except what says so and the frame and message
/// callbacks, which run on the stream's receive thread. That thread counts in atomics; it never
/// allocates, locks or waits, and wakes the main thread, through a descriptor, only for pictures
/// that somebody watches.
class CDVDevice : public DVFrameParser {
public:
    /// Opens the device of the process-wide device controller (gAVCDeviceController) that has the
    /// GUID and starts its stream. What fails is logged; the object then stays without a stream.
    static std::shared_ptr<CDVDevice> initWithGUID(std::uint64_t guid);

    explicit CDVDevice(std::uint64_t guid);
    ~CDVDevice() override;

    /// Not owned; null for none.
    void setDelegate(CDVDeviceDelegate* delegate);
    [[nodiscard]] CDVDeviceDelegate* delegate() const { return mDelegate; }

    [[nodiscard]] std::uint64_t deviceGUID() const { return mGUID; }
    /// 16 lower-case hexadecimal digits.
    [[nodiscard]] QString deviceGUIDString() const;
    [[nodiscard]] const QString& deviceName() const { return mDeviceName; }
    void setDeviceName(const QString& name) { mDeviceName = name; }

    // Set by the recording controller before a start.
    [[nodiscard]] const QString& rawCapturePath() const { return mRawCapturePath; }
    void setRawCapturePath(const QString& path) { mRawCapturePath = path; }
    [[nodiscard]] const QString& selfContainedCapturePath() const {
        return mSelfContainedCapturePath;
    }
    void setSelfContainedCapturePath(const QString& path) { mSelfContainedCapturePath = path; }
    [[nodiscard]] const QString& referenceCapturePath() const { return mReferenceCapturePath; }
    void setReferenceCapturePath(const QString& path) { mReferenceCapturePath = path; }
    [[nodiscard]] bool shouldCreateReferenceMovie() const { return mCreateReferenceMovie; }
    void setShouldCreateReferenceMovie(bool create) { mCreateReferenceMovie = create; }
    [[nodiscard]] bool shouldCreateSelfContainedMovie() const { return mCreateSelfContainedMovie; }
    void setShouldCreateSelfContainedMovie(bool create) { mCreateSelfContainedMovie = create; }
    [[nodiscard]] bool monoTracks() const { return mMonoTracks; }
    void setMonoTracks(bool mono) { mMonoTracks = mono; }
    [[nodiscard]] bool loopRecording() const { return mLoopRecording; }
    void setLoopRecording(bool loop) { mLoopRecording = loop; }
    /// Seconds.
    [[nodiscard]] double loopDuration() const { return mLoopDuration; }
    void setLoopDuration(double duration) { mLoopDuration = duration; }
    [[nodiscard]] const QString& quickTimeTitle() const { return mQuickTimeTitle; }
    void setQuickTimeTitle(const QString& title) { mQuickTimeTitle = title; }

    /// Starts recording what the settings above ask for. Without a stream the files are opened but
    /// the device does not enter the recording state. A recording that runs is ended first.
    /// @param duration seconds that the reference movie covers; not used.
    /// @return always 0.
    std::int16_t startRecordingWithPreAllocationDuration(double duration,
                                                         TimeCodeRecord startTimeCode);
    /// Ends the recording; its writers go on in the background until all is on the disk.
    /// @param stopTape also stop the tape deck. @return always 0.
    std::int16_t stopRecording(bool stopTape);
    /// Ends a recording whose device is gone or no use any more, and tells the delegate.
    void cutOffRecording();
    /// Holds or goes on; without a recording it is never paused.
    void pauseRecording(bool pause);

    [[nodiscard]] bool isRecording() const { return mIsRecording.load(std::memory_order_relaxed); }
    [[nodiscard]] bool isPaused() const { return mIsPaused.load(std::memory_order_relaxed); }
    /// Frames counted since the recording started.
    [[nodiscard]] std::uint32_t recordedFrames() const {
        return mCurrentRecordingFrame.load(std::memory_order_relaxed);
    }
    /// Seconds at the nominal rate.
    [[nodiscard]] double recordedTime() const { return timeOfFrames(recordedFrames()); }
    [[nodiscard]] double loopRecordedTime() const {
        return timeOfFrames(mCurrentLoopRecordingFrame.load(std::memory_order_relaxed));
    }
    void resetLoopRecordedTime() { mCurrentLoopRecordingFrame.store(0, std::memory_order_relaxed); }
    /// recordedTime() as time code; that of the last recording from its end to the next start.
    [[nodiscard]] QString recordedTimeCode();
    [[nodiscard]] std::uint32_t recordedAudioFrames() const {
        return mRecordedAudioFrames.load(std::memory_order_relaxed);
    }
    /// Any thread.
    void incrementDCLOverrunCount() { mDCLOverrunCount.fetch_add(1, std::memory_order_relaxed); }
    [[nodiscard]] std::uint32_t overrunCount() const {
        return mDCLOverrunCount.load(std::memory_order_relaxed);
    }

    [[nodiscard]] std::shared_ptr<BufferedFile> dvOutputFile() const { return mDVOutputFile; }
    [[nodiscard]] std::shared_ptr<BufferedFile> audioOutputFile() const { return mAudioOutputFile; }
    [[nodiscard]] std::shared_ptr<QuickTimeMovie> selfContainedMovie() const {
        return mSelfContainedMovie;
    }
    /// Whether the file of the latest self-contained movie could be made.
    [[nodiscard]] bool hasSelfContainedFile() const { return mHasSelfContainedFile; }
    /// Makes the self-contained movie of a recording and starts its writer.
    void initializeSelfContainedMovieAtPath(const QString& path, TimeCodeRecord startTimeCode);
    /// Lets go of the self-contained movie; its writer finishes it.
    void closeSelfContainedMovie();
    [[nodiscard]] const QString& currentRecordingFilePath() const {
        return mCurrentRecordingFilePath;
    }
    /// Byte position of the first sample in the raw audio file: it has no header.
    [[nodiscard]] std::int64_t aiffHeaderOffset() const { return 0; }

    [[nodiscard]] RecordingReport recordingReport() const;
    /// Good frames received since the stream was started. Any thread.
    [[nodiscard]] std::uint64_t receivedFrames() const {
        return mReceivedFrames.load(std::memory_order_acquire);
    }
    [[nodiscard]] bool hasStream() const { return mCaptureStream != nullptr; }
    /// What the device answered when it was last opened: 0 or an errno value.
    [[nodiscard]] int openError() const { return mOpenError; }
    /// What keeps the stream from receiving; kNone without a stream.
    [[nodiscard]] avc::StreamProblem streamProblem() const {
        return mCaptureStream ? mCaptureStream->problem() : avc::StreamProblem::kNone;
    }
    /// The device's file where it has one, such as "/dev/fw1".
    [[nodiscard]] QString deviceFile() const;
    /// Opens a device again that could not be opened; does nothing to one that has its stream.
    void retryPreview();
    /// Whether the record of the device still says the standard that this object works in.
    [[nodiscard]] bool hasStandardOf(const avc::AVCDevice& record) const;

    /// The picture of the newest frame as JPEG, decoded now if nobody watches; empty before there
    /// is one.
    [[nodiscard]] QByteArray JPEGPreviewData();
    /// Whether the delegate is to get each picture as it comes, and the newest one now. To be told
    /// whenever the delegate's wantsPreviewImage() changes, except by setDelegate().
    void setPictureIsWatched(bool isWatched);
    [[nodiscard]] QRectF previewBounds() const { return mPreview->previewBounds(); }
    [[nodiscard]] DVPreview& preview() { return *mPreview; }

    // Callbacks of the device framework; refCon is the CDVDevice.
    static std::uint32_t DVFrameReceivedHandler(std::uint32_t message, const std::uint8_t* data,
                                                std::uint32_t length, void* refCon);
    static void DVReceiverMessageReceivedProc(std::uint32_t message, std::uint32_t parameter1,
                                              std::uint32_t parameter2, void* refCon);
    static std::int32_t MyAVCDeviceMessageNotification(avc::AVCDevice* device,
                                                       std::uint32_t message,
                                                       std::int32_t parameter, void* refCon);

protected:
    void updatePreviewBounds() override;

private:
    std::int16_t startPreview();
    void stopPreview();
    void frameReceived(std::uint32_t message, const std::uint8_t* data, std::uint32_t length);
    void recordFrame(const std::uint8_t* data, std::uint32_t length, const std::uint32_t* audio,
                     std::uint32_t audioBytes);
    template <class Act>
    void whileRecording(Act act);
    void receiverMessage(std::uint32_t message, std::uint32_t parameter1, std::uint32_t parameter2);
    void countProblem(std::uint32_t frames);
    void incrementRecordingFrame();
    void incrementRecordedAudioFrames(std::uint32_t frames) {
        mRecordedAudioFrames.fetch_add(frames, std::memory_order_relaxed);
    }
    [[nodiscard]] double timeOfFrames(std::uint32_t frames) const;
    void updateRecordedTimeCode();
    void wakeMainThread();
    void deliverPicture();
    void openRawFiles();
    [[nodiscard]] std::shared_ptr<BufferedFile> openRawFile(
        std::shared_ptr<BufferedFile> file) const;
    void leaveRecordingState();
    void closeRawFiles();

    // Constant after creation.
    const std::uint64_t mGUID;

    // Main thread.
    bool mHasSelfContainedFile = false;
    int mOpenError = 0;
    bool mEraseFile = false;
    bool mCreateSelfContainedMovie = false;
    bool mCreateReferenceMovie = false;
    bool mMonoTracks = false;
    CDVDeviceDelegate* mDelegate = nullptr;
    std::unique_ptr<DVPreview> mPreview;  // made before the stream; takes frames on its thread
    QString mDeviceName;
    QString mQuickTimeTitle;
    QString mRawCapturePath;
    QString mSelfContainedCapturePath;
    QString mReferenceCapturePath;
    QString mCurrentRecordingFilePath;
    QString mRecordedTimeCode = QStringLiteral("00:00:00:00");
    TimeCodeFormatter mTimeCodeFormatter;
    avc::AVCDevice* mCaptureDevice = nullptr;  // owned by the device controller, which outlives us
    std::unique_ptr<avc::AVCDeviceStream> mCaptureStream;
    std::unique_ptr<avc::TapeSubunitController> mTapeController;  // while recording
    std::shared_ptr<BufferedFile> mLastDVFile;  // of the last recording, for its report
    std::shared_ptr<BufferedFile> mLastAudioFile;

    // What both threads look at; each stands for itself.
    std::atomic<bool> mLoopRecording{false};
    std::atomic<double> mLoopDuration{0.0};
    std::atomic<bool> mIsPictureWatched{false};
    std::atomic<std::uint32_t> mCurrentRecordingFrame{0};
    std::atomic<std::uint32_t> mCurrentLoopRecordingFrame{0};
    std::atomic<std::uint32_t> mRecordedAudioFrames{0};
    std::atomic<std::uint32_t> mDCLOverrunCount{0};

    // The files change only while the receive thread is kept out of recordFrame():
    //   the receive thread raises mIsInFrame, then looks at mIsRecording;
    //   the main thread clears mIsRecording, then waits for mIsInFrame to fall.
    // Both use sequentially consistent order, so that one of them sees the other. Setting
    // mIsRecording releases the files to the receive thread.
    std::atomic<bool> mIsRecording{false};
    std::atomic<bool> mIsPaused{false};
    std::atomic<bool> mIsInFrame{false};
    std::shared_ptr<BufferedFile> mDVOutputFile;
    std::shared_ptr<BufferedFile> mAudioOutputFile;
    std::shared_ptr<QuickTimeMovie> mSelfContainedMovie;
    std::shared_ptr<RecordingTally> mTally;  // of the recording that runs, or of the last one

    // Written by the receive thread.
    std::atomic<std::uint64_t> mReceivedFrames{0};

    int mWakeUp;  // eventfd
    std::unique_ptr<QSocketNotifier> mWakeUpNotifier;
};

}  // namespace takebox
