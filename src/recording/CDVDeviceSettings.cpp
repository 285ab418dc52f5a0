#include "recording/CDVDeviceSettings.h"

#include <array>
#include <utility>

#include "platform/defaults/Defaults.h"

namespace takebox {
namespace {

constexpr double kDefaultReferenceMovieDuration = 3600.0;  // seconds

const QString kAutoNameRecordings = QStringLiteral("Auto Name Recordings");
const QString kMonoTracks = QStringLiteral("Mono Tracks");
const QString kLoopRecording = QStringLiteral("Loop Recording");
const QString kReferenceMovieDuration = QStringLiteral("Reference Movie Duration");
const QString kRawRecordingFolderPath = QStringLiteral("Raw Recording Folder Path");
const QString kSelfContainedRecordingFolderPath =
    QStringLiteral("Self-Contained Recording Folder Path");
const QString kReferenceMovieFolderPath = QStringLiteral("Reference Movie Folder Path");
const QString kRecordingName = QStringLiteral("Recording Name");
const QString kDeviceName = QStringLiteral("Device Name");
const QString kCreateReferenceMovie = QStringLiteral("Create Reference Movie");
const QString kCreateSelfContainedMovie = QStringLiteral("Create Self-Contained Movie");
const QString kTimecodeSourceIndex = QStringLiteral("Timecode Source Index");
const QString kPresetTimecode = QStringLiteral("Preset Timecode");

QString keyForGUID(const QString& guid) {
    return QStringLiteral("Device Settings %1").arg(guid);
}

/// The value of a key, or what an absent key stands for.
QVariant valueOf(const QVariantMap& dictionary, const QString& key, const QVariant& ifAbsent) {
    const auto found = dictionary.constFind(key);
    return found != dictionary.constEnd() ? *found : ifAbsent;
}

bool isAbsent(const QVariant& value) {
    return value.typeId() == QMetaType::QString && value.toString().isNull();
}

}  // namespace

CDVDeviceSettings::CDVDeviceSettings(const QVariantMap& dictionary) {
    setSettingsDictionary(dictionary);
}

CDVDeviceSettings::~CDVDeviceSettings() {
    saveSettings();
}

CDVDeviceSettings::CDVDeviceSettings(const CDVDeviceSettings& other)
    : _autoNameRecordings(other._autoNameRecordings),
      _deviceName(other._deviceName),
      _deviceGUID(other._deviceGUID),
      _rawRecordingFolderPath(other._rawRecordingFolderPath),
      _selfContainedRecordingFolderPath(other._selfContainedRecordingFolderPath),
      _referenceMovieFolderPath(other._referenceMovieFolderPath),
      _referenceMovieDuration(other._referenceMovieDuration),
      _monoTracks(other._monoTracks),
      _loopRecording(other._loopRecording) {}

QVariantMap CDVDeviceSettings::settingsDictionary() const {
    const std::array<std::pair<QString, QVariant>, 13> values{{
        {kAutoNameRecordings, _autoNameRecordings},
        {kMonoTracks, _monoTracks},
        {kLoopRecording, _loopRecording},
        {kReferenceMovieDuration, _referenceMovieDuration},
        {kRawRecordingFolderPath, _rawRecordingFolderPath},
        {kSelfContainedRecordingFolderPath, _selfContainedRecordingFolderPath},
        {kReferenceMovieFolderPath, _referenceMovieFolderPath},
        {kRecordingName, _recordingName},
        {kDeviceName, _deviceName},
        {kCreateReferenceMovie, _createReferenceMovie},
        {kCreateSelfContainedMovie, _createSelfContainedMovie},
        {kTimecodeSourceIndex, qint64{_timecodeSourceIndex}},
        {kPresetTimecode, _presetTimecode},
    }};
    QVariantMap dictionary;
    for (const auto& [key, value] : values) {
        if (isAbsent(value)) {
            break;
        }
        dictionary.insert(key, value);
    }
    return dictionary;
}

void CDVDeviceSettings::setSettingsDictionary(const QVariantMap& dictionary) {
    const QString root = QStringLiteral("/");
    const auto boolean = [&](const QString& key, bool ifAbsent) {
        return Defaults::boolOf(valueOf(dictionary, key, ifAbsent));
    };
    const auto number = [&](const QString& key, double ifAbsent) {
        return Defaults::doubleOf(valueOf(dictionary, key, ifAbsent));
    };
    const auto text = [&](const QString& key, const QString& ifAbsent) {
        const QString value = Defaults::stringOf(valueOf(dictionary, key, ifAbsent));
        // A value of a kind that is no text would end the dictionary at this key when saved.
        return value.isNull() ? ifAbsent : value;
    };
    _autoNameRecordings = boolean(kAutoNameRecordings, false);
    _monoTracks = boolean(kMonoTracks, false);
    _loopRecording = boolean(kLoopRecording, false);
    _referenceMovieDuration = number(kReferenceMovieDuration, kDefaultReferenceMovieDuration);
    _rawRecordingFolderPath = text(kRawRecordingFolderPath, root);
    _selfContainedRecordingFolderPath = text(kSelfContainedRecordingFolderPath, root);
    _referenceMovieFolderPath = text(kReferenceMovieFolderPath, root);
    _recordingName = text(kRecordingName, QStringLiteral("Untitled"));
    _deviceName = text(kDeviceName, _deviceName);
    _createReferenceMovie = boolean(kCreateReferenceMovie, true);
    _createSelfContainedMovie = boolean(kCreateSelfContainedMovie, false);
    _timecodeSourceIndex = static_cast<std::int32_t>(
        Defaults::integerOf(valueOf(dictionary, kTimecodeSourceIndex, qint64{0})));
    _presetTimecode = number(kPresetTimecode, 0.0);
}

QString CDVDeviceSettings::defaultsKey() const {
    return keyForGUID(_deviceGUID);
}

void CDVDeviceSettings::loadSettings() {
    const QVariant entry = Defaults::standard().objectForKey(defaultsKey());
    if (entry.typeId() == QMetaType::QVariantMap) {
        setSettingsDictionary(entry.toMap());
    } else {
        applyDefaultsOfUnknownDevice();
    }
}

void CDVDeviceSettings::applyDefaultsOfUnknownDevice() {
    _autoNameRecordings = false;
    _monoTracks = false;
    _loopRecording = false;
    _referenceMovieDuration = kDefaultReferenceMovieDuration;
    _rawRecordingFolderPath = QStringLiteral("/");
    _selfContainedRecordingFolderPath = QStringLiteral("/");
    _referenceMovieFolderPath = QStringLiteral("/");
    _recordingName = QStringLiteral("Untitled");
    _createReferenceMovie = true;
    _createSelfContainedMovie = false;
}

void CDVDeviceSettings::saveSettings() const {
    if (_deviceGUID.isEmpty()) {
        return;
    }
    Defaults::standard().setObject(defaultsKey(), settingsDictionary());
    // A store that cannot be written has been logged; the values stay in memory.
    static_cast<void>(Defaults::standard().synchronize());
}

QString CDVDeviceSettings::nameForDeviceWithGUID(std::uint64_t guid) {
    const QString key =
        keyForGUID(QString::asprintf("%016llx", static_cast<unsigned long long>(guid)));
    const QVariant entry = Defaults::standard().objectForKey(key);
    if (entry.typeId() != QMetaType::QVariantMap) {
        return QStringLiteral("<unnamed device>");
    }
    return Defaults::stringOf(entry.toMap().value(kDeviceName));
}

}  // namespace takebox
