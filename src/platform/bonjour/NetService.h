#pragma once

#include <QString>
#include <chrono>
#include <cstdint>
#include <memory>

namespace takebox {

/// One service, announced on the local network by DNS service discovery (RFC 6763) for as long as
/// this object lives.
///
/// Announcing never fails and never waits: the work is done by a thread of its own, because a
/// service daemon that hangs holds up whoever asks it for 25 seconds (measured). When there is no
/// daemon, or when it goes away, that is logged once and tried again, after one second at first and
/// a minute at last. A name that is taken on this host gets a number.
///
/// Main thread. The destructor withdraws the announcement and waits for the thread, which waits for
/// nothing but the daemon.
class NetService {
public:
    /// @param domain empty means all default domains.
    /// @param type   with its protocol, such as "_takebox._tcp."
    /// @param name   empty means the name of the host.
    NetService(const QString& domain, const QString& type, const QString& name, std::uint16_t port,
               std::chrono::milliseconds firstRetry = std::chrono::seconds(1));
    ~NetService();
    NetService(const NetService&) = delete;
    NetService& operator=(const NetService&) = delete;

private:
    class Publisher;
    std::unique_ptr<Publisher> mPublisher;
};

}  // namespace takebox
