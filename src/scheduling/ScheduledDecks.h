#pragma once

#include <QString>
#include <cstdint>
#include <memory>

namespace takebox {

/// What a schedule asks and tells the window controller of one device. Main thread only.
///
/// A deck whose device has gone stays usable: it then does nothing and its texts are empty.
class ScheduledDeck {
public:
    virtual ~ScheduledDeck() = default;

    [[nodiscard]] virtual std::uint64_t deviceGUID() const = 0;
    /// The GUID as 16 hexadecimal digits.
    [[nodiscard]] virtual QString guid() const = 0;
    [[nodiscard]] virtual QString deviceName() const = 0;

    // The settings that a new event begins with.
    [[nodiscard]] virtual QString recordingName() const = 0;
    [[nodiscard]] virtual QString referenceMovieFolderPath() const = 0;
    [[nodiscard]] virtual QString selfContainedRecordingFolderPath() const = 0;
    [[nodiscard]] virtual QString rawRecordingFolderPath() const = 0;
    [[nodiscard]] virtual bool createReferenceMovie() const = 0;
    [[nodiscard]] virtual bool createSelfContainedMovie() const = 0;

    virtual void setAutoNameRecordings(bool autoName) = 0;
    virtual void setRecordingName(const QString& name) = 0;
    virtual void setReferenceMovieFolderPath(const QString& path) = 0;
    virtual void setSelfContainedRecordingFolderPath(const QString& path) = 0;
    virtual void setRawRecordingFolderPath(const QString& path) = 0;
    virtual void setCreateReferenceMovie(bool create) = 0;
    virtual void setCreateSelfContainedMovie(bool create) = 0;
    virtual void setReferenceMovieDuration(double seconds) = 0;
    virtual void recordButtonPushed() = 0;
    virtual void stopButtonPushed() = 0;

protected:
    ScheduledDeck() = default;
    ScheduledDeck(const ScheduledDeck&) = default;
    ScheduledDeck& operator=(const ScheduledDeck&) = default;
};

/// The devices as the schedule sees them: the part of the device list and of its window
/// controllers that it needs, so that a year of it can pass without a device. Main thread only.
class ScheduledDecks {
public:
    virtual ~ScheduledDecks() = default;

    [[nodiscard]] virtual int countDevices() const = 0;
    /// The place of the device in the list, or -1.
    [[nodiscard]] virtual int indexOfDeviceWithGUID(std::uint64_t guid) const = 0;
    [[nodiscard]] virtual bool isRecording(int index) const = 0;
    /// Never null; outside the list a deck that has gone.
    [[nodiscard]] virtual std::shared_ptr<ScheduledDeck> deckAtIndex(int index) const = 0;

protected:
    ScheduledDecks() = default;
    ScheduledDecks(const ScheduledDecks&) = default;
    ScheduledDecks& operator=(const ScheduledDecks&) = default;
};

}  // namespace takebox
