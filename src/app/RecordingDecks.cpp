#include "app/RecordingDecks.h"

#include <utility>

#include "app/CTapedeckApplication.h"
#include "recording/CDVDeviceWindowController.h"

namespace takebox {
namespace {

/// Passes everything on to a window controller for as long as its device is in the list.
class RecordingDeck final : public ScheduledDeck {
public:
    explicit RecordingDeck(std::weak_ptr<CDVDeviceWindowController> controller)
        : mController(std::move(controller)) {}

    void setAutoNameRecordings(bool autoName) override {
        tell(&CDVDeviceWindowController::setAutoNameRecordings, autoName);
    }
    void setRecordingName(const QString& name) override {
        tell(&CDVDeviceWindowController::setRecordingName, name);
    }
    void setReferenceMovieFolderPath(const QString& path) override {
        tell(&CDVDeviceWindowController::setReferenceMovieFolderPath, path);
    }
    void setSelfContainedRecordingFolderPath(const QString& path) override {
        tell(&CDVDeviceWindowController::setSelfContainedRecordingFolderPath, path);
    }
    void setRawRecordingFolderPath(const QString& path) override {
        tell(&CDVDeviceWindowController::setRawRecordingFolderPath, path);
    }
    void setCreateReferenceMovie(bool create) override {
        tell(&CDVDeviceWindowController::setCreateReferenceMovie, create);
    }
    void setCreateSelfContainedMovie(bool create) override {
        tell(&CDVDeviceWindowController::setCreateSelfContainedMovie, create);
    }
    void setReferenceMovieDuration(double seconds) override {
        tell(&CDVDeviceWindowController::setReferenceMovieDuration, seconds);
    }
    void recordButtonPushed() override { tell(&CDVDeviceWindowController::recordButtonPushed); }
    void stopButtonPushed() override { tell(&CDVDeviceWindowController::stopButtonPushed); }

private:
    template <typename Operation, typename... Arguments>
    void tell(Operation operation, const Arguments&... arguments) {
        if (const auto controller = mController.lock()) {
            (controller.get()->*operation)(arguments...);
        }
    }

    std::weak_ptr<CDVDeviceWindowController> mController;
};

}  // namespace

int RecordingDecks::indexOfDeviceWithGUID(std::uint64_t guid) const {
    return gDVDevicesController ? gDVDevicesController->indexOfDeviceWithGUID(guid) : -1;
}

bool RecordingDecks::isRecording(int index) const {
    const auto controller = CTapedeckApplication::controllerAtIndex(index);
    return controller && controller->device()->isRecording();
}

std::shared_ptr<ScheduledDeck> RecordingDecks::deckAtIndex(int index) {
    return std::make_shared<RecordingDeck>(CTapedeckApplication::controllerAtIndex(index));
}

}  // namespace takebox
