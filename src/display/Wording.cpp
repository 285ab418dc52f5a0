#include "display/Wording.h"

#include <QCoreApplication>

namespace takebox {

QString inEnglish(const char* english) {
    return QString::fromUtf8(english);
}

QString inDesktopLanguage(const char* english) {
    return QCoreApplication::translate("QObject", english);
}

QString withArguments(const QString& text, const QStringList& arguments) {
    QString filled;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const qsizetype number =
            text[i] == u'%' && i + 1 < text.size() ? text[i + 1].digitValue() : -1;
        if (number >= 1 && number <= arguments.size()) {
            filled += arguments[number - 1];
            ++i;
        } else {
            filled += text[i];
        }
    }
    return filled;
}

}  // namespace takebox
