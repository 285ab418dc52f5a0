#include "FakeSysfs.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <glob.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "FakeBus.h"

namespace fakefirewire {
namespace {

namespace fs = std::filesystem;

/// As in a message of udev to its listeners (systemd's device monitor).
struct MonitorHeader {
    char prefix[8];
    std::uint32_t magic;
    std::uint32_t headerSize;
    std::uint32_t propertiesOffset;
    std::uint32_t propertiesLength;
    std::uint32_t subsystemHash;
    std::uint32_t devtypeHash;
    std::uint32_t tagBloom[2];
};

constexpr std::uint32_t kMonitorMagic = 0xFEEDCAFE;

/// MurmurHash2 by Austin Appleby (public domain), which the monitor's socket filter compares.
std::uint32_t murmurHash2(std::string_view text) {
    constexpr std::uint32_t kFactor = 0x5BD1E995;
    auto hash = static_cast<std::uint32_t>(text.size());
    while (text.size() >= 4) {
        std::uint32_t word = 0;
        std::memcpy(&word, text.data(), 4);
        word *= kFactor;
        word ^= word >> 24;
        word *= kFactor;
        hash = hash * kFactor ^ word;
        text.remove_prefix(4);
    }
    for (std::size_t i = text.size(); i > 0; --i) {
        hash ^= static_cast<std::uint32_t>(static_cast<unsigned char>(text[i - 1]))
                << (8 * (i - 1));
    }
    if (!text.empty()) {
        hash *= kFactor;
    }
    hash ^= hash >> 13;
    hash *= kFactor;
    return hash ^ hash >> 15;
}

std::string name(const Node& node) {
    return "fw" + std::to_string(node.number);
}

std::string devicePath(const Node& node) {
    return "/devices/fake/card" + std::to_string(node.card) + "/" + name(node);
}

void write(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string hex(std::uint64_t guid) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "0x%016" PRIx64 "\n", guid);
    return text.data();
}

const char* units(const Node& node) {
    if (!node.deck) {
        return "";
    }
    if (node.deck->settings.units == "converter") {
        return "0x00a02d:0x010000";
    }
    return node.deck->settings.units == "camera" ? "0x00a02d:0x000102"
                                                 : "0x00a02d:0x010001 0x00a02d:0x014001";
}

}  // namespace

const std::string& worldFolder() {
    static const auto* const folder = [] {
        const char* const value = std::getenv("FAKE_FIREWIRE_DIR");
        return new std::string(value != nullptr ? value : "");
    }();
    return *folder;
}

void prepareWorld() {
    fs::create_directories(worldFolder() + "/sys/bus");
    fs::create_directories(worldFolder() + "/sys/class");
    fs::create_directories(worldFolder() + "/dev");
}

void addToSysfs(const Node& node) {
    const fs::path root = worldFolder() + "/sys";
    const fs::path folder = root.string() + devicePath(node);
    fs::create_directories(folder);
    fs::create_directories(root / "bus/firewire/devices");
    write(folder / "uevent",
          "MAJOR=240\nMINOR=" + std::to_string(node.number) + "\nDEVNAME=" + name(node) + "\n");
    write(folder / "guid", hex(node.guid));
    write(folder / "is_local", node.deck ? "0\n" : "1\n");
    write(folder / "units", std::string(units(node)) + "\n");
    const auto rom = configROM(node);
    write(folder / "config_rom",
          {reinterpret_cast<const char*>(rom.data()), rom.size() * sizeof rom[0]});
    if (node.deck && node.deck->settings.names == "attributes") {
        write(folder / "vendor_name", node.deck->settings.vendor + "\n");
        write(folder / "model_name", node.deck->settings.model + "\n");
    }
    std::error_code ignored;
    fs::create_directory_symlink("../../../../bus/firewire", folder / "subsystem", ignored);
    fs::create_directory_symlink("../../.." + devicePath(node),
                                 root / "bus/firewire/devices" / name(node), ignored);
    write(worldFolder() + "/dev/" + name(node), "");
}

