#include "remote/TCPConnection.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/log/Log.h"
#include "remote/Command.h"
#include "remote/TCPServerDelegate.h"

namespace takebox {

TCPConnection::~TCPConnection() {
    // The notifiers must not outlive the descriptor.
    mInputNotifier.reset();
    mOutputNotifier.reset();
}

void TCPConnection::setupStreams(SocketHandle socket) {
    mSocket = std::move(socket);
    const int on = 1;
    // A host that vanished without a word is noticed after some hours; a silent one is left alone.
    setsockopt(mSocket.get(), SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    // The end of a picture must not wait for the client to acknowledge its beginning.
    setsockopt(mSocket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    mInputNotifier = std::make_unique<QSocketNotifier>(mSocket.get(), QSocketNotifier::Read);
    mOutputNotifier = std::make_unique<QSocketNotifier>(mSocket.get(), QSocketNotifier::Write);
    mOutputNotifier->setEnabled(false);
    QObject::connect(mInputNotifier.get(), &QSocketNotifier::activated,
                     [this] { handleBytesAvailable(); });
    QObject::connect(mOutputNotifier.get(), &QSocketNotifier::activated,
                     [this] { processOutgoingBytes(); });
    logMessage("Added connection.");
}

void TCPConnection::handleBytesAvailable() {
    std::array<char, kCommandSize> bytes{};
    const ssize_t count = recv(mSocket.get(), bytes.data(), bytes.size(), 0);
    if (count == 0) {
        shutdownStreams();
        return;
    }
    if (count < 0) {
        return;  // After an error that ended the connection the next read finds its end.
    }
    const auto command =
        Command::fromBytes(QByteArrayView(bytes.data(), count), shared_from_this());
    if (_delegate != nullptr) {
        _delegate->receivedNewCommand(command);
    }
}

void TCPConnection::addResponseToBuffer(const QByteArray& bytes) {
    if (!isOpen()) {
        return;
    }
    _outputBuffer += bytes;
    processOutgoingBytes();
    if (_outputBuffer.size() > kOutputSize) {
        logMessage("Dropping a client that does not read: %lld bytes of answers wait for it.",
                   static_cast<long long>(_outputBuffer.size()));
        shutdownStreams();
    }
}

void TCPConnection::processOutgoingBytes() {
    if (!isOpen() || _outputBuffer.isEmpty()) {
        return;
    }
    const ssize_t count = send(mSocket.get(), _outputBuffer.constData(),
                               static_cast<std::size_t>(_outputBuffer.size()), MSG_NOSIGNAL);
    if (count >= 0) {
        _outputBuffer.remove(0, count);
    } else if (errno != EAGAIN && errno != EWOULDBLOCK) {
        _outputBuffer.clear();
    }
    mOutputNotifier->setEnabled(!_outputBuffer.isEmpty());
}

void TCPConnection::shutdownStreams() {
    if (!isOpen()) {
        return;
    }
    // Disabled, not destroyed: this may run inside a notifier's own signal.
    mInputNotifier->setEnabled(false);
    mOutputNotifier->setEnabled(false);
    mSocket.reset();
    _outputBuffer = QByteArray();
    logMessage("Connection closed.");
    if (mClosedHandler) {
        mClosedHandler();
    }
}

}  // namespace takebox
