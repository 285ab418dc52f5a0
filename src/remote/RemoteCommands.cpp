#include "remote/RemoteCommands.h"

#include <sys/stat.h>

#include <QFile>
#include <QLatin1String>
#include <algorithm>
#include <array>

#include "capture/CDVDevicesController.h"
#include "recording/CDVDeviceWindowController.h"
#include "remote/Command.h"

namespace takebox {
namespace {

constexpr double kShortestDuration = 1.0;  // seconds; a movie must be longer

const QLatin1String kHelp(
    "version\n"
    "count\n"
    "guid <device index>\n"
    "audio1 <device index>\n"
    "audio2 <device index>\n"
    "audio3 <device index>\n"
    "audio4 <device index>\n"
    "status <device index>\n"
    "frame <device index>\n"
    "elapsed <device index>\n"
    "droppedframes <device index>\n"
    "remain <device index>\n"
    "timecode <device index>\n"
    "devicename <device index>\n"
    "record <device index>\n"
    "stop <device index>\n"
    "rawcapturepath <device index>\n"
    "setrawcapturepath <device index> <path>\n"
    "moviecapturepath <device index>\n"
    "setmoviecapturepath <device index> <path>\n"
    "recname <device index>\n"
    "setrecname <device index> <recording name>\n"
    "refmoviepath <device index>\n"
    "setrefmoviepath <device index> <path>\n"
    "duration <device index>\n"
    "setduration <device index> <duration in seconds>\n"
    "auto <device index>\n"
    "setauto <device index> <value: 1 or 0>\n"
    "createselfmovie <device index>\n"
    "setcreateselfmovie <device index> <value: 1 or 0>\n"
    "createrefmovie <device index>\n"
    "setcreaterefmovie <device index> <value: 1 or 0>");

using Controller = CDVDeviceWindowController;

/// A command and the deck that it is for.
struct Request {
    Command& command;
    const CDVDevicesController& devices;
    Controller& controller;
    CDVDevice& device;
};

void answer(const Request& request, const QString& text) {
    request.command.setResponseString(text);
}

void answer(const Request& request, const char* word) {
    answer(request, QString::fromLatin1(word));
}

/// Answers a text that never changes.
template <const char* text>
void constant(const Request& request) {
    answer(request, text);
}

/// Answers a text value of the controller as it is.
template <QString (Controller::*getter)() const>
void text(const Request& request) {
    answer(request, (request.controller.*getter)());
}

template <bool (Controller::*getter)() const>
void flag(const Request& request) {
    answer(request, (request.controller.*getter)() ? "1" : "0");
}

/// Takes the leading integer of the argument as a boolean of eight bits: 256 is off.
template <void (Controller::*setter)(bool)>
void setFlag(const Request& request) {
    const auto value = static_cast<std::uint8_t>(leadingInteger(request.command.argument()));
    (request.controller.*setter)(value != 0);
    answer(request, "OK");
}

// Asked of the system itself: Qt would also find folders inside the program, under names with ":".
bool isFolder(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    struct stat information {};
    return !name.contains('\0') && stat(name.constData(), &information) == 0 &&
           S_ISDIR(information.st_mode);
}

template <void (Controller::*setter)(const QString&)>
void setPath(const Request& request) {
    const QString path = request.command.argument();
    if (!isFolder(path)) {
        answer(request, "INCORRECT PATH");
        return;
    }
    (request.controller.*setter)(path);
    answer(request, "OK");
}

void help(const Request& request) {
    answer(request, QString(kHelp));
}

void frame(const Request& request) {
    request.command.setResponseData(request.device.JPEGPreviewData());
}

void record(const Request& request) {
    request.controller.recordButtonPushed();
    answer(request, "OK");
}

void stop(const Request& request) {
    request.controller.stopButtonPushed();
    answer(request, "OK");
}

void status(const Request& request) {
    answer(request, request.device.isRecording() ? "REC" : "IDLE");
}

void elapsed(const Request& request) {
    answer(request, request.device.isRecording() ? request.device.recordedTimeCode()
                                                 : QStringLiteral("00:00:00:00"));
}

void audioLeft(const Request& request) {
    answer(request, QString::asprintf("%f", request.device.audioLevelLeft()));
}

void audioRight(const Request& request) {
    answer(request, QString::asprintf("%f", request.device.audioLevelRight()));
}

void count(const Request& request) {
    answer(request, QString::number(request.devices.countDevices()));
}

void guid(const Request& request) {
    answer(request, request.device.deviceGUIDString());
}

void duration(const Request& request) {
    answer(request, QString::asprintf("%f", request.controller.referenceMovieDuration()));
}

void setDuration(const Request& request) {
    const double seconds = leadingDecimal(request.command.argument());
    if (seconds <= kShortestDuration) {
        answer(request, "INCORRECT DURATION");
        return;
    }
    request.controller.setReferenceMovieDuration(seconds);
    answer(request, "OK");
}

void setRecordingName(const Request& request) {
    request.controller.setRecordingName(request.command.argument());
    answer(request, "OK");
}

constexpr char kVersion[] = "100";
constexpr char kNoLevel[] = "0.0";  // recordings have two channels
constexpr char kDroppedFrames[] = "Dropped Frames: 0";

struct CommandWord {
    QLatin1String word;
    void (*run)(const Request&) = nullptr;
};

// The whole vocabulary. A new word is a row here, a section in docs/remote-control.md, and a line
// of the help text.
const std::array kCommands{
    CommandWord{QLatin1String("HELP"), help},
    CommandWord{QLatin1String("VERSION"), constant<kVersion>},
    CommandWord{QLatin1String("FRAME"), frame},
    CommandWord{QLatin1String("RECORD"), record},
    CommandWord{QLatin1String("STOP"), stop},
    CommandWord{QLatin1String("STATUS"), status},
    CommandWord{QLatin1String("ELAPSED"), elapsed},
    CommandWord{QLatin1String("DROPPEDFRAMES"), constant<kDroppedFrames>},
    CommandWord{QLatin1String("REMAIN"), text<&Controller::remainingDiskSpaceAsTimecode>},
    CommandWord{QLatin1String("TIMECODE"), text<&Controller::deviceTimecodeString>},
    CommandWord{QLatin1String("AUDIO1"), audioLeft},
    CommandWord{QLatin1String("AUDIOLEFT"), audioLeft},
    CommandWord{QLatin1String("AUDIO2"), audioRight},
    CommandWord{QLatin1String("AUDIORIGHT"), audioRight},
    CommandWord{QLatin1String("AUDIO3"), constant<kNoLevel>},
    CommandWord{QLatin1String("AUDIO4"), constant<kNoLevel>},
    CommandWord{QLatin1String("COUNT"), count},
    CommandWord{QLatin1String("DEVICENAME"), text<&Controller::deviceName>},
    CommandWord{QLatin1String("GUID"), guid},
    CommandWord{QLatin1String("SETRAWCAPTUREPATH"),
                setPath<&Controller::setRawRecordingFolderPath>},
    CommandWord{QLatin1String("RAWCAPTUREPATH"), text<&Controller::rawRecordingFolderPath>},
    CommandWord{QLatin1String("SETREFMOVIEPATH"),
                setPath<&Controller::setReferenceMovieFolderPath>},
    CommandWord{QLatin1String("REFMOVIEPATH"), text<&Controller::referenceMovieFolderPath>},
    CommandWord{QLatin1String("SETDURATION"), setDuration},
    CommandWord{QLatin1String("DURATION"), duration},
    CommandWord{QLatin1String("SETRECNAME"), setRecordingName},
    CommandWord{QLatin1String("RECNAME"), text<&Controller::recordingName>},
    CommandWord{QLatin1String("SETMOVIECAPTUREPATH"),
                setPath<&Controller::setSelfContainedRecordingFolderPath>},
    CommandWord{QLatin1String("MOVIECAPTUREPATH"),
                text<&Controller::selfContainedRecordingFolderPath>},
    CommandWord{QLatin1String("SETAUTO"), setFlag<&Controller::setAutoNameRecordings>},
    CommandWord{QLatin1String("AUTO"), flag<&Controller::autoNameRecordings>},
    CommandWord{QLatin1String("SETCREATEREFMOVIE"), setFlag<&Controller::setCreateReferenceMovie>},
    CommandWord{QLatin1String("CREATEREFMOVIE"), flag<&Controller::createReferenceMovie>},
    CommandWord{QLatin1String("SETCREATESELFMOVIE"),
                setFlag<&Controller::setCreateSelfContainedMovie>},
    CommandWord{QLatin1String("CREATESELFMOVIE"), flag<&Controller::createSelfContainedMovie>},
};

}  // namespace

void RemoteCommands::receivedNewCommand(const std::shared_ptr<Command>& command) {
    mCommandsToProcess.push_back(command);
    processNextCommand();
}

void RemoteCommands::processNextCommand() {
    if (mCommandsToProcess.empty()) {
        return;
    }
    const std::shared_ptr<Command> command = std::move(mCommandsToProcess.front());
    mCommandsToProcess.pop_front();
    // Without the deck that it addresses no command is answered, not even HELP.
    const auto controller = std::dynamic_pointer_cast<CDVDeviceWindowController>(
        mDevices.deviceWindowControllerAtIndex(command->deviceIndex()));
    if (!controller) {
        command->setResponseString(QStringLiteral("INCORRECT INDEX"));
    } else if (const auto* const found = std::find_if(
                   kCommands.begin(), kCommands.end(),
                   [&](const auto& row) { return command->commandString() == row.word; });
               found != kCommands.end()) {
        found->run({*command, mDevices, *controller, *controller->device()});
    } else {
        command->setResponseString(QStringLiteral("UNKNOWN COMMAND"));
    }
    command->sendResponse();
}

}  // namespace takebox
