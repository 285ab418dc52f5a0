#pragma once

#include <QByteArray>
#include <QSocketNotifier>
#include <functional>
#include <memory>

#include "remote/SocketHandle.h"

namespace takebox {

class TCPServerDelegate;

/// One client of the control server. Every read from it is one command, which is answered within
/// the event that delivered it; the answer leaves through a buffer, as fast as the client takes it.
///
/// Main thread; needs its event loop. Owned by the server, and by a Command while it is answered.
class TCPConnection : public std::enable_shared_from_this<TCPConnection> {
public:
    /// Most bytes of one command. What is longer arrives as several commands.
    static constexpr std::size_t kCommandSize = 2048;
    /// Most bytes of answers that wait for a client. One that lets more pile up is dropped: it
    /// would otherwise take the memory of the recordings.
    static constexpr qsizetype kOutputSize = qsizetype{16} * 1024 * 1024;

    TCPConnection() = default;
    ~TCPConnection();
    TCPConnection(const TCPConnection&) = delete;
    TCPConnection& operator=(const TCPConnection&) = delete;

    /// Takes over a connected, non-blocking socket and begins to listen to it.
    void setupStreams(SocketHandle socket);

    /// The client's socket address as getpeername() gives it; empty when it is not known.
    void setAddress(const QByteArray& address) { _address = address; }
    [[nodiscard]] QByteArray address() const { return _address; }

    /// Who gets the commands; not owned, may be null.
    void setDelegate(TCPServerDelegate* delegate) { _delegate = delegate; }
    [[nodiscard]] TCPServerDelegate* delegate() const { return _delegate; }

    /// Called once when the connection has been closed, from within whatever closed it: the
    /// connection must not be destroyed before that has returned.
    void setClosedHandler(std::function<void()> handler) { mClosedHandler = std::move(handler); }

    /// Queues the bytes and sends what the client takes now. Nothing happens when it has gone.
    void addResponseToBuffer(const QByteArray& bytes);

    /// Writes once. What the client does not take stays for later; an error discards all of it.
    void processOutgoingBytes();

    /// Closes the connection; what has not been sent is lost.
    void shutdownStreams();

    [[nodiscard]] bool isOpen() const { return mSocket.isValid(); }

private:
    void handleBytesAvailable();

    SocketHandle mSocket;
    std::unique_ptr<QSocketNotifier> mInputNotifier;
    std::unique_ptr<QSocketNotifier> mOutputNotifier;  // enabled while bytes wait
    QByteArray _outputBuffer;
    QByteArray _address;
    TCPServerDelegate* _delegate = nullptr;
    std::function<void()> mClosedHandler;
};

}  // namespace takebox
