#pragma once

#include "scheduling/ScheduledDecks.h"

namespace takebox {

/// The device list as the scheduler sees it. Main thread.
class RecordingDecks final : public ScheduledDecks {
public:
    [[nodiscard]] int indexOfDeviceWithGUID(std::uint64_t guid) const override;
    [[nodiscard]] bool isRecording(int index) const override;
    [[nodiscard]] std::shared_ptr<ScheduledDeck> deckAtIndex(int index) override;
};

}  // namespace takebox
