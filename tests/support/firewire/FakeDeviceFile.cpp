// What programs do with the device files of the bus: system calls, requests, isochronous reception.
#include <fcntl.h>
#include <linux/firewire-constants.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "FakeBus.h"
#include "FakeSysfs.h"
#include "System.h"

namespace fakefirewire {
namespace {

constexpr std::uint32_t kInterfaceVersion = 5;
constexpr std::uint64_t kRegisters = 0xFFFFF0000000ULL;
constexpr std::uint64_t kOutputMasterPlug = kRegisters + 0x900;
constexpr std::uint64_t kOutputPlug0 = kRegisters + 0x904;
constexpr std::uint64_t kFCPCommand = kRegisters + 0xB00;

std::vector<std::uint8_t> bigEndian(std::uint32_t value) {
    return {static_cast<std::uint8_t>(value >> 24), static_cast<std::uint8_t>(value >> 16),
            static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)};
}

std::uint32_t fromBigEndian(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
           static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3];
}

template <typename T>
T* pointer(std::uint64_t address) {
    return reinterpret_cast<T*>(static_cast<std::uintptr_t>(address));
}

}  // namespace

IsoContext::~IsoContext() {
    if (memory != nullptr) {
        munmap(memory, size);
    }
}

void FakeBus::sendEvent(const Client& client, const void* event, std::size_t size) {
    if (client.peer >= 0) {
        send(client.peer, event, size, MSG_DONTWAIT | MSG_NOSIGNAL);
    }
}

int FakeBus::open(int number, bool closeOnExec) {
    const Node* const node = nodeNumber(number);
    if (node == nullptr) {
        return -ENOENT;
    }
    if (node->isDenied || (node->deck && node->deck->settings.access == "no")) {
        return -EACCES;
    }
    if (node->deck && node->deck->settings.access == "gone") {
        return -ENODEV;
    }
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | (closeOnExec ? SOCK_CLOEXEC : 0), 0, ends) != 0) {
        return -errno;
    }
    fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    const int size = 1 << 20;
    setsockopt(ends[1], SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    auto client = std::make_shared<Client>();
    client->peer = ends[1];
    client->node = number;
    mClients[ends[0]] = std::move(client);
    return ends[0];
}

void FakeBus::close(int descriptor) {
    const auto found = mClients.find(descriptor);
    if (found == mClients.end()) {
        return;
    }
    const auto client = found->second;
    mClients.erase(found);
    if (client->peer >= 0) {
        real::close(client->peer);
    }
}

int FakeBus::ioctl(int descriptor, unsigned long request, void* argument) {
    const auto found = mClients.find(descriptor);
    if (found == mClients.end()) {
        return -EBADF;
    }
    Client& client = *found->second;
    if (client.peer < 0) {
        return -ENODEV;
    }
    switch (request) {
        case FW_CDEV_IOC_GET_INFO:
            return getInfo(client, *static_cast<fw_cdev_get_info*>(argument));
        case FW_CDEV_IOC_SEND_REQUEST:
            return sendRequest(client, *static_cast<fw_cdev_send_request*>(argument));
        case FW_CDEV_IOC_ALLOCATE: {
            auto& allocate = *static_cast<fw_cdev_allocate*>(argument);
            client.fcpClosure = allocate.closure;
            allocate.handle = ++mHandles;
            return 0;
        }
        case FW_CDEV_IOC_DEALLOCATE:
            client.fcpClosure.reset();
            return 0;
        case FW_CDEV_IOC_SEND_RESPONSE:
            return 0;
        case FW_CDEV_IOC_ALLOCATE_ISO_RESOURCE_ONCE:
            return isoResource(client, *static_cast<fw_cdev_allocate_iso_resource*>(argument),
                               true);
        case FW_CDEV_IOC_DEALLOCATE_ISO_RESOURCE_ONCE:
            return isoResource(client, *static_cast<fw_cdev_allocate_iso_resource*>(argument),
                               false);
        case FW_CDEV_IOC_CREATE_ISO_CONTEXT:
            return createContext(client, *static_cast<fw_cdev_create_iso_context*>(argument));
        case FW_CDEV_IOC_QUEUE_ISO:
            return queue(client, *static_cast<fw_cdev_queue_iso*>(argument));
        case FW_CDEV_IOC_START_ISO:
        case FW_CDEV_IOC_STOP_ISO:
            if (!client.iso) {
                return -EINVAL;
            }
            client.iso->isStarted = request == FW_CDEV_IOC_START_ISO;
            return 0;
        case FW_CDEV_IOC_FLUSH_ISO:
            return 0;
        case FW_CDEV_IOC_GET_SPEED:
            return SCODE_400;
        default:
            return -ENOTTY;
    }
}

