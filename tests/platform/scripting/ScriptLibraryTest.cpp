#include "platform/scripting/ScriptLibrary.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "ScriptRunner.h"
#include "support/Files.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::ScriptRunner;

class LibraryExpression : public ::testing::TestWithParam<const char*> {};

TEST_P(LibraryExpression, isTrue) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("return " + QByteArray(GetParam())), QVariant(true)) << GetParam();
}

// What the standard library promises, where ours replaces it.
INSTANTIATE_TEST_SUITE_P(
    Standard, LibraryExpression,
    ::testing::Values(
        "os.execute()", "os.execute('true')", "select('#', os.execute('exit 3')) == 3",
        "select(3, os.execute('exit 3')) == 3", "select(2, os.execute('kill -9 $$')) == 'signal'",
        "io.popen('echo hello'):read() == 'hello'", "select(3, io.popen('exit 4'):close()) == 4",
        "io.popen('true'):close() == true", "not pcall(io.popen, 'true', 'x')",
        "io.popen('cat >/dev/null', 'w'):write('x'):close()", "io.type(io.popen('true')) == 'file'",
        "(function() local n = 0 for l in io.popen('seq 1000'):lines() do n = n + l "
        "end return n == 500500 end)()",
        "#io.popen('head -c 1000000 /dev/zero'):read('a') == 1000000", "load('return 5')() == 5",
        "load('return a', 'n', 't', {a = 6})() == 6", "load('return a', 'n', 't', nil) ~= nil",
        "load('return') ~= nil", "select('#', load('x x')) == 2",
        "getmetatable(setmetatable({}, {__index = 1})).__index == 1",
        "tostring(os.time()):match('^%d+$') ~= nil", "utf8.char(233) == '\xC3\xA9'",
        "pcall(string.format, '%d', 1)", "math.type(3) == 'integer'",
        "type(debug.traceback()) == 'string'", "require('string') == string",
        "('ab'):rep(3, '-') == 'ab-ab-ab'", "(''):rep(3, '-') == '--'", "(''):rep(3) == ''",
        "('a'):rep(-1) == ''", "not pcall(string.rep)", "not pcall(string.rep, '', {})",
        "table.concat(table.move({1, 2, 3}, 2, 3, 1)) == '233'",
        "table.concat(table.move({1, 2}, 1, 2, 2, {0})) == '012'", "not pcall(table.move, {})",
        "(function() local t = {1, 3} table.insert(t, 2, 2) table.insert(t, 4) "
        "return table.concat(t) == '1234' and table.remove(t) == 4 and table.remove(t, 1) == 1 "
        "end)()",
        "not pcall(table.insert, {}, 1, 2, 3)", "table.remove({}) == nil",
        "select('#', io.open('/nowhere/at/all')) == 3", "io.open('/dev/zero'):read(1) == '\\0'",
        "io.lines('/dev/null')() == nil", "not pcall(io.lines, '/nowhere/at/all')",
        "io.type(io.output('/dev/null')) == 'file'", "loadfile()() == nil",
        "select('#', loadfile('/nowhere/at/all')) == 2", "not pcall(io.open)"));

// What must not be there: it would take the recorder down or hold it up.
INSTANTIATE_TEST_SUITE_P(
    Guarded, LibraryExpression,
    ::testing::Values("os.exit == nil", "os.setlocale == nil", "debug.sethook == nil",
                      "require('debug').sethook == nil", "package.loadlib == nil",
                      "#package.searchers == 2", "io.read() == nil", "io.stdin:read() == nil",
                      "not pcall(setmetatable, {}, {__gc = function() end})",
                      "getmetatable(io.stdout) == false", "not pcall(setmetatable, io.stdout, {})",
                      "io.popen('cat'):read('a') == ''", "(''):rep(math.maxinteger) == ''",
                      "(''):rep('9223372036854775807', '') == ''",
                      "not pcall(table.move, {}, 1, math.maxinteger - 1, 2)",
                      "not pcall(table.move, {}, math.mininteger, -2, 1)",
                      "not pcall(table.remove, setmetatable({}, {__len = function() return "
                      "math.maxinteger end}), 1)",
                      "not pcall(table.insert, setmetatable({}, {__len = function() return "
                      "math.maxinteger - 1 end}), 1, 1)"));

TEST(ScriptLibrary, writingToACommandThatHasEndedIsAnError) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("local p = io.popen('exec true', 'w') "
                         "for i = 1, 100 do "
                         "  if not p:write(('x'):rep(100000)) then return true end "
                         "end "
                         "return false"),
              QVariant(true));
}

TEST(ScriptLibrary, pipesAreNotOpened) {
    ScriptRunner runner;
    const QByteArray pipe = runner.filePath(u"pipe"_s).toUtf8();
    ASSERT_EQ(mkfifo(pipe.constData(), 0600), 0);
    for (const char* text :
         {"return select(2, io.open('%1')):match('may open') ~= nil",
          "return not io.open('%1', 'w')", "return not pcall(io.lines, '%1')",
          "return not pcall(io.input, '%1')", "return not pcall(io.output, '%1')",
          "return not loadfile('%1')", "return not pcall(dofile, '%1')"}) {
        EXPECT_EQ(runner.run(QByteArray(text).replace("%1", pipe)), QVariant(true)) << text;
    }
}

TEST(ScriptLibrary, modulesOfTextAreFound) {
    ScriptRunner runner;
    test::writeFile(runner.filePath(u"helper.lua"_s), "return {answer = 42}");
    EXPECT_EQ(runner.run("package.path = '" + runner.filePath(u"?.lua"_s).toUtf8() +
                         "' return require('helper').answer"),
              QVariant::fromValue<qint64>(42));
    EXPECT_EQ(runner.run("return select(2, pcall(require, 'nowhere')):match('not found') ~= nil"),
              QVariant(true));
}

}  // namespace
}  // namespace takebox
