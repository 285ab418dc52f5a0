#pragma once

#include <QByteArray>
#include <cstdint>

#include "remote/SocketHandle.h"

namespace takebox::test {

/// A client on this host, for a server that runs on the same event loop: it waits by running that.
class LoopbackClient {
public:
    /// @param family AF_INET or AF_INET6.
    LoopbackClient(int family, std::uint16_t port);

    void send(const QByteArray& bytes);
    /// Everything up to LF CR, which is taken off. Fails the test when none comes.
    QByteArray answer();
    /// Sends a line and returns its answer.
    QByteArray ask(const QByteArray& line);
    /// Waits for so many bytes and returns them.
    QByteArray receive(qsizetype count);
    /// Waits for the server to close the connection; what came before is in unread().
    [[nodiscard]] bool isClosedByServer();
    /// What has come and not been asked for.
    [[nodiscard]] const QByteArray& unread() const { return mReceived; }
    /// Whether the bytes have come; never waits.
    [[nodiscard]] bool hasReceived(const QByteArray& bytes);
    /// Says that nothing more will be sent; goes on receiving.
    void closeSending();
    /// Ends the connection with a reset.
    void reset();
    void close() { mSocket.reset(); }

private:
    bool readSome();

    SocketHandle mSocket;
    QByteArray mReceived;
    bool mIsClosed = false;
};

}  // namespace takebox::test
