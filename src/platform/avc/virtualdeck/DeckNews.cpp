#include "platform/avc/virtualdeck/DeckNews.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace takebox::avc {
namespace {

// In mConnection, above the frame times in the lower half.
constexpr std::uint64_t kHasLeft = 1ULL << 32;
constexpr std::uint64_t kHasReturned = 1ULL << 33;

}  // namespace

DeckNews::DeckNews(std::function<void(const Items&)> tell)
    : mTell(std::move(tell)), mBell(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (isValid()) {
        mNotifier = std::make_unique<QSocketNotifier>(mBell, QSocketNotifier::Read);
        QObject::connect(mNotifier.get(), &QSocketNotifier::activated, [this] { deliver(); });
    }
}

DeckNews::~DeckNews() {
    mNotifier.reset();
    if (isValid()) {
        close(mBell);
    }
}

void DeckNews::addCloseRequest() {
    mCloseRequests.fetch_add(1, std::memory_order_relaxed);
    ring();
}

void DeckNews::addDeparture(std::uint32_t frameTimesAway) {
    mConnection.store(kHasLeft | frameTimesAway, std::memory_order_relaxed);
    ring();
}

void DeckNews::addReturn() {
    mConnection.fetch_or(kHasReturned, std::memory_order_relaxed);
    ring();
}

void DeckNews::ring() const {
    const std::uint64_t one = 1;
    // It fails only when the counter is full, and then the main thread has been told already.
    [[maybe_unused]] const ssize_t ignored = write(mBell, &one, sizeof one);
}

void DeckNews::deliver() {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t ignored = read(mBell, &count, sizeof count);
    const std::uint64_t connection = mConnection.exchange(0, std::memory_order_relaxed);
    mTell({mCloseRequests.exchange(0, std::memory_order_relaxed), (connection & kHasLeft) != 0,
           static_cast<std::uint32_t>(connection), (connection & kHasReturned) != 0});
}

}  // namespace takebox::avc
