#include "app/CActionsManager.h"

#include <QCoreApplication>
#include <QDirIterator>
#include <QStandardPaths>
#include <algorithm>
#include <utility>

#include "platform/log/Log.h"
#include "platform/runloop/Termination.h"

namespace takebox {

std::unique_ptr<CActionsManager> gActionsManager;

CActionsManager::CActionsManager(Clock& clock, ScriptSupervisor& supervisor, ScriptDecks* decks)
    : mClock(clock), mSupervisor(supervisor), mDecks(decks) {}

QStringList CActionsManager::actionsFolders() {
    return {QCoreApplication::applicationDirPath() + QStringLiteral("/Actions"),
            QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) +
                QStringLiteral("/takebox/Actions")};
}

void CActionsManager::loadActions() {
    _actionsArray.clear();
    for (const QString& folder : actionsFolders()) {
        QDirIterator entries(folder,
                             QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
        while (entries.hasNext()) {
            if (auto action = CAppleScriptAction::initWithPath(entries.next())) {
                _actionsArray.push_back(std::move(action));
            }
        }
    }
}

bool CActionsManager::executeActionWithName(const QString& name) {
    const auto action = std::find_if(_actionsArray.begin(), _actionsArray.end(),
                                     [&name](const auto& each) { return each->name() == name; });
    if (action == _actionsArray.end()) {
        return false;
    }
    if (mIsRunning) {
        logMessage("The script \"%s\" was not run: another one is running", qUtf8Printable(name));
        return false;
    }
    mIsRunning = true;
    mIsToEnd = false;
    const auto result = (*action)->appleScript().execute({mClock, *this, mDecks});
    mIsRunning = false;
    return result.has_value();
}

bool CActionsManager::shouldEndScript(const QString& name, double seconds) {
    if (!mIsToEnd && isTerminationPending()) {
        logMessage("The script \"%s\" was ended: the program is to end", qUtf8Printable(name));
        mIsToEnd = true;
    }
    return mIsToEnd || mSupervisor.shouldEndScript(name, seconds);
}

void CActionsManager::scriptDidEnd(const QString& name) {
    mSupervisor.scriptDidEnd(name);
}

}  // namespace takebox
