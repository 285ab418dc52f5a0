#pragma once

#include <QString>

#include "platform/avc/ieee1394/Diagnosis.h"

namespace takebox {

/// Measures a disk by writing to it for a moment.
[[nodiscard]] avc::DiagnosisLine diagnoseDisk(const QString& folder);
/// What to do when a disk cannot be written, by an errno value.
[[nodiscard]] QString adviceOnDisk(int error);

/// `takebox --diagnose [--to DIR]`: tells what the recorder finds on this machine, one finding a
/// line with what to do about it. Needs a QCoreApplication.
/// @param folder where recordings are to go; its disk's speed is measured.
/// @return 0 when there is nothing to do, else 1.
[[nodiscard]] int runDiagnose(const QString& folder);

}  // namespace takebox
