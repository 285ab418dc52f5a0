#pragma once

#include <QByteArray>
#include <QString>
#include <cstdint>
#include <memory>

namespace takebox {

class TCPConnection;

/// One command of a remote client, its words and its answer. Main thread.
///
/// On the wire: WORD [NUMBER] [ARGUMENT], separated by single spaces. NUMBER is a device from 1 to
/// 8; anything else in its place belongs to the argument, and the first device is meant.
class Command {
public:
    /// A command whose answer goes to the connection; the command keeps the connection alive.
    explicit Command(std::shared_ptr<TCPConnection> connection);

    /// Takes apart what one read from a client delivered, line ends and all: there is no framing,
    /// so a line feed between two lines is an ordinary character.
    ///
    /// The protocol is ASCII. Bytes above 127 are read as UTF-8, in which answers are sent, so that
    /// a name or a path reads back as it was set; what is not UTF-8 becomes U+FFFD.
    [[nodiscard]] static std::shared_ptr<Command> fromBytes(
        QByteArrayView bytes, std::shared_ptr<TCPConnection> connection);

    void setCommandString(const QString& word);  ///< Stored in upper case.
    void setArgument(const QString& argument);
    void setDeviceIndex(std::int32_t index) { _deviceIndex = index; }

    [[nodiscard]] QString commandString() const { return _commandString; }
    [[nodiscard]] QString argument() const { return _argument; }             ///< May be empty.
    [[nodiscard]] std::int32_t deviceIndex() const { return _deviceIndex; }  ///< From 0.
    [[nodiscard]] QByteArray responseData() const { return _responseData; }

    /// The text in UTF-8, then line feed and carriage return, in this order. A null string answers
    /// "(null)", an empty one nothing but the two bytes.
    void setResponseString(const QString& text);
    void setResponseData(const QByteArray& bytes);  ///< The bytes as they are.

    /// Hands the answer to the connection; nothing goes out when there is none.
    void sendResponse();

private:
    QString _commandString;
    QString _argument;
    std::int32_t _deviceIndex = 0;
    std::shared_ptr<TCPConnection> _connection;
    QByteArray _responseData;
};

/// The integer at the start of the text, as remote clients may write it: an optional sign, decimal
/// digits, then anything. 0 when there is none; a value beyond 32 bits becomes the nearest that
/// fits.
[[nodiscard]] std::int32_t leadingInteger(const QString& text);

/// The same for a decimal number such as 1.5 or 2e3; 0 for one that no double holds.
[[nodiscard]] double leadingDecimal(const QString& text);

}  // namespace takebox
