#pragma once

#include <QImage>
#include <QObject>
#include <QRect>
#include <QString>
#include <memory>
#include <vector>

#include "capture/CDVDeviceDelegate.h"
#include "capture/CDVDevicesController.h"
#include "display/CDiskTimeFormatter.h"
#include "display/Outlets.h"
#include "display/TimeCodeFormatter.h"
#include "platform/movietoolbox/TimeCodeRecord.h"
#include "recording/CDVDeviceSettings.h"
#include "recording/DiskSpaceWatch.h"
#include "recording/RecordingServices.h"

namespace takebox {

/// The controls of a device window.
struct DeviceWindowOutlets {
    FieldOutlet windowTitle;
    ButtonOutlet autoCheckBox;
    FieldOutlet deviceTimeCodeField;
    FieldOutlet elapsedTimeCodeField;
    FieldOutlet leftVuMeter;  ///< fraction of full scale
    FieldOutlet rightVuMeter;
    ButtonOutlet pauseButton;  ///< on: paused
    ButtonOutlet recordButton;
    ButtonOutlet stopButton;
    FieldOutlet recordingNameField;
    FieldOutlet remainingDiskTimeField;  ///< seconds
    FieldOutlet lostFramesField;         ///< of the recording that runs, or of the last one
    ButtonOutlet settingsButton;