int FakeBus::getInfo(Client& client, fw_cdev_get_info& info) {
    const Node& node = *nodeNumber(client.node);
    client.version = info.version;
    client.hasAskedForInfo = true;
    client.resetClosure = info.bus_reset_closure;
    info.version = kInterfaceVersion;
    info.card = static_cast<std::uint32_t>(node.card);
    const auto rom = configROM(node);
    const auto length = static_cast<std::uint32_t>(rom.size() * sizeof rom[0]);
    if (info.rom != 0) {
        std::memcpy(pointer<void>(info.rom), rom.data(), std::min(info.rom_length, length));
    }
    info.rom_length = length;
    if (info.bus_reset != 0) {
        *pointer<fw_cdev_event_bus_reset>(info.bus_reset) =
            resetEvent(node, info.bus_reset_closure);
    }
    return 0;
}

int FakeBus::sendRequest(Client& client, const fw_cdev_send_request& request) {
    Node& node = *nodeNumber(client.node);
    std::vector<std::uint8_t> answer;
    std::uint32_t rcode = RCODE_GENERATION;
    if (request.generation == mCards[node.card].generation) {
        rcode = node.isAway ? RCODE_NO_ACK : handleRequest(node, request, answer);
    }
    std::vector<std::uint8_t> event(sizeof(fw_cdev_event_response) + answer.size());
    fw_cdev_event_response header{};
    header.closure = request.closure;
    header.type = FW_CDEV_EVENT_RESPONSE;
    header.rcode = rcode;
    header.length = static_cast<std::uint32_t>(answer.size());
    std::memcpy(event.data(), &header, sizeof header);
    // The payload begins where the structure's last field ends, before its padding.
    std::copy(answer.begin(), answer.end(), event.begin() + offsetof(fw_cdev_event_response, data));
    sendEvent(client, event.data(), event.size());
    return 0;
}

std::uint32_t FakeBus::handleRequest(Node& node, const fw_cdev_send_request& request,
                                     std::vector<std::uint8_t>& answer) {
    if (!node.deck) {
        return RCODE_ADDRESS_ERROR;
    }
    const bool isWrite =
        request.tcode == TCODE_WRITE_QUADLET_REQUEST || request.tcode == TCODE_WRITE_BLOCK_REQUEST;
    if (request.offset == kFCPCommand && isWrite) {
        if (node.deck->settings.units == "converter") {
            return RCODE_ADDRESS_ERROR;
        }
        const auto* const data = pointer<const std::uint8_t>(request.data);
        command(node, {data, data + request.length});
        return RCODE_COMPLETE;
    }
    if (request.offset == kOutputMasterPlug && request.tcode == TCODE_READ_QUADLET_REQUEST) {
        // One plug, S100, broadcast channel 63.
        answer = bigEndian(63U << 24 | 1U);
        return RCODE_COMPLETE;
    }
    if (request.offset == kOutputPlug0) {
        return plugRegister(node, request, answer);
    }
    return RCODE_ADDRESS_ERROR;
}

std::uint32_t FakeBus::plugRegister(const Node& node, const fw_cdev_send_request& request,
                                    std::vector<std::uint8_t>& answer) {
    Deck& deck = *node.deck;
    constexpr std::uint32_t kOnline = 1U << 31;
    constexpr std::uint32_t kBroadcast = 1U << 30;
    constexpr std::uint32_t kPayload = 122;
    constexpr std::uint32_t kOverhead = 2U << 10;
    const std::uint32_t value = kOnline | (deck.settings.broadcast ? kBroadcast : 0) |
                                deck.connections << 24 | deck.channel << 16 | kOverhead | kPayload;
    if (request.tcode == TCODE_READ_QUADLET_REQUEST) {
        answer = bigEndian(value);
        return RCODE_COMPLETE;
    }
    if (request.tcode != TCODE_LOCK_COMPARE_SWAP || request.length != 8) {
        return RCODE_TYPE_ERROR;
    }
    if (!deck.settings.plugs) {
        return RCODE_TYPE_ERROR;
    }
    const auto* const data = pointer<const std::uint8_t>(request.data);
    answer = bigEndian(value);
    if (fromBigEndian(data) == value) {
        const std::uint32_t next = fromBigEndian(data + 4);
        deck.connections = next >> 24 & 0x3F;
        deck.channel = next >> 16 & 0x3F;
        deck.keepUntil = {};
    }
    return RCODE_COMPLETE;
}

