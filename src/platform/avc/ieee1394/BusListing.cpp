#include "platform/avc/ieee1394/BusListing.h"

#include <fcntl.h>
#include <libudev.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include "platform/avc/ieee1394/ConfigROM.h"
#include "platform/avc/ieee1394/FileDescriptor.h"

namespace takebox::avc {
namespace {

struct UnitKind {
    std::string_view specifierAndVersion;
    bool isAVC;
};

// Units of the 1394 Trade Association that may send DV. Machine-vision cameras (0x0001xx) do not.
constexpr std::array kUnitKinds{
    UnitKind{"0x00a02d:0x010001", true},   // AV/C
    UnitKind{"0x00a02d:0x014000", true},   // AV/C and something of the maker's
    UnitKind{"0x00a02d:0x014001", true},   //
    UnitKind{"0x00a02d:0x010000", false},  // converters that send DV and answer nothing
};

constexpr std::size_t kROMQuadletsMax = 256;

std::string attribute(udev_device* device, const char* name) {
    const char* const value = udev_device_get_sysattr_value(device, name);
    return value != nullptr ? value : "";
}

ConfigROMNames namesInROM(udev_device* device) {
    const std::string path = std::string(udev_device_get_syspath(device)) + "/config_rom";
    const FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::array<std::uint32_t, kROMQuadletsMax> rom{};
    const ssize_t length = file.isValid() ? read(file.get(), rom.data(), sizeof rom) : 0;
    if (length <= 0) {
        return {};
    }
    return configROMNames({rom.data(), static_cast<std::size_t>(length) / sizeof rom[0]});
}

std::string nodeName(udev_device* device, std::uint64_t guid) {
    std::string vendor = attribute(device, "vendor_name");
    std::string model = attribute(device, "model_name");
    if (vendor.empty() || model.empty()) {
        const ConfigROMNames names = namesInROM(device);
        vendor = vendor.empty() ? names.vendor : vendor;
        model = model.empty() ? names.model : model;
    }
    if (!vendor.empty() && !model.empty()) {
        return vendor + " " + model;
    }
    if (!model.empty()) {
        return model;
    }
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "DV device %016" PRIx64, guid);
    return vendor.empty() ? text.data() : vendor + " " + text.data();
}

}  // namespace

std::optional<BusNode> busNode(udev_device* device) {
    const char* const name = udev_device_get_sysname(device);
    int number = -1;
    int length = 0;
    if (name == nullptr || std::sscanf(name, "fw%d%n", &number, &length) != 1 ||
        static_cast<std::size_t>(length) != std::strlen(name)) {
        return std::nullopt;
    }
    BusNode node;
    node.number = number;
    node.guid = std::strtoull(attribute(device, "guid").c_str(), nullptr, 16);
    node.isLocal = attribute(device, "is_local") == "1";
    const std::string units = attribute(device, "units");
    for (const auto& kind : kUnitKinds) {
        if (units.find(kind.specifierAndVersion) != std::string::npos) {
            node.isDVCandidate = !node.isLocal;
            node.isAVC = node.isAVC || kind.isAVC;
        }
    }
    node.name = nodeName(device, node.guid);
    return node;
}

std::vector<BusNode> listBusNodes(udev* context) {
    std::vector<BusNode> nodes;
    const std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)> list(
        udev_enumerate_new(context), udev_enumerate_unref);
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "firewire") < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0) {
        return nodes;
    }
    for (udev_list_entry* entry = udev_enumerate_get_list_entry(list.get()); entry != nullptr;
         entry = udev_list_entry_get_next(entry)) {
        const std::unique_ptr<udev_device, decltype(&udev_device_unref)> device(
            udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)),
            udev_device_unref);
        if (!device) {
            continue;
        }
        if (auto node = busNode(device.get())) {
            nodes.push_back(std::move(*node));
        }
    }
    std::sort(nodes.begin(), nodes.end(),
              [](const BusNode& a, const BusNode& b) { return a.number < b.number; });
    return nodes;
}

}  // namespace takebox::avc
