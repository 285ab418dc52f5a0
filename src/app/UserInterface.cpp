#include "app/UserInterface.h"

#include "platform/log/Log.h"

namespace takebox {

void UserInterface::logAlert(const QString& title, const QString& message) {
    QString line = message;
    line.replace(QLatin1Char('\n'), QLatin1Char(' '));
    logMessage("%s %s", title.toUtf8().constData(), line.toUtf8().constData());
}

}  // namespace takebox
