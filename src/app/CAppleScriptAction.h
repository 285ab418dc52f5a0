#pragma once

#include <QString>
#include <memory>

#include "platform/scripting/Script.h"

namespace takebox {

/// One script of the actions folder, loaded and compiled. Main thread.
class CAppleScriptAction {
public:
    /// @return null when the file is not a script or does not compile.
    [[nodiscard]] static std::unique_ptr<CAppleScriptAction> initWithPath(const QString& path);

    /// The file's name without its extension.
    [[nodiscard]] const QString& name() const { return _appleScript->name(); }
    [[nodiscard]] const QString& fullPath() const { return _fullPath; }
    [[nodiscard]] const Script& appleScript() const { return *_appleScript; }

private:
    CAppleScriptAction(std::unique_ptr<Script> script, QString path);

    std::unique_ptr<Script> _appleScript;
    QString _fullPath;
};

}  // namespace takebox
