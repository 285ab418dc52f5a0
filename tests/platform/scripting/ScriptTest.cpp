#include "platform/scripting/Script.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include "ScriptRunner.h"
#include "support/Files.h"
#include "support/LogCapture.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::LeapingClock;
using test::ScriptRunner;
using test::writeFile;

bool isScript(const QByteArray& contents) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"file"_s);
    writeFile(path, contents);
    const auto script = Script::load(path);
    return script && script->compile();
}

TEST(Script, textThatCompilesIsAScript) {
    EXPECT_TRUE(isScript("return 1"));
    EXPECT_TRUE(isScript("-- comment\nlocal a = 1\n"));
    EXPECT_TRUE(isScript("#!/usr/bin/lua\nprint(1)"));
    EXPECT_TRUE(isScript("\xEF\xBB\xBFprint(1)\r\nprint(2)\r\n"));
    EXPECT_TRUE(isScript("print(\"\xC3\xA9\")"));
}

TEST(Script, everythingElseIsNot) {
    EXPECT_FALSE(isScript("Remember to rewind the tape."));
    EXPECT_FALSE(isScript("# Notes\n\nBuy tapes\n"));
    EXPECT_FALSE(isScript("if true then"));
    EXPECT_FALSE(isScript(""));
    EXPECT_FALSE(isScript(" \n\t\n"));
    EXPECT_FALSE(isScript("-- only a comment\n--[[ and\nanother ]]"));
    EXPECT_FALSE(isScript(QByteArray("return 1\0", 9)));
    EXPECT_FALSE(isScript("return 1" + QByteArray(1 << 20, ' ')));
    EXPECT_FALSE(isScript(QByteArray::fromHex("cafebabe00010203")));
    EXPECT_FALSE(isScript(QByteArray("(").repeated(100000)));
}

TEST(Script, byteCodeIsRefused) {
    ScriptRunner runner;
    const QString path = runner.filePath(u"compiled"_s);
    ASSERT_TRUE(runner.run("local f = assert(io.open('" + path.toUtf8() +
                           "', 'wb')) f:write(string.dump(load('return 1'))) f:close()"));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    ASSERT_EQ(file.read(4), "\x1BLua");
    EXPECT_EQ(Script::load(path), nullptr);
    // Nor by any way round from inside a script.
    for (const char* text : {"return load(string.dump(function() end)) == nil",
                             "return load(string.dump(function() end), 'x', 'b') == nil",
                             "return loadfile('%1') == nil", "return not pcall(dofile, '%1')",
                             "package.path = '%1' return not pcall(require, 'compiled')"}) {
        const QString withPath = QString::fromUtf8(text).replace(u"%1"_s, path);
        EXPECT_EQ(runner.run(withPath.toUtf8()), QVariant(true)) << text;
    }
}

TEST(Script, onlyReadableRegularFilesAreLoaded) {
    const QTemporaryDir folder;
    EXPECT_EQ(Script::load(folder.path()), nullptr);
    EXPECT_EQ(Script::load(folder.filePath(u"missing"_s)), nullptr);
    const QString pipe = folder.filePath(u"pipe"_s);
    ASSERT_EQ(mkfifo(qUtf8Printable(pipe), 0600), 0);
    EXPECT_EQ(Script::load(pipe), nullptr);
    ASSERT_TRUE(QFile::link(folder.filePath(u"missing"_s), folder.filePath(u"broken"_s)));
    EXPECT_EQ(Script::load(folder.filePath(u"broken"_s)), nullptr);
}

TEST(Script, isNamedLikeTheFileWithoutItsLastExtension) {
    const QTemporaryDir folder;
    const std::pair<QString, QString> names[] = {{u"Start Recording.scpt"_s, u"Start Recording"_s},
                                                 {u"Start Recording"_s, u"Start Recording"_s},
                                                 {u"a.b.lua"_s, u"a.b"_s},
                                                 {u".lua"_s, u".lua"_s}};
    for (const auto& [file, name] : names) {
        writeFile(folder.filePath(file), "return 1");
        EXPECT_EQ(Script::load(folder.filePath(file))->name(), name);
    }
}

TEST(Script, resultIsWhatItReturns) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("return 42"), QVariant::fromValue<qint64>(42));
    EXPECT_EQ(runner.run("return 2.5"), QVariant(2.5));
    EXPECT_EQ(runner.run("return 'caf\xC3\xA9'"), QVariant(u"caf\u00e9"_s));
    EXPECT_EQ(runner.run("return false"), QVariant(false));
}

TEST(Script, endWithoutValueIsAResultAndAnErrorIsNone) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("local a = 1"), QVariant());
    EXPECT_EQ(runner.run("return nil"), QVariant());
    EXPECT_EQ(runner.run("return {}"), QVariant());
    EXPECT_EQ(runner.run("error('no')"), std::nullopt);
    EXPECT_EQ(runner.run("error()"), std::nullopt);
    EXPECT_EQ(runner.run("local a = nil; return a.b"), std::nullopt);
}

