#pragma once

#include <QVariant>

struct lua_State;

namespace takebox {

/// Pushes a bool, number or text; nil for every other value. Internal to this folder.
void pushScriptValue(lua_State* lua, const QVariant& value);

/// The bool, qint64, double or QString at the index of the stack; invalid for every other value.
[[nodiscard]] QVariant scriptValueAt(lua_State* lua, int index);

}  // namespace takebox
