#include "remote/RemoteTools.h"

#include <QFile>
#include <QSaveFile>
#include <algorithm>
#include <cstdio>

#include "platform/bonjour/ServiceBrowser.h"
#include "remote/PlayoutSwitch.h"
#include "remote/RemoteClient.h"

namespace takebox {
namespace {

using std::chrono::seconds;

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kNotAsked = 2;

constexpr seconds kBrowseTime(3);
constexpr int kHighestNumber = 8;  // commands reach decks 1 to 8
/// A recorder that is not there holds up the list of the others.
constexpr RemoteClient::TimeLimits kDiscoverLimits{seconds(2), seconds(2), seconds(2)};

void printBytes(const QByteArray& bytes) {
    fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
    fflush(stdout);
}

void printLine(const QString& text) {
    printBytes(text.toUtf8() + '\n');
}

int fail(const QString& reason) {
    fprintf(stderr, "takebox: %s.\n", reason.toLocal8Bit().constData());
    return kNotAsked;
}

bool isRefusal(const QByteArray& answer) {
    return answer.startsWith("INCORRECT ") || answer == "UNKNOWN COMMAND";
}

int savePicture(const QByteArray& picture, const QString& path) {
    if (picture.isEmpty()) {
        fprintf(stderr, "takebox: the deck has no picture.\n");
        return kRefused;
    }
    if (path == QLatin1String("-")) {
        printBytes(picture);
        return kDone;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(picture) != picture.size() ||
        !file.commit()) {
        return fail(QStringLiteral("could not write %1: %2").arg(path, file.errorString()));
    }
    printLine(QStringLiteral("%1: %2 bytes").arg(path).arg(picture.size()));
    return kDone;
}

/// Takes the file name off FRAME [NUMBER] [FILE].
QString takePicturePath(QStringList& words) {
    bool isNumber = false;
    words.last().toInt(&isNumber);
    return words.size() > 1 && !isNumber ? words.takeLast() : QStringLiteral("frame.jpg");
}

/// The lines below a recorder's name: a deck each, or why there are none.
QStringList deckLines(const FoundService& service) {
    RemoteClient client(kDiscoverLimits);
    // Not every machine can look up the name of a host in the local network.
    const QStringList hosts =
        service.addresses.isEmpty() ? QStringList(service.host) : service.addresses;
    bool connected = false;
    for (const QString& host : hosts) {
        connected = connected || client.connect({host, service.port});
    }
    if (!connected) {
        return {client.errorText()};
    }
    const auto count = client.ask("COUNT");
    if (!count) {
        return {client.errorText()};
    }
    QStringList lines;
    const int decks = count->toInt();
    for (int number = 1; number <= std::min(decks, kHighestNumber); ++number) {
        const QByteArray suffix = ' ' + QByteArray::number(number);
        const auto name = client.ask("DEVICENAME" + suffix);
        const auto status = name ? client.ask("STATUS" + suffix) : std::nullopt;
        if (!status) {
            lines.append(client.errorText());
            break;
        }
        lines.append(QStringLiteral("%1  %2  %3")
                         .arg(number)
                         .arg(QString::fromUtf8(*status), -4)
                         .arg(QString::fromUtf8(*name)));
    }
    if (decks > kHighestNumber) {
        lines.append(QStringLiteral("and %1 more").arg(decks - kHighestNumber));
    }
    return lines.isEmpty() ? QStringList(QStringLiteral("no decks")) : lines;
}

}  // namespace

int runRemoteCommand(const QStringList& arguments) {
    if (arguments.size() < 2) {
        return fail(QStringLiteral("usage: takebox --remote HOST[:PORT] COMMAND..."));
    }
    const auto address = RemoteAddress::fromText(arguments.first());
    if (!address) {
        return fail(QStringLiteral("%1 is not an address").arg(arguments.first()));
    }
    QString command = arguments.mid(1).join(QLatin1Char(' '));
    // A file name may contain blanks, where it is an argument of its own; the command word may come
    // together with what belongs to it.
    QStringList words =
        arguments[1].simplified().split(QLatin1Char(' '), Qt::SkipEmptyParts) + arguments.mid(2);
    const bool isPicture = words.value(0).compare(QLatin1String("FRAME"), Qt::CaseInsensitive) == 0;
    QString path;
    if (isPicture) {
        path = takePicturePath(words);
        command = words.join(QLatin1Char(' '));
    }
    RemoteClient client;
    if (!client.connect(*address)) {
        return fail(client.errorText());
    }
    const auto answer = client.ask(command.toUtf8());
    if (!answer) {
        return fail(client.errorText());
    }
    if (isRefusal(*answer)) {
        printBytes(*answer + '\n');
        return kRefused;
    }
    if (isPicture) {
        return savePicture(*answer, path);
    }
    printBytes(*answer + '\n');
    return kDone;
}

int runDiscover() {
    const auto services = findServices(QStringLiteral("_takebox._tcp."), kBrowseTime);
    if (!services) {
        return fail(QStringLiteral("there is no service daemon (avahi-daemon) to ask"));
    }
    for (const FoundService& service : *services) {
        printLine(QStringLiteral("%1 (%2:%3)").arg(service.name, service.host).arg(service.port));
        for (const QString& line : deckLines(service)) {
            printLine(QStringLiteral("  ") + line);
        }
    }
    if (services->empty()) {
        printLine(QStringLiteral("No recorders found."));
        return kRefused;
    }
    return kDone;
}

int runCheckPlayout(const QString& address) {
    if (TCPCheckIfPresent(address.toUtf8().constData()) == 0) {
        printLine(QStringLiteral("No playout system answers at %1.").arg(address));
        return kRefused;
    }
    printLine(QStringLiteral("A playout system answers at %1.").arg(address));
    return kDone;
}

}  // namespace takebox
