#pragma once

#include <QDate>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <array>
#include <cstdint>

namespace takebox {

/// One scheduled recording: which device, at what time of day and for how long, on which date or
/// on which weekdays, and with which recording settings. Main thread only.
///
/// Times are seconds after local midnight. A copy is the same event: it keeps the UUID and the
/// already scheduled flag.
class CRecordingEvent {
public:
    static constexpr int kDaysInWeek = 7;  ///< index 0 is Sunday, 6 is Saturday
    static constexpr double kSecondsInDay = 86400.0;

    CRecordingEvent();
    explicit CRecordingEvent(const QVariantMap& settingsDictionary);

    /// The event as the preferences keep it. The recording name must have been set.
    [[nodiscard]] QVariantMap settingsDictionary() const;

    /// Applies the keys that are present. A value of another kind is converted where it can be
    /// meant (a whole number for a time, a number for a flag); one that cannot, and a time that no
    /// event can have, is logged and counts as absent. Afterwards the end is start plus duration.
    void loadSettingsFromDict(const QVariantMap& dictionary);

    /// The date of a one-off event; a null date for a weekly one.
    [[nodiscard]] QDate date() const { return _date; }
    void setDate(QDate date) { _date = date; }

    [[nodiscard]] bool shouldRecordOnDay(int day) const;
    void setShouldRecord(bool shouldRecord, int onDay);
    [[nodiscard]] bool isAnyDaySelected() const;

    /// The event has been started and must not be started again. Not persisted.
    [[nodiscard]] bool alreadyScheduled() const { return _alreadyScheduled; }
    void setAlreadyScheduled(bool alreadyScheduled) { _alreadyScheduled = alreadyScheduled; }

    [[nodiscard]] bool createReferenceMovie() const { return _createReferenceMovie; }
    void setCreateReferenceMovie(bool create) { _createReferenceMovie = create; }
    [[nodiscard]] bool createSelfContainedMovie() const { return _createSelfContainedMovie; }
    void setCreateSelfContainedMovie(bool create) { _createSelfContainedMovie = create; }
    [[nodiscard]] bool autoNameFile() const { return _autoNameFile; }
    void setAutoNameFile(bool autoName) { _autoNameFile = autoName; }

    [[nodiscard]] double startTime() const { return mTimes.start; }
    [[nodiscard]] double duration() const { return mTimes.duration; }
    [[nodiscard]] double endTime() const { return mTimes.end; }
    void setStartTime(double time);     ///< keeps the duration and moves the end
    void setDuration(double duration);  ///< moves the end
    void setEndTime(double time);       ///< changes the duration; an end before the start is
                                        ///< on the next day, and is kept as it is given

    [[nodiscard]] std::uint64_t deviceGUID() const { return _deviceGUID; }
    void setDeviceGUID(std::uint64_t guid) { _deviceGUID = guid; }
    /// The device's display name, for the list.
    [[nodiscard]] const QString& deviceString() const { return _deviceString; }
    void setDeviceString(const QString& text) { _deviceString = text; }
    [[nodiscard]] const QString& uuid() const { return _uuid; }
    void setUuid(const QString& uuid) { _uuid = uuid; }
    /// A null string while none has been set, which is not the same as an empty name.
    [[nodiscard]] const QString& recordingName() const { return _recordingName; }
    void setRecordingName(const QString& name) { _recordingName = name; }

    [[nodiscard]] const QString& referenceMovieFolderPath() const {
        return _referenceMovieFolderPath;
    }
    void setReferenceMovieFolderPath(const QString& path) { _referenceMovieFolderPath = path; }
    [[nodiscard]] const QString& selfContainedMovieFolderPath() const {
        return _selfContainedMovieFolderPath;
    }
    void setSelfContainedMovieFolderPath(const QString& path) {
        _selfContainedMovieFolderPath = path;
    }
    [[nodiscard]] const QString& rawStreamsFolderPath() const { return _rawStreamsFolderPath; }
    void setRawStreamsFolderPath(const QString& path) { _rawStreamsFolderPath = path; }

    [[nodiscard]] QString startTimeString() const;
    [[nodiscard]] QString endTimeString() const;
    /// The date as the user's language writes a short one; empty without a date.
    [[nodiscard]] QString dateString() const;
    /// The date in the event's own format, day/month/year of two digits each; empty without a date.
    [[nodiscard]] QString dateDescription() const;
    /// Takes a typed date; a text that no format of dateFormats() reads leaves the date unchanged.
    void setDateString(const QString& text);
    /// A dated event's date, else one letter for each weekday from Sunday, "-" for those left out.
    [[nodiscard]] QString daysString() const;

    /// The formats in which a date may be typed (strptime), in the order in which they are tried:
    /// the user's own short format, then a list of usual ones.
    [[nodiscard]] static QStringList dateFormats();

    /// Whether the event is either one-off or weekly, has a length, ends after it starts, and has a
    /// name other than an empty one.
    [[nodiscard]] bool isValid() const;

    /// Whether both events would record the same device at overlapping times. Events that touch
    /// overlap.
    [[nodiscard]] bool isOverlappingEvent(const CRecordingEvent& other) const;

private:
    [[nodiscard]] bool crossesMidnight() const {
        return mTimes.start + mTimes.duration > kSecondsInDay;
    }
    [[nodiscard]] bool canFallWith(const CRecordingEvent& other, int daysBefore) const;

    QDate _date;
    std::array<bool, kDaysInWeek> _shouldRecordOnDay{};
    bool _alreadyScheduled = false;
    bool _createReferenceMovie = true;
    bool _createSelfContainedMovie = false;
    bool _autoNameFile = false;
    /// Seconds after midnight, and between them. In a copy the end is start plus duration, as if
    /// all three had been set in turn: an end given as a time of the next day moves behind
    /// midnight.
    struct Times {
        Times() = default;
        Times(const Times& other)
            : start(other.start), duration(other.duration), end(other.start + other.duration) {}
        Times& operator=(const Times& other) {
            start = other.start;
            duration = other.duration;
            end = other.start + other.duration;
            return *this;
        }
        Times(Times&&) = default;
        Times& operator=(Times&&) = default;
        ~Times() = default;

        double start = 0;
        double duration = 0;
        double end = 0;
    };
    Times mTimes;
    std::uint64_t _deviceGUID = 0;
    QString _recordingName;
    QString _referenceMovieFolderPath = QStringLiteral("/");
    QString _selfContainedMovieFolderPath = QStringLiteral("/");
    QString _rawStreamsFolderPath = QStringLiteral("/");
    QString _uuid;
    QString _deviceString = QStringLiteral("");
};

/// The weekday index of a date: 0 is Sunday, 6 is Saturday.
[[nodiscard]] int dayOfWeek(QDate date);

}  // namespace takebox
