#pragma once

#include <QColor>
#include <QVariantMap>

#include "display/Formatter.h"

namespace takebox {

/// A text and how it is to be drawn.
struct AttributedString {
    /// Key of the text colour, a QColor.
    static constexpr auto kColorAttribute = "NSColor";

    QString string;
    QVariantMap attributes;

    [[nodiscard]] QColor color() const;
};

/// Shows the recording time that is left on a disk in seconds, coloured by how much it is.
class CDiskTimeFormatter : public Formatter {
public:
    CDiskTimeFormatter();

    /// Rounds to the nearest second and drops the sign; "" for a value that is not a number.
    /// A hundred hours and more show "00" as their hours.
    [[nodiscard]] QString stringForObjectValue(const QVariant& value) const override;

    /// The same text in green from an hour, orange from half an hour, else red; in the colour of a
    /// selected control when nothing is left (0 or less). A value that is not a number is red.
    [[nodiscard]] AttributedString attributedStringForObjectValue(
        const QVariant& value, const QVariantMap& withDefaultAttributes) const;

    /// Reads the integer at the start of the text (an int) and ignores what follows it. Without one
    /// the error description is a sentence for the user.
    [[nodiscard]] bool getObjectValue(QVariant& value, const QString& forString,
                                      QString* errorDescription) const override;

    /// The colour in which the desktop draws a selected control, as its palette is now.
    [[nodiscard]] static QColor selectedKnobColor();

private:
    QColor _greenColor;
    QColor _redColor;
    QColor _orangeColor;
};

}  // namespace takebox
