#pragma once

#include <sys/types.h>

#include <memory>

namespace takebox {

class ScriptState;

/// A shell command of a script, which waits for it as long as it is not to end itself. The command
/// has a process group of its own, no descriptors of ours but standard output and error, no input
/// unless it is written to, and no signals blocked. Internal to this folder.
class ScriptProcess {
public:
    enum class Pipe { kNone, kFromCommand, kToCommand };

    /// @return null, with errno, when it could not be started.
    static std::unique_ptr<ScriptProcess> start(ScriptState& state, const char* command, Pipe pipe);

    /// Ends the command if it still runs.
    ~ScriptProcess();
    ScriptProcess(const ScriptProcess&) = delete;
    ScriptProcess& operator=(const ScriptProcess&) = delete;

    /// As read() and write(); −1 also when the script is to end.
    ssize_t read(char* buffer, std::size_t size);
    ssize_t write(const char* buffer, std::size_t size);
    void closePipe();

    /// @return the status as of waitpid(). A command whose script is to end is killed.
    int wait();

private:
    ScriptProcess(ScriptState& state, pid_t process, int pipe)
        : mState(state), mProcess(process), mPipe(pipe) {}
    [[nodiscard]] bool awaitPipe(short events);

    ScriptState& mState;
    pid_t mProcess;  // 0 once it is over; also the number of its group
    int mPipe;       // our end or −1
};

}  // namespace takebox
