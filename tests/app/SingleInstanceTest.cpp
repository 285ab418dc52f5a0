#include "app/SingleInstance.h"

#include <gtest/gtest.h>

#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <csignal>

#include "SessionBus.h"
#include "support/ChildProcess.h"
#include "support/WaitUntil.h"

namespace takebox {
namespace {

using namespace Qt::StringLiterals;
using test::waitUntil;

/// The program itself, in a home of its own.
class Program {
public:
    explicit Program(bool withBus = true) {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, mHome.path());
        if (!withBus) {
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path="_s + mHome.path());
        }
        mProcess.setEnvironment(environment.toStringList());
        mProcess.setErrors(test::ChildProcess::Errors::kMerged);
        mProcess.start(QStringLiteral(TAKEBOX_PROGRAM),
                       {u"--headless"_s, u"--control-port"_s, u"0"_s, u"--virtual-deck"_s,
                        u"pal,guid=00000000000000c3"_s});
    }
    ~Program() {
        mProcess.terminate();
        mProcess.waitForFinished();
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool says(const QByteArray& text) {
        return waitUntil([&] {
            mOutput += mProcess.readAllStandardOutput();
            return mOutput.contains(text);
        });
    }
    bool ends() {
        return waitUntil([this] { return !mProcess.isRunning(); });
    }
    test::ChildProcess& process() { return mProcess; }
    [[nodiscard]] const QByteArray& output() const { return mOutput; }

private:
    QTemporaryDir mHome;
    test::ChildProcess mProcess;
    QByteArray mOutput;
};

TEST(SingleInstance, secondStartHandsOverToTheFirst) {
    Program first;
    ASSERT_TRUE(first.says("Starting server on port"));
    Program second;
    ASSERT_TRUE(second.ends());
    EXPECT_EQ(second.process().exitCode(), 0);
    EXPECT_TRUE(second.says("The program runs already"));
    EXPECT_FALSE(second.output().contains("Starting server"));

    EXPECT_TRUE(first.process().isRunning());
    EXPECT_TRUE(test::busctl({u"tree"_s, u"--list"_s, u"com.marvanemedia.TakeboxDV"_s})
                    .output.contains("/devices/00000000000000c3"));
    first.process().terminate();
    ASSERT_TRUE(first.ends());
    EXPECT_EQ(first.process().exitCode(), 0);
    // And the name is free again.
    Program third;
    EXPECT_TRUE(third.says("Starting server on port"));
}

TEST(SingleInstance, ofManyAtOnceExactlyOneGoesOn) {
    std::vector<std::unique_ptr<Program>> programs;
    for (int i = 0; i < 5; ++i) {
        programs.push_back(std::make_unique<Program>());
    }
    const auto running = [&programs] {
        return std::count_if(programs.begin(), programs.end(),
                             [](const auto& program) { return program->process().isRunning(); });
    };
    EXPECT_TRUE(waitUntil([&running] { return running() == 1; }));
    for (const auto& program : programs) {
        if (!program->process().isRunning()) {
            EXPECT_EQ(program->process().exitCode(), 0);
        } else {
            EXPECT_TRUE(program->says("Starting server on port"));
        }
    }
}

TEST(SingleInstance, withoutASessionBusTheProgramRunsAndSaysSo) {
    Program program(false);
    EXPECT_TRUE(program.says("There is no session bus"));
    program.process().terminate();
    ASSERT_TRUE(program.ends());
    EXPECT_EQ(program.process().exitCode(), 0);
}

}  // namespace
}  // namespace takebox
