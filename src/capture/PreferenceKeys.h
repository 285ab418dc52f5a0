#pragma once

#include <QString>

namespace takebox {

// Application-wide preferences, by their key in the defaults.
inline const QString OxaPrefCastlineAddressesKey = QStringLiteral("Castline Addresses");
inline const QString OxaPrefShouldSwitchCastlineKey = QStringLiteral("Should Switch Castline");
inline const QString OxaPrefStartStopVTRKey = QStringLiteral("Start/Stop VTR When Recording");
inline const QString OxaPrefEraseExistingFilesKey = QStringLiteral("Erase Existing Files");
inline const QString OxaPrefLaunchStartRecordingScriptKey =
    QStringLiteral("Launch Start Recording Script");
inline const QString OxaPrefStartRecordingScriptDelayKey =
    QStringLiteral("Start Recording Script Delay");
inline const QString OxaPrefLaunchStopRecordingScriptKey =
    QStringLiteral("Launch Stop Recording Script");
inline const QString OxaPrefStopRecordingScriptDelayKey =
    QStringLiteral("Stop Recording Script Delay");
inline const QString OxaPrefRecordingFormatKey = QStringLiteral("Recording Format");
inline const QString OxaPrefSchedulingEventsKey = QStringLiteral("Scheduling Events");

}  // namespace takebox
