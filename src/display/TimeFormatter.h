#pragma once

#include "display/Formatter.h"
#include "platform/movietoolbox/TimeCodeRecord.h"

namespace takebox {

/// Shows a number of seconds as hours, minutes and seconds ("01:02:05"). A day or more shows its
/// hours modulo 24, so that the end of an event past midnight reads as a time of day.
class TimeFormatter : public Formatter {
public:
    /// "00:00:00" for a value that is not a number.
    [[nodiscard]] QString stringForObjectValue(const QVariant& value) const override;

    /// Accepts up to six digits with anything between them, read from the right: "130" and "1:30"
    /// are 90 seconds. The value is a double. Gives no error description.
    [[nodiscard]] bool getObjectValue(QVariant& value, const QString& forString,
                                      QString* errorDescription) const override;

    /// Fills hours, minutes and seconds of the record and leaves its frames alone.
    static void time(double seconds, TimeCodeRecord& toTimeRecord);
};

}  // namespace takebox
