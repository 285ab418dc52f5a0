// What the device window shows, its settings sheet and its naming controls.

#include <QFileInfo>

#include "recording/CDVDeviceWindowController.h"

namespace takebox {
namespace {

constexpr double kDisplayInterval = 0.02;   // seconds
constexpr double kDiskSpaceInterval = 1.0;  // seconds
// Bytes of one second of recording: 25 frames of 144000 bytes and two channels of 48 kHz sound.
constexpr qint64 kRecordingDataRate = 3792000;
const QString kAutomaticName = QStringLiteral("<<auto>>");

}  // namespace

void CDVDeviceWindowController::awakeFromNib() {
    _settings->loadSettings();
    _timeCodeFormatter.setFramesPerSecond(_device->framesPerSecond());
    mOutlets.deviceTimeCodeField.setFormatter(&_timeCodeFormatter);
    mOutlets.elapsedTimeCodeField.setFormatter(&_timeCodeFormatter);
    mOutlets.remainingDiskTimeField.setFormatter(&mDiskTimeFormatter);
    mOutlets.windowTitle.setStringValue(_settings->deviceName());
    Clock& clock = mServices.clock();
    _updateRemainingSpaceTimer = clock.callEvery(kDiskSpaceInterval, [this] {
        updateRemainingSpace();
        updateLosses();
        watchDiskSpace();
    });
    mOutlets.recordButton.setEnabled(true);
    mOutlets.stopButton.setEnabled(false);
    mOutlets.pauseButton.setEnabled(false);
    mOutlets.autoCheckBox.setState(_settings->autoNameRecordings());
    mOutlets.recordingNameField.setStringValue(_settings->recordingName());
    mPresetTimeCodeFormatter.setFramesPerSecond(_device->framesPerSecond());
    mOutlets.presetTimecodeField.setFormatter(&mPresetTimeCodeFormatter);
    updateRemainingSpace();
    updateLosses();
}

void CDVDeviceWindowController::showWindow() {
    if (!mWindow) {
        return;
    }
    if (_device && _updateTimer == 0) {
        // Only what is on the screen needs to be kept up to date fifty times a second.
        _updateTimer =
            mServices.clock().callEvery(kDisplayInterval, [this] { updateElapsedTime(); });
    }
    mWindow->show();
}

void CDVDeviceWindowController::stopUpdates() {
    if (_device) {
        _device->setPictureIsWatched(false);
    }
    mServices.clock().cancel(_updateTimer);
    _updateTimer = 0;
}

QRect CDVDeviceWindowController::windowFrame() const {
    return mWindow ? mWindow->frame() : QRect();
}

void CDVDeviceWindowController::setFrameTopLeftPoint(int x, int y) {
    if (mWindow) {
        mWindow->setFrameTopLeftPoint(x, y);
    }
}

void CDVDeviceWindowController::updateElapsedTime() {
    _device->setPictureIsWatched(wantsPreviewImage());
    mOutlets.elapsedTimeCodeField.setDoubleValue(_device->isRecording() ? _device->recordedTime()
                                                                        : 0.0);
    mOutlets.leftVuMeter.setDoubleValue(_device->audioLevelLeft());
    mOutlets.rightVuMeter.setDoubleValue(_device->audioLevelRight());
    const int source = _settings->timecodeSourceIndex();
    if (source >= kTimecodeSourceDevice && source <= kTimecodeSourcePreset) {
        mOutlets.deviceTimeCodeField.setDoubleValue(deviceTimecode());
    }
}

void CDVDeviceWindowController::updateRemainingSpace() {
    QString folder;
    if (_settings->createReferenceMovie()) {
        folder = _settings->rawRecordingFolderPath();
    } else if (_settings->createSelfContainedMovie()) {
        folder = _settings->selfContainedRecordingFolderPath();
    }
    if (folder.isEmpty()) {
        return;
    }
    const qint64 room = roomInFolder(folder).value_or(0);
    mOutlets.remainingDiskTimeField.setDoubleValue(secondsOfRecordingIn(room));
}

void CDVDeviceWindowController::watchDiskSpace() {
    // A loop that has come round takes no more room.
    const bool isLoop = _device->loopRecording() && _device->shouldCreateReferenceMovie() &&
                        _device->recordedTime() >= _device->loopDuration();
    if (!_device->isRecording() || (isLoop && !_device->shouldCreateSelfContainedMovie())) {
        return;
    }
    QStringList folders;
    if (_device->shouldCreateReferenceMovie() && !isLoop) {
        folders << QFileInfo(_device->currentRecordingFilePath()).path();
    }
    if (_device->shouldCreateSelfContainedMovie()) {
        folders << QFileInfo(_device->selfContainedCapturePath()).path();
    }
    const auto remaining = secondsUntilFull(folders, static_cast<double>(kRecordingDataRate));
    const auto warning =
        remaining ? mDiskSpaceWatch.check(*remaining, _settings->referenceMovieDuration(),
                                          _settings->deviceName())
                  : std::nullopt;
    if (warning) {
        mServices.showWarning(warning->title, warning->message);
    }
}

void CDVDeviceWindowController::updateLosses() {
    mOutlets.lostFramesField.setObjectValue(lostFrames());
    QString shown = losses();
    shown += QStringLiteral("\n%1 %2 %3")
                 .arg(lostFrames())
                 .arg(problemMessages())
                 .arg(hasRecording() ? 1 : 0);
    for (const RefusedFile& file : refusedFiles()) {
        shown += QStringLiteral("\n%1 %2 %3")
                     .arg(file.name)
                     .arg(file.error)
                     .arg(static_cast<int>(file.isStillRefused));
    }
    if (shown != mShownLosses) {
        mShownLosses = shown;
        Q_EMIT lossesChanged();
    }
}

qint64 CDVDeviceWindowController::receivedFrames() const {
    return _device ? static_cast<qint64>(_device->recordingReport().receivedFrames()) : 0;
}

qint64 CDVDeviceWindowController::lostFrames() const {
    return _device ? static_cast<qint64>(_device->recordingReport().lostFrames()) : 0;
}

qint64 CDVDeviceWindowController::problemMessages() const {
    return _device ? static_cast<qint64>(_device->recordingReport().problems) : 0;
}

QString CDVDeviceWindowController::lossesIn(Wording wording) const {
    return _device ? _device->recordingReport().lossesByTimeCode(wording).join(QLatin1Char('\n'))
                   : QString();
}

std::vector<CDVDeviceWindowController::RefusedFile> CDVDeviceWindowController::refusedFiles()
    const {
    std::vector<RefusedFile> files;
    const RecordingReport report = _device ? _device->recordingReport() : RecordingReport();
    for (const auto& file : {report.dvFile, report.audioFile}) {
        if (file && file->writeError() != 0) {
            files.push_back(
                {QFileInfo(file->path()).fileName(), file->writeError(), file->isRefused()});
        }
    }
    if (const auto& movie = report.movie; movie && movie->losses().errorNumber != 0) {
        files.push_back({QFileInfo(movie->movieFilePath()).fileName(), movie->losses().errorNumber,
                         movie->isRefused()});
    }
    return files;
}

double CDVDeviceWindowController::secondsOfRecordingIn(qint64 bytes) {
    const qint64 wholeSeconds = bytes / kRecordingDataRate;
    return static_cast<double>(wholeSeconds);
}

void CDVDeviceWindowController::setPreviewImage(const QImage& image) {
    mPreviewImage = image;
    Q_EMIT previewImageChanged();
}

void CDVDeviceWindowController::schedulingButtonPushed() {
    mServices.editScheduledEvents();
}

void CDVDeviceWindowController::autoCheckBoxChanged() {
    const bool isAutomatic = mOutlets.autoCheckBox.state();
    _settings->setAutoNameRecordings(isAutomatic);
    mOutlets.recordingNameField.setStringValue(isAutomatic ? kAutomaticName
                                                           : _settings->recordingName());
    mOutlets.recordingNameField.setEnabled(!isAutomatic);
    settingsDidChange();
}

void CDVDeviceWindowController::recordingNameFieldChanged() {
    _settings->setRecordingName(mOutlets.recordingNameField.stringValue());
    settingsDidChange();
}

void CDVDeviceWindowController::advancedSettingsButtonPushed() {
    const CDVDeviceSettings& settings = *_settings;
    mOutlets.deviceGUIDField.setStringValue(settings.deviceGUID());
    mOutlets.monoTracksCheckBox.setState(settings.monoTracks());
    mOutlets.rawFolderPathField.setStringValue(settings.rawRecordingFolderPath());
    mOutlets.selfContainedMovieFolderPathField.setStringValue(
        settings.selfContainedRecordingFolderPath());
    mOutlets.referenceMovieFolderPathField.setStringValue(settings.referenceMovieFolderPath());
    mOutlets.referenceMovieDurationField.setDoubleValue(settings.referenceMovieDuration());
    mOutlets.customDeviceNameField.setStringValue(settings.deviceName());
    mOutlets.timecodeSourcePopUpButton.selectItemAtIndex(settings.timecodeSourceIndex());
    mOutlets.presetTimecodeField.setDoubleValue(settings.presetTimecode());
    timecodeSourcePopUpButtonChanged();
    mOutlets.loopRecordingCheckBox.setState(settings.loopRecording());
    mOutlets.referenceMovieCheckBox.setState(settings.createReferenceMovie());
    mOutlets.selfContainedMovieCheckBox.setState(settings.createSelfContainedMovie());
    mIsSettingsSheetShown = true;
    if (mWindow) {
        mWindow->showSettingsSheet();
    }
}

void CDVDeviceWindowController::okAdvancedSettingsPanelButtonPushed() {
    CDVDeviceSettings& settings = *_settings;
    settings.setRawRecordingFolderPath(mOutlets.rawFolderPathField.stringValue());
    settings.setSelfContainedRecordingFolderPath(
        mOutlets.selfContainedMovieFolderPathField.stringValue());
    settings.setMonoTracks(mOutlets.monoTracksCheckBox.state());
    settings.setReferenceMovieFolderPath(mOutlets.referenceMovieFolderPathField.stringValue());
    settings.setReferenceMovieDuration(mOutlets.referenceMovieDurationField.doubleValue());
    settings.setDeviceName(mOutlets.customDeviceNameField.stringValue());
    settings.setCreateReferenceMovie(mOutlets.referenceMovieCheckBox.state());
    settings.setCreateSelfContainedMovie(mOutlets.selfContainedMovieCheckBox.state());
    settings.setTimecodeSourceIndex(mOutlets.timecodeSourcePopUpButton.indexOfSelectedItem());
    settings.setPresetTimecode(mOutlets.presetTimecodeField.doubleValue());
    settings.setLoopRecording(mOutlets.loopRecordingCheckBox.state());
    settings.saveSettings();
    mOutlets.windowTitle.setStringValue(settings.deviceName());
    closeSettingsSheet();
    updateRemainingSpace();
    Q_EMIT settingsChanged();
}

void CDVDeviceWindowController::cancelAdvancedSettingsPanelButtonPushed() {
    closeSettingsSheet();
}

void CDVDeviceWindowController::closeSettingsSheet() {
    mIsSettingsSheetShown = false;
    if (mWindow) {
        mWindow->closeSettingsSheet();
    }
}

void CDVDeviceWindowController::timecodeSourcePopUpButtonChanged() {
    switch (mOutlets.timecodeSourcePopUpButton.indexOfSelectedItem()) {
        case kTimecodeSourceDevice:
        case kTimecodeSourceTimeOfDay:
            mOutlets.presetTimecodeField.setEnabled(false);
            break;
        case kTimecodeSourcePreset:
            mOutlets.presetTimecodeField.setEnabled(true);
            break;
        default:
            break;
    }
}

void CDVDeviceWindowController::selectReferenceMovieFolderButtonPushed() {
    chooseFolderForField(mOutlets.referenceMovieFolderPathField);
}

void CDVDeviceWindowController::selectSelfContainedMovieFolderButtonPushed() {
    chooseFolderForField(mOutlets.selfContainedMovieFolderPathField);
}

void CDVDeviceWindowController::selectRawFolderButtonPushed() {
    chooseFolderForField(mOutlets.rawFolderPathField);
}

void CDVDeviceWindowController::chooseFolderForField(FieldOutlet& field) {
    if (mWindow) {
        mWindow->chooseFolder(tr("SelectFolder"), field.stringValue(),
                              [&field](const QString& path) { field.setStringValue(path); });
    }
}

}  // namespace takebox
