#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Load on the control port of a recorder on this host: many clients, each of which asks STATUS and
// TIMECODE in turn and waits for the answer. Every answer is checked. Prints commands per second
// and how long answers took. See remote_load.py, which starts the recorder.

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kDecks = 4;

/// One client; it asks about one deck.
struct Client {
    int socket = -1;
    int deck = 1;
    bool asksStatus = true;
    Clock::time_point askedAt;
    std::string answer;

    void ask() {
        const std::string command =
            (asksStatus ? "STATUS " : "TIMECODE ") + std::to_string(deck) + "\r\n";
        askedAt = Clock::now();
        if (send(socket, command.data(), command.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(command.size())) {
            perror("send");
            exit(1);
        }
    }

    /// Takes what has come. @return whether the answer is whole, and right.
    bool receive() {
        std::array<char, 256> bytes{};
        const ssize_t count = recv(socket, bytes.data(), bytes.size(), 0);
        if (count <= 0) {
            fprintf(stderr, "the recorder dropped a client\n");
            exit(1);
        }
        answer.append(bytes.data(), static_cast<std::size_t>(count));
        if (!answer.ends_with("\n\r")) {
            return false;
        }
        const bool isRight = asksStatus ? answer == "REC\n\r"
                                        : answer.size() == 13 && answer[2] == ':' &&
                                              answer[5] == ':' && answer[8] == ':';
        if (!isRight) {
            fprintf(stderr, "wrong answer: %s\n", answer.c_str());
            exit(1);
        }
        answer.clear();
        asksStatus = !asksStatus;
        return true;
    }
};

Client connectClient(std::uint16_t port, int number) {
    Client client;
    client.deck = number % kDecks + 1;
    client.socket = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(client.socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        perror("connect");
        exit(1);
    }
    return client;
}

std::vector<double> run(std::vector<Client>& clients, Clock::time_point end) {
    const int poll = epoll_create1(0);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        epoll_event event{EPOLLIN, {}};
        event.data.u64 = i;
        epoll_ctl(poll, EPOLL_CTL_ADD, clients[i].socket, &event);
        clients[i].ask();
    }
    std::vector<double> milliseconds;
    while (Clock::now() < end) {
        std::array<epoll_event, 256> events{};
        const int ready = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 10000);
        if (ready == 0) {
            fprintf(stderr, "no answer for ten seconds\n");
            exit(1);
        }
        for (int i = 0; i < ready; ++i) {
            Client& client = clients[events[static_cast<std::size_t>(i)].data.u64];
            if (client.receive()) {
                milliseconds.push_back(
                    std::chrono::duration<double, std::milli>(Clock::now() - client.askedAt)
                        .count());
                client.ask();
            }
        }
    }
    close(poll);
    return milliseconds;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: remote_load PORT [CLIENTS [SECONDS]]\n");
        return 2;
    }
    const auto port = static_cast<std::uint16_t>(strtoul(argv[1], nullptr, 10));
    const int count = argc > 2 ? atoi(argv[2]) : 200;   // NOLINT(cert-err34-c): a tool's argument
    const int seconds = argc > 3 ? atoi(argv[3]) : 30;  // NOLINT(cert-err34-c)
    std::vector<Client> clients;
    for (int i = 0; i < count; ++i) {
        clients.push_back(connectClient(port, i));
    }
    auto times = run(clients, Clock::now() + std::chrono::seconds(seconds));
    if (times.empty()) {
        return 1;
    }
    std::sort(times.begin(), times.end());
    const auto percentile = [&](double part) {
        return times[static_cast<std::size_t>(part * static_cast<double>(times.size() - 1))];
    };
    printf(
        "%d clients, %d s: %zu commands, %.0f per second; answers took %.2f ms in the median, "
        "%.2f ms at the 99th percentile, %.2f ms at most\n",
        count, seconds, times.size(), static_cast<double>(times.size()) / seconds, percentile(0.5),
        percentile(0.99), times.back());
    return 0;
}
