#pragma once

#include <QString>
#include <QTimer>
#include <cstdint>
#include <memory>
#include <vector>

#include "remote/SocketHandle.h"

namespace takebox {

class NetService;
class TCPConnection;
class TCPListener;
class TCPServerDelegate;

/// Why a server did not start, in the error domain "TCPServerErrorDomain".
enum class TCPServerError : std::int32_t {
    TCPServerErrorIPv4BindFailed = 1,  ///< The port is in use, or not ours to use.
    TCPServerErrorIPv6BindFailed = 2,
    TCPServerErrorNoSockets = 3,  ///< One of the two sockets could not be made.
};

/// "TCPServerErrorDomain error 1", for log lines.
[[nodiscard]] QString description(TCPServerError error);

/// Listens on one TCP port for IPv4 and IPv6 clients and announces itself on the network. Accepted
/// clients live on as TCPConnections, whose commands go to the delegate.
///
/// Main thread; needs its event loop. There is no limit on the number of clients but that of the
/// process's descriptors: when only those are left that recordings may need, new clients wait.
class TCPServer {
public:
    TCPServer();
    ~TCPServer();  ///< Calls stop() and closes every connection.
    TCPServer(const TCPServer&) = delete;
    TCPServer& operator=(const TCPServer&) = delete;

    /// Bonjour domain; empty means all default domains. Like the name, the type and the port it is
    /// read by start().
    void setDomain(const QString& value) { domain_ = value; }
    [[nodiscard]] QString domain() const { return domain_; }
    /// Bonjour name; empty means derived from the host's name.
    void setName(const QString& value) { name_ = value; }
    [[nodiscard]] QString name() const { return name_; }
    /// Bonjour type such as "_takebox._tcp."; empty means that nothing is announced.
    void setType(const QString& value) { type_ = value; }
    [[nodiscard]] QString type() const { return type_; }
    /// The port to listen on; 0 lets the system choose, and start() stores the choice.
    void setPort(std::uint16_t value) { port_ = value; }
    [[nodiscard]] std::uint16_t port() const { return port_; }
    /// Gets the commands of the clients accepted from now on; not owned, may be null.
    void setDelegate(TCPServerDelegate* value) { delegate_ = value; }
    [[nodiscard]] TCPServerDelegate* delegate() const { return delegate_; }

    /// Listens and announces. A server that listens already begins anew.
    /// @return false with the reason in `error` (may be null) when either address family could not
    ///         be served: then nothing listens and nothing is announced.
    [[nodiscard]] bool start(TCPServerError* error);

    /// Withdraws the announcement and stops listening; open connections go on. @return true.
    bool stop();

    /// The open connections, in the order in which they were accepted.
    [[nodiscard]] const std::vector<std::shared_ptr<TCPConnection>>& tcpConnections() const {
        return tcpConnections_;
    }

private:
    void handleNewConnectionFromAddress(const QByteArray& address, SocketHandle socket);
    void forgetClosedConnections();
    void publish();
    bool listen(TCPServerError& error);

    TCPServerDelegate* delegate_ = nullptr;
    QString domain_;
    QString name_;
    QString type_;
    std::uint16_t port_ = 0;
    std::unique_ptr<TCPListener> ipv4socket;
    std::unique_ptr<TCPListener> ipv6socket;
    std::unique_ptr<NetService> netService;
    std::vector<std::shared_ptr<TCPConnection>> tcpConnections_;
    QTimer mForgetTimer;
};

}  // namespace takebox
