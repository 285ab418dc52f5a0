#include "display/Outlets.h"

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
    return mFormatter != nullptr ? mFormatter->stringForObjectValue(mValue) : mValue.toString();
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
