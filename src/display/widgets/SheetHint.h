#pragma once

#include <QStringList>
#include <QStyle>
#include <initializer_list>

class QLabel;
class QLineEdit;

/// The line above the buttons of a sheet that says what is missing, or what will go wrong as things
/// stand. Main thread.
namespace takebox {

/// The field of a folder, and whether the movie that goes there is ticked.
struct MovieFolder {
    const QLineEdit* field;  ///< its accessible name is what the hint calls it
    bool isUsed;
};

/// Why nothing would be recorded with these folders, a sentence each.
[[nodiscard]] QStringList movieWarnings(std::initializer_list<MovieFolder> folders);

/// Shows the hint beside the picture; nothing when it is empty.
void showHint(QLabel& icon, QLabel& label, QStyle::StandardPixmap picture, const QString& hint);

}  // namespace takebox
