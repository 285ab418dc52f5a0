#include "display/TimeFormatter.h"

#include <cmath>

#include "display/TimeFields.h"

namespace takebox {

QString TimeFormatter::stringForObjectValue(const QVariant& value) const {
    TimeCodeRecord record;
    if (const auto seconds = secondsOfValue(value)) {
        time(*seconds, record);
    }
    return QString::asprintf("%02d:%02d:%02d", record.hours, record.minutes, record.seconds);
}

bool TimeFormatter::getObjectValue(QVariant& value, const QString& forString,
                                   QString* errorDescription) const {
    if (errorDescription != nullptr) {
        errorDescription->clear();
    }
    const auto pairs = digitPairs<3>(forString);
    if (!pairs) {
        return false;
    }
    const auto [seconds, minutes, hours] = *pairs;
    value = hours * 3600.0 + minutes * 60.0 + seconds;
    return true;
}

void TimeFormatter::time(double seconds, TimeCodeRecord& toTimeRecord) {
    const std::uint8_t hours = byteField(std::floor(seconds / 3600.0));
    const double rest = seconds - hours * 3600.0;
    toTimeRecord.hours = hours % 24;
    toTimeRecord.minutes = byteField(std::floor(rest / 60.0));
    toTimeRecord.seconds = byteField(std::floor(rest - toTimeRecord.minutes * 60.0));
}

}  // namespace takebox
