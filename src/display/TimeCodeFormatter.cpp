#include "display/TimeCodeFormatter.h"

#include <cmath>

#include "display/TimeFields.h"

namespace takebox {

QString TimeCodeFormatter::stringForObjectValue(const QVariant& value) const {
    TimeCodeRecord record;
    if (const auto seconds = secondsOfValue(value)) {
        time(*seconds, record);
    }
    return QString::asprintf("%02d:%02d:%02d:%02d", record.hours, record.minutes, record.seconds,
                             record.frames);
}

bool TimeCodeFormatter::getObjectValue(QVariant& value, const QString& forString,
                                       QString* errorDescription) const {
    if (errorDescription != nullptr) {
        errorDescription->clear();
    }
    const auto pairs = digitPairs<4>(forString);
    if (!pairs) {
        return false;
    }
    const auto [frames, seconds, minutes, hours] = *pairs;
    value = hours * 3600.0 + minutes * 60.0 + seconds + frames / _framesPerSecond;
    return true;
}

void TimeCodeFormatter::time(double seconds, TimeCodeRecord& toTimeCodeRecord) const {
    // Keeps a time that lies exactly on a frame from falling one frame short.
    constexpr double kFrameBoundary = 0.000001;

    toTimeCodeRecord.hours = byteField(std::floor(seconds / 3600.0));
    const double rest = seconds - toTimeCodeRecord.hours * 3600.0;
    toTimeCodeRecord.minutes = byteField(std::floor(rest / 60.0));
    const double inMinute = rest - toTimeCodeRecord.minutes * 60.0;
    toTimeCodeRecord.seconds = byteField(std::floor(inMinute));
    const double inSecond = inMinute - toTimeCodeRecord.seconds;
    toTimeCodeRecord.frames = byteField((inSecond + kFrameBoundary) * _framesPerSecond);
}

double TimeCodeFormatter::timeCodeRecordToTime(const TimeCodeRecord& record) {
    return record.hours * 3600.0 + record.minutes * 60.0 + record.seconds + record.frames / 25.0;
}

}  // namespace takebox
