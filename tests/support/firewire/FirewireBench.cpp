#include "FirewireBench.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>

namespace takebox::test {
namespace {

constexpr const char* kFolderVariable = "FIREWIRE_BENCH_DIR";

std::string folder() {
    const char* const value = std::getenv(kFolderVariable);
    return value != nullptr ? value : "";
}

int connectToControl() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s/control", folder().c_str());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    // The bus's thread may still be about to make its socket.
    for (int i = 0; i < 500; ++i) {
        if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
            return descriptor;
        }
        usleep(10000);
    }
    ADD_FAILURE() << "no control socket in " << folder();
    return descriptor;
}

}  // namespace

void enterFirewireBench(char** arguments) {
    if (!folder().empty()) {
        return;
    }
    // In memory: the bus would stand still while a busy disk takes its time with a device's files.
    const bool hasMemory = access("/dev/shm", W_OK) == 0;
    std::string name = hasMemory ? "/dev/shm/firewire-XXXXXX" : "/tmp/firewire-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        std::perror("mkdtemp");
        std::exit(1);
    }
    setenv(kFolderVariable, name.c_str(), 1);
    setenv("FAKE_FIREWIRE_DIR", name.c_str(), 1);
    setenv("UMOCKDEV_DIR", name.c_str(), 1);
    // A sanitizer's library must come before all others.
    const std::string sanitizer = SANITIZER_LIBRARY;
    const std::string libraries = sanitizer + (sanitizer.empty() ? "" : ":") +
                                  FAKE_FIREWIRE_LIBRARY ":libumockdev-preload.so.0";
    setenv("LD_PRELOAD", libraries.c_str(), 1);
    execv("/proc/self/exe", arguments);
    std::perror("exec");
    std::exit(1);
}

void leaveFirewireBench() {
    std::error_code ignored;
    std::filesystem::remove_all(folder(), ignored);
}

std::string firewire(const std::string& command) {
    static const int descriptor = connectToControl();
    const std::string line = command + "\n";
    if (send(descriptor, line.data(), line.size(), MSG_NOSIGNAL) < 0) {
        ADD_FAILURE() << command;
        return {};
    }
    std::string answer;
    char character = 0;
    while (recv(descriptor, &character, 1, 0) == 1 && character != '\n') {
        answer += character;
    }
    EXPECT_EQ(answer.substr(0, 2), "ok") << command << ": " << answer;
    return answer;
}

std::map<std::string, std::string> deckStatus(const std::string& guid) {
    std::istringstream words(firewire("status " + guid));
    std::map<std::string, std::string> values;
    for (std::string word; words >> word;) {
        if (const auto equals = word.find('='); equals != std::string::npos) {
            values[word.substr(0, equals)] = word.substr(equals + 1);
        }
    }
    return values;
}

}  // namespace takebox::test
