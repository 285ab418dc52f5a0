#include "display/CDiskTimeFormatter.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QPalette>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>

namespace takebox {
namespace {

// A text that could be read as a number is still not one: only a value that is stored as a number.
std::optional<float> numberOfValue(const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
        case QMetaType::Char:
        case QMetaType::SChar:
        case QMetaType::UChar:
        case QMetaType::Short:
        case QMetaType::UShort:
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::Long:
        case QMetaType::ULong:
        case QMetaType::LongLong:
        case QMetaType::ULongLong:
        case QMetaType::Float:
        case QMetaType::Double:
            return static_cast<float>(value.toDouble());
        default:
            return std::nullopt;
    }
}

constexpr int twoDigits(std::int64_t field, std::int64_t limit) {
    return field < limit ? static_cast<int>(field) : 0;
}

}  // namespace

QColor AttributedString::color() const {
    return attributes.value(QString::fromLatin1(kColorAttribute)).value<QColor>();
}

CDiskTimeFormatter::CDiskTimeFormatter()
    : _greenColor(QColor::fromRgbF(0.0F, 0.6F, 0.0F, 1.0F)),
      _redColor(QColor::fromRgbF(1.0F, 0.0F, 0.0F, 1.0F)),
      _orangeColor(QColor::fromRgbF(1.0F, 0.5F, 0.0F, 1.0F)) {}

QString CDiskTimeFormatter::stringForObjectValue(const QVariant& value) const {
    const auto number = numberOfValue(value);
    if (!number) {
        return {};
    }
    // More seconds than this no integer holds; its hours would show as 00 anyway.
    constexpr double kLimit = 9.0e18;
    const double seconds = std::fabs(*number) + 0.4;
    if (*number == 0.0F || !(seconds < kLimit)) {
        return QStringLiteral("00:00:00");
    }
    const auto hours = static_cast<std::int64_t>(seconds / 3600.0);
    const auto rest = static_cast<std::int64_t>(seconds - static_cast<double>(hours) * 3600.0);
    return QString::asprintf("%02d:%02d:%02d", twoDigits(hours, 100), twoDigits(rest / 60, 60),
                             twoDigits(rest % 60, 60));
}

AttributedString CDiskTimeFormatter::attributedStringForObjectValue(
    const QVariant& value, const QVariantMap& withDefaultAttributes) const {
    const float left = numberOfValue(value).value_or(std::numeric_limits<float>::quiet_NaN());
    QColor color = _redColor;
    if (left <= 0.0F) {
        color = selectedKnobColor();
    } else if (left >= 3600.0F) {
        color = _greenColor;
    } else if (left >= 1800.0F) {
        color = _orangeColor;
    }
    AttributedString result{stringForObjectValue(value), withDefaultAttributes};
    result.attributes.insert(QString::fromLatin1(AttributedString::kColorAttribute), color);
    return result;
}

bool CDiskTimeFormatter::getObjectValue(QVariant& value, const QString& forString,
                                        QString* errorDescription) const {
    const QByteArray text = forString.toUtf8();
    int number = 0;
    // What follows the number ("min", say) is of no interest.
    const bool isNumber = std::sscanf(text.constData(), "%d", &number) == 1;
    if (isNumber) {
        value = number;
    }
    if (errorDescription != nullptr) {
        *errorDescription = isNumber ? QString()
                                     : QCoreApplication::translate("CDiskTimeFormatter",
                                                                   "Couldn't convert to time");
    }
    return isNumber;
}

QColor CDiskTimeFormatter::selectedKnobColor() {
    // Without a desktop there is no palette to ask.
    if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) {
        return Qt::darkBlue;
    }
    return QGuiApplication::palette().color(QPalette::Highlight);
}

}  // namespace takebox
