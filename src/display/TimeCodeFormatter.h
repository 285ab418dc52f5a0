#pragma once

#include "display/Formatter.h"
#include "platform/movietoolbox/TimeCodeRecord.h"

namespace takebox {

/// Shows a number of seconds as hours, minutes, seconds and frames ("01:01:01:13"), non-drop-frame.
class TimeCodeFormatter : public Formatter {
public:
    [[nodiscard]] double framesPerSecond() const { return _framesPerSecond; }
    void setFramesPerSecond(double framesPerSecond) { _framesPerSecond = framesPerSecond; }

    /// "00:00:00:00" for a value that is not a number.
    [[nodiscard]] QString stringForObjectValue(const QVariant& value) const override;

    /// Accepts up to eight digits with anything between them, read from the right: "12" is twelve
    /// frames. The value is a double. Gives no error description.
    [[nodiscard]] bool getObjectValue(QVariant& value, const QString& forString,
                                      QString* errorDescription) const override;

    /// Fills all four fields of the record at this formatter's frame rate.
    void time(double seconds, TimeCodeRecord& toTimeCodeRecord) const;

    /// Seconds of a record whose frames are 25ths of a second, whatever this formatter's frame
    /// rate: stored time codes were always counted so.
    [[nodiscard]] static double timeCodeRecordToTime(const TimeCodeRecord& record);

private:
    double _framesPerSecond = 25.0;
};

}  // namespace takebox
