#include "platform/scripting/ScriptState.h"

#include <cstdlib>
#include <lua.hpp>

#include "platform/runloop/Clock.h"
#include "platform/scripting/ScriptSupervisor.h"

namespace takebox {
namespace {

constexpr std::size_t kMemoryLimit = std::size_t{256} << 20U;
constexpr int kInstructionsBetweenChecks = 1000;
constexpr std::int64_t kCheckInterval = 100'000'000;  // ns

void checkAtInstruction(lua_State* lua, lua_Debug* /*where*/) {
    ScriptState::of(lua).leaveIfToEnd(lua);
}

}  // namespace

ScriptState::ScriptState() {
    mLua = lua_newstate(allocate, this);
    if (mLua != nullptr) {
        *static_cast<ScriptState**>(lua_getextraspace(mLua)) = this;
    }
}

ScriptState::~ScriptState() {
    if (mLua != nullptr) {
        lua_close(mLua);
    }
    if (mEnvironment != nullptr) {
        mEnvironment->supervisor.scriptDidEnd(mName);
    }
}

ScriptState& ScriptState::of(lua_State* lua) {
    return **static_cast<ScriptState**>(lua_getextraspace(lua));
}

void ScriptState::beginRun(const QString& name, const ScriptEnvironment& environment) {
    mName = name;
    mEnvironment = &environment;
    mBegin = environment.clock.monotonicNow();
    mNextCheck = mBegin + kCheckInterval;
    lua_sethook(mLua, checkAtInstruction, LUA_MASKCOUNT, kInstructionsBetweenChecks);
}

ScriptDecks* ScriptState::decks() const {
    return mEnvironment == nullptr ? nullptr : mEnvironment->decks;
}

bool ScriptState::isToEnd() {
    if (mIsToEnd || mEnvironment == nullptr) {
        return mIsToEnd;
    }
    const std::int64_t now = mEnvironment->clock.monotonicNow();
    if (now >= mNextCheck) {
        const double seconds = static_cast<double>(now - mBegin) * 1e-9;
        mIsToEnd = mEnvironment->supervisor.shouldEndScript(mName, seconds);
        mNextCheck = mEnvironment->clock.monotonicNow() + kCheckInterval;
    }
    return mIsToEnd;
}

void ScriptState::leaveIfToEnd(lua_State* lua) {
    if (!isToEnd()) {
        return;
    }
    // An ordinary error would run the script's message handler (see xpcall), with hooks off: one
    // that loops could never be ended. Want of memory has no handler, and from now on there is
    // none. Where a pcall catches it, the next instruction fails again, until nothing is left to
    // run.
    lua_sethook(lua, checkAtInstruction, LUA_MASKCOUNT, 1);
    lua_newuserdatauv(lua, 1, 0);
}

void* ScriptState::allocate(void* state, void* block, std::size_t oldSize, std::size_t newSize) {
    auto& self = *static_cast<ScriptState*>(state);
    if (block == nullptr) {
        oldSize = 0;  // Lua passes the kind of object here
    }
    if (newSize == 0) {
        std::free(block);
        self.mUsedMemory -= oldSize;
        return nullptr;
    }
    const bool grows = newSize > oldSize;
    if (grows && (self.mIsToEnd || newSize - oldSize > kMemoryLimit - self.mUsedMemory)) {
        return nullptr;
    }
    void* const moved = std::realloc(block, newSize);
    if (moved == nullptr) {
        return grows ? nullptr : block;  // Lua relies on it that shrinking cannot fail
    }
    self.mUsedMemory += newSize - oldSize;
    return moved;
}

}  // namespace takebox
