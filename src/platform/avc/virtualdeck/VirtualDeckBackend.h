#pragma once

#include <vector>

#include "platform/avc/AVCDeviceController.h"
#include "platform/avc/virtualdeck/VirtualDeckSettings.h"

namespace takebox::avc {

class VirtualDeck;

/// Offers virtual decks as if they were on a bus, from its start on. A deck whose file cannot be
/// played any more, or whose GUID is taken, is logged and left out.
class VirtualDeckBackend final : public AVCBackend {
public:
    explicit VirtualDeckBackend(std::vector<VirtualDeckSettings> settings);

    void start(AVCDeviceController& controller) override;

    /// The decks offered, in the order of their settings; owned by the controller.
    [[nodiscard]] const std::vector<VirtualDeck*>& decks() const { return mDecks; }

private:
    void addDeck(AVCDeviceController& controller, const VirtualDeckSettings& settings,
                 const QString& name, int number);

    std::vector<VirtualDeckSettings> mSettings;
    std::vector<VirtualDeck*> mDecks;
};

/// The GUID of a deck that was given none: the same for the same source at the same position
/// (counted from 1), so that what is stored for a device is found again.
[[nodiscard]] std::uint64_t usualGuid(const VirtualDeckSettings& settings, int number);

}  // namespace takebox::avc
