#include "scheduling/CRecordingEvent.h"

#include <QCoreApplication>
#include <QLocale>
#include <QUuid>
#include <algorithm>
#include <ctime>
#include <optional>

#include "display/TimeFormatter.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

// What most of Europe writes, and the international form.
constexpr std::array kDateFormats{"%d/%m/%y", "%d/%m/%Y", "%Y-%m-%d", "%d.%m.%y",
                                  "%d.%m.%Y", "%d-%m-%y", "%d-%m-%Y", "%d %b %Y"};
constexpr auto kCalendarFormat = "%d/%m/%y";

// A year of fewer digits is a two-digit year read by a format that wants four.
constexpr int kEarliestYear = 1000;

QString shortDateFormat() {
    // From the longest token to the shortest, so that a part of one is not taken for another.
    static constexpr std::array<std::array<const char*, 2>, 10> kTokens{{{"dddd", "%A"},
                                                                         {"ddd", "%a"},
                                                                         {"dd", "%d"},
                                                                         {"d", "%d"},
                                                                         {"MMMM", "%B"},
                                                                         {"MMM", "%b"},
                                                                         {"MM", "%m"},
                                                                         {"M", "%m"},
                                                                         {"yyyy", "%Y"},
                                                                         {"yy", "%y"}}};
    const QString format = QLocale().dateFormat(QLocale::ShortFormat);
    QString result;
    for (qsizetype i = 0; i < format.size();) {
        const auto* const token = std::ranges::find_if(kTokens, [&](const auto& candidate) {
            return QStringView(format).mid(i).startsWith(QLatin1String(candidate[0]));
        });
        if (token == kTokens.end()) {
            result += format.at(i++);
        } else {
            result += QLatin1String((*token)[1]);
            i += static_cast<qsizetype>(QLatin1String((*token)[0]).size());
        }
    }
    return result;
}

std::optional<QDate> parsedDate(const QString& text, const QString& format) {
    std::tm fields{};
    const QByteArray bytes = text.trimmed().toUtf8();
    const char* const end = strptime(bytes.constData(), format.toUtf8().constData(), &fields);
    if (end == nullptr || *end != '\0' || fields.tm_year + 1900 < kEarliestYear) {
        return std::nullopt;
    }
    const QDate date(fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday);
    return date.isValid() ? std::optional(date) : std::nullopt;
}

struct Interval {
    double start;
    double end;
};

bool overlap(Interval first, Interval other) {
    return (other.start > first.start && first.end >= other.start) ||
           (first.start >= other.start && other.end >= first.end) ||
           (other.end >= first.start && first.end > other.end) ||
           (other.start > first.start && first.end > other.end);
}

}  // namespace

int dayOfWeek(QDate date) {
    return date.dayOfWeek() % CRecordingEvent::kDaysInWeek;  // Qt counts Monday 1 to Sunday 7
}

CRecordingEvent::CRecordingEvent()
    : _uuid(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()) {}

CRecordingEvent::CRecordingEvent(const QVariantMap& settingsDictionary) : CRecordingEvent() {
    loadSettingsFromDict(settingsDictionary);
}

bool CRecordingEvent::shouldRecordOnDay(int day) const {
    return day >= 0 && day < kDaysInWeek && _shouldRecordOnDay.at(static_cast<std::size_t>(day));
}

void CRecordingEvent::setShouldRecord(bool shouldRecord, int onDay) {
    if (onDay >= 0 && onDay < kDaysInWeek) {
        _shouldRecordOnDay.at(static_cast<std::size_t>(onDay)) = shouldRecord;
    }
}

bool CRecordingEvent::isAnyDaySelected() const {
    return std::ranges::find(_shouldRecordOnDay, true) != _shouldRecordOnDay.end();
}

void CRecordingEvent::setStartTime(double time) {
    mTimes.start = time;
    mTimes.end = time + mTimes.duration;
}

