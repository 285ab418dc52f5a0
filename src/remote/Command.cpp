#include "remote/Command.h"

#include <QStringList>
#include <algorithm>
#include <charconv>
#include <limits>
#include <utility>

#include "remote/TCPConnection.h"

namespace takebox {
namespace {

constexpr std::int32_t kHighestDeviceNumber = 8;

bool isControl(QChar character) {
    return character.category() == QChar::Other_Control;
}

QString withoutControlsAtEnds(const QString& text) {
    const auto* const first = std::find_if_not(text.cbegin(), text.cend(), isControl);
    const auto* const last =
        std::find_if_not(text.crbegin(), std::make_reverse_iterator(first), isControl).base();
    return text.mid(first - text.cbegin(), last - first);
}

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

}  // namespace

Command::Command(std::shared_ptr<TCPConnection> connection) : _connection(std::move(connection)) {}

std::shared_ptr<Command> Command::fromBytes(QByteArrayView bytes,
                                            std::shared_ptr<TCPConnection> connection) {
    const QStringList words =
        withoutControlsAtEnds(QString::fromUtf8(bytes)).split(QLatin1Char(' '));
    qsizetype argumentStart = 1;
    std::int32_t deviceIndex = 0;
    if (words.size() >= 2) {
        const std::int32_t number = leadingInteger(words[1]);
        if (number >= 1 && number <= kHighestDeviceNumber) {
            deviceIndex = number - 1;
            argumentStart = 2;
        }
    }
    auto command = std::make_shared<Command>(std::move(connection));
    command->setCommandString(words[0]);
    command->setDeviceIndex(deviceIndex);
    command->setArgument(words.mid(argumentStart).join(QLatin1Char(' ')));
    return command;
}

void Command::setCommandString(const QString& word) {
    _commandString = word.toUpper();
}

void Command::setArgument(const QString& argument) {
    // No argument is an empty text, not an absent one: it may become a recording's name.
    _argument = argument.isNull() ? QStringLiteral("") : argument;
}

void Command::setResponseString(const QString& text) {
    setResponseData((text.isNull() ? QStringLiteral("(null)") : text).toUtf8() + "\n\r");
}

void Command::setResponseData(const QByteArray& bytes) {
    _responseData = bytes;
}

void Command::sendResponse() {
    _connection->addResponseToBuffer(_responseData);
}

std::int32_t leadingInteger(const QString& text) {
    using Limits = std::numeric_limits<std::int32_t>;
    const QByteArray bytes = text.toLatin1();
    const bool negative = bytes.startsWith('-');
    std::int64_t value = 0;
    for (qsizetype i = negative || bytes.startsWith('+') ? 1 : 0;
         i < bytes.size() && isDigit(bytes[i]); ++i) {
        // Beyond 32 bits further digits cannot bring the value back.
        value = std::min<std::int64_t>(value * 10 + (bytes[i] - '0'), std::int64_t{1} << 32);
    }
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(negative ? -value : value, Limits::min(), Limits::max()));
}

double leadingDecimal(const QString& text) {
    const QByteArray bytes = text.toLatin1();
    const char* first = bytes.cbegin();
    if (bytes.startsWith('+')) {
        ++first;
    }
    const char* const number = bytes.startsWith('-') ? first + 1 : first;
    // Neither "inf" nor "nan" is a number to a client.
    if (number == bytes.cend() || !(isDigit(*number) || *number == '.')) {
        return 0;
    }
    double value = 0;
    const auto [end, error] = std::from_chars(first, bytes.cend(), value);
    return error == std::errc() ? value : 0;
}

}  // namespace takebox
