#pragma once

#include <QByteArray>
#include <QString>
#include <chrono>
#include <cstdint>
#include <optional>

#include "remote/SocketHandle.h"

namespace takebox {

inline constexpr std::uint16_t kRemoteControlPort = 1026;

/// Where a recorder listens.
struct RemoteAddress {
    QString host;  ///< A name, an IPv4 or an IPv6 address (without brackets).
    std::uint16_t port = kRemoteControlPort;

    /// Reads HOST, HOST:PORT, [IPV6], [IPV6]:PORT or a bare IPv6 address.
    [[nodiscard]] static std::optional<RemoteAddress> fromText(const QString& text);
};

/// A connection to a recorder's control server, for asking it one thing after the other. Blocks,
/// with time limits; any thread but a receive thread.
class RemoteClient {
public:
    struct TimeLimits {
        std::chrono::milliseconds connect = std::chrono::seconds(5);
        /// For an answer. A recording that starts may first have to switch playout systems.
        std::chrono::milliseconds answer = std::chrono::seconds(60);
        /// For the next bytes of a picture, and for the first: a deck without one sends nothing.
        std::chrono::milliseconds picture = std::chrono::seconds(3);
    };

    RemoteClient() = default;
    explicit RemoteClient(const TimeLimits& limits) : mLimits(limits) {}

    /// @return false when no address of the host lets us in; errorText() says why.
    [[nodiscard]] bool connect(const RemoteAddress& address);

    /// Sends one command and waits for its answer.
    /// @param command without line end, at most what the server reads at once.
    /// @return the answer without LF CR; for FRAME the picture, empty when the deck has none.
    ///         Nothing when no whole answer came; errorText() says why, and the connection is of no
    ///         use any more.
    [[nodiscard]] std::optional<QByteArray> ask(const QByteArray& command);

    /// Of the call that failed last: one sentence without a full stop.
    [[nodiscard]] QString errorText() const { return mErrorText; }

private:
    [[nodiscard]] bool sendAll(const QByteArray& bytes);
    [[nodiscard]] std::optional<QByteArray> readText();
    [[nodiscard]] std::optional<QByteArray> readPicture();

    TimeLimits mLimits;
    SocketHandle mSocket;
    QString mErrorText;
};

}  // namespace takebox
