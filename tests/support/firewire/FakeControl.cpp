#include "FakeControl.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <sstream>
#include <thread>
#include <vector>

#include "FakeBus.h"
#include "FakeSysfs.h"
#include "System.h"

namespace fakefirewire {
namespace {

using Words = std::vector<std::string>;

constexpr std::size_t kMadeUpFramesMax = 1000;

std::uint64_t guidOf(const std::string& text) {
    return std::strtoull(text.c_str(), nullptr, 16);
}

bool loadSource(Deck& deck) {
    const std::string& source = deck.settings.source;
    deck.source.clear();
    const auto colon = source.find(':');
    const std::string kind = source.substr(0, colon);
    if (kind == "pal" || kind == "ntsc") {
        const auto count = std::strtoul(source.c_str() + colon + 1, nullptr, 10);
        for (std::uint32_t i = 0; i < count && i < kMadeUpFramesMax; ++i) {
            deck.source.push_back(takebox::test::makeFrame(kind == "pal", i));
        }
        return !deck.source.empty();
    }
    std::ifstream file(source, std::ios::binary);
    const std::istreambuf_iterator<char> begin(file);
    const DVFrame bytes(begin, {});
    if (bytes.size() < takebox::test::kFrameSizeNTSC) {
        return false;
    }
    const std::size_t size =
        (bytes[3] & 0x80) != 0 ? takebox::test::kFrameSizePAL : takebox::test::kFrameSizeNTSC;
    for (std::size_t i = 0; i + size <= bytes.size(); i += size) {
        deck.source.emplace_back(bytes.begin() + static_cast<long>(i),
                                 bytes.begin() + static_cast<long>(i + size));
    }
    return !deck.source.empty();
}

std::string applySettings(Deck& deck, const Words& words, std::size_t from) {
    const std::string before = deck.settings.source;
    for (std::size_t i = from; i < words.size(); ++i) {
        const auto equals = words[i].find('=');
        if (equals == std::string::npos ||
            !applySetting(deck.settings, words[i].substr(0, equals), words[i].substr(equals + 1))) {
            return "error setting " + words[i];
        }
    }
    if (deck.source.empty() || deck.settings.source != before) {
        if (!loadSource(deck)) {
            return "error source " + deck.settings.source;
        }
    }
    return "ok";
}

std::string commandDeck(FakeBus& bus, const Words& words) {
    auto deck = std::make_shared<Deck>();
    deck->guid = guidOf(words[1]);
    const std::string result = applySettings(*deck, words, 2);
    return result == "ok" ? bus.plug(deck) : result;
}

std::string commandPlug(FakeBus& bus, const Words& words) {
    const auto deck = bus.unpluggedDeck(guidOf(words[1]));
    if (!deck) {
        return "error no such deck";
    }
    const std::string result = applySettings(*deck, words, 2);
    return result == "ok" ? bus.plug(deck) : result;
}

std::string commandSet(FakeBus& bus, const Words& words) {
    Deck* const deck = bus.deck(guidOf(words[1]));
    return deck != nullptr ? applySettings(*deck, words, 2) : "error no such deck";
}

/// drop GUID FRAME PACKET [COUNT]: these data packets will be lost; frames count from the first
/// one sent.
std::string commandDrop(FakeBus& bus, const Words& words) {
    Deck* const deck = bus.deck(guidOf(words[1]));
    if (deck == nullptr || words.size() < 4) {
        return "error drop GUID FRAME PACKET [COUNT]";
    }
    const auto first = std::stoull(words[2]) * deck->packetsPerFrame() + std::stoull(words[3]);
    const auto count = words.size() > 4 ? std::stoull(words[4]) : 1;
    for (std::uint64_t i = 0; i < count; ++i) {
        deck->dropped.insert(first + i);
    }
    return "ok";
}

std::string commandPause(FakeBus& bus, const Words& words) {
    Deck* const deck = bus.deck(guidOf(words[1]));
    if (deck == nullptr || words.size() < 3) {
        return "error pause GUID MILLISECONDS";
    }
    deck->pausedUntil =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(std::stol(words[2]));
    return "ok";
}

std::string commandStatus(FakeBus& bus, const Words& words) {
    const Node* const node = bus.nodeOf(guidOf(words[1]));
    if (node == nullptr || !node->deck) {
        return "error no such deck";
    }
    const Deck& deck = *node->deck;
    std::ostringstream text;
    text << "ok frames=" << deck.packet / deck.packetsPerFrame() << " packets=" << deck.packet
         << " connections=" << deck.connections << " channel=" << deck.channel
         << " transport=" << deck.transport << " commands=" << deck.commandCount
         << " node=" << (node->id & 0x3F) << " fw=" << node->number
         << " generation=" << bus.card(node->card).generation
         << " bandwidth=" << bus.card(node->card).bandwidthFree << " begun=" << deck.hasBegun;
    return text.str();
}

std::string commandDeny(FakeBus& bus, const Words& words) {
    Node* const node = bus.nodeNumber(std::stoi(words[1]));
    if (node == nullptr) {
        return "error no such device file";
    }
    node->isDenied = words[0] == "deny";
    return "ok";
}

std::string commandBandwidth(FakeBus& bus, const Words& words) {
    if (words.size() < 3) {
        return "error bandwidth CARD UNITS";
    }
    auto& card = bus.card(std::stoi(words[1]));
    card.bandwidth = card.bandwidthFree = std::stoi(words[2]);
    return "ok";
}

std::string commandOccupy(FakeBus& bus, const Words& words) {
    if (words.size() < 3) {
        return "error occupy CARD CHANNEL";
    }
    const auto channel = static_cast<unsigned>(std::stoul(words[2]));
    auto& occupied = bus.card(std::stoi(words[1])).occupied;
    if (words[0] == "occupy") {
        occupied.insert(channel);
    } else {
        occupied.erase(channel);
    }
    return "ok";
}

std::string commandReset(FakeBus& bus, const Words& words) {
    bus.reset(std::stoi(words[1]), words.size() > 2 && words[2] == "renumber");
    return "ok";
}

struct Command {
    std::string_view name;
    std::string (*run)(FakeBus&, const Words&);
};

// All take at least one argument.
constexpr Command kCommands[] = {
    {"card", [](FakeBus& bus, const Words& words) { return bus.addCard(std::stoi(words[1])); }},
    {"uncard",
     [](FakeBus& bus, const Words& words) { return bus.removeCard(std::stoi(words[1])); }},
    {"deck", commandDeck},
    {"plug", commandPlug},
    {"unplug", [](FakeBus& bus, const Words& words) { return bus.unplug(guidOf(words[1])); }},
    {"away", [](FakeBus& bus, const Words& words) { return bus.setAway(guidOf(words[1]), true); }},
    {"back", [](FakeBus& bus, const Words& words) { return bus.setAway(guidOf(words[1]), false); }},
    {"change", [](FakeBus& bus, const Words& words) { return bus.changed(guidOf(words[1])); }},
    {"reset", commandReset},
    {"set", commandSet},
    {"drop", commandDrop},
    {"pause", commandPause},
    {"status", commandStatus},
    {"deny", commandDeny},
    {"allow", commandDeny},
    {"bandwidth", commandBandwidth},
    {"occupy", commandOccupy},
    {"free", commandOccupy},
};

void serveClient(int descriptor) {
    std::string received;
    char buffer[1024];
    for (;;) {
        const ssize_t length = recv(descriptor, buffer, sizeof buffer, 0);
        if (length <= 0) {
            break;
        }
        received.append(buffer, static_cast<std::size_t>(length));
        for (auto end = received.find('\n'); end != std::string::npos; end = received.find('\n')) {
            const std::string answer = runCommand(received.substr(0, end)) + "\n";
            received.erase(0, end + 1);
            send(descriptor, answer.data(), answer.size(), MSG_NOSIGNAL);
        }
    }
    real::close(descriptor);
}

}  // namespace

std::string runCommand(std::string_view line) {
    std::istringstream stream{std::string(line)};
    const Words words{std::istream_iterator<std::string>(stream), {}};
    if (words.size() < 2) {
        return "error what?";
    }
    auto& bus = FakeBus::instance();
    const std::lock_guard lock(bus.mutex);
    for (const auto& command : kCommands) {
        if (command.name == words[0]) {
            try {
                return command.run(bus, words);
            } catch (const std::exception& error) {
                return std::string("error ") + error.what();
            }
        }
    }
    return "error unknown command " + words[0];
}

void runScript() {
    const char* const path = std::getenv("FAKE_FIREWIRE_SCRIPT");
    std::ifstream script(path != nullptr ? path : "");
    std::string line;
    while (std::getline(script, line)) {
        if (line.empty() || line[0] == '#') {
            continue;
        }
        const std::string answer = runCommand(line);
        if (answer.compare(0, 2, "ok") != 0) {
            std::fprintf(stderr, "fake_firewire: %s: %s\n", line.c_str(), answer.c_str());
        }
    }
}

void serveControl() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/control", worldFolder().c_str());
    unlink(address.sun_path);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 4) != 0) {
        std::perror("fake_firewire: control socket");
        return;
    }
    for (;;) {
        const int descriptor = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (descriptor >= 0) {
            std::thread(serveClient, descriptor).detach();
        }
    }
}

}  // namespace fakefirewire
