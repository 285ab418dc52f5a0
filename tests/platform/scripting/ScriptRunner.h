#pragma once

#include <QTemporaryDir>
#include <QVariant>
#include <optional>

#include "platform/runloop/Clock.h"
#include "platform/scripting/Script.h"
#include "platform/scripting/ScriptDecks.h"
#include "platform/scripting/ScriptSupervisor.h"

namespace takebox::test {

/// A clock on which every look at it takes a second.
class LeapingClock : public Clock {
public:
    QDateTime localNow() const override { return QDateTime::currentDateTime(); }
    std::int64_t monotonicNow() const override { return mNow += 1'000'000'000; }
    Timer callLater(double /*seconds*/, Action /*action*/) override { return 0; }
    Timer callEvery(double /*seconds*/, Action /*action*/) override { return 0; }
    void cancel(Timer /*timer*/) override {}

private:
    mutable std::int64_t mNow = 0;
};

/// Runs script texts under the supervision of programs without windows.
class ScriptRunner {
public:
    explicit ScriptRunner(ScriptDecks* decks = nullptr) : mDecks(decks) {}

    /// Nothing also when the text is no script.
    std::optional<QVariant> run(const QByteArray& text);

    /// On this clock a script soon has run for long enough to be ended.
    void setClock(Clock& clock) { mClock = &clock; }
    [[nodiscard]] QString filePath(const QString& name) const { return mFolder.filePath(name); }

private:
    QTemporaryDir mFolder;
    ScriptDecks* mDecks;
    Clock* mClock = &Clock::system();
    UnattendedScriptSupervisor mSupervisor;
};

}  // namespace takebox::test
