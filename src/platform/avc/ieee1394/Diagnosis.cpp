#include "platform/avc/ieee1394/Diagnosis.h"

#include <grp.h>
#include <libudev.h>
#include <pwd.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <stop_token>
#include <thread>

#include "platform/avc/ieee1394/BusListing.h"
#include "platform/avc/ieee1394/DVSignal.h"
#include "platform/avc/ieee1394/DeviceProbe.h"
#include "platform/avc/ieee1394/NodeWatch.h"
#include "platform/avc/ieee1394/ThreadSetup.h"

namespace takebox::avc {
namespace {

using Lines = std::vector<DiagnosisLine>;
using Udev = std::unique_ptr<udev, decltype(&udev_unref)>;

struct Advice {
    int error;
    const char* text;
};

constexpr const char* kPermissionAdvice =
    "Add yourself to the group video and log in again, or install the udev rule "
    "60-takebox.rules and plug the device in again.";
constexpr const char* kGoneAdvice = "Plug the device in again.";
constexpr const char* kFilesAdvice =
    "Too many files are open: quit other programs, or raise the limit (ulimit -n 4096).";
constexpr std::array kAdviceOnOpening{
    Advice{EACCES, kPermissionAdvice},
    Advice{EPERM, kPermissionAdvice},
    Advice{ENOENT, kGoneAdvice},
    Advice{ENODEV, kGoneAdvice},
    Advice{EBUSY, "Quit the other program that uses the device."},
    Advice{EMFILE, kFilesAdvice},
    Advice{ENFILE, kFilesAdvice},
};

template <typename... Values>
std::string text(const char* format, Values... values) {
    std::array<char, 256> buffer{};
    std::snprintf(buffer.data(), buffer.size(), format, values...);
    return buffer.data();
}

bool exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

/// Whether the running kernel has a module for loading, or built in.
bool isModuleInstalled(const std::string& name) {
    utsname system{};
    uname(&system);
    const std::string folder = std::string("/lib/modules/") + system.release;
    for (const char* const list : {"/modules.dep", "/modules.builtin"}) {
        std::ifstream file(folder + list);
        for (std::string line; std::getline(file, line);) {
            if (line.find("/" + name + ".ko") != std::string::npos) {
                return true;
            }
        }
    }
    return false;
}

/// FireWire controllers among the PCI devices, whether they have a driver or not.
int countControllers(udev* context) {
    constexpr const char* kClassFireWireOHCI = "0x0c0010";
    const std::unique_ptr<udev_enumerate, decltype(&udev_enumerate_unref)> list(
        udev_enumerate_new(context), udev_enumerate_unref);
    if (!list || udev_enumerate_add_match_subsystem(list.get(), "pci") < 0 ||
        udev_enumerate_add_match_sysattr(list.get(), "class", kClassFireWireOHCI) < 0 ||
        udev_enumerate_scan_devices(list.get()) < 0) {
        return 0;
    }
    int count = 0;
    for (udev_list_entry* entry = udev_enumerate_get_list_entry(list.get()); entry != nullptr;
         entry = udev_list_entry_get_next(entry)) {
        ++count;
    }
    return count;
}

/// @param isBusThere there are nodes, so a driver is at work whatever its name.
void diagnoseDriver(bool isBusThere, Lines& lines) {
    const std::string topic = "FireWire driver";
    if (isBusThere || exists("/sys/module/firewire_ohci")) {
        lines.push_back({topic, "firewire-ohci is loaded", ""});
    } else if (isModuleInstalled("firewire-ohci")) {
        lines.push_back({topic, "firewire-ohci is installed but not loaded",
                         "It loads by itself when there is a controller; otherwise: "
                         "sudo modprobe firewire-ohci"});
    } else {
        lines.push_back({topic, "this kernel has no firewire-ohci module",
                         "Use a kernel with FireWire: on Debian linux-image-amd64, not "
                         "linux-image-cloud-amd64."});
    }
}

void diagnoseControllers(udev* context, const std::vector<BusNode>& nodes, Lines& lines) {
    const std::string topic = "FireWire controller";
    int working = 0;
    for (const auto& node : nodes) {
        working += node.isLocal ? 1 : 0;
    }
    const int present = countControllers(context);
    if (working > 0) {
        lines.push_back({topic, text("%d working", working), ""});
    } else if (present > 0) {
        lines.push_back({topic, text("%d found, none working", present),
                         "Load the driver: sudo modprobe firewire-ohci"});
    } else {
        lines.push_back({topic, "none found",
                         "Put in a FireWire card, or connect the Thunderbolt adapter; virtual "
                         "decks work without."});
    }
}

std::string nameOfUser(uid_t id) {
    std::array<char, 1024> buffer{};
    passwd entry{};
    passwd* found = nullptr;
    return getpwuid_r(id, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr
               ? found->pw_name
               : text("user %u", id);
}

std::string nameOfGroup(gid_t id) {
    std::array<char, 4096> buffer{};
    group entry{};
    group* found = nullptr;
    return getgrgid_r(id, &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr
               ? found->gr_name
               : text("group %u", id);
}

bool isRefusal(int error) {
    return error == EACCES || error == EPERM;
}

/// @return 0 or the errno value of opening the file.
int diagnoseDeviceFile(const BusNode& node, Lines& lines) {
    const std::string path = text("/dev/fw%d", node.number);
    std::string owners = "missing";
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        owners = text("%s:%s, mode %04o", nameOfUser(status.st_uid).c_str(),
                      nameOfGroup(status.st_gid).c_str(), status.st_mode & 07777U);
    }
    NodeWatch file;
    const int error = file.open(node.number);
    // Of a card's own file only the program's rights are of no account.
    const std::string advice = node.isLocal && isRefusal(error) ? "" : adviceAfterOpening(error);
    lines.push_back(
        {"Device file " + path,
         owners + (error == 0 ? ", can be opened"
                              : text(", cannot be opened (%s)", strerrordesc_np(error))),
         advice});
    return error;
}

void diagnoseDevice(const BusNode& node, int error, Lines& lines) {
    const std::string topic = "Device " + node.name;
    const std::string guid = text("GUID %016" PRIx64, node.guid);
    if (!node.isDVCandidate) {
        lines.push_back({topic, guid + ", not a DV device", ""});
        return;
    }
    if (error != 0) {  // the line of its file has the advice
        lines.push_back({topic, guid + ", could not be asked", ""});
        return;
    }
    NodeWatch watch;
    if (const int now = watch.open(node.number); now != 0) {
        lines.push_back({topic, guid + ", could not be asked", adviceAfterOpening(now)});
        return;
    }
    ProbeHints hints;
    hints.isAVC = node.isAVC;
    const ProbeResult result = probeDevice(watch, hints, std::stop_token());
    if (result.isDVTapeDevice || result.isDVConverter) {
        lines.push_back({topic,
                         guid + ", " + signalName(result.dvMode) +
                             (result.isDVTapeDevice ? ", with tape" : ", without tape"),
                         ""});
    } else {
        lines.push_back({topic, guid + ", sends no DV at 25 Mbit/s",
                         "Set the device's FireWire output to DV (not HDV, not long play)."});
    }
}

void diagnoseScheduling(Lines& lines) {
    const std::string topic = "Real-time priority";
    bool isGranted = false;
    // Tried on a thread that ends: without privileges there is no way back for a thread.
    std::thread([&isGranted] {
        sched_param parameters{};
        parameters.sched_priority = kReceivePriority;
        isGranted = sched_setscheduler(0, SCHED_RR | SCHED_RESET_ON_FORK, &parameters) == 0;
    }).join();
    if (isGranted) {
        lines.push_back({topic, "granted", ""});
    } else {
        lines.push_back({topic, "not granted: frames may be lost when the computer is very busy",
                         text("Put \"@video - rtprio %d\" into "
                              "/etc/security/limits.d/takebox.conf and log in again.",
                              kReceivePriority)});
    }
}

}  // namespace

std::string adviceAfterOpening(int error) {
    if (error == 0) {
        return "";
    }
    const auto* const found =
        std::find_if(kAdviceOnOpening.begin(), kAdviceOnOpening.end(),
                     [error](const Advice& advice) { return advice.error == error; });
    return found != kAdviceOnOpening.end()
               ? found->text
               : "Plug the device in again; if that does not help, restart the computer.";
}

std::vector<DiagnosisLine> diagnoseFireWire() {
    Lines lines;
    const Udev context(udev_new(), udev_unref);
    if (!context) {
        return {{"FireWire", "libudev is not available", "Install libudev1."}};
    }
    const auto nodes = listBusNodes(context.get());
    diagnoseDriver(!nodes.empty(), lines);
    diagnoseControllers(context.get(), nodes, lines);
    bool hasDevices = false;
    for (const auto& node : nodes) {
        const int error = diagnoseDeviceFile(node, lines);
        if (!node.isLocal) {
            hasDevices = true;
            diagnoseDevice(node, error, lines);
        }
    }
    if (!nodes.empty() && !hasDevices) {
        lines.push_back({"FireWire devices", "none",
                         "Switch the camcorder or deck on (camcorders: to play or VCR mode) and "
                         "check the cable."});
    }
    diagnoseScheduling(lines);
    return lines;
}

}  // namespace takebox::avc