void CRecordingEvent::setDuration(double duration) {
    mTimes.duration = duration;
    mTimes.end = mTimes.start + duration;
}

void CRecordingEvent::setEndTime(double time) {
    mTimes.end = time;
    mTimes.duration = time - mTimes.start;
    if (mTimes.duration < 0) {
        mTimes.duration += kSecondsInDay;
    }
}

QString CRecordingEvent::startTimeString() const {
    return TimeFormatter().stringForObjectValue(mTimes.start);
}

QString CRecordingEvent::endTimeString() const {
    return TimeFormatter().stringForObjectValue(mTimes.end);
}

QString CRecordingEvent::dateString() const {
    return _date.isValid() ? QLocale().toString(_date, QLocale::ShortFormat) : QString();
}

QString CRecordingEvent::dateDescription() const {
    if (!_date.isValid()) {
        return {};
    }
    std::tm fields{};
    fields.tm_year = _date.year() - 1900;
    fields.tm_mon = _date.month() - 1;
    fields.tm_mday = _date.day();
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), kCalendarFormat, &fields);
    return QString::fromUtf8(text.data());
}

QStringList CRecordingEvent::dateFormats() {
    QStringList formats{shortDateFormat()};
    for (const auto* format : kDateFormats) {
        formats.append(QString::fromLatin1(format));
    }
    return formats;
}

void CRecordingEvent::setDateString(const QString& text) {
    for (const auto& format : dateFormats()) {
        if (const auto date = parsedDate(text, format)) {
            _date = *date;
            return;
        }
    }
}

QString CRecordingEvent::daysString() const {
    if (_date.isValid()) {
        return dateString();
    }
    const QString key = QStringLiteral("DaysString");
    QString days = QCoreApplication::translate("CRecordingEvent", "DaysString");
    if (days == key || days.size() != kDaysInWeek) {
        days = QStringLiteral("SMTWTFS");
    }
    for (int day = 0; day < kDaysInWeek; ++day) {
        if (!shouldRecordOnDay(day)) {
            days[day] = u'-';
        }
    }
    return days;
}

bool CRecordingEvent::isValid() const {
    if (isAnyDaySelected() && _date.isValid()) {
        return false;
    }
    const bool isNameEmpty = !_recordingName.isNull() && _recordingName.isEmpty();
    return mTimes.duration > 0 && mTimes.start < mTimes.end && !isNameEmpty;
}

bool CRecordingEvent::canFallWith(const CRecordingEvent& other, int daysBefore) const {
    if (_date.isValid()) {
        const QDate day = _date.addDays(daysBefore);
        if (day == other._date || other.shouldRecordOnDay(dayOfWeek(day))) {
            return true;
        }
    }
    for (int day = 0; day < kDaysInWeek; ++day) {
        const int dayOfOther = (day + daysBefore) % kDaysInWeek;
        if (shouldRecordOnDay(day) &&
            (other.shouldRecordOnDay(dayOfOther) ||
             (other._date.isValid() && dayOfWeek(other._date) == dayOfOther))) {
            return true;
        }
    }
    return false;
}

bool CRecordingEvent::isOverlappingEvent(const CRecordingEvent& other) const {
    if (_deviceGUID != other._deviceGUID) {
        return false;
    }
    const Interval whole{mTimes.start, mTimes.end};
    const Interval wholeOther{other.mTimes.start, other.mTimes.end};
    if (canFallWith(other, 0) && overlap(whole, wholeOther)) {
        return true;
    }
    const auto afterMidnight = [](const CRecordingEvent& event) {
        return Interval{0, event.mTimes.start + event.mTimes.duration - kSecondsInDay};
    };
    if (crossesMidnight() && canFallWith(other, 1) && overlap(afterMidnight(*this), wholeOther)) {
        return true;
    }
    return other.crossesMidnight() && other.canFallWith(*this, 1) &&
           overlap(whole, afterMidnight(other));
}

}  // namespace takebox
