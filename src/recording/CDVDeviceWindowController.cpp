#include "recording/CDVDeviceWindowController.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cmath>
#include <utility>

#include "capture/PreferenceKeys.h"
#include "display/TimeFields.h"
#include "platform/defaults/Defaults.h"
#include "platform/log/Log.h"
#include "recording/RecordingPaths.h"
#include "recovery/OpenRecordings.h"
#include "storage/DVDescriptions.h"

namespace takebox {
namespace {

constexpr std::uint32_t kReferenceAudioChunkSize = 96000;  // bytes: half a second
constexpr std::int32_t kAudioSampleRate = 48000;

// Format of a start time code, a time of day or a preset as text.
QString timeCodeText(const TimeCodeRecord& timeCode) {
    return QString::asprintf("%02i:%02i:%02i:%02i", timeCode.hours, timeCode.minutes,
                             timeCode.seconds, timeCode.frames);
}

}  // namespace

CDVDeviceWindowController::CDVDeviceWindowController(std::shared_ptr<CDVDevice> device,
                                                     RecordingServices& services)
    : mServices(services),
      _device(std::move(device)),
      _settings(std::make_unique<CDVDeviceSettings>()) {
    if (_device) {
        _settings->setDeviceGUID(_device->deviceGUIDString());
        _settings->setDeviceName(_device->deviceName());
        _device->setDelegate(this);
        awakeFromNib();
    }
    mWindow = mServices.makeDeviceWindow(*this);
}

CDVDeviceWindowController::~CDVDeviceWindowController() {
    mServices.clock().cancel(_updateRemainingSpaceTimer);
    mServices.clock().cancel(_updateTimer);
    mServices.clock().cancel(mSaveTimer);
    if (_device) {
        _device->setDelegate(nullptr);
    }
}

void CDVDeviceWindowController::recordButtonPushed() {
    if (!_device) {
        return;
    }
    if (gDVDevicesController && gDVDevicesController->hasDeparted(_device->deviceGUID())) {
        logMessage("%s is not connected any more; nothing is recorded",
                   qUtf8Printable(_device->deviceName()));
        return;
    }
    const QDateTime now = mServices.clock().localNow();
    if (!_settings->createSelfContainedMovie() && !_settings->createReferenceMovie()) {
        mServices.showCriticalAlert(
            tr("No Recording Destination!"),
            tr("No destination has been set.\nPlease check your Capture Settings and try again."));
        return;
    }
    const QString name = recordingNameAt(now);
    mCurrentReferenceMoviePath.clear();
    mCurrentSelfContainedMoviePath.clear();
    if (!prepareSelfContainedMovie(name)) {
        return;
    }
    QString rawPath;
    QString referencePath;
    if (!prepareReferenceMovie(name, rawPath, referencePath)) {
        return;
    }
    _startTimeCode = _device->currentTimeCode();
    const TimeCodeRecord startTimeCode = timeCodeOfSource(_startTimeCode);
    const std::int16_t status = _device->startRecordingWithPreAllocationDuration(
        _settings->referenceMovieDuration(), startTimeCode);
    if (_device->isRecording()) {
        announceRecording(rawPath, startTimeCode);
    }
    if (status == 0) {
        recordingDidStart();
    }
    const bool hasReferenceMovie = !_settings->createReferenceMovie() ||
                                   writeReferenceMovie(referencePath, rawPath, startTimeCode);
    showWhatCannotBeRecorded(hasReferenceMovie);
    updateApplicationIcon();
    Q_EMIT recordingStateChanged();
}

QString CDVDeviceWindowController::recordingNameAt(const QDateTime& date) const {
    if (mOutlets.autoCheckBox.state()) {
        return QString::asprintf("%04i-%02i-%02i %02ih%02im%02is", date.date().year(),
                                 date.date().month(), date.date().day(), date.time().hour(),
                                 date.time().minute(), date.time().second());
    }
    const QString name = mOutlets.recordingNameField.stringValue();
    const auto stop = name.lastIndexOf(QLatin1Char('.'));
    return fileNameOf(stop > 0 && stop + 1 < name.size() ? name.left(stop) : name);
}

void CDVDeviceWindowController::alertThatFileIsInUse(const QString& title) {
    mServices.showCriticalAlert(
        title, tr("Please make sure the destination reference file is not open in another "
                  "application."));
}

bool CDVDeviceWindowController::prepareSelfContainedMovie(const QString& name) {
    if (!_settings->createSelfContainedMovie()) {
        _device->setShouldCreateSelfContainedMovie(false);
        return true;
    }
    const QString path = generateSelfContainedFilePathForRecording(
        name, Defaults::standard().boolForKey(OxaPrefEraseExistingFilesKey));
    if (path.isNull()) {
        alertThatFileIsInUse(tr("Cannot create the self-contained movie!"));
        return false;
    }
    mCurrentSelfContainedMoviePath = path;
    _device->setSelfContainedCapturePath(path);
    _device->setShouldCreateSelfContainedMovie(true);
    _device->setMonoTracks(_settings->monoTracks());
    return true;
}

bool CDVDeviceWindowController::prepareReferenceMovie(const QString& name, QString& rawPath,
                                                      QString& referencePath) {
    if (!_settings->createReferenceMovie()) {
        _device->setShouldCreateReferenceMovie(false);
        return true;
    }
    // Each recording has a folder of its own for its raw files.
    const QString rawFolder = pathIn(_settings->rawRecordingFolderPath(), name);
    if (!QFileInfo::exists(rawFolder) && !QDir().mkdir(rawFolder)) {
        logMessage("Cannot create the folder %s", QFile::encodeName(rawFolder).constData());
    }
    const bool erase = Defaults::standard().boolForKey(OxaPrefEraseExistingFilesKey);
    rawPath = generateRawFilePathForRecording(name, rawFolder, erase);
    referencePath = generateReferenceFilePathForRecording(name, erase);
    if (referencePath.isNull()) {
        alertThatFileIsInUse(tr("Cannot create the reference movie!"));
        return false;
    }
    mCurrentReferenceMoviePath = referencePath;
    _device->setShouldCreateReferenceMovie(true);
    _device->setRawCapturePath(rawPath);
    _device->setReferenceCapturePath(referencePath);
    _device->setLoopRecording(_settings->loopRecording());
    _device->setLoopDuration(_settings->referenceMovieDuration());
    return true;
}

TimeCodeRecord CDVDeviceWindowController::timeCodeOfSource(const TimeCodeRecord& ofDevice) const {
    TimeCodeRecord timeCode;
    switch (_settings->timecodeSourceIndex()) {
        case kTimecodeSourceDevice:
            return ofDevice;
        case kTimecodeSourceTimeOfDay:
            realtimeTimecode(timeCode);
            break;
        case kTimecodeSourcePreset:
            time(_settings->presetTimecode(), timeCode);
            break;
        default:
            break;
    }
    return timeCode;
}

void CDVDeviceWindowController::announceRecording(const QString& rawPath,
                                                  TimeCodeRecord startTimeCode) {
    RecordingNote note;
    note.moviePath = mCurrentSelfContainedMoviePath;
    note.referencePath = mCurrentReferenceMoviePath;
    note.facts.rawPath = rawPath;
    note.facts.startTimeCode = startTimeCode;
    note.facts.monoTracks = _settings->monoTracks();
    mServices.recordingDidStart(*this, note);
    updateLosses();
    mDiskSpaceWatch.reset();
    watchDiskSpace();
}

void CDVDeviceWindowController::recordingDidStart() {
    if (Defaults::standard().integerForKey(OxaPrefShouldSwitchCastlineKey) != 0) {
        castlineSwitch(true);
    }
    if (Defaults::standard().integerForKey(OxaPrefLaunchStartRecordingScriptKey) != 0) {
        RecordingServices& services = mServices;
        mServices.clock().callLater(
            Defaults::standard().floatForKey(OxaPrefStartRecordingScriptDelayKey),
            [&services] { services.executeActionWithName(QStringLiteral("Start Recording")); });
    }
    mOutlets.settingsButton.setEnabled(false);
    mOutlets.recordButton.setEnabled(false);
    mOutlets.stopButton.setEnabled(true);
    mOutlets.pauseButton.setState(_device->isPaused());
    mOutlets.pauseButton.setEnabled(true);
}

void CDVDeviceWindowController::showWhatCannotBeRecorded(bool hasReferenceMovie) {
    QStringList missing;
    const int wanted = (_settings->createReferenceMovie() ? 2 : 0) +
                       (_settings->createSelfContainedMovie() ? 1 : 0);
    if (_settings->createReferenceMovie() &&
        (!_device->dvOutputFile() || !_device->audioOutputFile())) {
        missing << tr("the raw files in %1").arg(_settings->rawRecordingFolderPath());
    }
    if (!hasReferenceMovie) {
        missing << tr("the reference movie in %1").arg(_settings->referenceMovieFolderPath());
    }
    if (_settings->createSelfContainedMovie() && !_device->hasSelfContainedFile()) {
        missing << tr("the self-contained movie in %1")
                       .arg(_settings->selfContainedRecordingFolderPath());
    }
    if (!missing.isEmpty()) {
        mServices.showCriticalAlert(
            missing.size() < wanted ? tr("Not everything is recorded!")
                                    : tr("Nothing is recorded!"),
            tr("These cannot be written: %1.\nPlease check your Capture Settings and try again.")
                .arg(missing.join(tr(", "))));
    }
}

bool CDVDeviceWindowController::writeReferenceMovie(const QString& path, const QString& rawPath,
                                                    TimeCodeRecord startTimeCode) {
    const double rate = _device->framesPerSecond();
    const bool isPAL = rate == kPALGeometry.framesPerSecond;
    _currentReferenceMovie = QuickTimeMovie::make();
    QuickTimeMovie& movie = *_currentReferenceMovie;
    movie.setIsPAL(isPAL);
    movie.setDuration(_settings->referenceMovieDuration());
    movie.setDropFrame(false);
    movie.setMovieFilePath(path);
    if (!rawPath.isNull()) {
        movie.setVideoFilePath(rawPath + QStringLiteral(".dv"));
        movie.setAudioFilePath(rawPath + QStringLiteral(".aud"), 0);
    }
    movie.setAudioChunkSize(kReferenceAudioChunkSize, 0);
    movie.setAudioTimeScale(kAudioSampleRate, 0);
    movie.setAudioTracksCount(1);
    movie.setAudioDescriptionHandle(createDVSoundDescriptionHandle(), 0);
    movie.setAiffHeaderSize(_device->aiffHeaderOffset());
    movie.setStartTimeCode(startTimeCode);
    movie.setVideoFrameSize((isPAL ? kPALGeometry : kNTSCGeometry).frameSize);
    movie.setVideoTimeScale(static_cast<std::int32_t>(rate * 100));
    movie.setMonoTracks(_settings->monoTracks());
    // Each failure has been logged; the raw files are recorded all the same.
    static_cast<void>(movie.createMovie());
    static_cast<void>(movie.addVideoSamples());
    static_cast<void>(movie.addAudioSamples());
    static_cast<void>(movie.addTimeCodeSample());
    movie.finishMovie();
    movie.closeMovieFile();
    return QFileInfo::exists(path);
}

void CDVDeviceWindowController::stopButtonPushed() {
    if (!_device ||
        _device->stopRecording(Defaults::standard().boolForKey(OxaPrefStartStopVTRKey)) != 0) {
        return;
    }
    showStopped();
}

void CDVDeviceWindowController::deviceDidStopRecording() {
    showStopped();
    updateLosses();
    const QString movie = mCurrentSelfContainedMoviePath.isEmpty() ? mCurrentReferenceMoviePath
                                                                   : mCurrentSelfContainedMoviePath;
    const RecordingReport report = _device->recordingReport();
    mServices.showWarning(
        tr("Recording cut off!"),
        tr("%1 was disconnected, or does not send DV any more, while it recorded “%2”.\nReceived "
           "until then: %3, %4 frames, %5 lost. Check its cable and power, then start a new "
           "recording.")
            .arg(deviceName(), QFileInfo(movie).completeBaseName(), _device->recordedTimeCode())
            .arg(report.receivedFrames())
            .arg(report.lostFrames()));
}

void CDVDeviceWindowController::showStopped() {
    mOutlets.settingsButton.setEnabled(true);
    mOutlets.recordButton.setEnabled(true);
    mOutlets.stopButton.setEnabled(false);
    mOutlets.pauseButton.setEnabled(false);
    mOutlets.pauseButton.setState(false);
    updateApplicationIcon();
    Q_EMIT recordingStateChanged();
}

void CDVDeviceWindowController::pauseButtonPushed() {
    if (!_device) {
        return;
    }
    _device->pauseRecording(mOutlets.pauseButton.state());
    mOutlets.pauseButton.setState(_device->isPaused());  // without a recording there is no pause
    updateApplicationIcon();
    Q_EMIT recordingStateChanged();
}

void CDVDeviceWindowController::handleStartRecording() {
    logMessage("STARTED RECORDING because we received an AppleScript command to record");
    recordButtonPushed();
}

void CDVDeviceWindowController::handleStopRecording() {
    logMessage("STOPPED because we received an AppleScript command to stop");
    stopButtonPushed();
}

void CDVDeviceWindowController::handlePauseRecording() {
    pauseButtonPushed();
}

void CDVDeviceWindowController::castlineSwitch(bool on) {
    for (const auto& entry : Defaults::standard().arrayForKey(OxaPrefCastlineAddressesKey)) {
        const QString address = Defaults::stringOf(entry);
        if (const std::int32_t status = mServices.switchPlayout(address, on); status != 0) {
            logMessage("Tapedeck: Could not switch Castline with address %s because of an error %i",
                       address.toUtf8().constData(), status);
        }
    }
}

void CDVDeviceWindowController::time(double seconds, TimeCodeRecord& toTimecode) const {
    const std::uint8_t hours = byteField(std::floor(seconds / 3600.0));
    const double afterHours = seconds - hours * 3600.0;
    const std::uint8_t minutes = byteField(std::floor(afterHours / 60.0));
    const double afterMinutes = afterHours - minutes * 60.0;
    const std::uint8_t wholeSeconds = byteField(std::floor(afterMinutes));
    const double rate = _device ? _device->framesPerSecond() : 0.0;
    toTimecode = {hours, minutes, wholeSeconds, byteField((afterMinutes - wholeSeconds) * rate)};
}

void CDVDeviceWindowController::realtimeTimecode(TimeCodeRecord& timecode) const {
    const QTime now = mServices.clock().localNow().time();
    const double rate = _device ? _device->framesPerSecond() : 0.0;
    timecode = {static_cast<std::uint8_t>(now.hour()), static_cast<std::uint8_t>(now.minute()),
                static_cast<std::uint8_t>(now.second()),
                static_cast<std::uint8_t>(now.msec() / 1000.0 * rate)};
}

double CDVDeviceWindowController::realtimeTime() const {
    return secondsOfDay(mServices.clock().localNow());
}

QString CDVDeviceWindowController::guid() const {
    return _device ? _device->deviceGUIDString() : _settings->deviceGUID();
}

void CDVDeviceWindowController::setRecordingName(const QString& name) {
    _settings->setRecordingName(name);
    mOutlets.recordingNameField.setStringValue(name);
    settingsDidChange();
}

void CDVDeviceWindowController::setAutoNameRecordings(bool automatic) {
    _settings->setAutoNameRecordings(automatic);
    mOutlets.autoCheckBox.setState(automatic);
    autoCheckBoxChanged();
}

void CDVDeviceWindowController::setLoopRecording(bool loop) {
    _settings->setLoopRecording(loop);
    mOutlets.loopRecordingCheckBox.setState(loop);
    settingsDidChange();
}

void CDVDeviceWindowController::setCreateReferenceMovie(bool create) {
    _settings->setCreateReferenceMovie(create);
    settingsDidChange();
}

void CDVDeviceWindowController::setCreateSelfContainedMovie(bool create) {
    _settings->setCreateSelfContainedMovie(create);
    settingsDidChange();
}

void CDVDeviceWindowController::setReferenceMovieDuration(double seconds) {
    _settings->setReferenceMovieDuration(seconds);
    settingsDidChange();
}

void CDVDeviceWindowController::setReferenceMovieFolderPath(const QString& path) {
    _settings->setReferenceMovieFolderPath(path);
    settingsDidChange();
}

void CDVDeviceWindowController::setSelfContainedRecordingFolderPath(const QString& path) {
    _settings->setSelfContainedRecordingFolderPath(path);
    settingsDidChange();
}

void CDVDeviceWindowController::setRawRecordingFolderPath(const QString& path) {
    _settings->setRawRecordingFolderPath(path);
    settingsDidChange();
}

std::uint32_t CDVDeviceWindowController::recordedFrames() const {
    return _device ? _device->recordedFrames() : 0;
}

QString CDVDeviceWindowController::recordedTimecode() const {
    return _device ? _device->recordedTimeCode() : QString();
}

double CDVDeviceWindowController::recordedTime() const {
    return _device ? _device->recordedTime() : 0.0;
}

double CDVDeviceWindowController::deviceTimecode() const {
    switch (_settings->timecodeSourceIndex()) {
        case kTimecodeSourceDevice:
            return _device ? _device->currentTimeCodeAsDouble() : 0.0;
        case kTimecodeSourceTimeOfDay:
            return realtimeTime();
        case kTimecodeSourcePreset:
            return _settings->presetTimecode();
        default:
            return 0.0;
    }
}

QString CDVDeviceWindowController::deviceTimecodeString() const {
    if (_device && _settings->timecodeSourceIndex() == kTimecodeSourceDevice) {
        return _device->currentTimeCodeAsString();
    }
    return timeCodeText(timeCodeOfSource({}));
}

double CDVDeviceWindowController::recordStartTimecode() const {
    const double rate = _device ? _device->framesPerSecond() : 0.0;
    return rate > 0 ? _startTimeCode.hours * 3600.0 + _startTimeCode.minutes * 60.0 +
                          _startTimeCode.seconds + _startTimeCode.frames / rate
                    : 0.0;
}

QString CDVDeviceWindowController::recordStartTimecodeString() const {
    return timeCodeText(_startTimeCode);
}

QString CDVDeviceWindowController::remainingDiskSpaceAsTimecode() const {
    return mOutlets.remainingDiskTimeField.stringValue();
}

void CDVDeviceWindowController::updateApplicationIcon() {
    if (gDVDevicesController) {
        gDVDevicesController->updateApplicationIcon();
    }
}

void CDVDeviceWindowController::settingsDidChange() {
    if (mSaveTimer == 0) {
        // One save for all that changes in this turn of the event loop.
        mSaveTimer = mServices.clock().callLater(0.0, [this] {
            mSaveTimer = 0;
            _settings->saveSettings();
        });
    }
    Q_EMIT settingsChanged();
}

}  // namespace takebox
