#pragma once

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <memory>
#include <optional>

namespace takebox {

class Clock;
class ScriptDecks;
class ScriptSupervisor;

/// What a script runs in; all outlive the run.
struct ScriptEnvironment {
    Clock& clock;
    ScriptSupervisor& supervisor;
    ScriptDecks* decks;  ///< null: no decks
};

/// A script in Lua 5.4, as text; never byte code. Load, compile, then execute any number of times.
/// Main thread.
///
/// Each run has globals of its own, the standard library (docs/scripting.md tells the differences)
/// and the table `takebox` with the decks. It is bounded to 256 MiB of memory and ends when the
/// supervisor wants it to, also while it waits for a command that it has started; only a single
/// long call into the library is not interrupted.
class Script {
public:
    /// @return null when the file is not a script: not a readable regular file, larger than 1 MiB,
    /// byte code, or with a zero byte in it.
    [[nodiscard]] static std::unique_ptr<Script> load(const QString& path);

    /// @return false at a syntax error, and when the text holds no statement at all.
    [[nodiscard]] bool compile();

    /// Runs the compiled script and returns what it returned: a bool, qint64, double or QString, or
    /// an invalid value when it came to its end without one. Nothing when it failed or was ended.
    [[nodiscard]] std::optional<QVariant> execute(const ScriptEnvironment& environment) const;

    /// The file's name without folder and (last) extension.
    [[nodiscard]] const QString& name() const { return mName; }

private:
    Script(QString name, QByteArray text);

    QString mName;
    QByteArray mText;
    QByteArray mCompiled;
};

}  // namespace takebox
