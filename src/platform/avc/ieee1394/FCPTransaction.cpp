#include "platform/avc/ieee1394/FCPTransaction.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <memory>

#include "platform/avc/ieee1394/BusHandle.h"
#include "platform/avc/ieee1394/FCPMatcher.h"

namespace takebox::avc {
namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr int kTries = 3;
constexpr milliseconds kFirstAnswer{150};
constexpr milliseconds kFinalAnswer{2000};
constexpr milliseconds kStopCheck{50};

enum class Wait { kAnswered, kTimeout, kInterrupted };

Wait waitForAnswer(BusHandle& bus, const NodeWatch& watch, const FCPMatcher& matcher,
                   const std::stop_token& stop) {
    const auto begin = Clock::now();
    while (!matcher.isAnswered()) {
        const bool mayTakeLong = matcher.isInterim() && !stop.stop_requested();
        const auto left = begin + (mayTakeLong ? kFinalAnswer : kFirstAnswer) - Clock::now();
        if (left <= Clock::duration::zero()) {
            return Wait::kTimeout;
        }
        const auto step = std::min(std::chrono::ceil<milliseconds>(left), kStopCheck);
        std::array<pollfd, 2> ready{
            {{bus.descriptor(), POLLIN, 0}, {watch.descriptor(), POLLIN, 0}}};
        if (poll(ready.data(), ready.size(), static_cast<int>(step.count())) < 0) {
            continue;
        }
        // The answer may lie beside the news of a reset: it counts.
        const int error = ready[0].revents != 0 ? bus.iterate() : 0;
        if (!matcher.isAnswered() &&
            (ready[1].revents != 0 || (error != 0 && error != EAGAIN && error != EINTR))) {
            return Wait::kInterrupted;
        }
    }
    return Wait::kAnswered;
}

}  // namespace

FCPResult sendFCPCommand(const NodeWatch& watch, std::span<const std::uint8_t> command,
                         const std::stop_token& stop) {
    int error = 0;
    const std::unique_ptr<BusHandle> bus = BusHandle::open(watch.info().card, error);
    if (!bus) {
        return {error, {}};
    }
    FCPMatcher matcher(command, watch.info().node);
    error = bus->listenForFCP(matcher);
    if (error != 0) {
        return {error, {}};
    }
    for (int i = 0; i < kTries && (i == 0 || !stop.stop_requested()); ++i) {
        error = bus->writeFCPCommand(watch.info().node, command);
        if (error != 0 && error != EAGAIN) {
            return {error, {}};
        }
        switch (waitForAnswer(*bus, watch, matcher, stop)) {
            case Wait::kAnswered:
                return {0, matcher.answer()};
            case Wait::kInterrupted:
                return {EAGAIN, {}};
            case Wait::kTimeout:
                break;
        }
        if (matcher.isInterim()) {
            break;  // it has the command; the same again would be a second one
        }
    }
    return {ETIMEDOUT, {}};
}

}  // namespace takebox::avc
