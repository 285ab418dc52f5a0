#pragma once

#include <QString>
#include <QStringList>

namespace takebox {

/// Puts a phrase of the program into the words of its reader. The log, the command line and the
/// bus are English on every system, so that programs and helpers can read them; windows speak the
/// language of the desktop. Any thread.
using Wording = QString (*)(const char* english);

[[nodiscard]] QString inEnglish(const char* english);
/// Phrases are marked with QT_TRANSLATE_NOOP("QObject", ...).
[[nodiscard]] QString inDesktopLanguage(const char* english);

/// Puts the arguments into the places %1 to %9 of the text. An argument may hold such a place.
[[nodiscard]] QString withArguments(const QString& text, const QStringList& arguments);

}  // namespace takebox
