#include <cstring>
#include <lua.hpp>

#include "platform/log/Log.h"
#include "platform/scripting/ScriptDecks.h"
#include "platform/scripting/ScriptLibrary.h"
#include "platform/scripting/ScriptState.h"
#include "platform/scripting/ScriptValue.h"

namespace takebox {
namespace {

/// The table `takebox`. A deck is a proxy that holds its GUID only, so that it is always up to
/// date, and one that was unplugged is an error and not another deck.
constexpr auto kDeckLibrary = R"lua(
local guids, names, get, set, run, log = ...
local aliases = {
    name = "deviceName", recording = "isRecording", paused = "isPaused",
    timecode = "deviceTimecodeString", recordedtime = "recordedTime",
    starttimecode = "recordStartTimecodeString",
}
local commands = {}
for _, command in ipairs {"start", "stop", "pause", "resume"} do
    commands[command] = function(deck)
        if not run(deck.guid, command) then
            error("the deck " .. deck.guid .. " is not connected", 2)
        end
    end
end
local function deck(guid)
    return setmetatable({}, {
        __index = function(_, name)
            if name == "guid" or commands[name] then
                return commands[name] or guid
            end
            local value = get(guid, aliases[name] or name)
            if value == nil then
                error("the deck " .. guid .. " has no '" .. tostring(name) .. "' or is gone", 2)
            end
            return value
        end,
        __newindex = function(_, name, value)
            if not set(guid, aliases[name] or name, value) then
                error("'" .. tostring(name) .. "' of the deck " .. guid ..
                      " cannot be set to this value", 2)
            end
        end,
        __pairs = function(self)
            local list, i = names(), 0
            return function()
                i = i + 1
                if list[i] then
                    return list[i], self[list[i]]
                end
            end
        end,
        __eq = function(a, b) return a.guid == b.guid end,
        __tostring = function() return "deck " .. guid end,
    })
end
return setmetatable({log = log}, {
    __index = function(_, name)
        if name == "decks" then
            local list = guids()
            for i, guid in ipairs(list) do
                list[i] = deck(guid)
            end
            return list
        end
    end,
})
)lua";

ScriptDecks* decksOf(lua_State* lua) {
    return ScriptState::of(lua).decks();
}

int pushTexts(lua_State* lua, const QStringList& texts) {
    lua_createtable(lua, static_cast<int>(texts.size()), 0);
    for (qsizetype i = 0; i < texts.size(); ++i) {
        pushScriptValue(lua, texts[i]);
        lua_rawseti(lua, -2, i + 1);
    }
    return 1;
}

int guids(lua_State* lua) {
    const ScriptDecks* const decks = decksOf(lua);
    return pushTexts(lua, decks == nullptr ? QStringList() : decks->guids());
}

int propertyNames(lua_State* lua) {
    const ScriptDecks* const decks = decksOf(lua);
    return pushTexts(lua, decks == nullptr ? QStringList() : decks->propertyNames());
}

int property(lua_State* lua) {
    const ScriptDecks* const decks = decksOf(lua);
    pushScriptValue(lua, decks == nullptr ? QVariant()
                                          : decks->property(scriptValueAt(lua, 1).toString(),
                                                            scriptValueAt(lua, 2).toString()));
    return 1;
}

int setProperty(lua_State* lua) {
    ScriptDecks* const decks = decksOf(lua);
    const QVariant value = scriptValueAt(lua, 3);
    const bool isSet = decks != nullptr && value.isValid() &&
                       decks->setProperty(scriptValueAt(lua, 1).toString(),
                                          scriptValueAt(lua, 2).toString(), value);
    lua_pushboolean(lua, isSet ? 1 : 0);
    return 1;
}

int runCommand(lua_State* lua) {
    ScriptDecks* const decks = decksOf(lua);
    const bool hasRun = decks != nullptr && decks->runCommand(scriptValueAt(lua, 1).toString(),
                                                              scriptValueAt(lua, 2).toString());
    lua_pushboolean(lua, hasRun ? 1 : 0);
    return 1;
}

int log(lua_State* lua) {
    logMessage("%s", luaL_tolstring(lua, 1, nullptr));
    return 0;
}

}  // namespace

void pushDeckLibrary(lua_State* lua) {
    if (luaL_loadbufferx(lua, kDeckLibrary, std::strlen(kDeckLibrary), "=takebox", "t") != LUA_OK) {
        lua_error(lua);
    }
    constexpr lua_CFunction kFunctions[] = {guids,       propertyNames, property,
                                            setProperty, runCommand,    log};
    for (const lua_CFunction function : kFunctions) {
        lua_pushcfunction(lua, function);
    }
    lua_call(lua, static_cast<int>(std::size(kFunctions)), 1);
}

}  // namespace takebox
