#include "support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QElapsedTimer>
#include <array>
#include <csignal>
#include <utility>
#include <vector>

namespace takebox::test {
namespace {

constexpr int kNoSuchProgram = 127;
constexpr int kEndedBySignal = 128;
constexpr int kSlice = 10;  // ms

/// Texts as a program's main() gets them.
class Texts {
public:
    explicit Texts(const QStringList& texts) {
        for (const QString& text : texts) {
            mBytes.push_back(text.toLocal8Bit());
        }
        for (QByteArray& bytes : mBytes) {
            mPointers.push_back(bytes.data());
        }
        mPointers.push_back(nullptr);
    }
    [[nodiscard]] char* const* pointers() const { return mPointers.data(); }

private:
    std::vector<QByteArray> mBytes;
    std::vector<char*> mPointers;
};

struct Pipe {
    std::array<int, 2> ends{-1, -1};
    Pipe() { static_cast<void>(::pipe2(ends.data(), O_CLOEXEC)); }
};

bool takeFrom(int& descriptor, QByteArray& received) {
    std::array<char, 65536> bytes{};
    const ssize_t size = ::read(descriptor, bytes.data(), bytes.size());
    if (size > 0) {
        received.append(bytes.data(), static_cast<qsizetype>(size));
        return true;
    }
    if (size == 0) {
        ::close(descriptor);
        descriptor = -1;
    }
    return false;
}

}  // namespace

ChildProcess::~ChildProcess() {
    if (isRunning()) {
        kill();
        waitForFinished();
    }
    for (const int descriptor : {mInput, mOutput, mError}) {
        if (descriptor >= 0) {
            ::close(descriptor);
        }
    }
}

int ChildProcess::execute(const QString& program, const QStringList& arguments) {
    ChildProcess process;
    process.setErrors(Errors::kForwarded);
    process.start(program, arguments);
    process.waitForFinished(-1);
    static_cast<void>(::write(STDOUT_FILENO, process.mReceived.constData(),
                              static_cast<std::size_t>(process.mReceived.size())));
    return process.exitCode();
}

void ChildProcess::start(const QString& program, const QStringList& arguments) {
    const Pipe input;
    const Pipe output;
    const Pipe error;
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input.ends[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output.ends[1], STDOUT_FILENO);
    if (mErrors != Errors::kForwarded) {
        posix_spawn_file_actions_adddup2(
            &actions, mErrors == Errors::kMerged ? output.ends[1] : error.ends[1], STDERR_FILENO);
    }
    const Texts words(QStringList{program} + arguments);
    const Texts environment(mEnvironment);
    const int result =
        ::posix_spawnp(&mPid, words.pointers()[0], &actions, nullptr, words.pointers(),
                       mEnvironment.isEmpty() ? environ : environment.pointers());
    posix_spawn_file_actions_destroy(&actions);
    for (const int descriptor : {input.ends[0], output.ends[1], error.ends[1]}) {
        ::close(descriptor);
    }
    mInput = input.ends[1];
    mOutput = output.ends[0];
    mError = error.ends[0];
    if (result != 0) {
        mPid = -1;
        mExitCode = kNoSuchProgram;
    }
}

bool ChildProcess::isRunning() {
    receive(0);
    if (mPid < 0) {
        return false;
    }
    int status = 0;
    if (::waitpid(mPid, &status, WNOHANG) != mPid) {
        return true;
    }
    mPid = -1;
    mExitCode = WIFEXITED(status) ? WEXITSTATUS(status) : kEndedBySignal + WTERMSIG(status);
    while (receive(0)) {
    }
    return false;
}

bool ChildProcess::waitForFinished(int milliseconds) {
    QElapsedTimer time;
    time.start();
    while (isRunning()) {
        if (milliseconds >= 0 && time.elapsed() > milliseconds) {
            return false;
        }
        receive(kSlice);
    }
    return true;
}

void ChildProcess::signal(int number) const {
    if (mPid > 0) {
        ::kill(mPid, number);
    }
}

void ChildProcess::terminate() const {
    signal(SIGTERM);
}

void ChildProcess::kill() const {
    signal(SIGKILL);
}

QByteArray ChildProcess::readAllStandardOutput() {
    receive(0);
    return std::exchange(mReceived, {});
}

QByteArray ChildProcess::readAllStandardError() {
    receive(0);
    return std::exchange(mReceivedErrors, {});
}

bool ChildProcess::canReadLine() {
    receive(0);
    return mReceived.contains('\n');
}

QByteArray ChildProcess::readLine() {
    const qsizetype end = mReceived.indexOf('\n') + 1;
    const QByteArray line = mReceived.left(end > 0 ? end : mReceived.size());
    mReceived.remove(0, line.size());
    return line;
}

bool ChildProcess::waitForReadyRead(int milliseconds) {
    QElapsedTimer time;
    time.start();
    while (mOutput >= 0 && time.elapsed() <= milliseconds) {
        if (receive(kSlice)) {
            return true;
        }
    }
    return false;
}

void ChildProcess::write(const QByteArray& bytes) const {
    static_cast<void>(::write(mInput, bytes.constData(), static_cast<std::size_t>(bytes.size())));
}

void ChildProcess::closeWriteChannel() {
    if (mInput >= 0) {
        ::close(mInput);
        mInput = -1;
    }
}

bool ChildProcess::receive(int milliseconds) {
    std::array<pollfd, 2> sources{{{mOutput, POLLIN, 0}, {mError, POLLIN, 0}}};
    if (::poll(sources.data(), sources.size(), milliseconds) <= 0) {
        return false;
    }
    const bool hasOutput = sources[0].revents != 0 && takeFrom(mOutput, mReceived);
    const bool hasErrors = sources[1].revents != 0 && takeFrom(mError, mReceivedErrors);
    return hasOutput || hasErrors;
}

}  // namespace takebox::test
