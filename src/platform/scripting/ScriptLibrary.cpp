#include "platform/scripting/ScriptLibrary.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <lua.hpp>

#include "platform/scripting/ScriptProcess.h"
#include "platform/scripting/ScriptState.h"

namespace takebox {
namespace {

/// What differs from the standard library.
/// - Byte code can make Lua read and write anywhere; machine code can do anything.
/// - Finalizers run where nothing can interrupt them, and debug hooks would replace ours.
/// - os.exit and os.setlocale act on the whole process.
/// - Nobody types input into a recorder, and opening a pipe or a device may wait for ever.
/// - A few functions go round a loop of the caller's length without an instruction of his.
constexpr auto kDifferences = R"lua(
local execute, popen, mayOpen = ...
local rawload, rawloadfile, rawsetmetatable = load, loadfile, setmetatable

function load(chunk, name, mode, ...)
    return rawload(chunk, name, "t", ...)
end
local function checked(file)
    if type(file) == "string" or type(file) == "number" then
        return mayOpen(file)
    end
    return true
end
function loadfile(file, mode, ...)
    local ok, message = checked(file)
    if not ok then
        return nil, message
    end
    return rawloadfile(file or "/dev/null", "t", ...)
end
function dofile(file)
    return assert(loadfile(file))()
end
local rawopen = io.open
function io.open(file, ...)
    local ok, message, code = checked(file)
    if not ok then
        return nil, message, code
    end
    return rawopen(file, ...)
end
for _, name in ipairs {"lines", "input", "output"} do
    local raw = io[name]
    io[name] = function(file, ...)
        local ok, message = checked(file)
        if not ok then
            error(message, 2)
        end
        return raw(file, ...)
    end
end

local rawrep, rawmove, longest = string.rep, table.move, 100000000
function string.rep(text, count, separator)
    if text == "" and (separator == nil or separator == "") and math.tointeger(tonumber(count)) then
        count = 1
    end
    return rawrep(text, count, separator)
end
function table.move(from, first, last, ...)
    if (tonumber(last) or 0) - (tonumber(first) or 0) + 0.0 >= longest then
        error("too many elements to move", 2)
    end
    return rawmove(from, first, last, ...)
end
for _, name in ipairs {"insert", "remove"} do
    local raw = table[name]
    table[name] = function(list, ...)
        if type(list) == "table" and getmetatable(list) ~= nil and #list >= longest then
            error("the list is too long", 2)
        end
        return raw(list, ...)
    end
end
function setmetatable(object, metatable)
    if type(metatable) == "table" and rawget(metatable, "__gc") ~= nil then
        error("finalizers (__gc) are not available here", 2)
    end
    return rawsetmetatable(object, metatable)
end

package.loadlib, package.cpath = nil, ""
package.searchers = {package.searchers[1], function(name)
    local path, message = package.searchpath(name, package.path)
    if not path then
        return message
    end
    return assert(rawloadfile(path, "t")), path
end}
debug = {getinfo = debug.getinfo, traceback = debug.traceback}
package.loaded.debug = debug

os.execute, io.popen, os.exit, os.setlocale = execute, popen, nil, nil
getmetatable(io.stdout).__metatable = false
io.input("/dev/null")
io.stdin = io.input()
)lua";

/// Whether a file may be opened by this name; else nil, a message and an error number, as the
/// functions for files have it.
int mayOpen(lua_State* lua) {
    const char* const path = luaL_checkstring(lua, 1);
    struct stat status {};
    const bool isThere = stat(path, &status) == 0;
    constexpr unsigned kMemoryDevices = 1;  // null, zero, random and the like
    const bool isMemory = S_ISCHR(status.st_mode) && major(status.st_rdev) == kMemoryDevices;
    if (!isThere || S_ISREG(status.st_mode) || S_ISDIR(status.st_mode) || isMemory) {
        lua_pushboolean(lua, 1);
        return 1;
    }
    lua_pushnil(lua);
    lua_pushfstring(lua, "%s: not a file that a script may open", path);
    lua_pushinteger(lua, EPERM);
    return 3;
}

/// The three results of a command that has ended; luaL_execresult() would take an old errno for a
/// failure to start it.
int commandResult(lua_State* lua, int status) {
    errno = 0;
    return luaL_execresult(lua, status);
}

int executeCommand(lua_State* lua) {
    const char* const command = luaL_optstring(lua, 1, nullptr);
    if (command == nullptr) {
        lua_pushboolean(lua, 1);  // there is a shell
        return 1;
    }
    ScriptState& state = ScriptState::of(lua);
    std::fflush(stdout);
    const auto process = ScriptProcess::start(state, command, ScriptProcess::Pipe::kNone);
    if (!process) {
        return luaL_fileresult(lua, 0, command);
    }
    const int status = process->wait();
    state.leaveIfToEnd(lua);
    return commandResult(lua, status);
}

/// What io.popen returns: to Lua's own file functions it is a file as every other.
struct CommandFile {
    luaL_Stream stream;  // first: the file functions look at this
    ScriptProcess* process;
};

ssize_t readCommand(void* process, char* buffer, std::size_t size) {
    return static_cast<ScriptProcess*>(process)->read(buffer, size);
}

ssize_t writeCommand(void* process, const char* buffer, std::size_t size) {
    const ssize_t written = static_cast<ScriptProcess*>(process)->write(buffer, size);
    return written < 0 ? 0 : written;  // 0 is how such a stream is told of an error
}

int closeCommandPipe(void* process) {
    static_cast<ScriptProcess*>(process)->closePipe();
    return 0;
}

int closeCommand(lua_State* lua) {
    auto* const file = static_cast<CommandFile*>(luaL_checkudata(lua, 1, LUA_FILEHANDLE));
    std::fclose(file->stream.f);
    const std::unique_ptr<ScriptProcess> process(file->process);
    return commandResult(lua, process->wait());
}

int openCommand(lua_State* lua) {
    const char* const command = luaL_checkstring(lua, 1);
    const char* const mode = luaL_optstring(lua, 2, "r");
    const bool reads = std::strcmp(mode, "r") == 0;
    luaL_argcheck(lua, reads || std::strcmp(mode, "w") == 0, 2, "invalid mode");
    auto* const file = static_cast<CommandFile*>(lua_newuserdatauv(lua, sizeof(CommandFile), 0));
    *file = {};  // no close function: a closed file
    luaL_setmetatable(lua, LUA_FILEHANDLE);
    std::fflush(stdout);
    auto process = ScriptProcess::start(
        ScriptState::of(lua), command,
        reads ? ScriptProcess::Pipe::kFromCommand : ScriptProcess::Pipe::kToCommand);
    if (!process) {
        return luaL_fileresult(lua, 0, command);
    }
    file->stream.f =
        fopencookie(process.get(), mode, {readCommand, writeCommand, nullptr, closeCommandPipe});
    if (file->stream.f == nullptr) {
        return luaL_fileresult(lua, 0, command);
    }
    file->process = process.release();
    file->stream.closef = closeCommand;
    return 1;
}

}  // namespace

void openScriptLibrary(lua_State* lua) {
    luaL_openlibs(lua);
    if (luaL_loadbufferx(lua, kDifferences, std::strlen(kDifferences), "=library", "t") != LUA_OK) {
        lua_error(lua);
    }
    lua_pushcfunction(lua, executeCommand);
    lua_pushcfunction(lua, openCommand);
    lua_pushcfunction(lua, mayOpen);
    lua_call(lua, 3, 0);
    pushDeckLibrary(lua);
    lua_setglobal(lua, "takebox");
}

}  // namespace takebox
