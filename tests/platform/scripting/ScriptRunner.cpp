#include "ScriptRunner.h"

#include <gtest/gtest.h>

#include <QFile>

namespace takebox::test {

using namespace Qt::StringLiterals;

std::optional<QVariant> ScriptRunner::run(const QByteArray& text) {
    putFile(filePath(u"Test Script.lua"_s), text);
    const auto script = Script::load(filePath(u"Test Script.lua"_s));
    if (!script || !script->compile()) {
        return std::nullopt;
    }
    return script->execute({*mClock, mSupervisor, mDecks});
}

void putFile(const QString& path, const QByteArray& contents) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    ASSERT_EQ(file.write(contents), contents.size());
}

}  // namespace takebox::test
