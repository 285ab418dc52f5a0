#pragma once

#include <functional>
#include <vector>

#include "scheduling/ScheduledDecks.h"

namespace takebox::test {

/// A deck that only remembers what it was told.
class FakeDeck final : public ScheduledDeck {
public:
    explicit FakeDeck(std::uint64_t guid) : identifier(guid) {}

    [[nodiscard]] std::uint64_t deviceGUID() const override { return identifier; }
    [[nodiscard]] QString guid() const override { return QString::asprintf("%016lx", identifier); }
    [[nodiscard]] QString deviceName() const override { return name; }
    [[nodiscard]] QString recordingName() const override { return currentName; }
    [[nodiscard]] QString referenceMovieFolderPath() const override {
        return QStringLiteral("/reference");
    }
    [[nodiscard]] QString selfContainedRecordingFolderPath() const override {
        return QStringLiteral("/self-contained");
    }
    [[nodiscard]] QString rawRecordingFolderPath() const override { return QStringLiteral("/raw"); }
    [[nodiscard]] bool createReferenceMovie() const override { return false; }
    [[nodiscard]] bool createSelfContainedMovie() const override { return true; }

    void setAutoNameRecordings(bool autoName) override {
        note(autoName ? "auto name" : "own name");
    }
    void setRecordingName(const QString& newName) override {
        currentName = newName;
        note("name " + newName.toStdString());
    }
    void setReferenceMovieFolderPath(const QString& path) override {
        note("reference folder " + path.toStdString());
    }
    void setSelfContainedRecordingFolderPath(const QString& path) override {
        note("self-contained folder " + path.toStdString());
    }
    void setRawRecordingFolderPath(const QString& path) override {
        note("raw folder " + path.toStdString());
    }
    void setCreateReferenceMovie(bool create) override {
        note(create ? "reference movie" : "no reference movie");
    }
    void setCreateSelfContainedMovie(bool create) override {
        note(create ? "self-contained movie" : "no self-contained movie");
    }
    void setReferenceMovieDuration(double seconds) override {
        duration = seconds;
        note("duration");
    }
    void recordButtonPushed() override {
        note("record");
        isRecording = !refusesToRecord;
        if (onRecord) {
            onRecord(*this);
        }
    }
    void stopButtonPushed() override {
        note("stop");
        isRecording = false;
        if (onStop) {
            onStop(*this);
        }
    }

    const std::uint64_t identifier;
    QString name = QStringLiteral("Studio deck");
    bool isRecording = false;
    bool refusesToRecord = false;
    double duration = 0;
    QString currentName = QStringLiteral("Untitled");
    std::vector<std::string> calls;
    bool keepsCalls = true;
    std::function<void(FakeDeck&)> onRecord;
    std::function<void(FakeDeck&)> onStop;

private:
    void note(std::string call) {
        if (keepsCalls) {
            calls.push_back(std::move(call));
        }
    }
};

/// A list of such decks, which come and go.
class FakeDecks final : public ScheduledDecks {
public:
    FakeDeck& add(std::uint64_t guid) {
        mDecks.push_back(std::make_shared<FakeDeck>(guid));
        return *mDecks.back();
    }
    void remove(std::uint64_t guid) {
        std::erase_if(mDecks, [guid](const auto& deck) { return deck->identifier == guid; });
    }
    void clear() { mDecks.clear(); }
    [[nodiscard]] const std::vector<std::shared_ptr<FakeDeck>>& all() const { return mDecks; }

    [[nodiscard]] int countDevices() const override { return static_cast<int>(mDecks.size()); }
    [[nodiscard]] int indexOfDeviceWithGUID(std::uint64_t guid) const override {
        for (std::size_t i = 0; i < mDecks.size(); ++i) {
            if (mDecks[i]->identifier == guid) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    [[nodiscard]] bool isRecording(int index) const override {
        return mDecks.at(static_cast<std::size_t>(index))->isRecording;
    }
    [[nodiscard]] std::shared_ptr<ScheduledDeck> deckAtIndex(int index) const override {
        return mDecks.at(static_cast<std::size_t>(index));
    }

private:
    std::vector<std::shared_ptr<FakeDeck>> mDecks;
};

}  // namespace takebox::test
