#pragma once

#include <QString>
#include <QVariant>

namespace takebox {

/// Turns the value of a field into the text that it shows, and what the user types back into a
/// value. A field carries one formatter and need not know which. Any thread.
class Formatter {
public:
    virtual ~Formatter() = default;

    [[nodiscard]] virtual QString stringForObjectValue(const QVariant& value) const = 0;

    /// @param value receives the value; untouched when the text is refused.
    /// @param errorDescription may be null; otherwise receives a text for the user, empty when
    ///        there is none.
    /// @return whether the text was understood. When not, the field keeps its previous value.
    [[nodiscard]] virtual bool getObjectValue(QVariant& value, const QString& forString,
                                              QString* errorDescription) const = 0;

protected:
    Formatter() = default;
    Formatter(const Formatter&) = default;
    Formatter& operator=(const Formatter&) = default;
};

}  // namespace takebox
