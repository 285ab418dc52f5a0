#pragma once

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

#include "app/CAppleScriptAction.h"
#include "platform/scripting/ScriptSupervisor.h"

namespace takebox {

class Clock;
class ScriptDecks;

/// The script actions, loaded once at start-up and run by name. Main thread.
class CActionsManager : private ScriptSupervisor {
public:
    /// No actions yet. Clock, supervisor and decks (null for none) outlive this object.
    CActionsManager(Clock& clock, ScriptSupervisor& supervisor, ScriptDecks* decks);

    /// The folder "Actions" beside the program, then "takebox/Actions" in the user's data folder.
    [[nodiscard]] static QStringList actionsFolders();

    /// Loads every script of the folders anew, in the order in which the file system lists them.
    /// What is no script is skipped without a message.
    void loadActions();

    /// Runs the first action of exactly this name; blocks until it has ended.
    /// @return whether the script came to its end: false without such an action, when it failed and
    /// when it was ended. A script that runs already keeps others from starting.
    bool executeActionWithName(const QString& name);

    /// Ends the script that runs, at its next step; for quitting while the user is asked about it.
    void endRunningScript() { mIsToEnd = true; }

    [[nodiscard]] const std::vector<std::unique_ptr<CAppleScriptAction>>& actionsArray() const {
        return _actionsArray;
    }

private:
    bool shouldEndScript(const QString& name, double seconds) override;
    void scriptDidEnd(const QString& name) override;

    Clock& mClock;
    ScriptSupervisor& mSupervisor;
    ScriptDecks* mDecks;
    std::vector<std::unique_ptr<CAppleScriptAction>> _actionsArray;
    bool mIsRunning = false;
    bool mIsToEnd = false;
};

/// The actions of the process; set by the application.
extern std::unique_ptr<CActionsManager> gActionsManager;

}  // namespace takebox
