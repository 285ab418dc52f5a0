#pragma once

struct lua_State;

namespace takebox {

/// Opens what a script finds: the standard library, with what could take the recorder down or hold
/// it up for ever replaced or left out, and the table `takebox`. Errors as of Lua's own functions:
/// to be called from a protected call. Internal to this folder.
void openScriptLibrary(lua_State* lua);

/// Pushes the table `takebox`. Internal to this folder.
void pushDeckLibrary(lua_State* lua);

}  // namespace takebox
