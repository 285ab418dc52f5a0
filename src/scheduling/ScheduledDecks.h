#pragma once

#include <QString>
#include <cstdint>
#include <memory>

namespace takebox {

/// What the scheduler tells the window controller of one device. Main thread only.
///
/// A deck whose device has gone stays usable: it then does nothing.
class ScheduledDeck {
public:
    virtual ~ScheduledDeck() = default;

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

/// The devices as the scheduler sees them: the part of the device list and of its window
/// controllers that a scheduled recording needs, so that a year of it can pass without a device.
class ScheduledDecks {
public:
    virtual ~ScheduledDecks() = default;

    /// The place of the device in the list, or -1.
    [[nodiscard]] virtual int indexOfDeviceWithGUID(std::uint64_t guid) const = 0;
    [[nodiscard]] virtual bool isRecording(int index) const = 0;
    [[nodiscard]] virtual std::shared_ptr<ScheduledDeck> deckAtIndex(int index) = 0;

protected:
    ScheduledDecks() = default;
    ScheduledDecks(const ScheduledDecks&) = default;
    ScheduledDecks& operator=(const ScheduledDecks&) = default;
};

}  // namespace takebox
