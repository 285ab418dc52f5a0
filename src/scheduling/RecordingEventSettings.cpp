// The form in which the preferences keep a recording event.

#include <QDateTime>
#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

#include "platform/log/Log.h"
#include "scheduling/CRecordingEvent.h"

namespace takebox {
namespace {

// A recording of a week is beyond any use; more is a damaged file, and a reference movie of that
// length would fill the disk with its tables.
constexpr double kLongestTime = 7 * CRecordingEvent::kSecondsInDay;

QString dayKey(int day) {
    return QStringLiteral("Should Record On Day %1").arg(day);
}

bool isWhole(const QVariant& value) {
    return value.typeId() == QMetaType::Int || value.typeId() == QMetaType::UInt ||
           value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::ULongLong;
}

std::optional<QString> asText(const QVariant& value) {
    if (value.typeId() != QMetaType::QString && !isWhole(value)) {
        return std::nullopt;
    }
    return value.toString();
}

std::optional<double> asNumber(const QVariant& value) {
    const bool isNumber = isWhole(value) || value.typeId() == QMetaType::Double ||
                          value.typeId() == QMetaType::Float ||
                          value.typeId() == QMetaType::QString;
    bool isConverted = false;
    const double number = value.toDouble(&isConverted);
    return isNumber && isConverted && std::isfinite(number) ? std::optional(number) : std::nullopt;
}

std::optional<double> asTime(const QVariant& value) {
    const auto number = asNumber(value);
    return number && std::fabs(*number) <= kLongestTime ? number : std::nullopt;
}

std::optional<double> asDuration(const QVariant& value) {
    const auto time = asTime(value);
    return time && *time >= 0 ? time : std::nullopt;
}

std::optional<bool> asFlag(const QVariant& value) {
    if (value.typeId() == QMetaType::Bool) {
        return value.toBool();
    }
    if (const auto number = asNumber(value)) {
        return *number != 0;
    }
    const QString text = value.toString();
    for (const auto& [word, flag] : {std::pair(u"yes", true), std::pair(u"true", true),
                                     std::pair(u"no", false), std::pair(u"false", false)}) {
        if (text.compare(QStringView(word), Qt::CaseInsensitive) == 0) {
            return flag;
        }
    }
    return std::nullopt;
}

// Some tools write a number of 64 bits with its highest bit as a sign.
std::optional<std::uint64_t> asIdentifier(const QVariant& value) {
    if (value.typeId() == QMetaType::ULongLong) {
        return value.toULongLong();
    }
    return isWhole(value) ? std::optional(static_cast<std::uint64_t>(value.toLongLong()))
                          : std::nullopt;
}

std::optional<QDate> asDate(const QVariant& value) {
    const QDate date =
        value.typeId() == QMetaType::QDateTime ? value.toDateTime().toLocalTime().date() : QDate();
    return date.isValid() ? std::optional(date) : std::nullopt;
}

/// The values of one dictionary; what cannot be read is logged and passed over.
class Reader {
public:
    explicit Reader(const QVariantMap& dictionary) : mDictionary(dictionary) {}

    template <typename Convert, typename Apply>
    void read(const QString& key, Convert convert, Apply apply) const {
        const auto found = mDictionary.constFind(key);
        if (found == mDictionary.constEnd()) {
            return;
        }
        if (const auto value = convert(*found)) {
            apply(*value);
            return;
        }
        logMessage("Scheduled event: the value of \"%s\" cannot be used and is left out",
                   qUtf8Printable(key));
    }

private:
    const QVariantMap& mDictionary;
};

}  // namespace

QVariantMap CRecordingEvent::settingsDictionary() const {
    QVariantMap dictionary;
    dictionary[QStringLiteral("UUID")] = _uuid;
    if (_date.isValid()) {
        // Noon is on the same day after any change of the clocks or a move to a near time zone.
        dictionary[QStringLiteral("Date")] = QDateTime(_date, QTime(12, 0));
    }
    for (int day = 0; day < kDaysInWeek; ++day) {
        dictionary[dayKey(day)] = shouldRecordOnDay(day);
    }
    dictionary[QStringLiteral("Start Time")] = mTimes.start;
    dictionary[QStringLiteral("End Time")] = mTimes.end;
    dictionary[QStringLiteral("Duration")] = mTimes.duration;
    const bool isSigned = _deviceGUID <= std::numeric_limits<qint64>::max();
    dictionary[QStringLiteral("Device GUID")] = isSigned
                                                    ? QVariant(static_cast<qint64>(_deviceGUID))
                                                    : QVariant(static_cast<quint64>(_deviceGUID));
    dictionary[QStringLiteral("Device String")] = _deviceString;
    if (!_recordingName.isNull()) {
        dictionary[QStringLiteral("Recording Name")] = _recordingName;
    }
    dictionary[QStringLiteral("Reference Movie Folder Path")] = _referenceMovieFolderPath;
    dictionary[QStringLiteral("Self-Contained Movie Folder Path")] = _selfContainedMovieFolderPath;
    dictionary[QStringLiteral("Raw Streams Folder Path")] = _rawStreamsFolderPath;
    dictionary[QStringLiteral("Create Reference Movie")] = _createReferenceMovie;
    dictionary[QStringLiteral("Create Self-Contained Movie")] = _createSelfContainedMovie;
    dictionary[QStringLiteral("Auto Name File")] = _autoNameFile;
    return dictionary;
}

void CRecordingEvent::loadSettingsFromDict(const QVariantMap& dictionary) {
    const Reader reader(dictionary);
    reader.read(QStringLiteral("UUID"), asText, [this](const auto& text) { setUuid(text); });
    reader.read(QStringLiteral("Date"), asDate, [this](QDate date) { setDate(date); });
    for (int day = 0; day < kDaysInWeek; ++day) {
        reader.read(dayKey(day), asFlag, [&](bool flag) { setShouldRecord(flag, day); });
    }
    reader.read(QStringLiteral("Start Time"), asTime, [this](double time) { setStartTime(time); });
    reader.read(QStringLiteral("End Time"), asTime, [this](double time) { setEndTime(time); });
    reader.read(QStringLiteral("Duration"), asDuration,
                [this](double duration) { setDuration(duration); });
    // Without a stored duration the end may still lie before the start.
    setDuration(std::max(mTimes.duration, 0.0));
    reader.read(QStringLiteral("Device GUID"), asIdentifier,
                [this](std::uint64_t guid) { setDeviceGUID(guid); });
    reader.read(QStringLiteral("Recording Name"), asText,
                [this](const auto& text) { setRecordingName(text); });
    reader.read(QStringLiteral("Device String"), asText,
                [this](const auto& text) { setDeviceString(text); });
    reader.read(QStringLiteral("Reference Movie Folder Path"), asText,
                [this](const auto& text) { setReferenceMovieFolderPath(text); });
    reader.read(QStringLiteral("Self-Contained Movie Folder Path"), asText,
                [this](const auto& text) { setSelfContainedMovieFolderPath(text); });
    reader.read(QStringLiteral("Raw Streams Folder Path"), asText,
                [this](const auto& text) { setRawStreamsFolderPath(text); });
    reader.read(QStringLiteral("Create Reference Movie"), asFlag,
                [this](bool flag) { setCreateReferenceMovie(flag); });
    reader.read(QStringLiteral("Create Self-Contained Movie"), asFlag,
                [this](bool flag) { setCreateSelfContainedMovie(flag); });
    reader.read(QStringLiteral("Auto Name File"), asFlag,
                [this](bool flag) { setAutoNameFile(flag); });
}

}  // namespace takebox
