#include "display/Outlets.h"

#include <QLocale>
#include <cstdlib>

namespace takebox {

void ControlOutlet::setEnabled(bool enabled) {
    change(mIsEnabled, enabled);
}

void FieldOutlet::setFormatter(const Formatter* formatter) {
    mFormatter = formatter;
    Q_EMIT changed();
}

QString FieldOutlet::stringValue() const {
    if (mFormatter != nullptr) {
        return mFormatter->stringForObjectValue(mValue);
    }
    // Left to itself a number becomes "1e+05" where that is shorter.
    return mValue.typeId() == QMetaType::Double
               ? QString::number(mValue.toDouble(), 'f', QLocale::FloatingPointShortest)
               : mValue.toString();
}

double FieldOutlet::doubleValue() const {
    bool isNumber = false;
    const double number = mValue.toDouble(&isNumber);
    return isNumber ? number : std::strtod(mValue.toString().toUtf8().constData(), nullptr);
}

bool FieldOutlet::setEditedText(const QString& text) {
    QVariant value = text;
    if (mFormatter != nullptr && !mFormatter->getObjectValue(value, text, nullptr)) {
        Q_EMIT changed();  // puts the previous value back on the screen
        return false;
    }
    setObjectValue(value);
    return true;
}

}  // namespace takebox
