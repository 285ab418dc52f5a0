#include <linux/firewire-constants.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "FakeBus.h"

// What decks do: answer AV/C commands and send DV.

namespace fakefirewire {
namespace {

constexpr unsigned kCyclesPerSecond = 8000;
// Data packets in 80000 cycles; the others are empty.
constexpr unsigned kFillNTSC = 74925;
constexpr unsigned kFillPAL = 75000;
constexpr unsigned kFillFull = 80000;
constexpr std::size_t kHeaderBytesMax = 4096;  // kept between interrupts by the kernel
constexpr int kTickCyclesMax = 4000;           // packets of one deck in one turn

bool parse(std::string_view text, bool& value) {
    if (text != "yes" && text != "no") {
        return false;
    }
    value = text == "yes";
    return true;
}

template <typename T>
bool parse(std::string_view text, T& value) {
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

bool parse(std::string_view text, std::string& value) {
    value = text;
    std::replace(value.begin(), value.end(), '_', ' ');
    return true;
}

struct Setting {
    std::string_view key;
    bool (*apply)(DeckSettings&, std::string_view);
};

template <auto field>
constexpr auto kApply =
    [](DeckSettings& settings, std::string_view value) { return parse(value, settings.*field); };

constexpr Setting kSettings[] = {
    {"card", kApply<&DeckSettings::card>},       {"vendor", kApply<&DeckSettings::vendor>},
    {"model", kApply<&DeckSettings::model>},     {"names", kApply<&DeckSettings::names>},
    {"units", kApply<&DeckSettings::units>},     {"format", kApply<&DeckSettings::format>},
    {"speed", kApply<&DeckSettings::speed>},     {"frames", kApply<&DeckSettings::frames>},
    {"says", kApply<&DeckSettings::says>},       {"tape", kApply<&DeckSettings::tape>},
    {"roll", kApply<&DeckSettings::roll>},       {"broadcast", kApply<&DeckSettings::broadcast>},
    {"patient", kApply<&DeckSettings::patient>}, {"plugs", kApply<&DeckSettings::plugs>},
    {"silent", kApply<&DeckSettings::silent>},   {"keep", kApply<&DeckSettings::keep>},
    {"sid", kApply<&DeckSettings::sid>},         {"answers", kApply<&DeckSettings::answers>},
    {"mute", kApply<&DeckSettings::mute>},       {"commands", kApply<&DeckSettings::commands>},
    {"late", kApply<&DeckSettings::late>},       {"access", kApply<&DeckSettings::access>},
    {"fw", kApply<&DeckSettings::fw>},
};

bool isMute(const DeckSettings& settings, std::uint8_t opcode) {
    char text[3];
    std::snprintf(text, sizeof text, "%02x", opcode);
    return settings.mute.find(text) != std::string::npos;
}

/// What the packets say of their format, in the words of the setting.
void setFormat(const std::string& format, std::uint8_t* packet) {
    constexpr std::uint8_t kTransportStream = 0xA0;
    constexpr std::uint8_t kSignalTypeSDL = 0x04;
    if (format == "hdv") {
        packet[4] = kTransportStream;
    } else if (format == "sdl") {
        packet[5] |= kSignalTypeSDL;
    }
}

}  // namespace

bool applySetting(DeckSettings& settings, std::string_view key, std::string_view value) {
    if (key == "source") {
        settings.source = value;  // a path: as it stands
        return true;
    }
    const auto* const found = std::find_if(std::begin(kSettings), std::end(kSettings),
                                           [key](const Setting& row) { return row.key == key; });
    return found != std::end(kSettings) && found->apply(settings, value);
}

bool Deck::isPAL() const {
    return source.empty() || source[0].size() == takebox::test::kFrameSizePAL;
}

bool Deck::hasMore() const {
    return settings.frames < 0 ||
           packet < static_cast<std::uint64_t>(settings.frames) * packetsPerFrame();
}

std::uint64_t Deck::packetsPerFrame() const {
    return isPAL() ? 300 : 250;
}

bool Deck::isSending(Time now) const {
    const bool isOn = connections > 0 || settings.broadcast || now < keepUntil;
    const bool isRolling = !settings.roll || transport == "play";
    return isOn && isRolling && !settings.silent && !source.empty() && now >= pausedUntil;
}

// --- AV/C -------------------------------------------------------------------------------------

void FakeBus::command(Node& node, std::vector<std::uint8_t> frame) {
    Deck& deck = *node.deck;
    ++deck.commandCount;
    if (frame.size() < 3) {
        return;
    }
    const auto guid = node.guid;
    if (frame[0] == 0x01) {
        if (isMute(deck.settings, frame[2])) {
            return;
        }
        if (deck.settings.answers == "yes") {
            answerCommand(guid, frame, 0x0C);
        } else if (deck.settings.answers == "none") {
            answerCommand(guid, frame, 0x08);
        }
        return;
    }
    const auto& way = deck.settings.commands;
    if (way == "accept") {
        answerCommand(guid, frame, 0x09);
    } else if (way == "reject") {
        answerCommand(guid, frame, 0x0A);
    } else if (way == "none") {
        answerCommand(guid, frame, 0x08);
    } else if (way == "interim" || way == "late") {
        if (way == "interim") {
            answerCommand(guid, frame, 0x0F);
        }
        later(deck.settings.late, [this, guid, frame] { answerCommand(guid, frame, 0x09); });
    } else if (way == "foreign") {
        auto answer = frame;
        answer[0] = 0x09;
        fcpResponse(node.card, static_cast<std::uint16_t>(0xFFC0 | 62), answer);
    } else if (way == "reset") {
        deck.settings.commands = "accept";
        renew(node.card, true);
    }
}

void FakeBus::answerCommand(std::uint64_t guid, std::vector<std::uint8_t> frame,
                            std::uint8_t code) {
    Node* const node = nodeOf(guid);
    if (node == nullptr || node->isAway) {
        return;
    }
    Deck& deck = *node->deck;
    frame[0] = code;
    const auto& says = deck.settings.says;
    const bool saysPAL = says == "truth" ? deck.isPAL() : says == "pal";
    const std::uint8_t system = saysPAL ? 0x80 : 0x00;
    if (code == 0x0C && frame[2] == 0x18) {
        frame[4] = deck.settings.format == "hdv" ? 0xA0 : 0x80;
        frame[5] = static_cast<std::uint8_t>(system | (deck.settings.format == "sdl" ? 0x04 : 0));
    } else if (code == 0x0C && frame[2] == 0x31) {
        frame[4] = deck.settings.tape ? 0x20 : 0x38;
    } else if (code == 0x0C && frame[2] == 0x78) {
        frame[3] = system;
    } else if (code == 0x0C && frame[2] == 0xD0) {
        frame[2] = deck.transport == "play" ? 0xC3 : 0xC4;
        frame[3] = deck.transport == "play" ? 0x75 : 0x60;
    } else if (code == 0x09) {
        deck.transport = frame[2] == 0xC3 ? "play" : "stop";
    }
    fcpResponse(node->card, node->id, frame);
}

void FakeBus::fcpResponse(int card, std::uint16_t source, const std::vector<std::uint8_t>& frame) {
    for (const auto& [descriptor, client] : mClients) {
        const Node* const node = nodeNumber(client->node);
        if (!client->fcpClosure || node == nullptr || node->card != card) {
            continue;
        }
        std::vector<std::uint8_t> event(sizeof(fw_cdev_event_request2) + frame.size());
        fw_cdev_event_request2 header{};
        header.closure = *client->fcpClosure;
        header.type = FW_CDEV_EVENT_REQUEST2;
        header.tcode = frame.size() == 4 ? TCODE_WRITE_QUADLET_REQUEST : TCODE_WRITE_BLOCK_REQUEST;
        header.offset = 0xFFFFF0000D00ULL;
        header.source_node_id = source;
        header.card = static_cast<std::uint32_t>(card);
        header.generation = mCards[card].generation;
        header.handle = ++mHandles;
        header.length = static_cast<std::uint32_t>(frame.size());
        std::memcpy(event.data(), &header, sizeof header);
        std::copy(frame.begin(), frame.end(),
                  event.begin() + offsetof(fw_cdev_event_request2, data));
        sendEvent(*client, event.data(), event.size());
    }
}

// --- Stream -----------------------------------------------------------------------------------

void FakeBus::later(int milliseconds, std::function<void()> action) {
    mLater.emplace_back(std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds),
                        std::move(action));
}

void FakeBus::tick() {
    const auto now = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < mLater.size();) {
        if (mLater[i].first <= now) {
            const auto action = std::move(mLater[i].second);
            mLater.erase(mLater.begin() + static_cast<long>(i));
            action();
        } else {
            ++i;
        }
    }
    for (auto& [number, node] : mNodes) {
        if (node.deck && !node.isAway) {
            talk(node, now);
        }
    }
}

