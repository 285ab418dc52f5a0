#include "platform/scripting/Script.h"

#include <QFile>
#include <QFileInfo>
#include <csignal>
#include <ctime>
#include <lua.hpp>
#include <utility>

#include "platform/scripting/ScriptLibrary.h"
#include "platform/scripting/ScriptState.h"
#include "platform/scripting/ScriptValue.h"

namespace takebox {
namespace {

constexpr qint64 kLargestFile = 1 << 20;

int appendBytes(lua_State* /*lua*/, const void* bytes, std::size_t size, void* result) {
    static_cast<QByteArray*>(result)->append(static_cast<const char*>(bytes),
                                             static_cast<qsizetype>(size));
    return 0;
}

struct Compilation {
    const QByteArray& text;
    const QByteArray chunkName;
    bool keepsLineNumbers;
    QByteArray result{};
};

int compileProtected(lua_State* lua) {
    auto& compilation = *static_cast<Compilation*>(lua_touserdata(lua, 1));
    const QByteArray& text = compilation.text;
    if (luaL_loadbufferx(lua, text.constData(), static_cast<std::size_t>(text.size()),
                         compilation.chunkName.constData(), "t") != LUA_OK) {
        return lua_error(lua);
    }
    return lua_dump(lua, appendBytes, &compilation.result, compilation.keepsLineNumbers ? 0 : 1);
}

/// The compiled text in a form for this process only; empty when it does not compile.
QByteArray compiled(const QByteArray& text, const QString& name, bool keepsLineNumbers) {
    const ScriptState state;
    Compilation compilation{text, '=' + name.toUtf8(), keepsLineNumbers};
    if (state.lua() == nullptr) {
        return {};
    }
    lua_pushcfunction(state.lua(), compileProtected);
    lua_pushlightuserdata(state.lua(), &compilation);
    return lua_pcall(state.lua(), 1, 0, 0) == LUA_OK ? compilation.result : QByteArray();
}

struct Run {
    const QByteArray& compiled;
    QVariant result{};
};

int runProtected(lua_State* lua) {
    auto& run = *static_cast<Run*>(lua_touserdata(lua, 1));
    openScriptLibrary(lua);
    if (luaL_loadbufferx(lua, run.compiled.constData(),
                         static_cast<std::size_t>(run.compiled.size()), "=script", "b") != LUA_OK) {
        return lua_error(lua);
    }
    lua_call(lua, 0, 1);
    run.result = scriptValueAt(lua, -1);
    return 0;
}

/// A script that writes to a command which has ended gets an error; the signal would end us all.
class BrokenPipeIsAnError {
public:
    BrokenPipeIsAnError() {
        sigemptyset(&mBrokenPipe);
        sigaddset(&mBrokenPipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &mBrokenPipe, &mPrevious);
    }
    ~BrokenPipeIsAnError() {
        if (sigismember(&mPrevious, SIGPIPE) == 0) {
            const timespec now{};
            sigtimedwait(&mBrokenPipe, nullptr, &now);
            pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr);
        }
    }
    BrokenPipeIsAnError(const BrokenPipeIsAnError&) = delete;
    BrokenPipeIsAnError& operator=(const BrokenPipeIsAnError&) = delete;

private:
    sigset_t mBrokenPipe{};
    sigset_t mPrevious{};
};

}  // namespace

Script::Script(QString name, QByteArray text) : mName(std::move(name)), mText(std::move(text)) {}

std::unique_ptr<Script> Script::load(const QString& path) {
    const QFileInfo info(path);
    QFile file(path);
    if (!info.isFile() || info.size() > kLargestFile || !file.open(QIODevice::ReadOnly)) {
        return nullptr;
    }
    QByteArray text = file.read(kLargestFile + 1);
    if (text.size() > kLargestFile || text.startsWith(LUA_SIGNATURE[0]) || text.contains('\0')) {
        return nullptr;
    }
    if (text.startsWith("\xEF\xBB\xBF")) {  // byte order mark
        text.remove(0, 3);
    }
    if (text.startsWith("#!")) {
        text.insert(0, "--");  // and the lines keep their numbers
    }
    const QString base = info.completeBaseName();
    return std::unique_ptr<Script>(
        new Script(base.isEmpty() ? info.fileName() : base, std::move(text)));
}

bool Script::compile() {
    // An empty file or one of comments only is a text that happens to compile, not a script.
    const QByteArray code = compiled(mText, QString(), false);
    if (code.isEmpty() || code == compiled(QByteArray(), QString(), false)) {
        return false;
    }
    mCompiled = compiled(mText, mName, true);
    return true;
}

std::optional<QVariant> Script::execute(const ScriptEnvironment& environment) const {
    if (mCompiled.isEmpty()) {
        return std::nullopt;
    }
    const BrokenPipeIsAnError noSignal;
    ScriptState state;
    if (state.lua() == nullptr) {
        return std::nullopt;
    }
    state.beginRun(mName, environment);
    Run run{mCompiled};
    lua_pushcfunction(state.lua(), runProtected);
    lua_pushlightuserdata(state.lua(), &run);
    return lua_pcall(state.lua(), 1, 0, 0) == LUA_OK ? std::optional(run.result) : std::nullopt;
}

}  // namespace takebox
