#include "platform/scripting/ScriptSupervisor.h"

#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr double kLongestRun = 60;  // s

}  // namespace

bool UnattendedScriptSupervisor::shouldEndScript(const QString& name, double seconds) {
    if (seconds < kLongestRun) {
        return false;
    }
    logMessage("The script \"%s\" has run for %.0f s and was ended", qUtf8Printable(name), seconds);
    return true;
}

}  // namespace takebox
