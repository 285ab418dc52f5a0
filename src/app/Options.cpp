#include "app/Options.h"

#include <QCommandLineParser>
#include <QObject>
#include <algorithm>

namespace takebox {
namespace {

constexpr int kUsageError = 2;

QString text(const char* english) {
    return QObject::tr(english);
}

ParsedOptions usageError(const QString& message) {
    return {std::nullopt, QStringLiteral("takebox: %1\n").arg(message), kUsageError};
}

}  // namespace

ParsedOptions parseOptions(const QStringList& arguments) {
    QCommandLineParser parser;
    parser.setApplicationDescription(text("Records DV video that arrives over FireWire."));
    const QCommandLineOption help({QStringLiteral("h"), QStringLiteral("help")},
                                  text("Shows this help."));
    const QCommandLineOption version({QStringLiteral("v"), QStringLiteral("version")},
                                     text("Shows the version."));
    const QCommandLineOption virtualDeck(
        QStringLiteral("virtual-deck"),
        text("Adds a virtual deck. SOURCE is a file of DV frames, ntsc or pal, followed by any of "
             ",guid= ,name= ,speed= ,loop=yes|no ,start=hh:mm:ss:ff ,cue=yes|no ,wide=yes|no. "
             "Can be repeated."),
        QStringLiteral("SOURCE"));
    const QCommandLineOption headless(QStringLiteral("headless"), text("Runs without windows."));
    const QCommandLineOption controlPort(
        QStringLiteral("control-port"),
        text("TCP port of the remote control (default 1026; 0 lets the system choose)."),
        QStringLiteral("N"), QStringLiteral("1026"));
    const QCommandLineOption record(
        QStringLiteral("record"),
        text("Records every device once for so many seconds, without a window, then ends."),
        QStringLiteral("SECONDS"));
    const QCommandLineOption to(QStringLiteral("to"), text("Folder for --record."),
                                QStringLiteral("DIR"));
    const QCommandLineOption remote(
        QStringLiteral("remote"),
        text("Sends one command to a recorder and prints the answer: --remote HOST[:PORT] "
             "COMMAND..."),
        QStringLiteral("HOST"));
    const QCommandLineOption discover(QStringLiteral("discover"),
                                      text("Lists the recorders on the network."));
    const QCommandLineOption checkPlayout(QStringLiteral("check-playout"),
                                          text("Tells whether a playout system answers."),
                                          QStringLiteral("ADDRESS"));
    const QCommandLineOption diagnose(
        QStringLiteral("diagnose"),
        text("Tells what the recorder finds on this machine, and what to do about it."));
    const QCommandLineOption recover(
        QStringLiteral("recover"),
        text("Makes a complete movie of each recording that was cut off: --recover FILE..."),
        QStringLiteral("FILE"));
    parser.addOptions({help, version, virtualDeck, headless, controlPort, record, to, remote,
                       discover, checkPlayout, diagnose, recover});
    // The words of a remote command may look like anything: --remote ends the options.
    QStringList own = arguments;
    QStringList words;
    const auto remoteAt = own.indexOf(QStringLiteral("--remote"));
    if (remoteAt >= 0 && own.size() > remoteAt + 2) {
        words = own.mid(remoteAt + 2);
        own = own.mid(0, remoteAt + 2);
    }
    if (!parser.parse(own)) {
        return usageError(parser.errorText());
    }
    if (parser.isSet(help)) {
        // The parser takes the program's name from the application, path and all, if there is one.
        QString helpText = parser.helpText();
        helpText.replace(0, helpText.indexOf(QLatin1Char('\n')),
                         QStringLiteral("Usage: takebox [options]"));
        return {std::nullopt, helpText, 0};
    }
    if (parser.isSet(version)) {
        return {std::nullopt, QStringLiteral("Takebox DV " TAKEBOX_VERSION "\n"), 0};
    }
    if (!parser.positionalArguments().isEmpty() && !parser.isSet(recover)) {
        return usageError(
            text("what is \"%1\"? See --help.").arg(parser.positionalArguments().first()));
    }

    Options options;
    options.headless = parser.isSet(headless);
    options.diagnose = parser.isSet(diagnose);
    options.discover = parser.isSet(discover);
    options.checkPlayoutAddress = parser.value(checkPlayout);
    if (parser.isSet(recover)) {
        options.recoverPaths = parser.values(recover) + parser.positionalArguments();
    }
    if (parser.isSet(remote)) {
        if (words.isEmpty()) {
            return usageError(text("--remote needs a command after the host."));
        }
        options.remoteCommand = QStringList{parser.value(remote)} + words;
    }
    bool isNumber = false;
    options.controlPort = parser.value(controlPort).toUShort(&isNumber);
    if (!isNumber) {
        return usageError(text("--control-port takes a number from 0 to 65535."));
    }
    for (const QString& spec : parser.values(virtualDeck)) {
        QString error;
        const auto settings = avc::parseVirtualDeckSettings(spec, error);
        if (!settings) {
            return usageError(error);
        }
        if (settings->guid && std::ranges::any_of(options.virtualDecks, [&](const auto& other) {
                return other.guid == settings->guid;
            })) {
            return usageError(text("two virtual decks have the same guid=%1.")
                                  .arg(*settings->guid, 16, 16, QLatin1Char('0')));
        }
        options.virtualDecks.push_back(*settings);
    }
    if (parser.isSet(record) != parser.isSet(to) && !options.diagnose) {
        return usageError(text("--record SECONDS and --to DIR go together."));
    }
    options.recordFolder = parser.value(to);
    if (parser.isSet(record)) {
        const double seconds = parser.value(record).toDouble(&isNumber);
        if (!isNumber || !(seconds > 0.0) || seconds > 1.0e6) {
            return usageError(text("--record takes a number of seconds above 0."));
        }
        options.recordSeconds = seconds;
    }
    return {options, QString(), 0};
}

}  // namespace takebox
