#include "platform/scripting/ScriptProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "platform/scripting/ScriptState.h"

namespace takebox {
namespace {

constexpr int kPollInterval = 10;  // ms

/// posix_spawn and not fork: a copy of the address space would cost the receive threads a page
/// fault for every page that they touch.
int spawnShell(pid_t& process, const char* command, int childEnd, int childDescriptor) {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    if (childDescriptor != STDIN_FILENO) {
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    }
    if (childEnd >= 0) {
        posix_spawn_file_actions_adddup2(&actions, childEnd, childDescriptor);
    }
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &all);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
    const std::array<const char*, 4> arguments{"sh", "-c", command, nullptr};
    const int error = posix_spawn(&process, "/bin/sh", &actions, &attributes,
                                  const_cast<char* const*>(arguments.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return error;
}

}  // namespace

std::unique_ptr<ScriptProcess> ScriptProcess::start(ScriptState& state, const char* command,
                                                    Pipe pipe) {
    std::array<int, 2> ends{-1, -1};
    if (pipe != Pipe::kNone && pipe2(ends.data(), O_CLOEXEC) != 0) {
        return nullptr;
    }
    const bool reads = pipe == Pipe::kFromCommand;
    const int ours = reads ? ends[0] : ends[1];
    const int childs = reads ? ends[1] : ends[0];
    pid_t process = 0;
    const int error = spawnShell(process, command, childs,
                                 reads || pipe == Pipe::kNone ? STDOUT_FILENO : STDIN_FILENO);
    if (childs >= 0) {
        close(childs);
    }
    if (error != 0) {
        if (ours >= 0) {
            close(ours);
        }
        errno = error;
        return nullptr;
    }
    if (ours >= 0) {
        fcntl(ours, F_SETFL, O_NONBLOCK);
    }
    return std::unique_ptr<ScriptProcess>(new ScriptProcess(state, process, ours));
}

ScriptProcess::~ScriptProcess() {
    closePipe();
    if (mProcess != 0) {
        kill(-mProcess, SIGKILL);
        waitpid(mProcess, nullptr, 0);
    }
}

bool ScriptProcess::awaitPipe(short events) {
    pollfd pipe{mPipe, events, 0};
    while (!mState.isToEnd()) {
        if (poll(&pipe, 1, kPollInterval) > 0) {
            return true;
        }
    }
    errno = EINTR;
    return false;
}

ssize_t ScriptProcess::read(char* buffer, std::size_t size) {
    return awaitPipe(POLLIN) ? ::read(mPipe, buffer, size) : -1;
}

ssize_t ScriptProcess::write(const char* buffer, std::size_t size) {
    return awaitPipe(POLLOUT) ? ::write(mPipe, buffer, size) : -1;
}

void ScriptProcess::closePipe() {
    if (mPipe >= 0) {
        close(mPipe);
    }
    mPipe = -1;
}

int ScriptProcess::wait() {
    int status = 0;
    while (waitpid(mProcess, &status, WNOHANG) == 0) {
        if (mState.isToEnd()) {
            kill(-mProcess, SIGKILL);
            waitpid(mProcess, &status, 0);
            break;
        }
        poll(nullptr, 0, kPollInterval);
    }
    mProcess = 0;
    return status;
}

}  // namespace takebox
