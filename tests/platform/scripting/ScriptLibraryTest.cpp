#include "platform/scripting/ScriptLibrary.h"

#include <gtest/gtest.h>

#include "ScriptRunner.h"

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
        "type(debug.traceback()) == 'string'", "require('string') == string"));

// What must not be there: it would take the recorder down or hold it up.
INSTANTIATE_TEST_SUITE_P(
    Guarded, LibraryExpression,
    ::testing::Values("os.exit == nil", "os.setlocale == nil", "debug.sethook == nil",
                      "require('debug').sethook == nil", "package.loadlib == nil",
                      "#package.searchers == 2", "io.read() == nil", "io.stdin:read() == nil",
                      "not pcall(setmetatable, {}, {__gc = function() end})",
                      "getmetatable(io.stdout) == false", "not pcall(setmetatable, io.stdout, {})",
                      "io.popen('cat'):read('a') == ''"));

TEST(ScriptLibrary, writingToACommandThatHasEndedIsAnError) {
    ScriptRunner runner;
    EXPECT_EQ(runner.run("local p = io.popen('exec true', 'w') "
                         "for i = 1, 100 do "
                         "  if not p:write(('x'):rep(100000)) then return true end "
                         "end "
                         "return false"),
              QVariant(true));
}

TEST(ScriptLibrary, modulesOfTextAreFound) {
    ScriptRunner runner;
    test::putFile(runner.filePath(u"helper.lua"_s), "return {answer = 42}");
    EXPECT_EQ(runner.run("package.path = '" + runner.filePath(u"?.lua"_s).toUtf8() +
                         "' return require('helper').answer"),
              QVariant::fromValue<qint64>(42));
    EXPECT_EQ(runner.run("return select(2, pcall(require, 'nowhere')):match('not found') ~= nil"),
              QVariant(true));
}

}  // namespace
}  // namespace takebox