void removeFromSysfs(const Node& node) {
    std::error_code ignored;
    fs::remove(worldFolder() + "/dev/" + name(node), ignored);
    fs::remove(worldFolder() + "/sys/bus/firewire/devices/" + name(node), ignored);
    fs::remove_all(worldFolder() + "/sys" + devicePath(node), ignored);
}

void sendUevent(const Node& node, const char* action) {
    static unsigned long sequence = 1;
    std::string properties;
    for (const auto& property :
         {"ACTION=" + std::string(action), "DEVPATH=" + devicePath(node),
          std::string("SUBSYSTEM=firewire"), "SEQNUM=" + std::to_string(sequence++),
          "DEVNAME=/dev/" + name(node), std::string("MAJOR=240"),
          "MINOR=" + std::to_string(node.number)}) {
        properties += property;
        properties += '\0';
    }
    MonitorHeader header{};
    std::memcpy(header.prefix, "libudev", sizeof header.prefix);
    header.magic = htonl(kMonitorMagic);
    header.headerSize = sizeof header;
    header.propertiesOffset = sizeof header;
    header.propertiesLength = static_cast<std::uint32_t>(properties.size());
    header.subsystemHash = htonl(murmurHash2("firewire"));
    std::string message(reinterpret_cast<const char*>(&header), sizeof header);
    message += properties;

    // libumockdev-preload gives each monitor a socket of this name in place of its netlink one.
    glob_t listeners{};
    if (glob((worldFolder() + "/event[0-9]*").c_str(), GLOB_NOSORT, nullptr, &listeners) == 0) {
        for (std::size_t i = 0; i < listeners.gl_pathc; ++i) {
            sockaddr_un address{};
            address.sun_family = AF_UNIX;
            std::snprintf(address.sun_path, sizeof address.sun_path, "%s", listeners.gl_pathv[i]);
            const int from = socket(AF_UNIX, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            sendto(from, message.data(), message.size(), MSG_NOSIGNAL,
                   reinterpret_cast<const sockaddr*>(&address), sizeof address);
            close(from);
        }
        globfree(&listeners);
    }
}

std::vector<std::uint32_t> configROM(const Node& node) {
    std::vector<std::uint32_t> rom = {0x04040000, 0x31333934, 0xE0008000,
                                      static_cast<std::uint32_t>(node.guid >> 32),
                                      static_cast<std::uint32_t>(node.guid)};
    if (!node.deck || node.deck->settings.names != "rom") {
        rom.insert(rom.end(), {0x00010000, 0x03001122});
        return rom;
    }
    const auto addLeaf = [&rom](const std::string& text) {
        const auto quadlets = static_cast<std::uint32_t>((text.size() + 3) / 4);
        rom.insert(rom.end(), {(quadlets + 2) << 16, 0, 0});
        for (std::size_t i = 0; i < quadlets * 4; ++i) {
            if (i % 4 == 0) {
                rom.push_back(0);
            }
            const auto character =
                i < text.size() ? static_cast<unsigned char>(text[i]) : std::uint8_t{0};
            rom.back() = rom.back() << 8 | character;
        }
    };
    // Root directory with the vendor directory of the old layout, which has the names.
    rom.insert(rom.end(), {0x00020000, 0x03001122, 0xC3000001});
    const std::size_t directory = rom.size();
    rom.insert(rom.end(), {0x00030000, 0, 0x17000001, 0});
    rom[directory + 1] = 0x81000000 | static_cast<std::uint32_t>(rom.size() - directory - 1);
    addLeaf(node.deck->settings.vendor);
    rom[directory + 3] = 0x81000000 | static_cast<std::uint32_t>(rom.size() - directory - 3);
    addLeaf(node.deck->settings.model);
    return rom;
}

}  // namespace fakefirewire