    // Settings sheet.
    FieldOutlet presetTimecodeField;
    PopUpOutlet timecodeSourcePopUpButton;  ///< 0 device, 1 time of day, 2 preset
    FieldOutlet customDeviceNameField;
    FieldOutlet referenceMovieFolderPathField;
    FieldOutlet selfContainedMovieFolderPathField;
    FieldOutlet rawFolderPathField;
    FieldOutlet referenceMovieDurationField;  ///< seconds
    FieldOutlet deviceGUIDField;
    ButtonOutlet referenceMovieCheckBox;
    ButtonOutlet selfContainedMovieCheckBox;
    ButtonOutlet monoTracksCheckBox;
    ButtonOutlet loopRecordingCheckBox;
};

/// Record, pause and stop of one device, its settings, and what its window shows. Every way of
/// starting and stopping a recording (window, tray menu, schedule, remote command, script) ends in
/// recordButtonPushed(), pauseButtonPushed() and stopButtonPushed(). Works with and without a
/// window on the screen. Main thread.
class CDVDeviceWindowController : public QObject,
                                  public DeviceWindowController,
                                  public CDVDeviceDelegate {
    Q_OBJECT

public:
    /// @param device may be null: the controller then shows nothing and starts no timers.
    CDVDeviceWindowController(std::shared_ptr<CDVDevice> device, RecordingServices& services);
    ~CDVDeviceWindowController() override;

    // Record, pause and stop.
    void recordButtonPushed();
    void stopButtonPushed();
    /// Passes the pause button's state to the device.
    void pauseButtonPushed();
    void handleStartRecording();
    void handleStopRecording();
    void handlePauseRecording();
    /// Switches every configured playout system, one after the other; blocks.
    void castlineSwitch(bool on);

    // File names of a recording.
    /// Base path of the raw files without extension; null when none can be used.
    [[nodiscard]] QString generateRawFilePathForRecording(const QString& name,
                                                          const QString& atPath,
                                                          bool eraseExisting);
    /// Path with "ref"; null when the file is in the way and cannot be removed.
    [[nodiscard]] QString generateReferenceFilePathForRecording(const QString& name,
                                                                bool eraseExisting);
    /// Path with "mov"; null as above.
    [[nodiscard]] QString generateSelfContainedFilePathForRecording(const QString& name,
                                                                    bool eraseExisting);

    // Time code.
    void time(double seconds, TimeCodeRecord& toTimecode) const;
    void realtimeTimecode(TimeCodeRecord& timecode) const;
    /// Seconds after local midnight.
    [[nodiscard]] double realtimeTime() const;

    // Values and settings for remote control, schedule and scripts.
    [[nodiscard]] std::shared_ptr<CDVDevice> device() const override { return _device; }
    [[nodiscard]] QString guid() const;
    [[nodiscard]] QString deviceName() const { return _settings->deviceName(); }
    [[nodiscard]] QString recordingName() const { return _settings->recordingName(); }
    void setRecordingName(const QString& name);
    [[nodiscard]] bool autoNameRecordings() const { return _settings->autoNameRecordings(); }
    void setAutoNameRecordings(bool automatic);
    [[nodiscard]] bool loopRecording() const { return _settings->loopRecording(); }
    void setLoopRecording(bool loop);
    [[nodiscard]] bool createReferenceMovie() const { return _settings->createReferenceMovie(); }
    void setCreateReferenceMovie(bool create);
    [[nodiscard]] bool createSelfContainedMovie() const {
        return _settings->createSelfContainedMovie();
    }
    void setCreateSelfContainedMovie(bool create);
    [[nodiscard]] double referenceMovieDuration() const {
        return _settings->referenceMovieDuration();
    }
    void setReferenceMovieDuration(double seconds);
    [[nodiscard]] QString referenceMovieFolderPath() const {
        return _settings->referenceMovieFolderPath();
    }
    void setReferenceMovieFolderPath(const QString& path);
    [[nodiscard]] QString selfContainedRecordingFolderPath() const {
        return _settings->selfContainedRecordingFolderPath();
    }
    void setSelfContainedRecordingFolderPath(const QString& path);
    [[nodiscard]] QString rawRecordingFolderPath() const {
        return _settings->rawRecordingFolderPath();
    }
    void setRawRecordingFolderPath(const QString& path);
    [[nodiscard]] std::uint32_t recordedFrames() const;
    [[nodiscard]] QString recordedTimecode() const;
    [[nodiscard]] double recordedTime() const;
    [[nodiscard]] const QString& quickTimeTitle() const { return _quickTimeTitle; }
    void setQuickTimeTitle(const QString& title) {
        _quickTimeTitle = title;
        Q_EMIT settingsChanged();
    }
    /// Seconds of the chosen time code source.
    [[nodiscard]] double deviceTimecode() const;
    [[nodiscard]] QString deviceTimecodeString() const;
    /// The device's own time code when the latest recording started.
    [[nodiscard]] double recordStartTimecode() const;
    [[nodiscard]] QString recordStartTimecodeString() const;
    /// What the remaining-disk-time field shows.
    [[nodiscard]] QString remainingDiskSpaceAsTimecode() const;
    [[nodiscard]] CDVDeviceSettings& settings() { return *_settings; }
    /// The reference movie of the latest start that made one, written already; else null.
    [[nodiscard]] std::shared_ptr<const QuickTimeMovie> currentReferenceMovie() const {
        return _currentReferenceMovie;
    }
    /// Paths of the movies of the latest start; null when none was made.
    [[nodiscard]] const QString& currentReferenceMoviePath() const {
        return mCurrentReferenceMoviePath;
    }
    [[nodiscard]] const QString& currentSelfContainedMoviePath() const {
        return mCurrentSelfContainedMoviePath;
    }

    // What the recording that runs, or else the last one, received and lost.
    /// Whether there is one, since the deck was connected.
    [[nodiscard]] bool hasRecording() const {
        return _device && _device->recordingReport().tally != nullptr;
    }
    [[nodiscard]] qint64 receivedFrames() const;
    [[nodiscard]] qint64 lostFrames() const;
    [[nodiscard]] qint64 problemMessages() const;
    /// A line for each loss, with its time code; empty when nothing was lost.
    [[nodiscard]] QString losses() const { return lossesIn(&inEnglish); }
    [[nodiscard]] QString lossesIn(Wording wording) const;
    /// A file of the recording that the disk has refused to take data for.
    struct RefusedFile {
        QString name;
        int error = 0;                ///< errno of the first time
        bool isStillRefused = false;  ///< or was to its end
    };
    [[nodiscard]] std::vector<RefusedFile> refusedFiles() const;

    // Window.
    void stopUpdates() override;
    [[nodiscard]] QRect windowFrame() const override;
    void setFrameTopLeftPoint(int x, int y) override;
    void showWindow() override;
    [[nodiscard]] DeviceWindowOutlets& outlets() { return mOutlets; }
    [[nodiscard]] const QImage& previewImage() const { return mPreviewImage; }
    void setPreviewImage(const QImage& image) override;
    [[nodiscard]] bool wantsPreviewImage() const override {
        return mWindow != nullptr && mWindow->isShowing();
    }
    void deviceDidStopRecording() override;
    void updateElapsedTime();
    void updateRemainingSpace();
    /// Whole seconds of recording that fit into so many bytes.
    [[nodiscard]] static double secondsOfRecordingIn(qint64 bytes);
    void schedulingButtonPushed();
    void autoCheckBoxChanged();
    void recordingNameFieldChanged();

    // Settings sheet.
    void advancedSettingsButtonPushed();
    void okAdvancedSettingsPanelButtonPushed();
    void cancelAdvancedSettingsPanelButtonPushed();
    void timecodeSourcePopUpButtonChanged();
    void selectReferenceMovieFolderButtonPushed();
    void selectSelfContainedMovieFolderButtonPushed();
    void selectRawFolderButtonPushed();
    [[nodiscard]] bool isSettingsSheetShown() const { return mIsSettingsSheetShown; }

Q_SIGNALS:
    void previewImageChanged();
    /// Recording has started, stopped, been held or gone on.
    void recordingStateChanged();
    /// A setting has been changed by whatever means.
    void settingsChanged();
    /// The recording has lost frames, a disk refuses its files or takes them again, or a new
    /// recording has lost none yet.
    void lossesChanged();

private:
    void awakeFromNib();
    [[nodiscard]] QString recordingNameAt(const QDateTime& date) const;
    void alertThatFileIsInUse(const QString& title);
    [[nodiscard]] bool prepareSelfContainedMovie(const QString& name);
    [[nodiscard]] bool prepareReferenceMovie(const QString& name, QString& rawPath,
                                             QString& referencePath);
    /// What the settings choose: the time code of the device, the time of day or the preset.
    [[nodiscard]] TimeCodeRecord timeCodeOfSource(const TimeCodeRecord& ofDevice) const;
    void recordingDidStart();
    void announceRecording(const QString& rawPath, TimeCodeRecord startTimeCode);
    void updateLosses();
    void watchDiskSpace();
    /// An alert for what was wanted and has no file; the rest is recorded.
    void showWhatCannotBeRecorded(bool hasReferenceMovie);
    /// @return whether the movie is there.
    bool writeReferenceMovie(const QString& path, const QString& rawPath,
                             TimeCodeRecord startTimeCode);
    [[nodiscard]] QString generateMoviePath(const QString& folder, const QString& name,
                                            const QString& extension, bool eraseExisting);
    void removeOrRecycle(const QString& path, const QString& pathToRecycle);
    void updateApplicationIcon();
    void chooseFolderForField(FieldOutlet& field);
    void closeSettingsSheet();
    void settingsDidChange();
    void showStopped();

    RecordingServices& mServices;
    std::shared_ptr<CDVDevice> _device;
    std::unique_ptr<CDVDeviceSettings> _settings;
    std::shared_ptr<QuickTimeMovie> _currentReferenceMovie;  // of the latest start
    TimeCodeRecord _startTimeCode;
    QString _quickTimeTitle;
    TimeCodeFormatter _timeCodeFormatter;
    TimeCodeFormatter mPresetTimeCodeFormatter;
    CDiskTimeFormatter mDiskTimeFormatter;
    DeviceWindowOutlets mOutlets;
    QImage mPreviewImage;
    QString mCurrentReferenceMoviePath;
    QString mCurrentSelfContainedMoviePath;
    bool mIsSettingsSheetShown = false;
    QString mShownLosses;
    DiskSpaceWatch mDiskSpaceWatch;
    Clock::Timer _updateTimer = 0;
    Clock::Timer _updateRemainingSpaceTimer = 0;
    Clock::Timer mSaveTimer = 0;
    std::unique_ptr<DeviceWindow> mWindow;  // destroyed first: it looks at the outlets
};

}  // namespace takebox
