#pragma once

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>
#include <cstdint>
#include <functional>
#include <memory>

#include "remote/SocketHandle.h"

namespace takebox {

/// The listening socket of one address family. Main thread; accepts from its event loop.
class TCPListener {
public:
    /// Gets each client: its address as getpeername() gives it (empty when not known) and its
    /// connected, non-blocking socket.
    using Accepted = std::function<void(const QByteArray& address, SocketHandle socket)>;

    /// @param family AF_INET or AF_INET6. The IPv6 socket takes IPv6 clients only, so that both
    ///               families can have the same port.
    TCPListener(int family, Accepted accepted);
    ~TCPListener();
    TCPListener(const TCPListener&) = delete;
    TCPListener& operator=(const TCPListener&) = delete;

    /// @return false when the socket could not be made, for the reason that has been logged.
    [[nodiscard]] bool isValid() const { return mSocket.isValid(); }

    /// Binds to all addresses of the family and listens; clients are accepted from
    /// startAccepting().
    /// @param port 0 lets the system choose.
    /// @return false, and a log line says why, when the port is in use or may not be used.
    [[nodiscard]] bool bind(std::uint16_t port);

    [[nodiscard]] std::uint16_t port() const;  ///< The port that is bound, 0 before.

    void startAccepting();

private:
    void acceptClient();
    void waitForResources(int error);

    int mFamily;
    Accepted mAccepted;
    SocketHandle mSocket;
    std::unique_ptr<QSocketNotifier> mNotifier;
    QTimer mPause;  // runs while no descriptor is left for a client
    bool mShortageLogged = false;
};

}  // namespace takebox
