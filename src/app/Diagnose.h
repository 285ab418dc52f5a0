#pragma once

#include <QString>

namespace takebox {

/// `takebox --diagnose [--to DIR]`: tells what the recorder finds on this machine, one finding a
/// line with what to do about it. Needs a QCoreApplication.
/// @param folder where recordings are to go; its disk's speed is measured.
/// @return 0 when there is nothing to do, else 1.
[[nodiscard]] int runDiagnose(const QString& folder);

}  // namespace takebox
