#include "platform/bonjour/ServiceBrowser.h"

#include <arpa/inet.h>
#include <dns_sd.h>
#include <net/if.h>
#include <poll.h>

#include <QHash>
#include <algorithm>
#include <array>
#include <list>

#include "platform/bonjour/ServiceReference.h"

namespace takebox {
namespace {

using SteadyClock = std::chrono::steady_clock;

/// Browses for the services, resolves each one seen to host and port, and each host to addresses.
/// A service is seen once for each interface and protocol; it counts once.
class Browser {
public:
    [[nodiscard]] bool start(const QByteArray& type) {
        DNSServiceRef reference = nullptr;
        if (DNSServiceBrowse(&reference, 0, 0, type.constData(), nullptr, browsed, this) !=
            kDNSServiceErr_NoError) {
            return false;
        }
        mOperations.emplace_back(reference);
        return true;
    }

    void runUntil(SteadyClock::time_point end) {
        for (auto now = SteadyClock::now(); now < end; now = SteadyClock::now()) {
            std::vector<pollfd> waiting;
            std::vector<ServiceReference*> references;
            for (auto& operation : mOperations) {
                waiting.push_back({DNSServiceRefSockFD(operation.get()), POLLIN, 0});
                references.push_back(&operation);
            }
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - now);
            poll(waiting.data(), waiting.size(), static_cast<int>(left.count()));
            for (std::size_t i = 0; i < waiting.size(); ++i) {
                if (waiting[i].revents != 0 &&
                    DNSServiceProcessResult(references[i]->get()) != kDNSServiceErr_NoError) {
                    mOperations.remove_if(
                        [&](const auto& operation) { return &operation == references[i]; });
                }
            }
        }
    }

    [[nodiscard]] std::vector<FoundService> found() const {
        std::vector<FoundService> result;
        for (const auto& [service, sightings] : mServices) {
            if (sightings > 0 && service.port != 0) {
                FoundService complete = service;
                std::stable_partition(
                    complete.addresses.begin(), complete.addresses.end(),
                    [](const QString& text) { return !text.contains(QLatin1Char(':')); });
                result.push_back(complete);
            }
        }
        std::sort(result.begin(), result.end(),
                  [](const auto& a, const auto& b) { return a.name < b.name; });
        return result;
    }

private:
    struct Entry {
        FoundService service;
        int sightings = 0;  ///< interfaces and protocols on which it is announced now
    };

    /// A running resolution or address query, and what it is for.
    struct Request {
        Browser* browser;
        FoundService* service;
    };

    static void browsed(DNSServiceRef /*reference*/, DNSServiceFlags flags,
                        std::uint32_t interfaceIndex, DNSServiceErrorType error, const char* name,
                        const char* type, const char* domain, void* context) {
        auto* const self = static_cast<Browser*>(context);
        if (error != kDNSServiceErr_NoError) {
            return;
        }
        Entry& entry = self->entryNamed(QString::fromUtf8(name));
        if ((flags & kDNSServiceFlagsAdd) != 0) {
            ++entry.sightings;
            self->resolve(interfaceIndex, name, type, domain, entry.service);
        } else {
            --entry.sightings;
        }
    }

    Entry& entryNamed(const QString& name) {
        const auto found = std::find_if(mServices.begin(), mServices.end(), [&](const auto& entry) {
            return entry.service.name == name;
        });
        return found != mServices.end() ? *found
                                        : mServices.emplace_back(Entry{{name, {}, 0, {}}, 0});
    }

    void resolve(std::uint32_t interfaceIndex, const char* name, const char* type,
                 const char* domain, FoundService& service) {
        DNSServiceRef reference = nullptr;
        if (DNSServiceResolve(&reference, 0, interfaceIndex, name, type, domain, resolved,
                              &mRequests.emplace_back(Request{this, &service})) ==
            kDNSServiceErr_NoError) {
            mOperations.emplace_back(reference);
        }
    }

    static void resolved(DNSServiceRef /*reference*/, DNSServiceFlags /*flags*/,
                         std::uint32_t interfaceIndex, DNSServiceErrorType error,
                         const char* /*fullName*/, const char* host, std::uint16_t port,
                         std::uint16_t /*textLength*/, const unsigned char* /*text*/,
                         void* context) {
        const auto* const request = static_cast<Request*>(context);
        if (error == kDNSServiceErr_NoError && request->service->port == 0) {
            request->service->host = QString::fromUtf8(host);
            if (request->service->host.endsWith(QLatin1Char('.'))) {
                request->service->host.chop(1);
            }
            request->service->port = ntohs(port);
            request->browser->queryAddresses(interfaceIndex, host, *request);
        }
    }

    void queryAddresses(std::uint32_t interfaceIndex, const char* host, const Request& request) {
        for (const std::uint16_t type : {kDNSServiceType_A, kDNSServiceType_AAAA}) {
            DNSServiceRef reference = nullptr;
            if (DNSServiceQueryRecord(&reference, 0, interfaceIndex, host, type,
                                      kDNSServiceClass_IN, addressFound,
                                      &mRequests.emplace_back(request)) == kDNSServiceErr_NoError) {
                mOperations.emplace_back(reference);
            }
        }
    }

    static void addressFound(DNSServiceRef /*reference*/, DNSServiceFlags flags,
                             std::uint32_t interfaceIndex, DNSServiceErrorType error,
                             const char* /*fullName*/, std::uint16_t type,
                             std::uint16_t /*recordClass*/, std::uint16_t length, const void* bytes,
                             std::uint32_t /*lifeTime*/, void* context) {
        const int family = type == kDNSServiceType_A ? AF_INET : AF_INET6;
        const std::size_t expected = type == kDNSServiceType_A ? 4 : 16;
        if (error != kDNSServiceErr_NoError || (flags & kDNSServiceFlagsAdd) == 0 ||
            length != expected) {
            return;
        }
        std::array<char, INET6_ADDRSTRLEN> text{};
        inet_ntop(family, bytes, text.data(), text.size());
        QString address = QString::fromLatin1(text.data());
        std::array<char, IF_NAMESIZE> interfaceName{};
        if (address.startsWith(QLatin1String("fe80:")) &&
            if_indextoname(interfaceIndex, interfaceName.data()) != nullptr) {
            address += QLatin1Char('%') + QString::fromLocal8Bit(interfaceName.data());
        }
        auto& addresses = static_cast<Request*>(context)->service->addresses;
        if (!addresses.contains(address)) {
            addresses.append(address);
        }
    }

    std::list<Entry> mServices;               // referred to by the requests
    std::list<Request> mRequests;             // referred to by the operations
    std::list<ServiceReference> mOperations;  // ended before what they refer to goes
};

}  // namespace

std::optional<std::vector<FoundService>> findServices(const QString& type,
                                                      std::chrono::milliseconds time) {
    Browser browser;
    if (!browser.start(type.toUtf8())) {
        return std::nullopt;
    }
    browser.runUntil(SteadyClock::now() + time);
    return browser.found();
}

}  // namespace takebox