TEST(Script, eachRunStartsAfreshFromTheTextThatWasLoaded) {
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"count.lua"_s);
    writeFile(path, "count = (count or 0) + 1; os.remove('" + path.toUtf8() + "') return count");
    const auto script = Script::load(path);
    ASSERT_TRUE(script->compile());
    UnattendedScriptSupervisor supervisor;
    const ScriptEnvironment environment{Clock::system(), supervisor, nullptr};
    EXPECT_EQ(script->execute(environment), QVariant::fromValue<qint64>(1));
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_EQ(script->execute(environment), QVariant::fromValue<qint64>(1));
}

TEST(Script, memoryIsBounded) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("return #string.rep('x', 100 * 1024 * 1024)"),
              QVariant::fromValue<qint64>(100 * 1024 * 1024));
    EXPECT_EQ(runner.run("return #string.rep('x', 256 * 1024 * 1024)"), std::nullopt);
    EXPECT_EQ(runner.run("local s = 'x' while true do s = s .. s end"), std::nullopt);
    EXPECT_EQ(runner.run("local t = {} for i = 1, math.huge do t[i] = {i} end"), std::nullopt);
    EXPECT_EQ(runner.run("local function f() return 1 + f() end return f()"), std::nullopt);
    EXPECT_EQ(runner.run("return pcall(string.rep, 'x', 1 << 40)"), QVariant(false));
}

class EndlessScript : public ::testing::TestWithParam<const char*> {};

TEST_P(EndlessScript, isEndedAndThatIsLogged) {
    test::LogCapture log;
    LeapingClock clock;
    ScriptRunner runner;
    runner.setClock(clock);
    EXPECT_EQ(runner.run(GetParam()), std::nullopt);
    EXPECT_TRUE(log.containsText("The script \"Test Script\" has run for 6"));
    EXPECT_TRUE(log.containsText("and was ended"));
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, EndlessScript,
    ::testing::Values(
        "while true do end", "local function f() return f() end f()",
        "while true do pcall(function() while true do end end) end",
        "xpcall(function() while true do end end, function() while true do end end)",
        "while true do xpcall(error, function() while true do end end) end",
        "coroutine.wrap(function() while true do end end)()",
        "while true do pcall(coroutine.wrap(function() while true do end end)) end",
        "local a <close> = setmetatable({}, {__close = function() while true do end end})",
        "for _ in string.gmatch(('x'):rep(100), 'x') do while true do end end",
        "table.sort({1, 2, 3}, function() while true do end end)", "os.execute('sleep 1000')",
        "while true do pcall(os.execute, 'sleep 1000') end",
        "os.execute('sleep 1000 | sleep 1000')", "io.popen('sleep 1000'):read('a')",
        "local p = io.popen('sleep 1000', 'w') while p:write(('x'):rep(10000)) do end p:close()"));

TEST(Script, endedOneTakesItsCommandsWithIt) {
    LeapingClock clock;
    test::LogCapture log;
    ScriptRunner runner;
    runner.setClock(clock);
    const QString pidFile = runner.filePath(u"pid"_s);
    EXPECT_EQ(runner.run("os.execute('sleep 1000 & echo $! > " + pidFile.toUtf8() + "; wait')"),
              std::nullopt);
    QFile file(pidFile);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const int process = file.readAll().trimmed().toInt();
    ASSERT_GT(process, 0);
    QElapsedTimer timer;
    timer.start();
    const QString status = u"/proc/%1/stat"_s.arg(process);
    const auto isRunning = [&status] {
        QFile stat(status);
        return stat.open(QIODevice::ReadOnly) && !stat.readAll().contains(") Z");
    };
    while (isRunning() && timer.elapsed() < 60000) {
    }
    EXPECT_FALSE(isRunning());
}

TEST(Script, commandLeftOpenAtTheEndIsWaitedForAndEndedLikewise) {
    test::LogCapture log;
    LeapingClock clock;
    ScriptRunner runner;
    const QByteArray done = runner.filePath(u"done"_s).toUtf8();
    EXPECT_TRUE(runner.run("io.popen('sleep 0.1; touch " + done + "')"));
    EXPECT_TRUE(QFile::exists(runner.filePath(u"done"_s)));
    runner.setClock(clock);
    EXPECT_TRUE(runner.run("io.popen('sleep 1000')"));
    EXPECT_TRUE(log.containsText("and was ended"));
}

TEST(Script, supervisorHearsOfEveryEnd) {
    struct Supervisor : ScriptSupervisor {
        bool shouldEndScript(const QString& /*name*/, double /*seconds*/) override { return false; }
        void scriptDidEnd(const QString& name) override { ended.append(name); }
        QStringList ended;
    } supervisor;
    const QTemporaryDir folder;
    for (const char* text : {"return 1", "error()"}) {
        writeFile(folder.filePath(u"a.lua"_s), text);
        const auto script = Script::load(folder.filePath(u"a.lua"_s));
        ASSERT_TRUE(script->compile());
        const auto result = script->execute({Clock::system(), supervisor, nullptr});
        EXPECT_EQ(result.has_value(), text[0] == 'r');
    }
    EXPECT_EQ(supervisor.ended, (QStringList{u"a"_s, u"a"_s}));
}

}  // namespace
}  // namespace takebox
