#include "platform/scripting/ScriptValue.h"

#include <QString>
#include <lua.hpp>

namespace takebox {

void pushScriptValue(lua_State* lua, const QVariant& value) {
    switch (value.typeId()) {
        case QMetaType::Bool:
            lua_pushboolean(lua, value.toBool() ? 1 : 0);
            break;
        case QMetaType::Int:
        case QMetaType::UInt:
        case QMetaType::LongLong:
            lua_pushinteger(lua, value.toLongLong());
            break;
        case QMetaType::Double:
            lua_pushnumber(lua, value.toDouble());
            break;
        case QMetaType::QString: {
            const QByteArray text = value.toString().toUtf8();
            lua_pushlstring(lua, text.constData(), static_cast<std::size_t>(text.size()));
            break;
        }
        default:
            lua_pushnil(lua);
    }
}

QVariant scriptValueAt(lua_State* lua, int index) {
    switch (lua_type(lua, index)) {
        case LUA_TBOOLEAN:
            return lua_toboolean(lua, index) != 0;
        case LUA_TNUMBER:
            if (lua_isinteger(lua, index) != 0) {
                return QVariant::fromValue<qint64>(lua_tointeger(lua, index));
            }
            return lua_tonumber(lua, index);
        case LUA_TSTRING: {
            std::size_t length = 0;
            const char* const text = lua_tolstring(lua, index, &length);
            return QString::fromUtf8(text, static_cast<qsizetype>(length));
        }
        default:
            return {};
    }
}

}  // namespace takebox
