#pragma once

#include <QString>

namespace takebox {

/// A name that the user gave, as the text of a menu entry that shows it letter by letter: alone, an
/// ampersand would vanish and underline the letter after it.
[[nodiscard]] inline QString menuText(QString name) {
    return name.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

}  // namespace takebox
