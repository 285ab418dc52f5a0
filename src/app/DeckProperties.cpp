#include "app/DeckProperties.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "recording/CDVDeviceWindowController.h"

namespace takebox {
namespace {

using Controller = CDVDeviceWindowController;

template <auto accessor>
QVariant get(Controller& controller) {
    return QVariant::fromValue((controller.*accessor)());
}

template <auto accessor>
QVariant getInteger(Controller& controller) {
    return QVariant::fromValue<qint64>((controller.*accessor)());
}

template <auto setter>
void setFlag(Controller& controller, const QVariant& value) {
    (controller.*setter)(value.toBool());
}

template <auto setter>
void setReal(Controller& controller, const QVariant& value) {
    (controller.*setter)(value.toDouble());
}

template <auto setter>
void setText(Controller& controller, const QVariant& value) {
    (controller.*setter)(value.toString());
}

QVariant isRecording(Controller& controller) {
    return controller.device() && controller.device()->isRecording();
}

QVariant isPaused(Controller& controller) {
    return controller.device() && controller.device()->isPaused();
}

/// As the user does it: the button goes in or out, then its state counts.
void setPaused(Controller& controller, const QVariant& value) {
    controller.outlets().pauseButton.setState(value.toBool());
    controller.handlePauseRecording();
}

QVariant monoTracks(Controller& controller) {
    return controller.settings().monoTracks();
}

QVariant presetTimecode(Controller& controller) {
    return controller.settings().presetTimecode();
}

QVariant timecodeSourceIndex(Controller& controller) {
    return QVariant::fromValue<qint64>(controller.settings().timecodeSourceIndex());
}

constexpr auto kBool = QMetaType::Bool;
constexpr auto kInteger = QMetaType::LongLong;
constexpr auto kReal = QMetaType::Double;
constexpr auto kText = QMetaType::QString;

constexpr std::array kProperties{
    DeckProperty{"guid", kText, false, get<&Controller::guid>, nullptr},
    DeckProperty{"deviceName", kText, false, get<&Controller::deviceName>, nullptr},
    DeckProperty{"isRecording", kBool, false, isRecording, nullptr},
    DeckProperty{"isPaused", kBool, false, isPaused, setPaused},
    DeckProperty{"recordingName", kText, false, get<&Controller::recordingName>,
                 setText<&Controller::setRecordingName>},
    DeckProperty{"autoNameRecordings", kBool, false, get<&Controller::autoNameRecordings>,
                 setFlag<&Controller::setAutoNameRecordings>},
    DeckProperty{"loopRecording", kBool, false, get<&Controller::loopRecording>,
                 setFlag<&Controller::setLoopRecording>},
    DeckProperty{"createReferenceMovie", kBool, false, get<&Controller::createReferenceMovie>,
                 setFlag<&Controller::setCreateReferenceMovie>},
    DeckProperty{"createSelfContainedMovie", kBool, false,
                 get<&Controller::createSelfContainedMovie>,
                 setFlag<&Controller::setCreateSelfContainedMovie>},
    DeckProperty{"referenceMovieDuration", kReal, false, get<&Controller::referenceMovieDuration>,
                 setReal<&Controller::setReferenceMovieDuration>},
    DeckProperty{"referenceMovieFolderPath", kText, false,
                 get<&Controller::referenceMovieFolderPath>,
                 setText<&Controller::setReferenceMovieFolderPath>},
    DeckProperty{"selfContainedRecordingFolderPath", kText, false,
                 get<&Controller::selfContainedRecordingFolderPath>,
                 setText<&Controller::setSelfContainedRecordingFolderPath>},
    DeckProperty{"rawRecordingFolderPath", kText, false, get<&Controller::rawRecordingFolderPath>,
                 setText<&Controller::setRawRecordingFolderPath>},
    DeckProperty{"monoTracks", kBool, false, monoTracks, nullptr},
    DeckProperty{"timecodeSourceIndex", kInteger, false, timecodeSourceIndex, nullptr},
    DeckProperty{"presetTimecode", kReal, false, presetTimecode, nullptr},
    DeckProperty{"quickTimeTitle", kText, false, get<&Controller::quickTimeTitle>,
                 setText<&Controller::setQuickTimeTitle>},
    DeckProperty{"recordStartTimecode", kReal, false, get<&Controller::recordStartTimecode>,
                 nullptr},
    DeckProperty{"recordStartTimecodeString", kText, false,
                 get<&Controller::recordStartTimecodeString>, nullptr},
    DeckProperty{"currentReferenceMoviePath", kText, false,
                 get<&Controller::currentReferenceMoviePath>, nullptr},
    DeckProperty{"currentSelfContainedMoviePath", kText, false,
                 get<&Controller::currentSelfContainedMoviePath>, nullptr},
    DeckProperty{"lostFrames", kInteger, false, getInteger<&Controller::lostFrames>, nullptr},
    DeckProperty{"problemMessages", kInteger, false, getInteger<&Controller::problemMessages>,
                 nullptr},
    DeckProperty{"losses", kText, false, get<&Controller::losses>, nullptr},
    DeckProperty{"receivedFrames", kInteger, true, getInteger<&Controller::receivedFrames>,
                 nullptr},
    DeckProperty{"recordedFrames", kInteger, true, getInteger<&Controller::recordedFrames>,
                 nullptr},
    DeckProperty{"recordedTime", kReal, true, get<&Controller::recordedTime>, nullptr},
    DeckProperty{"recordedTimecode", kText, true, get<&Controller::recordedTimecode>, nullptr},
    DeckProperty{"deviceTimecode", kReal, true, get<&Controller::deviceTimecode>, nullptr},
    DeckProperty{"deviceTimecodeString", kText, true, get<&Controller::deviceTimecodeString>,
                 nullptr},
    DeckProperty{"remainingDiskSpaceAsTimecode", kText, true,
                 get<&Controller::remainingDiskSpaceAsTimecode>, nullptr},
};

}  // namespace

std::span<const DeckProperty> deckProperties() {
    return kProperties;
}

const DeckProperty* deckPropertyNamed(const QString& name) {
    const auto* const found = std::find_if(
        kProperties.begin(), kProperties.end(),
        [&name](const DeckProperty& property) { return name == QLatin1String(property.name); });
    return found == kProperties.end() ? nullptr : found;
}

QVariant valueForDeckProperty(const DeckProperty& property, const QVariant& value) {
    if (property.type != kReal) {
        return value.typeId() == property.type ? value : QVariant();
    }
    bool isNumber = false;
    const double number = value.typeId() == QMetaType::QString ? 0 : value.toDouble(&isNumber);
    return isNumber && value.typeId() != kBool && std::isfinite(number) ? QVariant(number)
                                                                        : QVariant();
}

}  // namespace takebox
