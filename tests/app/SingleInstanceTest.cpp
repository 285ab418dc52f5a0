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

const QStringList kArguments{u"--headless"_s, u"--control-port"_s, u"0"_s, u"--virtual-deck"_s,
                             u"pal,guid=00000000000000c3"_s};

/// The program itself, in a home of its own or in another one's.
class Program {
public:
    explicit Program(bool withBus = true, const QStringList& arguments = kArguments,
                     const QString& home = {}) {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"HOME"_s, home.isEmpty() ? mHome.path() : home);
        if (!withBus) {
            environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path="_s + mHome.path());
        }
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        mProcess.setEnvironment(environment.toStringList());
        mProcess.setErrors(test::ChildProcess::Errors::kMerged);
        mProcess.start(QStringLiteral(TAKEBOX_PROGRAM), arguments);
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
    [[nodiscard]] QString home() const { return mHome.path(); }
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
    EXPECT_EQ(second.process().exitCode(), 1);
    EXPECT_TRUE(second.says("The program runs already, without windows"));
    EXPECT_TRUE(
        second.says("Ignored, because the program runs already: --control-port 0 "
                    "--virtual-deck pal,guid=00000000000000c3"));
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

TEST(SingleInstance, secondStartSaysWhetherItsWishIsFulfilled) {
    struct Start {
        QStringList options;
        int status;
        QByteArray text;
    };
    const auto expect = [](const std::vector<Start>& starts) {
        for (const auto& [options, status, text] : starts) {
            Program second(true, options);
            ASSERT_TRUE(second.ends());
            EXPECT_EQ(second.process().exitCode(), status) << qPrintable(options.join(u' '));
            EXPECT_TRUE(second.says(text));
        }
    };
    {
        Program first;
        ASSERT_TRUE(first.says("Starting server on port"));
        expect({{{}, 1, "The program runs already, without windows"},
                {{u"--headless"_s}, 0, "The program runs already, without windows"}});
        first.process().terminate();
        ASSERT_TRUE(first.ends());
    }
    Program first(true, kArguments.mid(1));
    ASSERT_TRUE(first.says("Starting server on port"));
    expect({{{}, 0, "The program runs already; its windows come to the front"},
            {{u"--headless"_s}, 1, "Ignored, because the program runs already: --headless"}});
}

TEST(SingleInstance, secondStartGivesUpOnAFirstThatHangs) {
    Program first;
    ASSERT_TRUE(first.says("Starting server on port"));
    first.process().signal(SIGSTOP);
    Program second;
    EXPECT_TRUE(second.says("The program runs already but does not answer: "));
    ASSERT_TRUE(second.ends());
    EXPECT_EQ(second.process().exitCode(), 1);
    first.process().signal(SIGCONT);
    EXPECT_FALSE(second.output().contains("Starting server"));
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
            EXPECT_EQ(program->process().exitCode(), 1);
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

TEST(SingleInstance, secondStartWithoutASessionBusEnds) {
    Program first(false);
    ASSERT_TRUE(first.says("Starting server on port"));
    for (const bool withBus : {false, true}) {
        Program second(withBus, kArguments, first.home());
        EXPECT_TRUE(second.says("The program runs already (process "));
        ASSERT_TRUE(second.ends());
        EXPECT_EQ(second.process().exitCode(), 1);
    }
    first.process().kill();
    ASSERT_TRUE(first.ends());
    Program third(false, kArguments, first.home());
    EXPECT_TRUE(third.says("Starting server on port")) << "what was killed keeps nobody out";
}

}  // namespace
}  // namespace takebox
