#include "app/SingleInstance.h"

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDeadlineTimer>
#include <QDir>
#include <QLockFile>
#include <QStandardPaths>
#include <QThread>
#include <memory>

#include "app/ScriptingService.h"
#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr int kLongestWait = 10000;  // ms
constexpr int kPause = 100;          // ms
constexpr int kLockWait = 2000;      // ms: another one may be on its way down

/// Takes the lock in the user's data folder and keeps it until the program ends. @return false when
/// another program has it; one that cannot be made is done without.
bool lockDataFolder() {
    static std::unique_ptr<QLockFile> sLock;
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                           QStringLiteral("/takebox");
    QDir().mkpath(folder);
    sLock = std::make_unique<QLockFile>(folder + QStringLiteral("/Running"));
    sLock->setStaleLockTime(0);  // a recorder runs for weeks
    if (sLock->tryLock(kLockWait) || sLock->error() != QLockFile::LockFailedError) {
        return true;
    }
    qint64 process = 0;
    QString host;
    QString program;
    sLock->getLockInfo(&process, &host, &program);
    logMessage("The program runs already (process %lld)", static_cast<long long>(process));
    return false;
}

SingleInstance::Outcome firstIfLocked() {
    return lockDataFolder() ? SingleInstance::Outcome::kFirst : SingleInstance::Outcome::kNoAnswer;
}

}  // namespace

SingleInstance::Outcome SingleInstance::claim(const QStringList& arguments) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        return firstIfLocked();
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
            return firstIfLocked();
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
