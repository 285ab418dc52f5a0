#pragma once

#include "scheduling/ScheduledDecks.h"

namespace takebox {

class CDVDeviceWindowController;

/// The window controller of a device as a deck. It does not keep the controller, whose window would
/// otherwise stay on the screen until the planned stop of a device that has gone.
class WindowControllerDeck final : public ScheduledDeck {
public:
    explicit WindowControllerDeck(std::weak_ptr<CDVDeviceWindowController> controller);

    [[nodiscard]] std::uint64_t deviceGUID() const override;
    [[nodiscard]] QString guid() const override;
    [[nodiscard]] QString deviceName() const override;
    [[nodiscard]] QString recordingName() const override;
    [[nodiscard]] QString referenceMovieFolderPath() const override;
    [[nodiscard]] QString selfContainedRecordingFolderPath() const override;
    [[nodiscard]] QString rawRecordingFolderPath() const override;
    [[nodiscard]] bool createReferenceMovie() const override;
    [[nodiscard]] bool createSelfContainedMovie() const override;

    void setAutoNameRecordings(bool autoName) override;
    void setRecordingName(const QString& name) override;
    void setReferenceMovieFolderPath(const QString& path) override;
    void setSelfContainedRecordingFolderPath(const QString& path) override;
    void setRawRecordingFolderPath(const QString& path) override;
    void setCreateReferenceMovie(bool create) override;
    void setCreateSelfContainedMovie(bool create) override;
    void setReferenceMovieDuration(double seconds) override;
    void recordButtonPushed() override;
    void stopButtonPushed() override;

private:
    std::weak_ptr<CDVDeviceWindowController> mController;
};

/// The decks of gDVDevicesController; none while there is no device list.
class DeviceListDecks final : public ScheduledDecks {
public:
    [[nodiscard]] int countDevices() const override;
    [[nodiscard]] int indexOfDeviceWithGUID(std::uint64_t guid) const override;
    [[nodiscard]] bool isRecording(int index) const override;
    [[nodiscard]] std::shared_ptr<ScheduledDeck> deckAtIndex(int index) const override;
};

}  // namespace takebox