Client* FakeBus::receiver(int card, unsigned channel) {
    for (const auto& [descriptor, client] : mClients) {
        const Node* const node = nodeNumber(client->node);
        if (client->iso && client->iso->channel == channel && node != nullptr &&
            node->card == card) {
            return client.get();
        }
    }
    return nullptr;
}

void FakeBus::talk(Node& node, Time now) {
    Deck& deck = *node.deck;
    const unsigned channel = deck.connections > 0 || now < deck.keepUntil ? deck.channel : 63;
    Client* const to = receiver(node.card, channel);
    const bool isHeard = to != nullptr && to->iso->isStarted;
    const double rate = kCyclesPerSecond * deck.settings.speed;
    if (!deck.isSending(now) || (!deck.hasBegun && !isHeard)) {
        // Time goes on, but not the tape.
        const auto passed = static_cast<std::int64_t>(static_cast<double>(deck.cycle) / rate * 1e9);
        deck.origin = now - std::chrono::nanoseconds(passed);
        return;
    }
    deck.hasBegun = true;
    const std::chrono::duration<double> elapsed = now - deck.origin;
    const auto due = static_cast<std::uint64_t>(elapsed.count() * rate);
    for (int i = 0; deck.cycle < due && i < kTickCyclesMax; ++i) {
        if (!sendCycle(node, isHeard ? to : nullptr, now)) {
            const auto passed =
                static_cast<std::int64_t>(static_cast<double>(deck.cycle) / rate * 1e9);
            deck.origin = now - std::chrono::nanoseconds(passed);
            return;
        }
    }
}

