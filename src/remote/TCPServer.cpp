#include "remote/TCPServer.h"

#include <sys/socket.h>

#include <QSysInfo>
#include <algorithm>
#include <utility>

#include "platform/bonjour/NetService.h"
#include "remote/TCPConnection.h"
#include "remote/TCPListener.h"

namespace takebox {

QString description(TCPServerError error) {
    return QStringLiteral("TCPServerErrorDomain error %1").arg(static_cast<std::int32_t>(error));
}

TCPServer::TCPServer() {
    // Closed connections are let go from the event loop, not from within their own callbacks.
    mForgetTimer.setSingleShot(true);
    QObject::connect(&mForgetTimer, &QTimer::timeout, [this] { forgetClosedConnections(); });
}

TCPServer::~TCPServer() {
    stop();
    for (const auto& connection : tcpConnections_) {
        connection->setClosedHandler(nullptr);
        connection->shutdownStreams();
    }
}

bool TCPServer::start(TCPServerError* error) {
    stop();
    TCPServerError reason{};
    if (!listen(reason)) {
        ipv4socket.reset();
        ipv6socket.reset();
        if (error != nullptr) {
            *error = reason;
        }
        return false;
    }
    if (!type_.isEmpty()) {
        publish();
    }
    return true;
}

bool TCPServer::listen(TCPServerError& error) {
    const auto accepted = [this](const QByteArray& address, SocketHandle socket) {
        handleNewConnectionFromAddress(address, std::move(socket));
    };
    ipv4socket = std::make_unique<TCPListener>(AF_INET, accepted);
    ipv6socket = std::make_unique<TCPListener>(AF_INET6, accepted);
    if (!ipv4socket->isValid() || !ipv6socket->isValid()) {
        error = TCPServerError::TCPServerErrorNoSockets;
        return false;
    }
    if (!ipv4socket->bind(port_)) {
        error = TCPServerError::TCPServerErrorIPv4BindFailed;
        return false;
    }
    if (port_ == 0) {
        port_ = ipv4socket->port();
    }
    if (!ipv6socket->bind(port_)) {
        error = TCPServerError::TCPServerErrorIPv6BindFailed;
        return false;
    }
    ipv4socket->startAccepting();
    ipv6socket->startAccepting();
    return true;
}

void TCPServer::publish() {
    QString serviceName = name_;
    if (serviceName.isEmpty()) {
        const QString local = QStringLiteral(".local");
        if (const QString host = QSysInfo::machineHostName(); host.endsWith(local)) {
            serviceName = host.chopped(local.size());
        }
    }
    netService = std::make_unique<NetService>(domain_, type_, serviceName, port_);
}

bool TCPServer::stop() {
    netService.reset();
    ipv4socket.reset();
    ipv6socket.reset();
    return true;
}

void TCPServer::handleNewConnectionFromAddress(const QByteArray& address, SocketHandle socket) {
    auto connection = std::make_shared<TCPConnection>();
    connection->setupStreams(std::move(socket));
    connection->setAddress(address);
    connection->setDelegate(delegate_);
    connection->setClosedHandler([this] { mForgetTimer.start(0); });
    tcpConnections_.push_back(std::move(connection));
}

void TCPServer::forgetClosedConnections() {
    tcpConnections_.erase(
        std::remove_if(tcpConnections_.begin(), tcpConnections_.end(),
                       [](const auto& connection) { return !connection->isOpen(); }),
        tcpConnections_.end());
}

}  // namespace takebox
