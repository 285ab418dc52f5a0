#include "app/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QThread>

#include "app/ScriptingService.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr int kLongestWait = 10000;  // ms
constexpr int kPause = 100;          // ms

}  // namespace

SingleInstance::Outcome SingleInstance::claim(const QStringList& arguments) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return Outcome::kFirst;
    }
    QDBusMessage activate = QDBusMessage::createMethodCall(
        ScriptingService::kServiceName, ScriptingService::kPath,
        ScriptingService::kApplicationInterface, QStringLiteral("Activate"));
    activate << arguments;
    activate.setAutoStartService(false);
    const QDeadlineTimer deadline(kLongestWait);
    QDBusMessage reply;
    do {
        if (bus.registerService(ScriptingService::kServiceName)) {
            return Outcome::kFirst;
        }
        reply = bus.call(activate, QDBus::Block, static_cast<int>(deadline.remainingTime()));
        if (reply.type() == QDBusMessage::ReplyMessage) {
            return reply.arguments().value(0).toBool() ? Outcome::kHandedOver : Outcome::kNoWindows;
        }
        // The other one may be on its way up, without its objects, or down.
        QThread::msleep(kPause);
    } while (!deadline.hasExpired());
    logMessage("The program runs already but does not answer: %s",
               qUtf8Printable(reply.errorMessage()));
    return Outcome::kNoAnswer;
}

}  // namespace takebox
