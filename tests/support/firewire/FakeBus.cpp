#include "FakeBus.h"

#include <algorithm>

#include "FakeSysfs.h"
#include "System.h"

namespace fakefirewire {
namespace {

constexpr std::uint16_t kLocalBus = 0xFFC0;

}  // namespace

FakeBus& FakeBus::instance() {
    static auto* const bus = new FakeBus;  // never destroyed: programs close files to the very end
    return *bus;
}

int FakeBus::nextNumber() const {
    int number = 0;
    while (mNodes.count(number) != 0) {
        ++number;
    }
    return number;
}

Deck* FakeBus::deck(std::uint64_t guid) {
    Node* const node = nodeOf(guid);
    return node != nullptr ? node->deck.get() : nullptr;
}

Node* FakeBus::nodeOf(std::uint64_t guid) {
    for (auto& [number, node] : mNodes) {
        if (node.guid == guid) {
            return &node;
        }
    }
    return nullptr;
}

Node* FakeBus::nodeNumber(int number) {
    const auto found = mNodes.find(number);
    return found != mNodes.end() ? &found->second : nullptr;
}

std::shared_ptr<Deck> FakeBus::unpluggedDeck(std::uint64_t guid) {
    const auto found = mUnplugged.find(guid);
    return found != mUnplugged.end() ? found->second : nullptr;
}

void FakeBus::assignNodes(int card, bool renumber) {
    std::vector<Node*> nodes;
    for (auto& [number, node] : mNodes) {
        if (node.card == card && !node.isAway) {
            nodes.push_back(&node);
        }
    }
    mRotation += renumber ? 1 : 0;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const auto place = (i + static_cast<std::size_t>(mRotation)) % nodes.size();
        nodes[i]->id = static_cast<std::uint16_t>(kLocalBus | place);
    }
}

/// A bus reset: new generation, node numbers, nothing allocated, plugs unconnected.
void FakeBus::renew(int card, bool renumber) {
    assignNodes(card, renumber);
    auto& state = mCards[card];
    ++state.generation;
    state.channelsFree = ~0ULL;
    state.bandwidthFree = state.bandwidth;
    for (auto& [number, node] : mNodes) {
        if (node.card == card && node.deck) {
            if (node.deck->connections > 0 && node.deck->settings.keep) {
                node.deck->keepUntil = std::chrono::steady_clock::now() + std::chrono::seconds(1);
            }
            node.deck->connections = 0;
        }
    }
    for (const auto& [descriptor, client] : mClients) {
        const Node* const node = nodeNumber(client->node);
        if (node != nullptr && node->card == card && !node->isAway && client->hasAskedForInfo) {
            const auto event = resetEvent(*node, client->resetClosure);
            sendEvent(*client, &event, sizeof event);
        }
    }
}

void FakeBus::reset(int card, bool renumber) {
    renew(card, renumber);
}

std::string FakeBus::addCard(int card) {
    Node node;
    node.number = nextNumber();
    node.card = card;
    node.guid = 0x0011220000000000ULL + static_cast<std::uint64_t>(card);
    mCards[card];
    mNodes[node.number] = node;
    renew(card, false);
    addToSysfs(mNodes[node.number]);
    sendUevent(mNodes[node.number], "add");
    return "ok " + std::to_string(node.number);
}

std::string FakeBus::removeCard(int card) {
    std::vector<Node> gone;
    mLater.clear();  // answers under way
    for (auto& [number, node] : mNodes) {
        if (node.card == card) {
            gone.push_back(node);
        }
    }
    for (const auto& node : gone) {
        if (node.deck) {
            mUnplugged[node.guid] = node.deck;
        }
        mNodes.erase(node.number);
        endClients(node.number);
        removeFromSysfs(node);
        sendUevent(node, "remove");
    }
    mCards.erase(card);
    return "ok";
}

std::string FakeBus::plug(const std::shared_ptr<Deck>& deck) {
    if (nodeOf(deck->guid) != nullptr) {
        return "error plugged already";
    }
    if (mCards.count(deck->settings.card) == 0) {
        return "error no such card";
    }
    Node node;
    node.number = deck->settings.fw >= 0 ? deck->settings.fw : nextNumber();
    node.card = deck->settings.card;
    node.guid = deck->guid;
    node.deck = deck;
    deck->connections = 0;
    deck->keepUntil = {};
    if (mNodes.count(node.number) != 0) {
        return "error device file exists";
    }
    mUnplugged.erase(deck->guid);
    mNodes[node.number] = node;
    renew(node.card, false);
    addToSysfs(mNodes[node.number]);
    sendUevent(mNodes[node.number], "add");
    return "ok " + std::to_string(node.number);
}

std::string FakeBus::unplug(std::uint64_t guid) {
    Node* const found = nodeOf(guid);
    if (found == nullptr || !found->deck) {
        return "error not plugged";
    }
    const Node node = *found;
    mUnplugged[guid] = node.deck;
    mNodes.erase(node.number);
    endClients(node.number);
    renew(node.card, false);
    removeFromSysfs(node);
    sendUevent(node, "remove");
    return "ok";
}

std::string FakeBus::setAway(std::uint64_t guid, bool away) {
    Node* const node = nodeOf(guid);
    if (node == nullptr) {
        return "error not plugged";
    }
    node->isAway = away;
    renew(node->card, false);
    return "ok";
}

std::string FakeBus::changed(std::uint64_t guid) {
    Node* const node = nodeOf(guid);
    if (node == nullptr) {
        return "error not plugged";
    }
    removeFromSysfs(*node);
    addToSysfs(*node);
    sendUevent(*node, "change");
    return "ok";
}

void FakeBus::endClients(int number) {
    for (const auto& [descriptor, client] : mClients) {
        if (client->node == number && client->peer >= 0) {
            real::close(client->peer);
            client->peer = -1;
            client->iso.reset();
            client->fcpClosure.reset();
        }
    }
}

fw_cdev_event_bus_reset FakeBus::resetEvent(const Node& node, std::uint64_t closure) const {
    fw_cdev_event_bus_reset event{};
    event.closure = closure;
    event.type = FW_CDEV_EVENT_BUS_RESET;
    event.node_id = node.id;
    event.bm_node_id = kLocalBus;
    event.root_node_id = kLocalBus;
    for (const auto& [number, each] : mNodes) {
        if (each.card != node.card || each.isAway) {
            continue;
        }
        event.root_node_id = std::max<std::uint32_t>(event.root_node_id, each.id);
        if (!each.deck) {
            event.local_node_id = each.id;
        }
    }
    event.irm_node_id = event.root_node_id;
    event.generation = mCards.at(node.card).generation;
    return event;
}

}  // namespace fakefirewire
