#pragma once

#include <QSocketNotifier>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>

namespace takebox::avc {

/// Carries what befalls a deck from any thread to the main thread's event loop, without allocating,
/// locking or waiting, so that a receive thread may use it. Made and destroyed on the main thread.
class DeckNews {
public:
    /// What has happened since it was taken last, to be told in this order.
    struct Items {
        std::uint32_t closeRequests = 0;
        bool hasLeft = false;
        std::uint32_t frameTimesAway = 0;  ///< 0: for good
        bool hasReturned = false;
    };

    /// @param tell  is called on the main thread.
    explicit DeckNews(std::function<void(const Items&)> tell);
    ~DeckNews();
    DeckNews(const DeckNews&) = delete;
    DeckNews& operator=(const DeckNews&) = delete;

    /// False when the system had no descriptors left; then nothing is ever told.
    [[nodiscard]] bool isValid() const { return mBell >= 0; }

    // Any thread.
    void addCloseRequest();
    void addDeparture(std::uint32_t frameTimesAway);  ///< takes back a return not told yet
    void addReturn();

private:
    void ring() const;
    void deliver();

    const std::function<void(const Items&)> mTell;
    const int mBell;
    std::unique_ptr<QSocketNotifier> mNotifier;
    // The values stand for themselves: nothing else is handed over with them, so their order does
    // not matter. Departure and return share a word, so that the last of them is the one that
    // holds.
    std::atomic<std::uint32_t> mCloseRequests{0};
    std::atomic<std::uint64_t> mConnection{0};
};

}  // namespace takebox::avc
