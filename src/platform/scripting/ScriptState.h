#pragma once

#include <QString>
#include <cstddef>
#include <cstdint>

#include "platform/scripting/Script.h"

struct lua_State;

namespace takebox {

/// A Lua state with bounded memory that can be ended. Internal to this folder.
class ScriptState {
public:
    ScriptState();
    ~ScriptState();
    ScriptState(const ScriptState&) = delete;
    ScriptState& operator=(const ScriptState&) = delete;

    /// Null when there was no memory for it.
    [[nodiscard]] lua_State* lua() const { return mLua; }
    static ScriptState& of(lua_State* lua);

    /// From now on the supervisor is asked.
    void beginRun(const QString& name, const ScriptEnvironment& environment);
    [[nodiscard]] ScriptDecks* decks() const;

    /// Asks the supervisor, when it is time to, whether the script is to end.
    [[nodiscard]] bool isToEnd();

    /// Leaves the running script for good when it is to end: no pcall of the script's holds it.
    void leaveIfToEnd(lua_State* lua);

private:
    static void* allocate(void* state, void* block, std::size_t oldSize, std::size_t newSize);

    lua_State* mLua = nullptr;
    std::size_t mUsedMemory = 0;
    QString mName;
    const ScriptEnvironment* mEnvironment = nullptr;
    std::int64_t mBegin = 0;      // ns
    std::int64_t mNextCheck = 0;  // ns
    bool mIsToEnd = false;
};

}  // namespace takebox
