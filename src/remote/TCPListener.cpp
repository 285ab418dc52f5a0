#include "remote/TCPListener.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/log/Log.h"

namespace takebox {
namespace {

constexpr int kShortagePauseMilliseconds = 1000;
/// Left to recordings, windows and scripts; at most half of those that the process may have.
constexpr rlim_t kReservedDescriptors = 256;

const char* nameOf(int family) {
    return family == AF_INET ? "IPv4" : "IPv6";
}

struct WildcardAddress {
    sockaddr_storage storage{};
    socklen_t length = 0;
};

WildcardAddress wildcardAddress(int family, std::uint16_t port) {
    WildcardAddress result;
    if (family == AF_INET) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        result.length = sizeof address;
        memcpy(&result.storage, &address, sizeof address);
    } else {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        address.sin6_addr = in6addr_any;
        result.length = sizeof address;
        memcpy(&result.storage, &address, sizeof address);
    }
    return result;
}

/// Whether the next descriptor is one that a client may have.
bool mayTakeDescriptor(const SocketHandle& listening) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t reserved = std::min(kReservedDescriptors, limit.rlim_cur / 2);
    const SocketHandle next(fcntl(listening.get(), F_DUPFD_CLOEXEC, 0));
    return next.isValid() && static_cast<rlim_t>(next.get()) < limit.rlim_cur - reserved;
}

}  // namespace

TCPListener::TCPListener(int family, Accepted accepted)
    : mFamily(family),
      mAccepted(std::move(accepted)),
      mSocket(socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_TCP)) {
    if (!mSocket.isValid()) {
        logMessage("Could not make a listening %s socket: %s", nameOf(family), strerror(errno));
        return;
    }
    const int on = 1;
    setsockopt(mSocket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (family == AF_INET6) {
        setsockopt(mSocket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
    }
    mPause.setSingleShot(true);
    mPause.setInterval(kShortagePauseMilliseconds);
    QObject::connect(&mPause, &QTimer::timeout, [this] { mNotifier->setEnabled(true); });
}

TCPListener::~TCPListener() {
    mNotifier.reset();  // must not outlive the descriptor
}

bool TCPListener::bind(std::uint16_t port) {
    const auto address = wildcardAddress(mFamily, port);
    // A port that another process has bound, too, is found out by listen().
    if (::bind(mSocket.get(), reinterpret_cast<const sockaddr*>(&address.storage),
               address.length) != 0 ||
        listen(mSocket.get(), SOMAXCONN) != 0) {
        logMessage("Could not listen on %s port %d: %s", nameOf(mFamily), port, strerror(errno));
        return false;
    }
    return true;
}

std::uint16_t TCPListener::port() const {
    sockaddr_storage storage{};
    socklen_t length = sizeof storage;
    if (getsockname(mSocket.get(), reinterpret_cast<sockaddr*>(&storage), &length) != 0) {
        return 0;
    }
    in_port_t port = 0;
    if (storage.ss_family == AF_INET) {
        sockaddr_in address{};
        memcpy(&address, &storage, sizeof address);
        port = address.sin_port;
    } else {
        sockaddr_in6 address{};
        memcpy(&address, &storage, sizeof address);
        port = address.sin6_port;
    }
    return ntohs(port);
}

void TCPListener::startAccepting() {
    mNotifier = std::make_unique<QSocketNotifier>(mSocket.get(), QSocketNotifier::Read);
    QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { acceptClient(); });
}

void TCPListener::acceptClient() {
    if (!mayTakeDescriptor(mSocket)) {
        waitForResources(EMFILE);
        return;
    }
    SocketHandle client(accept4(mSocket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
    if (!client.isValid()) {
        if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            waitForResources(errno);
        }
        return;
    }
    mShortageLogged = false;
    std::array<char, 255> bytes{};
    socklen_t length = bytes.size();
    QByteArray address;
    if (getpeername(client.get(), reinterpret_cast<sockaddr*>(bytes.data()), &length) == 0) {
        address = QByteArray(bytes.data(), static_cast<qsizetype>(length));
    }
    mAccepted(address, std::move(client));
}

void TCPListener::waitForResources(int error) {
    // The client stays in the queue; asking again at once would only burn the processor.
    if (!mShortageLogged) {
        logMessage("Cannot accept a client now: %s", strerror(error));
        mShortageLogged = true;
    }
    mNotifier->setEnabled(false);
    mPause.start();
}

}  // namespace takebox
