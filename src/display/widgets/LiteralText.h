#pragma once

#include <QString>
#include <QTextDocument>

/// What the user named, shown letter by letter where the toolkit gives some letters a meaning.
namespace takebox {

/// As the text of a menu entry: an ampersand alone would vanish and underline the next letter.
[[nodiscard]] inline QString menuText(QString name) {
    return name.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

/// As a tooltip or a text of an alert: what looks like markup would be taken for it.
[[nodiscard]] inline QString literalText(const QString& text) {
    return Qt::mightBeRichText(text) ? Qt::convertFromPlainText(text, Qt::WhiteSpaceNormal) : text;
}

}  // namespace takebox
