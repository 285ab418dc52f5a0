#include "LoopbackClient.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>

#include "support/WaitUntil.h"

namespace takebox::test {
namespace {

template <typename Address>
bool connectTo(int socket, const Address& address) {
    return connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

LoopbackClient::LoopbackClient(int family, std::uint16_t port)
    : mSocket(socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    // The queue of the listening socket completes the connection; nobody has to accept it yet.
    if (family == AF_INET) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_TRUE(connectTo(mSocket.get(), address));
    } else {
        sockaddr_in6 address{};
        address.sin6_family = AF_INET6;
        address.sin6_port = htons(port);
        address.sin6_addr = in6addr_loopback;
        EXPECT_TRUE(connectTo(mSocket.get(), address));
    }
    fcntl(mSocket.get(), F_SETFL, O_NONBLOCK);
}

void LoopbackClient::send(const QByteArray& bytes) {
    qsizetype sent = 0;
    EXPECT_TRUE(waitUntil([&] {
        const ssize_t count = ::send(mSocket.get(), bytes.constData() + sent,
                                     static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        sent += count > 0 ? count : 0;
        return sent == bytes.size() || (count < 0 && errno != EAGAIN);
    }));
}

QByteArray LoopbackClient::answer() {
    EXPECT_TRUE(waitUntil([this] { return mReceived.contains("\n\r") || !readSome(); }));
    const qsizetype end = mReceived.indexOf("\n\r");
    if (end < 0) {
        ADD_FAILURE() << "no answer, but: " << mReceived.constData();
        return {};
    }
    const QByteArray line = mReceived.left(end);
    mReceived.remove(0, end + 2);
    return line;
}

QByteArray LoopbackClient::ask(const QByteArray& line) {
    send(line + "\r\n");
    return answer();
}

QByteArray LoopbackClient::receive(qsizetype count) {
    EXPECT_TRUE(waitUntil([&] { return mReceived.size() >= count || !readSome(); }));
    const QByteArray bytes = mReceived.left(count);
    mReceived.remove(0, count);
    return bytes;
}

bool LoopbackClient::isClosedByServer() {
    return waitUntil([this] { return !readSome(); });
}

bool LoopbackClient::hasReceived(const QByteArray& bytes) {
    readSome();
    return mReceived.contains(bytes);
}

void LoopbackClient::closeSending() {
    shutdown(mSocket.get(), SHUT_WR);
}

void LoopbackClient::reset() {
    const linger now{1, 0};
    setsockopt(mSocket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    mSocket.reset();
}

/// @return false when the connection has ended.
bool LoopbackClient::readSome() {
    std::array<char, 65536> bytes;
    const ssize_t count = mIsClosed ? 0 : recv(mSocket.get(), bytes.data(), bytes.size(), 0);
    if (count > 0) {
        mReceived.append(bytes.data(), count);
        return true;
    }
    mIsClosed = count == 0 || (errno != EAGAIN && errno != EINTR);
    return !mIsClosed;
}

}  // namespace takebox::test
