#pragma once

#include <linux/firewire-cdev.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "DVPackets.h"

/// A FireWire bus with decks, as programs see it through /dev/fw*. All fields of all classes are
/// guarded by FakeBus::mutex.
namespace fakefirewire {

using Time = std::chrono::steady_clock::time_point;
using takebox::test::DVFrame;

/// Isochronous reception of one open device file.
struct IsoContext {
    struct Slot {
        std::size_t offset;
        std::size_t size;
        bool interrupts;
    };

    unsigned channel = 0;
    std::uint64_t closure = 0;
    bool isStarted = false;
    std::uint8_t* memory = nullptr;  ///< our mapping of the ring
    std::size_t size = 0;
    std::uintptr_t userAddress = 0;  ///< the program's mapping
    std::deque<Slot> slots;
    std::vector<std::uint32_t> headers;  ///< of the packets since the last interrupt

    IsoContext() = default;
    ~IsoContext();
    IsoContext(const IsoContext&) = delete;
    IsoContext& operator=(const IsoContext&) = delete;
};

/// An open device file.
struct Client {
    int peer = -1;  ///< our end; the program has the other
    int node = -1;  ///< number of the device file
    std::uint32_t version = 0;
    bool hasAskedForInfo = false;
    std::uint64_t resetClosure = 0;
    std::optional<std::uint64_t> fcpClosure;
    std::unique_ptr<IsoContext> iso;
};

/// How a deck behaves; each field is a key of the control commands.
struct DeckSettings {
    int card = 0;
    std::string vendor = "Nordlicht";
    std::string model = "DV-100";
    std::string names = "attributes";  ///< attributes, rom or none: where its names are found
    std::string units = "avc";         ///< avc, converter or camera (machine vision)
    std::string format = "";           ///< plug format: dv (as the source is), hdv or sdl
    std::string source = "pal:50";     ///< pal:N or ntsc:N frames made up, or a file; repeated
    double speed = 1;
    long frames = -1;                 ///< then only empty packets come; -1: no end
    std::string says = "truth";       ///< pal or ntsc: the video system that it answers with
    bool tape = true;                 ///< has a tape subunit
    bool roll = false;                ///< sends only while the tape plays
    bool broadcast = false;           ///< sends on channel 63 on its own
    bool patient = true;              ///< waits for a slow receiver instead of losing packets
    bool plugs = true;                ///< lets its plugs be connected
    bool silent = false;              ///< sends nothing, as a camera without a tape
    bool keep = true;                 ///< goes on for a second after a bus reset
    int sid = -1;                     ///< node number in its packets; -1: its own
    std::string answers = "yes";      ///< to questions: yes, no (silent), none (not implemented)
    std::string mute;                 ///< opcodes of questions without an answer: "18,31"
    std::string commands = "accept";  ///< accept, reject, silent, interim, late, foreign, reset,
                                      ///< none
    int late = 300;                   ///< ms for late, and for the final answer after interim
    std::string access = "yes";       ///< no: its device file may not be opened; gone: ENODEV
    int fw = -1;                      ///< number of its device file; -1: the next
};

/// @return false for an unknown key or value.
bool applySetting(DeckSettings& settings, std::string_view key, std::string_view value);

struct Deck {
    DeckSettings settings;
    std::uint64_t guid = 0;
    std::vector<DVFrame> source;

    // Plug 0 (IEC 61883-1 oPCR).
    unsigned channel = 63;
    unsigned connections = 0;
    Time keepUntil{};  ///< sends without a connection until then, after a bus reset

    // Stream.
    bool hasBegun = false;  ///< somebody has received from it
    Time origin{};          ///< when cycle 0 was
    std::uint64_t cycle = 0;
    unsigned fill = 0;         ///< decides between data and empty packets
    std::uint64_t packet = 0;  ///< data packets sent in all
    std::uint8_t dbc = 0x2A;
    Time pausedUntil{};
    std::set<std::uint64_t> dropped;

    std::string transport = "stop";
    int commandCount = 0;

