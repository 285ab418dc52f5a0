#include "ScriptRunner.h"

#include <gtest/gtest.h>

#include "support/Files.h"

namespace takebox::test {

using namespace Qt::StringLiterals;

std::optional<QVariant> ScriptRunner::run(const QByteArray& text) {
    writeFile(filePath(u"Test Script.lua"_s), text);
    const auto script = Script::load(filePath(u"Test Script.lua"_s));
    if (!script || !script->compile()) {
        return std::nullopt;
    }
    return script->execute({*mClock, mSupervisor, mDecks});
}

}  // namespace takebox::test
