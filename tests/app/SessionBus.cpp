#include "SessionBus.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

using namespace Qt::StringLiterals;

class SessionBus : public ::testing::Environment {
public:
    void SetUp() override {
        mDaemon = std::make_unique<ChildProcess>();
        mDaemon->start(u"dbus-daemon"_s, {u"--session"_s, u"--nofork"_s, u"--print-address"_s});
        ASSERT_TRUE(waitUntil([this] { return mDaemon->canReadLine(); }));
        qputenv("DBUS_SESSION_BUS_ADDRESS", mDaemon->readLine().trimmed());
    }
    void TearDown() override {
        mDaemon->kill();
        mDaemon->waitForFinished();
        mDaemon.reset();
    }

private:
    std::unique_ptr<ChildProcess> mDaemon;
};

[[maybe_unused]] const auto* const gSessionBus =
    ::testing::AddGlobalTestEnvironment(std::make_unique<SessionBus>().release());

}  // namespace

ClientResult runClient(const QString& program, const QStringList& arguments) {
    ChildProcess process;
    process.start(program, arguments);
    if (!waitUntil([&process] { return !process.isRunning(); })) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitCode(), process.readAllStandardOutput() + process.readAllStandardError()};
}

ClientResult busctl(const QStringList& arguments) {
    return runClient(u"busctl"_s, QStringList{u"--user"_s} + arguments);
}

}  // namespace takebox::test