    [[nodiscard]] bool isPAL() const;
    [[nodiscard]] std::uint64_t packetsPerFrame() const;
    [[nodiscard]] bool isSending(Time now) const;
    [[nodiscard]] bool hasMore() const;
};

/// A node on a bus: a deck or a controller.
struct Node {
    int number = -1;  ///< N of /dev/fwN
    int card = 0;
    std::uint16_t id = 0xFFC0;
    bool isDenied = false;  ///< its device file may not be opened
    bool isAway = false;    ///< off the bus, but not for so long that the system has noticed
    std::uint64_t guid = 0;
    std::shared_ptr<Deck> deck;  ///< null: this computer's controller
};

struct Card {
    std::uint32_t generation = 1;
    std::uint64_t channelsFree = ~0ULL;
    int bandwidth = 4915;  ///< free after a bus reset
    int bandwidthFree = 4915;
    std::set<unsigned> occupied;  ///< channels that someone else receives
};

class FakeBus {
public:
    static FakeBus& instance();

    std::mutex mutex;

    // Topology.
    std::string addCard(int card);
    std::string removeCard(int card);
    std::string plug(const std::shared_ptr<Deck>& deck);
    std::string unplug(std::uint64_t guid);
    std::string setAway(std::uint64_t guid, bool away);
    std::string changed(std::uint64_t guid);
    void reset(int card, bool renumber);
    Deck* deck(std::uint64_t guid);
    std::shared_ptr<Deck> unpluggedDeck(std::uint64_t guid);
    Node* nodeOf(std::uint64_t guid);
    Node* nodeNumber(int number);
    Card& card(int number) { return mCards[number]; }

    // Device files. Results are as of the system call, with a negative errno value for errors.
    int open(int number, bool closeOnExec);
    void close(int descriptor);
    int ioctl(int descriptor, unsigned long request, void* argument);
    /// Makes our mapping of a ring; `map` makes the program's from the given file.
    void* map(int descriptor, std::size_t size, const std::function<void*(int file)>& map);

    /// Sends what is due. Called every millisecond by the bus's own thread.
    void tick();
    void later(int milliseconds, std::function<void()> action);

private:
    using ClientPointer = std::shared_ptr<Client>;

    int nextNumber() const;
    void assignNodes(int card, bool renumber);
    void renew(int card, bool renumber);
    void endClients(int number);
    [[nodiscard]] fw_cdev_event_bus_reset resetEvent(const Node& node, std::uint64_t closure) const;
    void sendEvent(const Client& client, const void* event, std::size_t size);

    int getInfo(Client& client, fw_cdev_get_info& info);
    int sendRequest(Client& client, const fw_cdev_send_request& request);
    std::uint32_t handleRequest(Node& node, const fw_cdev_send_request& request,
                                std::vector<std::uint8_t>& answer);
    std::uint32_t plugRegister(const Node& node, const fw_cdev_send_request& request,
                               std::vector<std::uint8_t>& answer);
    int isoResource(Client& client, const fw_cdev_allocate_iso_resource& resource, bool allocate);
    int createContext(Client& client, fw_cdev_create_iso_context& create);
    int queue(const Client& client, fw_cdev_queue_iso& queue);

    void command(Node& node, std::vector<std::uint8_t> frame);
    void answerCommand(std::uint64_t guid, std::vector<std::uint8_t> frame, std::uint8_t code);
    void fcpResponse(int card, std::uint16_t source, const std::vector<std::uint8_t>& frame);

    void talk(Node& node, Time now);
    bool sendCycle(Node& node, Client* receiver, Time now);
    Client* receiver(int card, unsigned channel);
    void deliver(Client& client, const std::uint8_t* packet, std::size_t size, std::uint64_t cycle);

    std::map<int, Node> mNodes;  ///< by number
    std::map<int, Card> mCards;
    std::map<std::uint64_t, std::shared_ptr<Deck>> mUnplugged;
    std::map<int, ClientPointer> mClients;  ///< by the program's descriptor
    std::vector<std::pair<Time, std::function<void()>>> mLater;
    std::uint32_t mHandles = 0;
    int mRotation = 0;
};

}  // namespace fakefirewire