/// @return false when the receiver must be waited for, or there is nothing more to send.
bool FakeBus::sendCycle(Node& node, Client* receiver, Time now) {
    Deck& deck = *node.deck;
    if (!deck.isSending(now)) {
        return false;
    }
    if (deck.settings.patient && receiver != nullptr && receiver->iso->slots.empty()) {
        return false;
    }
    const auto id =
        static_cast<std::uint8_t>(deck.settings.sid >= 0 ? deck.settings.sid : node.id & 0x3F);
    deck.fill += deck.isPAL() ? kFillPAL : kFillNTSC;
    if (deck.fill < kFillFull || !deck.hasMore()) {
        deck.fill = std::min(deck.fill, kFillFull);
        if (receiver != nullptr) {
            std::uint8_t header[8];
            takebox::test::fillHeader(header, id, deck.dbc, deck.isPAL());
            setFormat(deck.settings.format, header);
            deliver(*receiver, header, sizeof header, deck.cycle);
        }
    } else {
        deck.fill -= kFillFull;
        if (receiver != nullptr && deck.dropped.erase(deck.packet) == 0) {
            const auto& frame =
                deck.source[deck.packet / deck.packetsPerFrame() % deck.source.size()];
            auto packet = takebox::test::makePacket(
                frame, static_cast<int>(deck.packet % deck.packetsPerFrame()), id, deck.dbc);
            setFormat(deck.settings.format, packet.data());
            deliver(*receiver, packet.data(), packet.size(), deck.cycle);
        }
        ++deck.packet;
        ++deck.dbc;
    }
    ++deck.cycle;
    return true;
}

void FakeBus::deliver(Client& client, const std::uint8_t* packet, std::size_t size,
                      std::uint64_t cycle) {
    IsoContext& iso = *client.iso;
    if (iso.slots.empty()) {
        return;  // lost, as in the hardware
    }
    const IsoContext::Slot slot = iso.slots.front();
    iso.slots.pop_front();
    std::memcpy(iso.memory + slot.offset, packet, std::min(size, slot.size));
    constexpr std::size_t kHeadersMax = kHeaderBytesMax / sizeof(std::uint32_t);
    if (iso.headers.size() + 2 <= kHeadersMax) {
        constexpr std::uint32_t kTag1 = 1U << 14;
        constexpr std::uint32_t kStreamData = 0xAU << 4;
        iso.headers.push_back(htobe32(static_cast<std::uint32_t>(size) << 16 | kTag1 |
                                      iso.channel << 8 | kStreamData));
        iso.headers.push_back(htobe32(static_cast<std::uint32_t>(
            (cycle / kCyclesPerSecond % 8) << 13 | cycle % kCyclesPerSecond)));
    }
    if (slot.interrupts) {
        const std::size_t bytes = iso.headers.size() * sizeof(std::uint32_t);
        std::vector<std::uint8_t> event(sizeof(fw_cdev_event_iso_interrupt) + bytes);
        fw_cdev_event_iso_interrupt header{};
        header.closure = iso.closure;
        header.type = FW_CDEV_EVENT_ISO_INTERRUPT;
        header.cycle = static_cast<std::uint32_t>(cycle % kCyclesPerSecond);
        header.header_length = static_cast<std::uint32_t>(bytes);
        std::memcpy(event.data(), &header, sizeof header);
        std::memcpy(event.data() + offsetof(fw_cdev_event_iso_interrupt, header),
                    iso.headers.data(), bytes);
        sendEvent(client, event.data(), event.size());
        iso.headers.clear();
    }
}

}  // namespace fakefirewire
