#include "app/ScriptableDecks.h"

#include <array>

#include "app/DeckProperties.h"
#include "capture/CDVDevicesController.h"
#include "recording/CDVDeviceWindowController.h"

namespace takebox {
namespace {

struct DeckCommand {
    const char* name;
    void (*run)(CDVDeviceWindowController& controller);
};

/// The pause button has two states and the command passes on the one it finds.
template <bool paused>
void pause(CDVDeviceWindowController& controller) {
    controller.outlets().pauseButton.setState(paused);
    controller.handlePauseRecording();
}

constexpr std::array kCommands{
    DeckCommand{"start", [](auto& controller) { controller.handleStartRecording(); }},
    DeckCommand{"stop", [](auto& controller) { controller.handleStopRecording(); }},
    DeckCommand{"pause", pause<true>},
    DeckCommand{"resume", pause<false>},
};

}  // namespace

std::shared_ptr<CDVDeviceWindowController> ScriptableDecks::controllerWithGUID(
    const QString& guid) {
    if (gDVDevicesController) {
        for (const auto& entry : gDVDevicesController->devices()) {
            auto controller = std::dynamic_pointer_cast<CDVDeviceWindowController>(entry);
            if (controller && controller->guid() == guid) {
                return controller;
            }
        }
    }
    return nullptr;
}

QStringList ScriptableDecks::guids() const {
    QStringList guids;
    if (gDVDevicesController) {
        for (const auto& entry : gDVDevicesController->devices()) {
            guids << entry->device()->deviceGUIDString();
        }
    }
    return guids;
}

QStringList ScriptableDecks::propertyNames() const {
    QStringList names;
    for (const DeckProperty& property : deckProperties()) {
        names << QLatin1String(property.name);
    }
    return names;
}

QVariant ScriptableDecks::property(const QString& guid, const QString& name) const {
    const auto controller = controllerWithGUID(guid);
    const DeckProperty* const property = deckPropertyNamed(name);
    return controller && property != nullptr ? property->get(*controller) : QVariant();
}

bool ScriptableDecks::setProperty(const QString& guid, const QString& name, const QVariant& value) {
    const auto controller = controllerWithGUID(guid);
    const DeckProperty* const property = deckPropertyNamed(name);
    if (!controller || property == nullptr || property->set == nullptr) {
        return false;
    }
    const QVariant fitting = valueForDeckProperty(*property, value);
    if (fitting.isValid()) {
        property->set(*controller, fitting);
    }
    return fitting.isValid();
}

bool ScriptableDecks::runCommand(const QString& guid, const QString& command) {
    const auto controller = controllerWithGUID(guid);
    if (controller) {
        for (const DeckCommand& known : kCommands) {
            if (command == QLatin1String(known.name)) {
                known.run(*controller);
                return true;
            }
        }
    }
    return false;
}

void ScriptableDecks::deviceListDidChange() {
    for (const QString& guid : guids()) {
        if (const auto controller = controllerWithGUID(guid)) {
            disconnect(controller.get(), nullptr, this, nullptr);
            const auto tell = [this, guid] { Q_EMIT deckChanged(guid); };
            connect(controller.get(), &CDVDeviceWindowController::recordingStateChanged, this,
                    tell);
            connect(controller.get(), &CDVDeviceWindowController::settingsChanged, this, tell);
            connect(controller.get(), &CDVDeviceWindowController::lossesChanged, this, tell);
        }
    }
    Q_EMIT decksChanged();
}

}  // namespace takebox
