#pragma once

#include <sys/types.h>

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <cstdint>

namespace takebox::test {

/// A program that a test runs. Like QProcess, but the child is started in a way that the thread
/// sanitizer can follow: after QProcess it takes no notice of the starting thread's locks any more.
/// One thread.
class ChildProcess {
public:
    enum class Errors : std::uint8_t {
        kKept,       ///< for readAllStandardError()
        kMerged,     ///< among the output
        kForwarded,  ///< where those of the test go
    };

    ChildProcess() = default;
    /// Kills a program that still runs.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Runs a program to its end, its output where that of the test goes. @return its exit code.
    static int execute(const QString& program, const QStringList& arguments);

    void setErrors(Errors errors) { mErrors = errors; }
    /// "NAME=value" of all variables; those of the test when none are given.
    void setEnvironment(const QStringList& environment) { mEnvironment = environment; }

    /// A program that cannot be started ends with exit code 127.
    void start(const QString& program, const QStringList& arguments);
    [[nodiscard]] bool isRunning();
    /// @param milliseconds -1 for ever. @return whether it has ended.
    bool waitForFinished(int milliseconds = 30000);
    /// Its exit code; 128 and the number of the signal that ended it.
    [[nodiscard]] int exitCode() const { return mExitCode; }
    void signal(int number) const;  ///< Sends it.
    void terminate() const;
    void kill() const;

    /// What has come so far and was not yet read.
    QByteArray readAllStandardOutput();
    QByteArray readAllStandardError();
    [[nodiscard]] bool canReadLine();
    QByteArray readLine();
    /// @return whether something came before the time was over or the output ended.
    bool waitForReadyRead(int milliseconds);
    void write(const QByteArray& bytes) const;
    void closeWriteChannel();

private:
    /// Takes in what comes within the time. @return whether anything did.
    bool receive(int milliseconds);

    Errors mErrors = Errors::kKept;
    QStringList mEnvironment;
    pid_t mPid = -1;
    int mExitCode = 0;
    int mInput = -1;
    int mOutput = -1;
    int mError = -1;
    QByteArray mReceived;
    QByteArray mReceivedErrors;
};

}  // namespace takebox::test
