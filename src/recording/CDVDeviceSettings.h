#pragma once

#include <QString>
#include <QVariantMap>
#include <cstdint>

namespace takebox {

/// Where the start time code of a recording comes from.
enum TimecodeSource : std::int32_t {
    kTimecodeSourceDevice = 0,
    kTimecodeSourceTimeOfDay = 1,
    kTimecodeSourcePreset = 2,
};

/// The recording options of one device. They are kept in the defaults under "Device Settings" and
/// the device's GUID, so that a device gets them back whenever it is connected. Main thread.
///
/// A null string is an absent value, an empty one is not.
class CDVDeviceSettings {
public:
    CDVDeviceSettings() = default;
    explicit CDVDeviceSettings(const QVariantMap& dictionary);
    /// Saves first: what was changed last is kept.
    ~CDVDeviceSettings();
    /// Takes over what belongs to the deck (folders, name and GUID of the device, looping, mono
    /// tracks, automatic naming, duration); recording name, kinds of movie and time code source
    /// start afresh.
    CDVDeviceSettings(const CDVDeviceSettings& other);
    CDVDeviceSettings& operator=(const CDVDeviceSettings&) = delete;

    /// The stored form. It ends at the first absent string: later keys are not written.
    [[nodiscard]] QVariantMap settingsDictionary() const;
    /// Applies every key, absent ones with their defaults.
    void setSettingsDictionary(const QVariantMap& dictionary);

    /// Reads the entry of the device's GUID; a device never seen before gets the defaults.
    void loadSettings();
    /// Writes the entry of the device's GUID; does nothing without one.
    void saveSettings() const;

    /// The name under which a device was last known, "<unnamed device>" for one never seen.
    static QString nameForDeviceWithGUID(std::uint64_t guid);

    [[nodiscard]] bool autoNameRecordings() const { return _autoNameRecordings; }
    void setAutoNameRecordings(bool automatic) { _autoNameRecordings = automatic; }
    [[nodiscard]] const QString& deviceName() const { return _deviceName; }
    void setDeviceName(const QString& name) { _deviceName = name; }
    /// 16 lower-case hexadecimal digits.
    [[nodiscard]] const QString& deviceGUID() const { return _deviceGUID; }
    void setDeviceGUID(const QString& guid) { _deviceGUID = guid; }
    [[nodiscard]] const QString& recordingName() const { return _recordingName; }
    void setRecordingName(const QString& name) { _recordingName = name; }
    [[nodiscard]] const QString& rawRecordingFolderPath() const { return _rawRecordingFolderPath; }
    void setRawRecordingFolderPath(const QString& path) { _rawRecordingFolderPath = path; }
    [[nodiscard]] const QString& selfContainedRecordingFolderPath() const {
        return _selfContainedRecordingFolderPath;
    }
    void setSelfContainedRecordingFolderPath(const QString& path) {
        _selfContainedRecordingFolderPath = path;
    }
    [[nodiscard]] const QString& referenceMovieFolderPath() const {
        return _referenceMovieFolderPath;
    }
    void setReferenceMovieFolderPath(const QString& path) { _referenceMovieFolderPath = path; }
    /// Seconds.
    [[nodiscard]] double referenceMovieDuration() const { return _referenceMovieDuration; }
    void setReferenceMovieDuration(double duration) { _referenceMovieDuration = duration; }
    [[nodiscard]] bool createReferenceMovie() const { return _createReferenceMovie; }
    void setCreateReferenceMovie(bool create) { _createReferenceMovie = create; }
    [[nodiscard]] bool createSelfContainedMovie() const { return _createSelfContainedMovie; }
    void setCreateSelfContainedMovie(bool create) { _createSelfContainedMovie = create; }
    [[nodiscard]] bool monoTracks() const { return _monoTracks; }
    void setMonoTracks(bool mono) { _monoTracks = mono; }
    [[nodiscard]] bool loopRecording() const { return _loopRecording; }
    void setLoopRecording(bool loop) { _loopRecording = loop; }
    /// Seconds.
    [[nodiscard]] double presetTimecode() const { return _presetTimecode; }
    void setPresetTimecode(double seconds) { _presetTimecode = seconds; }
    /// A TimecodeSource; stored values outside it are kept as they are.
    [[nodiscard]] std::int32_t timecodeSourceIndex() const { return _timecodeSourceIndex; }
    void setTimecodeSourceIndex(std::int32_t index) { _timecodeSourceIndex = index; }

private:
    [[nodiscard]] QString defaultsKey() const;
    void applyDefaultsOfUnknownDevice();

    bool _autoNameRecordings = false;
    QString _deviceName;
    QString _deviceGUID;
    QString _recordingName = QStringLiteral("Untitled");
    QString _rawRecordingFolderPath = QStringLiteral("/");
    QString _selfContainedRecordingFolderPath = QStringLiteral("/");
    QString _referenceMovieFolderPath = QStringLiteral("/");
    double _referenceMovieDuration = 0.0;
    bool _createReferenceMovie = false;
    bool _createSelfContainedMovie = false;
    bool _monoTracks = false;
    bool _loopRecording = false;
    double _presetTimecode = 0.0;
    std::int32_t _timecodeSourceIndex = 0;
};

}  // namespace takebox
