#include "remote/PlayoutSwitch.h"

#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "platform/log/Log.h"
#include "platform/runloop/Termination.h"
#include "remote/SocketHandle.h"

namespace takebox {
namespace {

constexpr std::size_t kReplySize = 255;
constexpr std::size_t kCommandSize = 2;
constexpr suseconds_t kAlarmRepeatMicroseconds = 100'000;
constexpr int kTerminationCheckMilliseconds = 100;

/// The reply and its terminator, and what read() said of it.
struct Reply {
    std::array<char, kReplySize + 1> text{};
    ssize_t count = 0;
};

SignalHandler installHandler(int signal, SignalHandler handler, int flags) {
    struct sigaction action {};
    struct sigaction previous {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = flags;
    return sigaction(signal, &action, &previous) == 0 ? previous.sa_handler : SIG_ERR;
}

/// Lets SIGALRM into this thread for its lifetime, whatever the mask was.
class AlarmSignalLetIn {
public:
    AlarmSignalLetIn() {
        sigset_t alarm;
        sigemptyset(&alarm);
        sigaddset(&alarm, SIGALRM);
        pthread_sigmask(SIG_UNBLOCK, &alarm, &mPrevious);
    }
    ~AlarmSignalLetIn() { pthread_sigmask(SIG_SETMASK, &mPrevious, nullptr); }
    AlarmSignalLetIn(const AlarmSignalLetIn&) = delete;
    AlarmSignalLetIn& operator=(const AlarmSignalLetIn&) = delete;

private:
    sigset_t mPrevious{};
};

/// @return false when the address cannot be resolved.
bool resolve(const char* address, in_addr& result) {
    const hostent* host = gethostbyname(address);
    if (host == nullptr) {
        host = gethostbyaddr(address, static_cast<socklen_t>(strlen(address)), AF_INET);
    }
    if (host == nullptr || host->h_addrtype != AF_INET ||
        host->h_length != static_cast<int>(sizeof result)) {
        return false;
    }
    memcpy(&result, host->h_addr_list[0], sizeof result);
    return true;
}

/// An invalid handle when there is no connection; why has been printed.
SocketHandle connectTo(const char* address, std::uint16_t port) {
    SocketHandle connection(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!connection.isValid()) {
        printMessage("socket error");
        return connection;
    }
    sockaddr_in target{};
    if (!resolve(address, target.sin_addr)) {
        printMessage("error resolving server address\n");
        return {};
    }
    target.sin_family = AF_INET;
    target.sin_port = htons(port);
    if (switch_connect_with_timeout(connection.get(), reinterpret_cast<const sockaddr*>(&target),
                                    sizeof target, kPlayoutConnectSeconds) != 0) {
        static_cast<void>(connection.release());  // has been closed
    }
    return connection;
}

/// @return what was written, -1 on error. A system that has gone raises no signal.
ssize_t sendCommand(const SocketHandle& connection, const char* command) {
    return send(connection.get(), command, kCommandSize, MSG_NOSIGNAL);
}

/// Waits for a reply or the end of the connection, without a time limit. @return false when the
/// program is told to end meanwhile: the system must not keep it from that.
bool waitForReply(const SocketHandle& connection) {
    pollfd waiting{connection.get(), POLLIN, 0};
    for (;;) {
        const int ready = poll(&waiting, 1, kTerminationCheckMilliseconds);
        if (ready > 0 || (ready < 0 && errno != EINTR)) {
            return true;
        }
        if (isTerminationPending()) {
            logMessage("Not waiting for the playout system: the program is to end");
            return false;
        }
    }
}

/// No bytes and no error, either, when the program is to end before it has come.
Reply readReply(const SocketHandle& connection) {
    Reply reply;
    if (!waitForReply(connection)) {
        return reply;
    }
    reply.count = recv(connection.get(), reply.text.data(), kReplySize, 0);
    if (reply.count > 0) {
        printMessage("Received %d bytes:\n %s\n", static_cast<int>(reply.count), reply.text.data());
    } else if (reply.count < 0) {
        printMessage("read error");
    }
    return reply;
}

}  // namespace

std::int32_t TCPSwitch(const char* address, bool on, std::uint16_t port) {
    const SocketHandle connection = connectTo(address, port);
    if (!connection.isValid()) {
        return -1;
    }
    if (const ssize_t sent = sendCommand(connection, on ? "SL" : "SB"); sent >= 0) {
        printMessage("successfully sent %d bytes\n", static_cast<int>(sent));
    }
    static_cast<void>(readReply(connection));  // the switch counts as done whatever it says
    return 0;
}

std::int32_t TCPCheckIfPresent(const char* address, std::uint16_t port) {
    const SocketHandle connection = connectTo(address, port);
    if (!connection.isValid()) {
        return 0;
    }
    bool present = sendCommand(connection, "AT") >= 0;
    const Reply reply = readReply(connection);
    if (reply.count < 0) {
        present = false;
    } else if (reply.count > 1 && reply.text[1] == 'K') {
        present = true;
    }
    return present ? 1 : 0;
}

int switch_connect_with_timeout(int socket, const sockaddr* address, socklen_t length,
                                unsigned seconds) {
    const AlarmSignalLetIn letIn;
    const SignalHandler previous = installHandler(SIGALRM, connect_alarm, 0);
    // Repeats until it is cancelled: one alarm would be lost if it came just before connect().
    const itimerval limit{{0, kAlarmRepeatMicroseconds}, {static_cast<time_t>(seconds), 0}};
    itimerval earlier{};
    setitimer(ITIMER_REAL, &limit, &earlier);
    if (timerisset(&earlier.it_value)) {
        printMessage("switch_connect_with_timeout: alarm was already set\n");
    }
    const int result = connect(socket, address, length);
    int error = errno;
    if (result != 0) {
        close(socket);
        error = error == EINTR ? ETIMEDOUT : error;
    }
    const itimerval none{};
    setitimer(ITIMER_REAL, &none, nullptr);
    if (previous != SIG_ERR) {
        installHandler(SIGALRM, previous, 0);
    }
    errno = error;
    return result;
}

void connect_alarm(int /*signal*/) {}

SignalHandler Switch_Signal(int signal, SignalHandler handler) {
    return installHandler(signal, handler, signal == SIGALRM ? 0 : SA_RESTART);
}

}  // namespace takebox
