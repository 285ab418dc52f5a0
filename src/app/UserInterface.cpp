#include "app/UserInterface.h"

#include "platform/log/Log.h"

namespace takebox {

void UserInterface::logAlert(const QString& title, const QString& message) {
    logMessage("%s %s", title.toUtf8().constData(), message.toUtf8().constData());
}

}  // namespace takebox
