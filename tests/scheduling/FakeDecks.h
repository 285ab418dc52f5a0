#pragma once

#include <functional>
#include <vector>

#include "scheduling/ScheduledDecks.h"

namespace takebox::test {

/// A deck that only remembers what it was told.
class FakeDeck final : public ScheduledDeck {
public:
    explicit FakeDeck(std::uint64_t identifier) : guid(identifier) {}

    void setAutoNameRecordings(bool autoName) override {
        note(autoName ? "auto name" : "own name");
    }
    void setRecordingName(const QString& name) override {
        recordingName = name;
        note("name " + name.toStdString());
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

    const std::uint64_t guid;
    bool isRecording = false;
    bool refusesToRecord = false;
    double duration = 0;
    QString recordingName;
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
        std::erase_if(mDecks, [guid](const auto& deck) { return deck->guid == guid; });
    }
    void clear() { mDecks.clear(); }
    [[nodiscard]] const std::vector<std::shared_ptr<FakeDeck>>& all() const { return mDecks; }

    [[nodiscard]] int indexOfDeviceWithGUID(std::uint64_t guid) const override {
        for (std::size_t i = 0; i < mDecks.size(); ++i) {
            if (mDecks[i]->guid == guid) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    [[nodiscard]] bool isRecording(int index) const override {
        return mDecks.at(static_cast<std::size_t>(index))->isRecording;
    }
    [[nodiscard]] std::shared_ptr<ScheduledDeck> deckAtIndex(int index) override {
        return mDecks.at(static_cast<std::size_t>(index));
    }

private:
    std::vector<std::shared_ptr<FakeDeck>> mDecks;
};

}  // namespace takebox::test
