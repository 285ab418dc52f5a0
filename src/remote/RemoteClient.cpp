#include "remote/RemoteClient.h"

#include <fcntl.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "remote/TCPConnection.h"

namespace takebox {
namespace {

using std::chrono::milliseconds;
using SteadyClock = std::chrono::steady_clock;

constexpr char kAnswerEnd[] = "\n\r";
constexpr char kPictureStart = '\xFF';
constexpr char kPictureEnd[] = "\xFF\xD9";
constexpr std::size_t kReadSize = 65536;

bool waitFor(int descriptor, short events, SteadyClock::time_point end) {
    for (;;) {
        const auto left = std::chrono::ceil<milliseconds>(end - SteadyClock::now()).count();
        pollfd waiting{descriptor, events, 0};
        const int ready = poll(&waiting, 1, left > 0 ? static_cast<int>(left) : 0);
        if (ready >= 0 || errno != EINTR) {
            return ready > 0;
        }
    }
}

/// 0, or the error code of the attempt.
int connectWithin(int descriptor, const addrinfo& target, milliseconds time) {
    if (connect(descriptor, target.ai_addr, target.ai_addrlen) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) {
        return errno;
    }
    if (!waitFor(descriptor, POLLOUT, SteadyClock::now() + time)) {
        return ETIMEDOUT;
    }
    int error = 0;
    socklen_t length = sizeof error;
    getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &length);
    return error;
}

enum class ReadResult { Bytes, Silence, Closed };

/// Appends what comes next.
ReadResult readMore(int descriptor, QByteArray& bytes, SteadyClock::time_point end) {
    std::array<char, kReadSize> chunk;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled
    if (!waitFor(descriptor, POLLIN, end)) {
        return ReadResult::Silence;
    }
    const ssize_t count = recv(descriptor, chunk.data(), chunk.size(), 0);
    if (count <= 0) {
        return ReadResult::Closed;
    }
    bytes.append(chunk.data(), count);
    return ReadResult::Bytes;
}

}  // namespace

std::optional<RemoteAddress> RemoteAddress::fromText(const QString& text) {
    RemoteAddress result;
    QString port;
    if (text.startsWith(QLatin1Char('['))) {
        const qsizetype close = text.indexOf(QLatin1Char(']'));
        if (close < 0) {
            return std::nullopt;
        }
        result.host = text.mid(1, close - 1);
        port = text.mid(close + 1);
        if (!port.isEmpty() && !port.startsWith(QLatin1Char(':'))) {
            return std::nullopt;
        }
    } else if (text.count(QLatin1Char(':')) == 1) {
        result.host = text.section(QLatin1Char(':'), 0, 0);
        port = text.mid(result.host.size());
    } else {
        result.host = text;
    }
    if (!port.isEmpty()) {
        bool isNumber = false;
        result.port = port.mid(1).toUShort(&isNumber);
        if (!isNumber || result.port == 0) {
            return std::nullopt;
        }
    }
    return result.host.isEmpty() ? std::nullopt : std::optional(result);
}

bool RemoteClient::connect(const RemoteAddress& address) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* list = nullptr;
    const int failure = getaddrinfo(address.host.toUtf8().constData(),
                                    QByteArray::number(address.port).constData(), &hints, &list);
    if (failure != 0) {
        mErrorText = QStringLiteral("%1 is not known: %2")
                         .arg(address.host, QString::fromLocal8Bit(gai_strerror(failure)));
        return false;
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(list, freeaddrinfo);
    int error = 0;
    for (const addrinfo* target = list; target != nullptr; target = target->ai_next) {
        SocketHandle attempt(socket(target->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK,
                                    target->ai_protocol));
        error = attempt.isValid() ? connectWithin(attempt.get(), *target, mLimits.connect) : errno;
        if (error == 0) {
            mSocket = std::move(attempt);
            return true;
        }
    }
    mErrorText = QStringLiteral("%1 does not accept a connection on port %2: %3")
                     .arg(address.host)
                     .arg(address.port)
                     .arg(QString::fromLocal8Bit(strerror(error)));
    return false;
}

std::optional<QByteArray> RemoteClient::ask(const QByteArray& command) {
    if (static_cast<std::size_t>(command.size()) + 2 > TCPConnection::kCommandSize) {
        mErrorText = QStringLiteral("the command is longer than the recorder reads at once");
        return std::nullopt;
    }
    if (!sendAll(command + "\r\n")) {
        mErrorText = QStringLiteral("the recorder closed the connection");
        return std::nullopt;
    }
    const bool isPicture = command.split(' ').first().compare("FRAME", Qt::CaseInsensitive) == 0;
    return isPicture ? readPicture() : readText();
}

bool RemoteClient::sendAll(const QByteArray& bytes) {
    qsizetype sent = 0;
    const auto end = SteadyClock::now() + mLimits.answer;
    while (sent < bytes.size()) {
        if (!waitFor(mSocket.get(), POLLOUT, end)) {
            return false;
        }
        const ssize_t count = send(mSocket.get(), bytes.constData() + sent,
                                   static_cast<std::size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN) {
            return false;
        }
        sent += count > 0 ? count : 0;
    }
    return true;
}

std::optional<QByteArray> RemoteClient::readText() {
    QByteArray answer;
    const auto end = SteadyClock::now() + mLimits.answer;
    while (!answer.endsWith(kAnswerEnd)) {
        switch (readMore(mSocket.get(), answer, end)) {
            case ReadResult::Bytes:
                break;
            case ReadResult::Silence:
                mErrorText = QStringLiteral("the recorder did not answer in time");
                return std::nullopt;
            case ReadResult::Closed:
                mErrorText = QStringLiteral("the recorder closed the connection");
                return std::nullopt;
        }
    }
    return answer.chopped(2);
}

std::optional<QByteArray> RemoteClient::readPicture() {
    QByteArray answer;
    for (;;) {
        if (answer.startsWith(kPictureStart)) {
            // Inside the picture's data these two bytes cannot occur.
            if (answer.endsWith(kPictureEnd)) {
                return answer;
            }
        } else if (answer.endsWith(kAnswerEnd)) {
            return answer.chopped(2);
        }
        switch (readMore(mSocket.get(), answer, SteadyClock::now() + mLimits.picture)) {
            case ReadResult::Bytes:
                break;
            case ReadResult::Silence:
                if (answer.isEmpty()) {
                    return answer;
                }
                mErrorText = QStringLiteral("the picture did not come whole");
                return std::nullopt;
            case ReadResult::Closed:
                mErrorText = QStringLiteral("the recorder closed the connection");
                return std::nullopt;
        }
    }
}

}  // namespace takebox
