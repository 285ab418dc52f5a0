#include "app/CAppleScriptAction.h"

#include <utility>

namespace takebox {

std::unique_ptr<CAppleScriptAction> CAppleScriptAction::initWithPath(const QString& path) {
    auto script = Script::load(path);
    if (!script || !script->compile()) {
        return nullptr;
    }
    return std::unique_ptr<CAppleScriptAction>(new CAppleScriptAction(std::move(script), path));
}

CAppleScriptAction::CAppleScriptAction(std::unique_ptr<Script> script, QString path)
    : _appleScript(std::move(script)), _fullPath(std::move(path)) {}

}  // namespace takebox