int FakeBus::isoResource(Client& client, const fw_cdev_allocate_iso_resource& resource,
                         bool allocate) {
    Card& card = mCards[nodeNumber(client.node)->card];
    fw_cdev_event_iso_resource event{};
    event.closure = resource.closure;
    event.type =
        allocate ? FW_CDEV_EVENT_ISO_RESOURCE_ALLOCATED : FW_CDEV_EVENT_ISO_RESOURCE_DEALLOCATED;
    event.channel = -1;
    const auto bandwidth = static_cast<int>(resource.bandwidth);
    if (allocate) {
        const bool hasChannel =
            resource.channels == 0 || (card.channelsFree & resource.channels) != 0;
        if (hasChannel && bandwidth <= card.bandwidthFree) {
            card.bandwidthFree -= bandwidth;
            event.bandwidth = bandwidth;
            for (int channel = 0; channel < 64 && resource.channels != 0; ++channel) {
                if ((card.channelsFree & resource.channels & 1ULL << channel) != 0) {
                    card.channelsFree &= ~(1ULL << channel);
                    event.channel = channel;
                    break;
                }
            }
        }
    } else {
        card.bandwidthFree = std::min(card.bandwidth, card.bandwidthFree + bandwidth);
        card.channelsFree |= resource.channels;
        event.bandwidth = bandwidth;
        for (int channel = 0; channel < 64; ++channel) {
            if ((resource.channels & 1ULL << channel) != 0) {
                event.channel = channel;
            }
        }
    }
    sendEvent(client, &event, sizeof event);
    return 0;
}

int FakeBus::createContext(Client& client, fw_cdev_create_iso_context& create) {
    const int card = nodeNumber(client.node)->card;
    if (create.type != FW_CDEV_ISO_CONTEXT_RECEIVE || create.header_size != 8) {
        return -EINVAL;
    }
    if (client.iso || receiver(card, create.channel) != nullptr ||
        mCards[card].occupied.count(create.channel) != 0) {
        return -EBUSY;
    }
    client.iso = std::make_unique<IsoContext>();
    client.iso->channel = create.channel;
    client.iso->closure = create.closure;
    create.handle = 0;
    return 0;
}

int FakeBus::queue(const Client& client, fw_cdev_queue_iso& queue) {
    if (!client.iso || client.iso->memory == nullptr) {
        return -EINVAL;
    }
    const auto* const packets = pointer<const std::uint32_t>(queue.packets);
    std::size_t offset = queue.data - client.iso->userAddress;
    for (std::uint32_t i = 0; i < queue.size / sizeof(std::uint32_t); ++i) {
        const std::size_t length = packets[i] & 0xFFFF;
        if (offset + length > client.iso->size) {
            return -EINVAL;
        }
        client.iso->slots.push_back({offset, length, (packets[i] & FW_CDEV_ISO_INTERRUPT) != 0});
        offset += length;
    }
    queue.packets += queue.size;
    queue.data = client.iso->userAddress + offset;
    queue.size = 0;
    return 0;
}

void* FakeBus::map(int descriptor, std::size_t size, const std::function<void*(int)>& map) {
    const auto found = mClients.find(descriptor);
    if (found == mClients.end() || !found->second->iso) {
        errno = EINVAL;
        return MAP_FAILED;
    }
    IsoContext& iso = *found->second->iso;
    const int file = memfd_create("fw-ring", MFD_CLOEXEC);
    if (file < 0 || ftruncate(file, static_cast<off_t>(size)) != 0) {
        return MAP_FAILED;
    }
    // The program unmaps its side before it ends the context: ours lives on its own.
    void* const ours = real::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    void* const theirs = map(file);
    real::close(file);
    iso.memory = static_cast<std::uint8_t*>(ours);
    iso.size = size;
    iso.userAddress = reinterpret_cast<std::uintptr_t>(theirs);
    return theirs;
}

}  // namespace fakefirewire
