#include "app/Options.h"

#include <QCommandLineParser>
#include <algorithm>

namespace takebox {
namespace {

using namespace Qt::StringLiterals;

constexpr int kUsageError = 2;

ParsedOptions usageError(const QString& message) {
    return {std::nullopt, u"takebox: %1\n"_s.arg(message), kUsageError};
}

/// The options that there are, and those of them that were given. Read before there is an
/// application, and so before there are translations.
struct CommandLine {
    QCommandLineOption help{{u"h"_s, u"help"_s}, u"Shows this help."_s};
    QCommandLineOption version{{u"v"_s, u"version"_s}, u"Shows the version."_s};
    QCommandLineOption virtualDeck{
        u"virtual-deck"_s,
        u"Adds a virtual deck. SOURCE is a file of DV frames, ntsc or pal, followed by any of "
        ",guid= ,name= ,speed= ,loop=yes|no ,start=hh:mm:ss:ff ,cue=yes|no ,wide=yes|no. "
        "Can be repeated."_s,
        u"SOURCE"_s};
    QCommandLineOption headless{u"headless"_s, u"Runs without windows."_s};
    QCommandLineOption controlPort{
        u"control-port"_s,
        u"TCP port of the remote control (default 1026; 0 lets the system choose)."_s, u"N"_s,
        u"1026"_s};
    QCommandLineOption record{
        u"record"_s,
        u"Records every device once for so many seconds, without a window, then ends."_s,
        u"SECONDS"_s};
    QCommandLineOption to{u"to"_s, u"Folder for --record, or whose disk --diagnose measures."_s,
                          u"DIR"_s};
    QCommandLineOption remote{
        u"remote"_s,
        u"Sends one command to a recorder and prints the answer: --remote HOST[:PORT] "
        "COMMAND..."_s,
        u"HOST"_s};
    QCommandLineOption discover{u"discover"_s, u"Lists the recorders on the network."_s};
    QCommandLineOption checkPlayout{u"check-playout"_s,
                                    u"Tells whether a playout system answers."_s, u"ADDRESS"_s};
    QCommandLineOption diagnose{
        u"diagnose"_s,
        u"Tells what the recorder finds on this machine, and what to do about it."_s};
    QCommandLineOption recover{
        u"recover"_s,
        u"Makes a complete movie of each recording that was cut off: --recover FILE..."_s,
        u"FILE"_s};
    QCommandLineParser parser;

    CommandLine() {
        parser.setApplicationDescription(u"Records DV video that arrives over FireWire."_s);
        parser.addOptions({help, version, virtualDeck, headless, controlPort, record, to, remote,
                           discover, checkPlayout, diagnose, recover});
    }

    [[nodiscard]] QString helpText() const {
        // The parser takes the program's name from the application, path and all, if there is one.
        QString text = parser.helpText();
        text.replace(0, text.indexOf(u'\n'), u"Usage: takebox [options]"_s);
        return text;
    }
};

/// Takes the words of a remote command, which may look like anything: --remote ends the options.
QStringList takeRemoteCommand(QStringList& arguments) {
    const auto found = std::ranges::find_if(arguments, [](const QString& argument) {
        return argument == u"--remote"_s || argument.startsWith(u"--remote="_s);
    });
    if (found == arguments.end()) {
        return {};
    }
    const bool hasHost = found->contains(u'=');
    const auto firstWord = std::distance(arguments.begin(), found) + (hasHost ? 1 : 2);
    QStringList words = arguments.mid(firstWord);
    arguments = arguments.mid(0, firstWord);
    return words;
}

// What is read goes into the options; the result is the mistake made, empty without one.

QString readTools(const CommandLine& line, const QStringList& remoteWords, Options& options) {
    const QCommandLineParser& parser = line.parser;
    options.diagnose = parser.isSet(line.diagnose);
    options.discover = parser.isSet(line.discover);
    options.checkPlayoutAddress = parser.value(line.checkPlayout);
    if (parser.isSet(line.checkPlayout) && options.checkPlayoutAddress.isEmpty()) {
        return u"--check-playout needs an address."_s;
    }
    if (parser.isSet(line.recover)) {
        options.recoverPaths = parser.values(line.recover) + parser.positionalArguments();
    }
    if (parser.isSet(line.remote)) {
        if (remoteWords.isEmpty()) {
            return u"--remote needs a command after the host."_s;
        }
        options.remoteCommand = QStringList{parser.value(line.remote)} + remoteWords;
    }
    return {};
}

QString readControlPort(const CommandLine& line, Options& options) {
    bool isNumber = false;
    options.controlPort = line.parser.value(line.controlPort).toUShort(&isNumber);
    return isNumber ? QString() : u"--control-port takes a number from 0 to 65535."_s;
}

QString readVirtualDecks(const CommandLine& line, Options& options) {
    for (const QString& spec : line.parser.values(line.virtualDeck)) {
        QString error;
        const auto settings = avc::parseVirtualDeckSettings(spec, error);
        if (!settings) {
            return error;
        }
        if (settings->guid && std::ranges::any_of(options.virtualDecks, [&](const auto& other) {
                return other.guid == settings->guid;
            })) {
            return u"two virtual decks have the same guid=%1."_s.arg(*settings->guid, 16, 16,
                                                                     QLatin1Char('0'));
        }
        options.virtualDecks.push_back(*settings);
    }
    return {};
}

QString readRecord(const CommandLine& line, Options& options) {
    const QCommandLineParser& parser = line.parser;
    if (parser.isSet(line.record) != parser.isSet(line.to) && !options.diagnose) {
        return u"--record SECONDS and --to DIR go together."_s;
    }
    options.recordFolder = parser.value(line.to);
    if (parser.isSet(line.record)) {
        bool isNumber = false;
        const double seconds = parser.value(line.record).toDouble(&isNumber);
        if (!isNumber || !(seconds > 0.0) || seconds > 1.0e6) {
            return u"--record takes a number of seconds above 0."_s;
        }
        options.recordSeconds = seconds;
    }
    return {};
}

}  // namespace

ParsedOptions parseOptions(const QStringList& arguments) {
    CommandLine line;
    QStringList own = arguments;
    const QStringList remoteWords = takeRemoteCommand(own);
    if (!line.parser.parse(own)) {
        return usageError(line.parser.errorText());
    }
    if (line.parser.isSet(line.help)) {
        return {std::nullopt, line.helpText(), 0};
    }
    if (line.parser.isSet(line.version)) {
        return {std::nullopt, u"Takebox DV " TAKEBOX_VERSION "\n"_s, 0};
    }
    const QStringList others = line.parser.positionalArguments();
    if (!others.isEmpty() && !line.parser.isSet(line.recover)) {
        return usageError(u"what is \"%1\"? See --help."_s.arg(others.first()));
    }
    Options options;
    options.headless = line.parser.isSet(line.headless);
    for (const QString& mistake :
         {readTools(line, remoteWords, options), readControlPort(line, options),
          readVirtualDecks(line, options), readRecord(line, options)}) {
        if (!mistake.isEmpty()) {
            return usageError(mistake);
        }
    }
    return {options, QString(), 0};
}

}  // namespace takebox
