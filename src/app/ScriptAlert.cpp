#include "app/ScriptAlert.h"

#include <QCoreApplication>
#include <QPushButton>

#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr double kPatience = 10;  // s
constexpr int kEventsTime = 20;   // ms

}  // namespace

bool ScriptAlert::shouldEndScript(const QString& name, double seconds) {
    if (seconds < kPatience) {
        return false;
    }
    if (!mAlert) {
        mAlert = std::make_unique<QMessageBox>(
            QMessageBox::Warning, QCoreApplication::translate("ScriptAlert", "Script"),
            QCoreApplication::translate("ScriptAlert", "The script \"%1\" is still running.")
                .arg(name));
        mAlert->setInformativeText(QCoreApplication::translate(
            "ScriptAlert",
            "Recordings go on, but the windows react slowly until it ends. You can wait or end "
            "it."));
        mAlert->addButton(QCoreApplication::translate("ScriptAlert", "End Script"),
                          QMessageBox::RejectRole);
        mAlert->setWindowModality(Qt::NonModal);
        mAlert->show();
    }
    QCoreApplication::processEvents(QEventLoop::AllEvents, kEventsTime);
    const bool isToEnd = !mAlert->isVisible();
    if (isToEnd) {
        logMessage("The script \"%s\" was ended by the user after %.0f s", qUtf8Printable(name),
                   seconds);
    }
    return isToEnd;
}

void ScriptAlert::scriptDidEnd(const QString& /*name*/) {
    mAlert.reset();
}

}  // namespace takebox
