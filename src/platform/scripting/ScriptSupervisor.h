#pragma once

#include <QString>

namespace takebox {

/// Watches over running scripts, which hold up the main thread. Main thread.
class ScriptSupervisor {
public:
    virtual ~ScriptSupervisor() = default;

    /// Called about ten times a second while a script runs. May process events.
    /// @return true to end the script.
    [[nodiscard]] virtual bool shouldEndScript(const QString& name, double seconds) = 0;

    /// The script is over, in whatever way.
    virtual void scriptDidEnd(const QString& name) = 0;
};

/// Where nobody is asked: ends a script after 60 s and logs that.
class UnattendedScriptSupervisor : public ScriptSupervisor {
public:
    bool shouldEndScript(const QString& name, double seconds) override;
    void scriptDidEnd(const QString& /*name*/) override {}
};

}  // namespace takebox
