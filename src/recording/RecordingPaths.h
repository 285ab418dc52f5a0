#pragma once

#include <QString>

namespace takebox {

/// A name inside a folder, with exactly one slash between them.
[[nodiscard]] inline QString pathIn(const QString& folder, const QString& name) {
    return folder.endsWith(QLatin1Char('/')) ? folder + name : folder + QLatin1Char('/') + name;
}

/// The name as a file can have it: a slash would lead into another folder, and an empty name or one
/// of dots would make a hidden file or leave the folder. Cut to what leaves room for a number and
/// an extension in the 255 bytes of a file system.
[[nodiscard]] QString fileNameOf(QString name);

/// "Name 1", "Name 2" ...: the next name to try when a recording's file exists already.
[[nodiscard]] inline QString numberedName(const QString& name, int counter) {
    return name + QLatin1Char(' ') + QString::number(counter);
}

}  // namespace takebox
